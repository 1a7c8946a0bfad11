// Reading the atom tree: what is kept, where containers are recognised, and the status each
// kind of damage gives.
#include "MP4TestSupport.h"
#include "TestSupport.h"
#include "mp4/MP4File.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

using namespace kestrabel;
using namespace kestrabel::mp4;
using namespace kestrabel::test;
using namespace kestrabel::test::mp4;

namespace {

std::unique_ptr<MP4File> openFixture(const std::string &name)
{
    std::unique_ptr<MP4File> file;
    MediaFileStatus status = MP4FileOpen(fixturePath(name), &file);
    EXPECT_EQ(status, kMediaFileNoErr) << name;
    return file;
}

std::vector<std::string> typesOf(const AtomList &list)
{
    std::vector<std::string> types;
    for (const auto &atom : list)
        types.push_back(typeName(atom->type));
    return types;
}

const MP4Atom *child(const MP4Atom &parent, const char (&type)[5])
{
    for (const auto &atom : parent.children)
        if (atom->type == fourCC(type))
            return atom.get();
    return nullptr;
}

// moov(top) > udta > meta > ilst > ©nam > data, linked as the reader links them.
struct SmallTree {
    std::unique_ptr<MP4Atom> moov = MP4Atom::make(kMoov);
    MP4Atom *udta, *meta, *ilst, *item, *data;

    SmallTree()
    {
        udta = add(moov.get(), kUdta);
        meta = add(udta, kMeta);
        ilst = add(meta, kIlst);
        item = add(ilst, copyrightType("nam"));
        data = add(item, kData);
    }
    static MP4Atom *add(MP4Atom *parent, uint32_t type)
    {
        auto atom = MP4Atom::make(type);
        atom->parent = parent;
        return parent->children.emplace_back(std::move(atom)).get();
    }
};

} // namespace

TEST(Mp4Parse, KeepsMoovInMemoryAndSkipsTheRest)
{
    auto file = openFixture("tagged.m4a");
    ASSERT_TRUE(file);
    std::vector<uint8_t> bytes = readFile(fixturePath("tagged.m4a"));
    EXPECT_EQ(file->fileSize, bytes.size());
    EXPECT_EQ(typesOf(file->topLevel), (std::vector<std::string>{"ftyp", "free", "mdat", "moov"}));
    for (const auto &atom : file->topLevel) {
        if (atom->type != kMoov) {
            EXPECT_TRUE(atom->data.empty()) << typeName(atom->type) << " lies outside moov";
        }
    }
    ASSERT_NE(file->moov, nullptr);
    EXPECT_EQ(file->moov, file->topLevel.back().get());
    AtomSpan mdat = findAtom(bytes, ".mdat");
    EXPECT_EQ(file->topLevel[2]->fileOffset, mdat.offset);
    EXPECT_EQ(file->topLevel[2]->totalSize, mdat.size);

    const MP4Atom *mvhd = child(*file->moov, "mvhd");
    ASSERT_NE(mvhd, nullptr);
    EXPECT_EQ(mvhd->data, payload(bytes, findAtom(bytes, ".moov.mvhd")));
    const MP4Atom *meta = child(*child(*file->moov, "udta"), "meta");
    ASSERT_NE(meta, nullptr);
    EXPECT_EQ(meta->data, std::vector<uint8_t>(4, 0)) << "only the version bytes; the children follow as nodes";
    EXPECT_EQ(typesOf(meta->children), (std::vector<std::string>{"hdlr", "ilst"}));
    EXPECT_EQ(file->ilst, meta->children.back().get());
    ASSERT_EQ(file->chunkOffsetTables.size(), 1u);
    EXPECT_EQ(file->chunkOffsetTables[0]->data, payload(bytes, findAtom(bytes, ".moov.trak.mdia.minf.stbl.stco")));
}

TEST(Mp4Parse, FillsTheItemSlotsFfmpegWrote)
{
    auto file = openFixture("tagged.m4a");
    ASSERT_TRUE(file);
    const MP4ItemSlot absent[] = {MP4ItemSlot::Encoder, MP4ItemSlot::StandardGenre, MP4ItemSlot::CoverArt};
    for (size_t i = 0; i < kMP4ItemCount; ++i) {
        auto slot = static_cast<MP4ItemSlot>(i);
        bool expectAbsent = std::find(std::begin(absent), std::end(absent), slot) != std::end(absent);
        const MP4Atom *data = file->slot(slot);
        EXPECT_EQ(data == nullptr, expectAbsent) << typeName(kMP4ItemTypes[i]);
        if (data) {
            EXPECT_EQ(data->type, kData);
            EXPECT_EQ(data->parent->type, kMP4ItemTypes[i]);
            EXPECT_EQ(data->parent->parent, file->ilst);
        }
    }
}

