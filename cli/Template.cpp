#include "Template.h"

#include <algorithm>
#include <strings.h>

namespace kestrabel::cli {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool parseField(std::string_view inner, TemplateField *field, std::string *error)
{
    std::string_view name = inner, format;
    if (size_t colon = inner.rfind(':'); colon != std::string_view::npos) {
        name = inner.substr(0, colon);
        format = inner.substr(colon + 1);
    }
    field->name = std::string(name);
    if (!format.empty()) {
        if (format.size() > 3 || !std::all_of(format.begin(), format.end(), isDigit)) {
            *error = "'" + std::string(format) + "' in %{" + std::string(inner) + "} is not a width (such as 2 or 02)";
            return false;
        }
        field->zeroPad = format.size() > 1 && format[0] == '0';
        field->width = unsigned(std::stoul(std::string(format)));
    }
    if (field->name == "*") {
        field->source = TemplateField::Source::Skip;
    } else if (strcasecmp(field->name.c_str(), "path") == 0) {
        field->source = TemplateField::Source::Path;
    } else if (strcasecmp(field->name.c_str(), "kind") == 0) {
        field->source = TemplateField::Source::Kind;
    } else {
        field->info = MediaFileFindDataID(field->name.c_str());
        if (!field->info) {
            *error = "unknown field %{" + std::string(inner) + "} (see 'kestrabel-tag names')";
            return false;
        }
        if (field->info->valueType == '-') {
            *error = std::string(field->info->constantName) + " never has a value";
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<Template> Template::parse(std::string_view text, std::string *error)
{
    Template result;
    std::string literal;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            literal += text[i];
            continue;
        }
        if (i + 1 < text.size() && text[i + 1] == '%') {
            literal += '%';
            ++i;
            continue;
        }
        size_t close = text.find('}', i);
        if (i + 1 >= text.size() || text[i + 1] != '{' || close == std::string_view::npos) {
            *error = "a '%' that starts no %{NAME} field (write %% for a percent sign)";
            return std::nullopt;
        }
        TemplateField field;
        if (!parseField(text.substr(i + 2, close - i - 2), &field, error))
            return std::nullopt;
        if (!literal.empty())
            result.parts_.push_back({std::move(literal), -1});
        literal.clear();
        result.parts_.push_back({{}, int(result.fields_.size())});
        result.fields_.push_back(std::move(field));
        i = close;
    }
    if (!literal.empty())
        result.parts_.push_back({std::move(literal), -1});
    return result;
}

std::string Template::expand(const Lookup &lookup, const Transform &transform, std::vector<const TemplateField *> *missing) const
{
    std::string out;
    for (const Part &part : parts_) {
        if (part.field < 0) {
            out += part.literal;
            continue;
        }
        const TemplateField &field = fields_[size_t(part.field)];
        std::optional<std::string> value = lookup(field);
        if (!value) {
            if (missing)
                missing->push_back(&field);
            continue;
        }
        if (value->size() < field.width)
            value->insert(0, field.width - value->size(), field.zeroPad ? '0' : ' ');
        out += transform ? transform(*value) : *value;
    }
    return out;
}

size_t Template::literalCount(char c) const
{
    size_t count = 0;
    for (const Part &part : parts_)
        count += size_t(std::count(part.literal.begin(), part.literal.end(), c));
    return count;
}

std::optional<Template::Match> Template::match(std::string_view text) const
{
    Match out;
    if (!matchFrom(0, text, &out))
        return std::nullopt;
    return out;
}

bool Template::matchFrom(size_t index, std::string_view rest, Match *out) const
{
    if (index == parts_.size())
        return rest.empty();
    const Part &part = parts_[index];
    if (part.field < 0)
        return rest.substr(0, part.literal.size()) == part.literal && matchFrom(index + 1, rest.substr(part.literal.size()), out);
    const TemplateField &field = fields_[size_t(part.field)];
    size_t longest = rest.size();
    if (field.info && field.info->valueType == 'I')
        longest = size_t(std::find_if_not(rest.begin(), rest.end(), isDigit) - rest.begin());
    // The last part takes everything left; any other field as little as lets the rest match.
    size_t shortest = index + 1 == parts_.size() ? rest.size() : 1;
    for (size_t length = std::max<size_t>(shortest, 1); length <= longest; ++length) {
        out->emplace_back(&field, std::string(rest.substr(0, length)));
        if (matchFrom(index + 1, rest.substr(length), out))
            return true;
        out->pop_back();
    }
    return false;
}

} // namespace kestrabel::cli
