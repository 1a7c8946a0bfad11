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

// Items are containers too; meta has four bytes of version and flags before its children.
void walk(const std::vector<uint8_t> &bytes, uint64_t offset, uint64_t end, const std::string &path, std::vector<AtomSpan> &out)
{
    while (offset + 8 <= end) {
        AtomSpan atom{"", offset, be(bytes, offset, 4)};
        const std::string type(bytes.begin() + long(offset) + 4, bytes.begin() + long(offset) + 8);
        if (atom.size == 1 && offset + 16 <= end)
            atom = {"", offset, be(bytes, offset + 8, 8), 16};
        else if (atom.size == 0)
            atom.size = end - offset;
        if (atom.size < atom.headerLength || atom.size > end - offset)
            return;
        atom.path = path + "." + type;
        out.push_back(atom);
        if (kContainers.count(type) || path.ends_with(".ilst") || type == "meta")
            walk(bytes, offset + atom.headerLength + (type == "meta" ? 4 : 0), offset + atom.size, atom.path, out);
        offset += atom.size;
    }
}

} // namespace

std::vector<AtomSpan> listAtoms(const std::vector<uint8_t> &bytes)
{
    std::vector<AtomSpan> atoms;
    walk(bytes, 0, bytes.size(), "", atoms);
    return atoms;
}

AtomSpan findAtom(const std::vector<uint8_t> &bytes, const std::string &path)
{
    for (const AtomSpan &atom : listAtoms(bytes))
        if (atom.path == path)
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
    return std::vector<uint8_t>(bytes.begin() + long(atom.offset + (atom.path.empty() ? 0 : atom.headerLength)),
                                bytes.begin() + long(atom.offset + atom.size));
}

std::vector<uint64_t> chunkOffsets(const std::vector<uint8_t> &bytes, const std::string &path)
{
    const uint64_t width = path.ends_with("co64") ? 8 : 4;
    std::vector<uint64_t> offsets;
    for (const AtomSpan &table : listAtoms(bytes)) {
        if (table.path != path)
            continue;
        const std::vector<uint8_t> body = payload(bytes, table);
        for (uint64_t i = 0; body.size() >= 8 && i < be(body, 4, 4) && 8 + (i + 1) * width <= body.size(); ++i)
            offsets.push_back(be(body, 8 + i * width, int(width)));
    }
    return offsets;
}

} // namespace kestrabel::test::mp4