TEST(Mp4Parse, TwoTracksGiveTwoChunkOffsetTablesInFileOrder)
{
    auto file = openFixture("tagged-faststart.m4a");
    ASSERT_TRUE(file);
    std::vector<uint8_t> bytes = readFile(fixturePath("tagged-faststart.m4a"));
    ASSERT_EQ(file->chunkOffsetTables.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        AtomSpan table = findAtom(bytes, ".moov.trak.mdia.minf.stbl.stco", i);
        EXPECT_EQ(file->chunkOffsetTables[i]->fileOffset, table.offset);
        EXPECT_EQ(file->chunkOffsetTables[i]->data.size(), 8u + 4 * 5);
    }
    EXPECT_EQ(typesOf(file->topLevel), (std::vector<std::string>{"ftyp", "moov", "free", "mdat"}));
}

TEST(Mp4Parse, AncestryTestReadsUpwardAndEndsAtTheTop)
{
    SmallTree tree;
    EXPECT_EQ(checkAncestry(*tree.moov, "."), kMediaFileNoErr);
    EXPECT_EQ(checkAncestry(*tree.udta, ".moov."), kMediaFileNoErr);
    EXPECT_EQ(checkAncestry(*tree.meta, ".udta.moov."), kMediaFileNoErr);
    EXPECT_EQ(checkAncestry(*tree.item, ".ilst.meta.udta.moov."), kMediaFileNoErr);
    EXPECT_EQ(checkAncestry(*tree.data, "..ilst.meta.udta.moov."), kMediaFileNoErr) << "'..' skips the item";

    EXPECT_EQ(checkAncestry(*tree.udta, "."), kMediaFileErrPastEnd) << "udta still has a parent";
    EXPECT_EQ(checkAncestry(*tree.meta, ".udta."), kMediaFileErrPastEnd) << "udta is not top-level";
    EXPECT_EQ(checkAncestry(*tree.moov, ".moov."), kMediaFileErrBadPath) << "moov has no parent";
    EXPECT_EQ(checkAncestry(*tree.udta, ".trak.moov."), kMP4ErrTypeMismatch);
    EXPECT_EQ(checkAncestry(*tree.data, ".ilst.meta.udta.moov."), kMP4ErrTypeMismatch);
    EXPECT_EQ(checkAncestry(*tree.udta, ".moo."), kMediaFileErrShortHeader);
}

// A meta whose version is not zero fails the open only where it is an iTunes meta: under a
// udta that belongs to a track it is just bytes.
TEST(Mp4Parse, ContainersAreOnlyEnteredWhereTheyBelong)
{
    std::vector<uint8_t> bytes = readFile(fixturePath("data-version-1.m4a"));
    AtomSpan udta = findAtom(bytes, ".moov.udta");
    AtomSpan trak = findAtom(bytes, ".moov.trak");
    ASSERT_LT(trak.offset, udta.offset);
    // Move udta (with its broken data atom) to the end of the trak; the sizes stay consistent.
    std::vector<uint8_t> moved(bytes.begin() + static_cast<long>(udta.offset),
                               bytes.begin() + static_cast<long>(udta.offset + udta.size));
    bytes.erase(bytes.begin() + static_cast<long>(udta.offset), bytes.begin() + static_cast<long>(udta.offset + udta.size));
    bytes.insert(bytes.begin() + static_cast<long>(trak.offset + trak.size), moved.begin(), moved.end());
    uint32_t trakSize = static_cast<uint32_t>(trak.size + udta.size);
    for (int i = 0; i < 4; ++i)
        bytes[trak.offset + i] = static_cast<uint8_t>(trakSize >> (24 - 8 * i));
    TempDir dir;
    std::string path = dir.file("udta-in-trak.m4a");
    writeFile(path, bytes);

    std::unique_ptr<MP4File> file;
    ASSERT_EQ(MP4FileOpen(path, &file), kMediaFileNoErr);
    const MP4Atom *trackUdta = child(*child(*file->moov, "trak"), "udta");
    ASSERT_NE(trackUdta, nullptr);
    EXPECT_TRUE(trackUdta->children.empty());
    EXPECT_EQ(trackUdta->data.size(), udta.size - 8) << "kept whole as an ordinary atom";
    EXPECT_EQ(file->ilst, nullptr);
    EXPECT_EQ(file->slot(MP4ItemSlot::Title), nullptr);
}

TEST(Mp4Parse, LargeSizeIsTakenBeforeTheType)
{
    auto file = openFixture("large-size-header.m4a");
    ASSERT_TRUE(file);
    const MP4Atom *atom = file->moov->children.back().get();
    EXPECT_EQ(typeName(atom->type), "kbtx");
    EXPECT_EQ(atom->headerLength, 16u);
    EXPECT_EQ(atom->totalSize, 24u);
    EXPECT_EQ(std::string(atom->data.begin(), atom->data.end()), "12345678");
}

