// Reading the atom tree: what is kept, where containers are recognised, and the status each
// kind of damage gives.
#include "MP4TestSupport.h"
#include "TestSupport.h"
#include "mp4/MP4File.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <tuple>

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

// moov is kept in memory, everything else is skipped; every stco table is found in file order.
TEST(Mp4Parse, KeepsMoovInMemoryAndSkipsTheRest)
{
    const std::pair<const char *, std::vector<std::string>> cases[] = {
        {"tagged.m4a", {"ftyp", "free", "mdat", "moov"}},
        {"tagged-faststart.m4a", {"ftyp", "moov", "free", "mdat"}},
    };
    for (const auto &[name, topLevel] : cases) {
        SCOPED_TRACE(name);
        auto file = openFixture(name);
        ASSERT_TRUE(file);
        std::vector<uint8_t> bytes = readFile(fixturePath(name));
        EXPECT_EQ(file->fileSize, bytes.size());
        EXPECT_EQ(typesOf(file->topLevel), topLevel);
        for (const auto &atom : file->topLevel) {
            EXPECT_TRUE(atom->data.empty() || atom->type == kMoov) << typeName(atom->type) << " lies outside moov";
            EXPECT_EQ(atom->fileOffset, findAtom(bytes, "." + typeName(atom->type)).offset);
        }
        ASSERT_NE(file->moov, nullptr);
        EXPECT_EQ(child(*file->moov, "mvhd")->data, payload(bytes, findAtom(bytes, ".moov.mvhd")));
        const MP4Atom *meta = child(*child(*file->moov, "udta"), "meta");
        EXPECT_EQ(meta->data, std::vector<uint8_t>(4, 0)) << "only the version bytes; the children follow as nodes";
        EXPECT_EQ(file->ilst, child(*meta, "ilst"));
        const std::string stco = ".moov.trak.mdia.minf.stbl.stco";
        ASSERT_EQ(file->chunkOffsetTables.size(), countAtoms(bytes, stco));
        for (size_t i = 0; i < file->chunkOffsetTables.size(); ++i)
            EXPECT_EQ(file->chunkOffsetTables[i]->data, payload(bytes, findAtom(bytes, stco, i)));
    }
}

TEST(Mp4Parse, AncestryTestReadsUpwardAndEndsAtTheTop)
{
    SmallTree tree;
    const std::tuple<MP4Atom *, const char *, MediaFileStatus> cases[] = {
        {tree.moov.get(), ".", kMediaFileNoErr},
        {tree.udta, ".moov.", kMediaFileNoErr},
        {tree.meta, ".udta.moov.", kMediaFileNoErr},
        {tree.item, ".ilst.meta.udta.moov.", kMediaFileNoErr},
        {tree.data, "..ilst.meta.udta.moov.", kMediaFileNoErr}, // ".." skips the item
        {tree.udta, ".", kMediaFileErrPastEnd},                 // udta still has a parent
        {tree.meta, ".udta.", kMediaFileErrPastEnd},            // udta is not top-level
        {tree.moov.get(), ".moov.", kMediaFileErrBadPath},      // moov has no parent
        {tree.udta, ".trak.moov.", kMP4ErrTypeMismatch},
        {tree.data, ".ilst.meta.udta.moov.", kMP4ErrTypeMismatch},
        {tree.udta, ".moo.", kMediaFileErrShortHeader},
    };
    for (const auto &[atom, path, status] : cases)
        EXPECT_EQ(checkAncestry(*atom, path), status) << typeName(atom->type) << " " << path;
}

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

// A large size is read before the type; a uuid atom has its extended type in its header.
TEST(Mp4Parse, LongHeadersAreTakenWhole)
{
    auto large = openFixture("large-size-header.m4a");
    auto uuid = openFixture("uuid-atoms.m4a");
    ASSERT_TRUE(large && uuid);
    const MP4Atom *kbtx = large->moov->children.back().get();
    EXPECT_EQ(typeName(kbtx->type), "kbtx");
    EXPECT_EQ(kbtx->headerLength, 16u);
    EXPECT_EQ(kbtx->totalSize, 24u);
    EXPECT_EQ(std::string(kbtx->data.begin(), kbtx->data.end()), "12345678");
    const MP4Atom *inside = uuid->moov->children.back().get(), *outside = uuid->topLevel.end()[-2].get();
    for (const MP4Atom *atom : {inside, outside}) {
        ASSERT_EQ(atom->type, kUuid);
        EXPECT_EQ(atom->headerLength, 24u);
    }
    EXPECT_EQ(std::string(inside->uuid().begin(), inside->uuid().end()), "\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1a\x1b\x1c\x1d\x1e\x1f");
    EXPECT_EQ(std::string(inside->data.begin(), inside->data.end()), "moov");
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
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDTitle, nullptr), kMediaFileErrNotFound);
    EXPECT_EQ(MediaFileGetData(file.ref(), kMediaFileDataIDArtwork, nullptr, nullptr), kMediaFileErrNotFound);
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
