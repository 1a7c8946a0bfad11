// The "%{Track Number:02} %{Title}" templates of show --format, rename and from-name: parsed
// once, then expanded into text or matched against a file name.
#pragma once

#include <kestrabel/MediaFile.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrabel::cli {

struct TemplateField {
    enum class Source { Value, Path, Kind, Skip };
    Source source = Source::Value;
    const MediaFileDataIDInfo *info = nullptr; // for Source::Value
    unsigned width = 0;                        // ":3" pads with blanks, ":03" with zeros
    bool zeroPad = false;
    std::string name; // as written, for messages
};

class Template {
public:
    // Fields are %{NAME} or %{NAME:WIDTH}; NAME is a data-ID name as 'kestrabel-tag names'
    // lists them, "path", "kind", or "*" (from-name: any text, ignored). "%%" is a percent sign.
    static std::optional<Template> parse(std::string_view text, std::string *error);

    // The field's value, or nothing when the file has none.
    using Lookup = std::function<std::optional<std::string>(const TemplateField &)>;
    // Applied to each value after padding (escaping, or making it fit a file name); the literal
    // text is kept as written.
    using Transform = std::function<std::string(std::string_view)>;

    // A field without a value expands to nothing and is added to *missing when given.
    std::string expand(const Lookup &lookup, const Transform &transform = {},
                       std::vector<const TemplateField *> *missing = nullptr) const;

    // Splits text into the template's fields: the literal parts must match exactly, every field
    // takes at least one character and as few as it can, and a field of an integer data ID
    // takes digits only. Nothing when the text does not fit.
    using Match = std::vector<std::pair<const TemplateField *, std::string>>;
    std::optional<Match> match(std::string_view text) const;

    const std::vector<TemplateField> &fields() const { return fields_; }
    // How often c occurs in the literal text (not in the fields).
    size_t literalCount(char c) const;

private:
    struct Part {
        std::string literal; // used when field < 0
        int field = -1;
    };
    bool matchFrom(size_t part, std::string_view rest, Match *out) const;

    std::vector<Part> parts_;
    std::vector<TemplateField> fields_;
};

} // namespace kestrabel::cli
