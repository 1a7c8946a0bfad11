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

std::string audioAsJson(const MediaFileAudioProperties &audio)
{
    return "{\"codec\": " + jsonString(audio.codec ? audio.codec : "?") + ", \"durationMs\": " + std::to_string(audio.durationMs) +
           ", \"sampleRate\": " + std::to_string(audio.sampleRate) + ", \"channels\": " + std::to_string(audio.channels) +
           ", \"bitsPerSample\": " + std::to_string(audio.bitsPerSample) + ", \"bitRate\": " + std::to_string(audio.bitRate) + "}";
}

std::string reportAsJson(const FileReport &report)
{
    std::string out = "{\"path\": " + jsonString(report.path);
    if (report.status != kMediaFileNoErr) {
        out += ", \"status\": " + std::to_string(report.status);
        std::string error = std::string(MediaFileGetStatusName(report.status)) + ": " + MediaFileGetStatusMessage(report.status);
        out += ", \"error\": " + jsonString(error) + "}";
        return out;
    }
    out += ", \"kind\": " + jsonString(kindNameOf(report));
    if (report.audio)
        out += ", \"audio\": " + audioAsJson(*report.audio);
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
    std::string out = report.path + " (" + kindNameOf(report) + ")\n";
    if (report.audio)
        out += "  Audio: " + audioSummary(*report.audio) + "\n";
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
