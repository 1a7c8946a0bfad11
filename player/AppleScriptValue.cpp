#include "AppleScriptValue.h"

#include <cctype>

namespace kestrabel::player {

namespace {

constexpr int kMaxDepth = 32;

struct PlayerState {
    const char *word;
    quint32 code;
};

// iTunes' "player state" enumerators.
constexpr PlayerState kPlayerStates[] = {
    {"stopped", 0x6B505353},       // 'kPSS'
    {"playing", 0x6B505350},       // 'kPSP'
    {"paused", 0x6B505370},        // 'kPSp'
    {"fast forwarding", 0x6B505346}, // 'kPSF'
    {"rewinding", 0x6B505352},     // 'kPSR'
};

class Parser {
public:
    explicit Parser(const QString &source) : text_(source) {}

    std::optional<AppleScriptValue> parseWhole()
    {
        auto value = parseValue(0);
        skipSpace();
        if (!value || at_ != text_.size())
            return std::nullopt;
        return value;
    }

private:
    QChar peek() const { return at_ < text_.size() ? text_[at_] : QChar(); }

    void skipSpace()
    {
        while (at_ < text_.size() && text_[at_].isSpace())
            ++at_;
    }

    bool take(QChar c)
    {
        skipSpace();
        if (peek() != c)
            return false;
        ++at_;
        return true;
    }

    std::optional<QString> parseQuoted()
    {
        if (!take(QLatin1Char('"')))
            return std::nullopt;
        QString result;
        while (at_ < text_.size()) {
            const QChar c = text_[at_++];
            if (c == QLatin1Char('"'))
                return result;
            if (c != QLatin1Char('\\')) {
                result += c;
                continue;
            }
            if (at_ == text_.size())
                return std::nullopt;
            const QChar escaped = text_[at_++];
            switch (escaped.unicode()) {
            case 'n': result += QLatin1Char('\n'); break;
            case 't': result += QLatin1Char('\t'); break;
            case 'r': result += QLatin1Char('\r'); break;
            default: result += escaped; break;
            }
        }
        return std::nullopt;
    }

    std::optional<AppleScriptValue> parseData()
    {
        // «data PICT0123ABCD»
        at_ += 1;
        if (text_.mid(at_, 5) != QLatin1String("data "))
            return std::nullopt;
        at_ += 5;
        const qsizetype end = text_.indexOf(QChar(0x00BB), at_);
        if (end < 0 || end - at_ < 4)
            return std::nullopt;
        AppleScriptValue value;
        value.kind = AppleScriptValue::Kind::Data;
        value.dataType = text_.mid(at_, 4).toLatin1();
        const QByteArray hex = text_.mid(at_ + 4, end - at_ - 4).toLatin1();
        at_ = end + 1;
        if (hex.size() % 2 != 0)
            return std::nullopt;
        for (char c : hex)
            if (!std::isxdigit(static_cast<unsigned char>(c)))
                return std::nullopt;
        value.data = QByteArray::fromHex(hex);
        return value;
    }

    std::optional<AppleScriptValue> parseValue(int depth)
    {
        if (depth > kMaxDepth)
            return std::nullopt;
        skipSpace();
        const QChar c = peek();
        AppleScriptValue value;
        if (c == QLatin1Char('"')) {
            auto text = parseQuoted();
            if (!text)
                return std::nullopt;
            value.kind = AppleScriptValue::Kind::Text;
            value.text = *text;
            return value;
        }
        if (c == QLatin1Char('{')) {
            ++at_;
            value.kind = AppleScriptValue::Kind::List;
            if (take(QLatin1Char('}')))
                return value;
            do {
                auto item = parseValue(depth + 1);
                if (!item)
                    return std::nullopt;
                value.items.append(std::move(*item));
            } while (take(QLatin1Char(',')));
            if (!take(QLatin1Char('}')))
                return std::nullopt;
            return value;
        }
        if (c == QChar(0x00AB))
            return parseData();
        if (c == QLatin1Char('-') || c.isDigit()) {
            const qsizetype start = at_;
            ++at_;
            while (at_ < text_.size() && (text_[at_].isDigit() || text_[at_] == QLatin1Char('.')
                                          || text_[at_] == QLatin1Char('E') || text_[at_] == QLatin1Char('e')
                                          || text_[at_] == QLatin1Char('+') || text_[at_] == QLatin1Char('-')))
                ++at_;
            bool ok = false;
            value.kind = AppleScriptValue::Kind::Number;
            value.number = text_.mid(start, at_ - start).toDouble(&ok);
            if (!ok)
                return std::nullopt;
            return value;
        }
        if (!c.isLetter())
            return std::nullopt;
        // Words run to a delimiter; an enumerator may hold spaces ("fast forwarding").
        const qsizetype start = at_;
        while (at_ < text_.size() && text_[at_] != QLatin1Char(',') && text_[at_] != QLatin1Char('}')
               && text_[at_] != QLatin1Char('"'))
            ++at_;
        const QString word = text_.mid(start, at_ - start).trimmed();
        if (word == QLatin1String("alias") || word == QLatin1String("file") || word == QLatin1String("POSIX file")) {
            auto path = parseQuoted();
            if (!path)
                return std::nullopt;
            value.kind = word == QLatin1String("alias") ? AppleScriptValue::Kind::Alias : AppleScriptValue::Kind::File;
            value.text = *path;
            return value;
        }
        value.kind = AppleScriptValue::Kind::Word;
        value.text = word;
        return value;
    }

    const QString &text_;
    qsizetype at_ = 0;
};

} // namespace

std::optional<AppleScriptValue> parseAppleScriptValue(const QString &source) { return Parser(source).parseWhole(); }

quint32 playerStateCode(const QString &word)
{
    for (const PlayerState &state : kPlayerStates)
        if (word == QLatin1String(state.word))
            return state.code;
    return 0;
}

QString firstUnits(const QString &text, qsizetype units)
{
    if (text.size() <= units)
        return text;
    if (units > 0 && text[units - 1].isHighSurrogate())
        --units;
    return text.left(units);
}

} // namespace kestrabel::player
