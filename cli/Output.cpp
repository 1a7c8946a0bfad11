#include "Output.h"

#include "util/Text.h"

#include <charconv>
#include <cstdio>

namespace kestrabel::cli {

namespace {

// Appends rather than returns, and copies the runs between escapes whole: show --json builds
// a few dozen of these per file, and a string per piece was a visible share of its time.
void appendJsonString(std::string &out, std::string_view raw)
{
    std::string sanitized;
    std::string_view text = raw;
    if (!util::isValidUtf8(raw))
        text = sanitized = util::sanitizeUtf8(raw);
    out.reserve(out.size() + text.size() + 2);
    out += '"';
    size_t run = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        out.append(text, run, i - run);
        run = i + 1;
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default: {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        }
        }
    }
    out.append(text, run);
    out += '"';
}

void appendNumber(std::string &out, uint64_t value)
{
    char digits[24];
    auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    out.append(digits, end);
}

void appendValueJson(std::string &out, const Value &value)
{
    if (const auto *number = std::get_if<int32_t>(&value)) {
        char digits[16];
        auto [end, error] = std::to_chars(digits, digits + sizeof digits, *number);
        out.append(digits, end);
    } else if (const auto *text = std::get_if<std::string>(&value)) {
        appendJsonString(out, *text);
    } else {
        const auto &bytes = std::get<ByteValue>(value);
        out += "{\"length\": ";
        appendNumber(out, bytes.length);
        out += ", \"sha256\": ";
        appendJsonString(out, bytes.sha256);
        out += '}';
    }
}

} // namespace

std::string jsonString(std::string_view raw)
{
    std::string out;
    appendJsonString(out, raw);
    return out;
}

std::string pathBytesField(std::string_view path)
{
    if (util::isValidUtf8(path))
        return {};
    static constexpr char kHex[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char c : path) {
        hex += kHex[c >> 4];
        hex += kHex[c & 15];
    }
    return ", \"path_bytes\": \"" + hex + "\"";
}

std::string escapeText(std::string_view raw)
{
    std::string text = util::sanitizeUtf8(raw);
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        char escaped[8] = "";
        if (c == '\n')
            std::snprintf(escaped, sizeof escaped, "\\n");
        else if (c == '\r')
            std::snprintf(escaped, sizeof escaped, "\\r");
        else if (c == '\t')
            std::snprintf(escaped, sizeof escaped, "\\t");
        else if (c < 0x20 || c == 0x7F)
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
        else if (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0)
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned char>(text[++i])); // C1 control
        if (escaped[0])
            out += escaped;
        else
            out += static_cast<char>(c);
    }
    return out;
}

std::string valueAsJson(const Value &value)
{
    std::string out;
    appendValueJson(out, value);
    return out;
}

std::string valueAsJsonLine(const std::string &path, MediaFileStatus status, const std::string &context, const std::string &cause,
                            const Value &value)
{
    std::string out = "{\"path\": " + jsonString(path) + pathBytesField(path) + ", \"status\": " + std::to_string(status);
    if (status != kMediaFileNoErr)
        return out + ", \"error\": " +
               jsonString(context + ": " + MediaFileGetStatusName(status) + ": " + MediaFileGetStatusMessage(status) + (cause.empty() ? "" : ": " + cause)) +
               "}";
    return out + ", \"value\": " + valueAsJson(value) + "}";
}

namespace {

std::string kindNameOf(const FileReport &report)
{
    return report.kindName.empty() ? MediaFileGetTypeName(report.kind) : report.kindName;
}

// 44100 → "44.1", 48000 → "48", 22050 → "22.05"
std::string kilohertz(uint32_t rate)
{
    std::string text = std::to_string(rate / 1000);
    if (uint32_t rest = rate % 1000) {
        char fraction[8];
        std::snprintf(fraction, sizeof fraction, ".%03u", rest);
        std::string digits = fraction;
        while (digits.back() == '0')
            digits.pop_back();
        text += digits;
    }
    return text;
}

std::string channelText(uint32_t channels)
{
    if (channels == 1)
        return "mono";
    if (channels == 2)
        return "stereo";
    return std::to_string(channels) + " channels";
}

} // namespace

std::string playingTime(uint64_t durationMs)
{
    const uint64_t seconds = (durationMs + 500) / 1000;
    char text[32];
    if (seconds >= 3600)
        std::snprintf(text, sizeof text, "%llu:%02llu:%02llu", static_cast<unsigned long long>(seconds / 3600),
                      static_cast<unsigned long long>(seconds / 60 % 60), static_cast<unsigned long long>(seconds % 60));
    else
        std::snprintf(text, sizeof text, "%llu:%02llu", static_cast<unsigned long long>(seconds / 60),
                      static_cast<unsigned long long>(seconds % 60));
    return text;
}

