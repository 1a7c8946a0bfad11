#include "MP4TestSupport.h"

#include "TestSupport.h"

#include <gtest/gtest.h>

#include <set>

namespace kestrabel::test::mp4 {

namespace {

const std::set<std::string> kContainers = {"moov", "trak", "mdia", "minf", "stbl", "udta", "ilst", "dinf", "edts"};

uint64_t be(const std::vector<uint8_t> &bytes, uint64_t at, int width)
{
    uint64_t value = 0;
    for (int i = 0; i < width; ++i)
        value = value << 8 | bytes[at + i];
    return value;
}

void walk(const std::vector<uint8_t> &bytes, uint64_t start, uint64_t end, const std::string &path,
          std::vector<AtomSpan> &out)
{
    uint64_t offset = start;
    while (offset + 8 <= end) {
        AtomSpan atom;
        atom.offset = offset;
        atom.size = be(bytes, offset, 4);
        std::string type(bytes.begin() + static_cast<long>(offset) + 4, bytes.begin() + static_cast<long>(offset) + 8);
        if (atom.size == 1 && offset + 16 <= end) {
            atom.size = be(bytes, offset + 8, 8);
            atom.headerLength = 16;
        } else if (atom.size == 0) {
            atom.size = end - offset;
        }
        if (atom.size < atom.headerLength || atom.size > end - offset)
            return;
        atom.path = path + "." + type;
        out.push_back(atom);
        bool isItem = path.size() >= 5 && path.compare(path.size() - 5, 5, ".ilst") == 0;
        if (kContainers.count(type) || isItem)
            walk(bytes, offset + atom.headerLength, offset + atom.size, atom.path, out);
        else if (type == "meta")
            walk(bytes, offset + 12, offset + atom.size, atom.path, out);
        offset += atom.size;
    }
}

std::string capture(const std::string &command, bool mergeStderr = true)
{
    std::string output;
    runCommand(command, &output, mergeStderr);
    return output;
}

} // namespace

std::vector<AtomSpan> listAtoms(const std::vector<uint8_t> &bytes)
{
    std::vector<AtomSpan> atoms;
    walk(bytes, 0, bytes.size(), "", atoms);
    return atoms;
}

AtomSpan findAtom(const std::vector<uint8_t> &bytes, const std::string &path, size_t nth)
{
    for (const AtomSpan &atom : listAtoms(bytes))
        if (atom.path == path && nth-- == 0)
            return atom;
    ADD_FAILURE() << "no atom " << path;
    return {};
}

size_t countAtoms(const std::vector<uint8_t> &bytes, const std::string &path)
{
    size_t count = 0;
    for (const AtomSpan &atom : listAtoms(bytes))
        count += atom.path == path;
    return count;
}

std::vector<uint8_t> payload(const std::vector<uint8_t> &bytes, const AtomSpan &atom)
{
    if (atom.path.empty())
        return {};
    return std::vector<uint8_t>(bytes.begin() + static_cast<long>(atom.offset + atom.headerLength),
                                bytes.begin() + static_cast<long>(atom.offset + atom.size));
}

std::vector<uint64_t> chunkOffsets(const std::vector<uint8_t> &bytes, const AtomSpan &table)
{
    std::vector<uint8_t> body = payload(bytes, table);
    int width = table.path.size() >= 4 && table.path.substr(table.path.size() - 4) == "co64" ? 8 : 4;
    std::vector<uint64_t> offsets;
    if (body.size() < 8)
        return offsets;
    uint64_t count = be(body, 4, 4);
    for (uint64_t i = 0; i < count && 8 + (i + 1) * width <= body.size(); ++i)
        offsets.push_back(be(body, 8 + i * width, width));
    return offsets;
}

std::string probedTags(const std::string &path)
{
    return capture("ffprobe -v error -show_entries format_tags -of default=noprint_wrappers=1:nokey=0 " + shellQuote(path));
}

std::string runMutagen(const std::string &snippet, const std::string &path, int *exitStatus)
{
    TempDir dir;
    std::string script = dir.file("snippet.py");
    writeFile(script, "import sys\nfrom mutagen.mp4 import MP4, MP4Cover\npath = sys.argv[1]\n" + snippet + "\n");
    std::string output;
    int status = runCommand("/usr/bin/python3 " + shellQuote(script) + " " + shellQuote(path), &output, true);
    if (exitStatus)
        *exitStatus = status;
    return output;
}

bool haveMutagen() { return runCommand("/usr/bin/python3 -c 'import mutagen.mp4' >/dev/null 2>&1") == 0; }

bool haveFfmpeg() { return haveTool("ffmpeg") && haveTool("ffprobe"); }

} // namespace kestrabel::test::mp4
