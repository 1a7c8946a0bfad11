#include "Mp3TestSupport.h"

#include <cstring>
#include <fstream>

namespace kestrabel::test {

TagHeader readTagHeader(const std::vector<uint8_t> &file)
{
    TagHeader header;
    if (file.size() < 10 || std::memcmp(file.data(), "ID3", 3) != 0)
        return header;
    header.present = true;
    header.major = file[3];
    header.flags = file[5];
    header.size = 10 + (uint64_t(file[6]) << 21 | uint64_t(file[7]) << 14 | uint64_t(file[8]) << 7 | file[9]);
    return header;
}

bool hasV1(const std::vector<uint8_t> &file)
{
    return file.size() >= 128 && std::memcmp(file.data() + file.size() - 128, "TAG", 3) == 0;
}

std::vector<uint8_t> audioPart(const std::vector<uint8_t> &file)
{
    TagHeader header = readTagHeader(file);
    size_t start = header.present ? header.size : 0;
    size_t end = file.size() - (hasV1(file) ? 128 : 0);
    if (start > end)
        return {};
    return {file.begin() + start, file.begin() + end};
}

std::vector<uint8_t> v1Record(const std::vector<uint8_t> &file)
{
    if (!hasV1(file))
        return {};
    return {file.end() - 128, file.end()};
}

std::vector<RawFrame> rawFrames(const std::vector<uint8_t> &file, bool synchsafeSizes)
{
    std::vector<RawFrame> frames;
    TagHeader header = readTagHeader(file);
    size_t pos = 10;
    while (header.present && pos + 10 <= header.size && file[pos] != 0) {
        const uint8_t *p = file.data() + pos;
        uint32_t size = synchsafeSizes ? (uint32_t(p[4]) << 21 | uint32_t(p[5]) << 14 | uint32_t(p[6]) << 7 | p[7])
                                       : (uint32_t(p[4]) << 24 | uint32_t(p[5]) << 16 | uint32_t(p[6]) << 8 | p[7]);
        if (pos + 10 + size > header.size)
            break;
        frames.push_back({std::string(reinterpret_cast<const char *>(p), 4),
                          std::vector<uint8_t>(p + 10, p + 10 + size), p[8] << 8 | p[9]});
        pos += 10 + size;
    }
    return frames;
}

std::vector<RawFrame> rawFrames22(const std::vector<uint8_t> &file)
{
    std::vector<RawFrame> frames;
    TagHeader header = readTagHeader(file);
    size_t pos = 10;
    while (header.present && pos + 6 <= header.size && file[pos] != 0) {
        const uint8_t *p = file.data() + pos;
        uint32_t size = uint32_t(p[3]) << 16 | uint32_t(p[4]) << 8 | p[5];
        if (pos + 6 + size > header.size)
            break;
        frames.push_back({std::string(reinterpret_cast<const char *>(p), 3), std::vector<uint8_t>(p + 6, p + 6 + size), 0});
        pos += 6 + size;
    }
    return frames;
}

bool haveMutagen()
{
    return runCommand("/usr/bin/python3 -c 'import mutagen' >/dev/null 2>&1") == 0;
}

int runMutagen(const std::string &script, const std::string &path, std::string *output)
{
    TempDir dir;
    std::string scriptPath = dir.file("script.py");
    writeFile(scriptPath, script);
    return runCommand("/usr/bin/python3 " + shellQuote(scriptPath) + " " + shellQuote(path), output);
}

int runCli(const std::string &arguments, std::string *output)
{
    return runCommand(shellQuote(cliPath()) + " " + arguments, output, true);
}

std::string bytesAsText(const std::vector<uint8_t> &bytes) { return std::string(bytes.begin(), bytes.end()); }

} // namespace kestrabel::test