std::string audioSummary(const MediaFileAudioProperties &audio)
{
    std::string out = audio.codec ? audio.codec : "?";
    if (audio.sampleRate)
        out += ", " + kilohertz(audio.sampleRate) + " kHz";
    if (audio.channels)
        out += ", " + channelText(audio.channels);
    if (audio.bitsPerSample)
        out += ", " + std::to_string(audio.bitsPerSample) + "-bit";
    if (audio.bitRate)
        out += ", " + std::to_string(audio.bitRate) + " kbit/s";
    return out + ", " + playingTime(audio.durationMs);
}

namespace {

void appendAudioJson(std::string &out, const MediaFileAudioProperties &audio)
{
    out += "{\"codec\": ";
    appendJsonString(out, audio.codec ? audio.codec : "?");
    const std::pair<const char *, uint64_t> figures[] = {{", \"durationMs\": ", audio.durationMs},
                                                         {", \"sampleRate\": ", audio.sampleRate},
                                                         {", \"channels\": ", audio.channels},
                                                         {", \"bitsPerSample\": ", audio.bitsPerSample},
                                                         {", \"bitRate\": ", audio.bitRate}};
    for (const auto &[key, figure] : figures) {
        out += key;
        appendNumber(out, figure);
    }
    out += '}';
}

} // namespace

std::string reportAsJson(const FileReport &report)
{
    std::string out = "{\"path\": " + jsonString(report.path) + pathBytesField(report.path);
    if (report.status != kMediaFileNoErr) {
        out += ", \"status\": " + std::to_string(report.status);
        std::string error = std::string(MediaFileGetStatusName(report.status)) + ": " + MediaFileGetStatusMessage(report.status);
        if (!report.cause.empty())
            error += ": " + report.cause;
        out += ", \"error\": " + jsonString(error) + "}";
        return out;
    }
    out += ", \"kind\": ";
    appendJsonString(out, kindNameOf(report));
    if (report.audio) {
        out += ", \"audio\": ";
        appendAudioJson(out, *report.audio);
    }
    out += ", \"status\": 0";
    if (!report.warnings.empty()) {
        out += ", \"warnings\": [";
        for (size_t i = 0; i < report.warnings.size(); ++i) {
            out += i ? ", " : "";
            appendJsonString(out, report.warnings[i]);
        }
        out += "]";
    }
    out += ", \"values\": {";
    bool first = true;
    for (const Entry &entry : report.entries) {
        if (!first)
            out += ", ";
        first = false;
        appendJsonString(out, entry.info->constantName);
        out += ": ";
        appendValueJson(out, entry.value);
    }
    return out + "}}";
}

std::string reportAsText(const FileReport &report)
{
    std::string out = escapeText(report.path) + " (" + kindNameOf(report) + ")\n";
    if (report.audio)
        out += "  Audio: " + audioSummary(*report.audio) + "\n";
    for (const std::string &warning : report.warnings)
        out += "  warning: " + warning + "\n";
    size_t width = 0;
    for (const Entry &entry : report.entries)
        width = std::max(width, std::string_view(entry.info->displayName).size());
    for (const Entry &entry : report.entries) {
        std::string name = entry.info->displayName;
        name.resize(width, ' ');
        out += "  " + name + " : " + escapeText(valueText(entry.value)) + "\n";
    }
    return out;
}

std::string reportAsLine(const FileReport &report, const Template &format)
{
    auto lookup = [&](const TemplateField &field) -> std::optional<std::string> {
        if (field.source == TemplateField::Source::Path)
            return report.path;
        if (field.source == TemplateField::Source::Kind)
            return std::string(MediaFileGetTypeName(report.kind));
        for (const Entry &entry : report.entries)
            if (entry.info == field.info)
                return valueText(entry.value);
        return std::nullopt;
    };
    return format.expand(lookup, escapeText) + "\n";
}

std::string changesAsText(const std::string &path, const std::vector<ValueChange> &changes)
{
    std::string out = escapeText(path) + "\n";
    if (changes.empty())
        return out + "  nothing would change\n";
    size_t width = 0;
    for (const ValueChange &change : changes)
        width = std::max(width, std::string_view(change.info->displayName).size());
    auto shown = [](const std::optional<Value> &value) {
        std::string text = value ? escapeText(valueText(*value)) : "(none)";
        return text.empty() ? "(empty)" : text;
    };
    for (const ValueChange &change : changes) {
        std::string name = change.info->displayName;
        name.resize(width, ' ');
        out += "  " + name + " : " + shown(change.before) + " \u2192 " + shown(change.after) + "\n";
    }
    return out;
}

std::string renameAsText(const std::string &from, const std::string &to)
{
    return escapeText(from) + (from == to ? " (unchanged)" : " \u2192 " + escapeText(to)) + "\n";
}

} // namespace kestrabel::cli
