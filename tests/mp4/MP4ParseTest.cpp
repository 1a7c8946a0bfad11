// Reading the atom tree: what is kept, where containers are recognised, and the status each
// kind of damage gives.
#include "MP4TestSupport.h"
#include "TestSupport.h"
#include "mp4/MP4File.h"
#include "util/ByteCursor.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

using namespace kestrabel::mp4;
using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

using Bytes = std::vector<uint8_t>;

void setSize(Bytes &b, const AtomSpan &atom, uint32_t size) { kestrabel::util::putBigEndian(b.data() + atom.offset, 4, size); }

// udta (with its broken data atom) moved to the end of the trak, where it is an ordinary atom.
void moveUdtaIntoTrak(Bytes &b)
{
    const AtomSpan udta = findAtom(b, ".moov.udta"), trak = findAtom(b, ".moov.trak");
    const Bytes moved(b.begin() + long(udta.offset), b.begin() + long(udta.offset + udta.size));
    b.erase(b.begin() + long(udta.offset), b.begin() + long(udta.offset + udta.size));
    b.insert(b.begin() + long(trak.offset + trak.size), moved.begin(), moved.end());
    setSize(b, trak, uint32_t(trak.size + udta.size));
}

// The last item of ilst, which ends where ilst, meta, udta and moov end.
AtomSpan lastItem(const Bytes &b)
{
    const AtomSpan moov = findAtom(b, ".moov");
    AtomSpan last = moov;
    for (const AtomSpan &atom : listAtoms(b))
        if (atom.offset + atom.size == moov.offset + moov.size && atom.path.size() > last.path.size() && !atom.path.ends_with(".data"))
            last = atom;
    return last;
}

} // namespace

// A uuid atom has its extended type in its header, inside moov and at the top level alike.
TEST(Mp4Parse, UuidHeadersAreTakenWhole)
{
    std::unique_ptr<MP4File> file;
    ASSERT_EQ(MP4FileOpen(fixturePath("uuid-atoms.m4a"), &file), kMediaFileNoErr);
    const MP4Atom *inside = file->moov->children.back().get(), *outside = file->topLevel.end()[-2].get();
    for (const MP4Atom *atom : {inside, outside}) {
        ASSERT_EQ(atom->type, kUuid);
        EXPECT_EQ(atom->headerLength, 24u);
    }
    EXPECT_EQ(std::string(inside->uuid().begin(), inside->uuid().end()), "\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1a\x1b\x1c\x1d\x1e\x1f");
    EXPECT_EQ(std::string(inside->data.begin(), inside->data.end()), "moov");
    EXPECT_TRUE(outside->data.empty());
}

// Each file opens with its status, reads its title or nothing, and stays as it was.
TEST(Mp4Parse, DamageAndOddLayouts)
{
    const struct {
        const char *fixture;
        void (*patch)(Bytes &);
        MediaFileStatus status;
        const char *title = "";
    } cases[] = {
        {"truncated-moov.m4a", nullptr, kMediaFileErrShortRead},
        {"child-past-parent.m4a", nullptr, kMediaFileErrPastEnd},
        {"tagged-faststart.m4a", [](Bytes &b) { AtomSpan a = lastItem(b); setSize(b, a, uint32_t(a.size + 1)); }, kMediaFileErrPastEnd},
        {"tagged-faststart.m4a", [](Bytes &b) { setSize(b, findAtom(b, ".mdat"), 0); }, kMediaFileNoErr, "Tiny Tone"}, // to the end
        {"atom-size-over-limit.m4a", nullptr, kMediaFileErrTell},
        {"atom-smaller-than-header.m4a", nullptr, kMediaFileErrShortHeader},
        {"moov-short-tail.m4a", nullptr, kMediaFileErrShortHeader},
        {"data-version-1.m4a", nullptr, kMediaFileErrUnsupported},
        {"data-version-1.m4a", moveUdtaIntoTrak, kMediaFileNoErr}, // containers are only entered where they belong
        {"data-reserved-set.m4a", nullptr, kMediaFileErrUnsupported},
        {"meta-version-1.m4a", nullptr, kMediaFileErrUnsupported},
    };
    TempDir dir;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.fixture);
        const std::string path = dir.copyFixture(c.fixture, "patched.m4a");
        Bytes before = readFile(path);
        if (c.patch) {
            c.patch(before);
            writeFile(path, before);
        }
        OpenFile file(path);
        EXPECT_EQ(file.status(), c.status);
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), c.title);
        EXPECT_EQ(readFile(path), before);
    }
}

TEST(Mp4Parse, EmptyFileOpensWithNothingToReadOrSave)
{
    TempDir dir;
    std::string path = dir.copyFixture("empty.m4a");
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDTitle, nullptr), kMediaFileErrNotFound);
    EXPECT_EQ(MediaFileGetData(file.ref(), kMediaFileDataIDArtwork, nullptr, nullptr), kMediaFileErrNotFound);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "x"), kMediaFileErrUnsupported) << "a moov is never created";
    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileErrNotFound);
    EXPECT_EQ(std::filesystem::file_size(path), 0u);
}

// Prefixes of a real file cut around every atom's start and end: the reader must answer with a
// status, never crash or read past what is there; a cut between top-level atoms leaves a sound file.
TEST(Mp4Parse, EveryTruncationOfAFileIsRefusedCleanly)
{
    const Bytes bytes = readFile(fixturePath("tagged-faststart.m4a"));
    std::set<uint64_t> topLevelEnds, lengths;
    for (const AtomSpan &atom : listAtoms(bytes)) {
        if (atom.path.rfind('.') == 0)
            topLevelEnds.insert(atom.offset + atom.size);
        for (uint64_t at : {atom.offset, atom.offset + atom.headerLength, atom.offset + atom.size})
            lengths.insert({at - 1, at, at + 1});
    }
    TempDir dir;
    const std::string path = dir.file("cut.m4a");
    for (uint64_t length : lengths) {
        if (length == 0 || length >= bytes.size())
            continue;
        writeFile(path, Bytes(bytes.begin(), bytes.begin() + long(length)));
        std::unique_ptr<MP4File> file;
        const MediaFileStatus status = MP4FileOpen(path, &file);
        EXPECT_TRUE(topLevelEnds.count(length) ? status == kMediaFileNoErr
                                               : status == kMediaFileErrShortRead || status == kMediaFileErrShortHeader || status == kMediaFileErrPastEnd)
            << "length " << length << ": " << status;
    }
}
