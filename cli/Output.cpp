#include "Output.h"

#include "util/Text.h"

#include <cstdio>

namespace kestrabel::cli {

std::string jsonString(std::string_view raw)
{
    std::string text = util::sanitizeUtf8(raw);
    std::string out = "\"";
    for (unsigned char c : text) {
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
        default:
            if (c < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                out += escaped;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

std::string pathBytesField(std::string_view path)
{
    if (util::sanitizeUtf8(path) == path)
        return {};
    static constexpr char kHex[] = "0123456789abcdef";
    std::string hex;
    for (unsigned char c : path) {
        hex += kHex[c >> 4];
        hex += kHex[c & 15];
    }
    return ", \"path_bytes\": \"" + hex + "\"";
}

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
    out += ", \"kind\": " + jsonString(MediaFileGetTypeName(report.kind));
    out += ", \"status\": 0, \"values\": {";
    bool first = true;
    for (const Entry &entry : report.entries) {
        if (!first)
            out += ", ";
        first = false;
        out += jsonString(entry.info->constantName) + ": ";
        if (const auto *number = std::get_if<int32_t>(&entry.value))
            out += std::to_string(*number);
        else if (const auto *text = std::get_if<std::string>(&entry.value))
            out += jsonString(*text);
        else {
            const auto &bytes = std::get<ByteValue>(entry.value);
            out += "{\"length\": " + std::to_string(bytes.length) + ", \"sha256\": " + jsonString(bytes.sha256) + "}";
        }
    }
    return out + "}}";
}

std::string reportAsText(const FileReport &report)
{
    std::string out = report.path + " (" + MediaFileGetTypeName(report.kind) + ")\n";
    size_t width = 0;
    for (const Entry &entry : report.entries)
        width = std::max(width, std::string_view(entry.info->displayName).size());
    for (const Entry &entry : report.entries) {
        std::string name = entry.info->displayName;
        name.resize(width, ' ');
        out += "  " + name + " : ";
        if (const auto *number = std::get_if<int32_t>(&entry.value)) {
            out += std::to_string(*number);
        } else if (const auto *text = std::get_if<std::string>(&entry.value)) {
            // Keep one entry per line: continuation lines are indented under the value.
            std::string clean = util::sanitizeUtf8(*text);
            while (!clean.empty() && (clean.back() == '\n' || clean.back() == '\r'))
                clean.pop_back();
            std::string indent = "\n" + std::string(width + 5, ' ');
            for (char c : clean) {
                if (c == '\n')
                    out += indent;
                else if (c != '\r')
                    out += c;
            }
        } else {
            out += std::get<ByteValue>(entry.value).description;
        }
        out += "\n";
    }
    return out;
}

} // namespace kestrabel::cli
