#include "FlacTestSupport.h"

#include "TestSupport.h"

#include <sstream>

namespace kestrabel::test {

namespace {

uint32_t littleEndian32(const std::vector<uint8_t> &bytes, size_t at)
{
    return static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 | static_cast<uint32_t>(bytes[at + 2]) << 16 |
           static_cast<uint32_t>(bytes[at + 3]) << 24;
}

} // namespace

std::vector<int> FlacLayout::types() const
{
    std::vector<int> out;
    for (const FlacBlock &block : blocks)
        out.push_back(block.type);
    return out;
}

std::vector<std::string> FlacLayout::comments() const
{
    for (const FlacBlock &block : blocks) {
        if (block.type != 4)
            continue;
        const std::vector<uint8_t> &b = block.body;
        std::vector<std::string> out;
        size_t at = 4 + littleEndian32(b, 0);
        uint32_t count = littleEndian32(b, at);
        at += 4;
        for (uint32_t i = 0; i < count; ++i) {
            uint32_t length = littleEndian32(b, at);
            out.emplace_back(b.begin() + static_cast<long>(at + 4), b.begin() + static_cast<long>(at + 4 + length));
            at += 4 + length;
        }
        return out;
    }
    return {};
}

FlacLayout readFlacLayout(const std::string &path)
{
    std::vector<uint8_t> bytes = readFile(path);
    FlacLayout layout;
    if (bytes.size() < 4 || std::string(bytes.begin(), bytes.begin() + 4) != "fLaC")
        return layout;
    size_t at = 4;
    bool last = false;
    while (!last) {
        if (at + 4 > bytes.size())
            return layout;
        last = (bytes[at] & 0x80) != 0;
        int type = bytes[at] & 0x7F;
        size_t length = static_cast<size_t>(bytes[at + 1]) << 16 | static_cast<size_t>(bytes[at + 2]) << 8 | bytes[at + 3];
        at += 4;
        if (at + length > bytes.size())
            return layout;
        layout.blocks.push_back({type, std::vector<uint8_t>(bytes.begin() + static_cast<long>(at),
                                                            bytes.begin() + static_cast<long>(at + length))});
        at += length;
    }
    layout.audio.assign(bytes.begin() + static_cast<long>(at), bytes.end());
    layout.valid = true;
    return layout;
}

std::vector<std::string> metaflacTags(const std::string &path)
{
    std::string output;
    if (!haveTool("metaflac") || runCommand("metaflac --export-tags-to=- " + shellQuote(path), &output) != 0)
        return {};
    std::vector<std::string> lines;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

bool flacTestPasses(const std::string &path, std::string *output)
{
    if (!haveTool("flac"))
        return true;
    return runCommand("flac -s -t " + shellQuote(path), output, true) == 0;
}

} // namespace kestrabel::test