TEST(Mp4Parse, UuidAtomsHaveTheExtendedTypeInTheirHeader)
{
    auto file = openFixture("uuid-atoms.m4a");
    ASSERT_TRUE(file);
    std::vector<uint8_t> expectedUuid;
    for (uint8_t b = 0x10; b < 0x20; ++b)
        expectedUuid.push_back(b);
    const MP4Atom *inside = file->moov->children.back().get();
    ASSERT_EQ(inside->type, kUuid);
    EXPECT_EQ(inside->headerLength, 24u);
    EXPECT_EQ(std::vector<uint8_t>(inside->uuid().begin(), inside->uuid().end()), expectedUuid);
    EXPECT_EQ(std::string(inside->data.begin(), inside->data.end()), "moov");
    const MP4Atom *outside = file->topLevel[file->topLevel.size() - 2].get();
    ASSERT_EQ(outside->type, kUuid);
    EXPECT_EQ(outside->headerLength, 24u);
    EXPECT_TRUE(outside->data.empty());
}

TEST(Mp4Parse, DamagedFilesGiveTheirStatusAndStayUntouched)
{
    struct Case {
        const char *fixture;
        MediaFileStatus status;
    };
    const Case cases[] = {
        {"truncated-moov.m4a", kMediaFileErrShortRead},
        {"child-past-parent.m4a", kMediaFileErrPastEnd},
        {"atom-size-over-limit.m4a", kMediaFileErrTell},
        {"atom-smaller-than-header.m4a", kMediaFileErrShortHeader},
        {"moov-short-tail.m4a", kMediaFileErrShortHeader},
        {"data-version-1.m4a", kMediaFileErrUnsupported},
        {"data-reserved-set.m4a", kMediaFileErrUnsupported},
        {"meta-version-1.m4a", kMediaFileErrUnsupported},
    };
    TempDir dir;
    for (const Case &c : cases) {
        std::string path = dir.copyFixture(c.fixture);
        std::vector<uint8_t> before = readFile(path);
        MediaFileRef ref = nullptr;
        EXPECT_EQ(MediaFileOpen(path.c_str(), &ref, 0), c.status) << c.fixture;
        EXPECT_EQ(ref, nullptr);
        EXPECT_EQ(readFile(path), before) << c.fixture;
    }
}

TEST(Mp4Parse, EmptyFileOpensWithNothingToReadOrSave)
{
    TempDir dir;
    std::string path = dir.copyFixture("empty.m4a");
    OpenFile file(path);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDTitle, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    file.integer(kMediaFileDataIDTrackNumber, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    file.data(kMediaFileDataIDArtwork, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "x"), kMediaFileErrUnsupported)
        << "a moov is never created";
    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileErrNotFound);
    EXPECT_EQ(std::filesystem::file_size(path), 0u);
}

// Prefixes of a real file cut around every atom's start and end and at steps in between: the
// reader must answer with a status, never crash or read past what is there.
TEST(Mp4Parse, EveryTruncationOfAFileIsRefusedCleanly)
{
    std::vector<uint8_t> bytes = readFile(fixturePath("tagged-faststart.m4a"));
    std::set<uint64_t> topLevelEnds, lengths;
    for (const AtomSpan &atom : listAtoms(bytes)) {
        if (atom.path.rfind('.') == 0)
            topLevelEnds.insert(atom.offset + atom.size);
        for (uint64_t at : {atom.offset, atom.offset + atom.headerLength, atom.offset + atom.size})
            for (uint64_t near = at - 1; near <= at + 1; ++near)
                lengths.insert(near);
    }
    for (uint64_t length = 1; length < bytes.size(); length += 37)
        lengths.insert(length);
    TempDir dir;
    std::string path = dir.file("cut.m4a");
    const std::set<MediaFileStatus> refusals = {kMediaFileErrShortRead, kMediaFileErrShortHeader, kMediaFileErrPastEnd};
    for (uint64_t length : lengths) {
        if (length == 0 || length >= bytes.size())
            continue;
        writeFile(path, std::vector<uint8_t>(bytes.begin(), bytes.begin() + static_cast<long>(length)));
        std::unique_ptr<MP4File> file;
        MediaFileStatus status = MP4FileOpen(path, &file);
        if (topLevelEnds.count(length)) {
            EXPECT_EQ(status, kMediaFileNoErr) << "a cut between top-level atoms leaves a sound file: " << length;
        } else {
            EXPECT_TRUE(refusals.count(status)) << "length " << length << ": " << status;
        }
    }
}
