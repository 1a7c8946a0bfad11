// What every writable kind must do alike, whatever its format.
#include "KindTable.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

std::string extensionOf(const std::string &name) { return name.substr(name.rfind('.')); }

// The values every kind holds: (data ID, text; an integer ID's text is its number).
const std::pair<MediaFileDataID, const char *> kValues[] = {
    {kMediaFileDataIDTitle, "Title"},       {kMediaFileDataIDArtist, "Artist"}, {kMediaFileDataIDAlbum, "Album"},
    {kMediaFileDataIDComposer, "Composer"}, {kMediaFileDataIDTrackNumber, "3"}, {kMediaFileDataIDTotalTracks, "12"},
    {kMediaFileDataIDYear, "2024"},
};

bool isInteger(MediaFileDataID id) { return MediaFileGetDataIDInfo(id)->valueType == 'I'; }

class Contract : public ::testing::TestWithParam<KindCase> {
protected:
    void SetUp() override { path = dir.copyFixture(GetParam().fixture, "work" + extensionOf(GetParam().fixture)); }

    void setValues(MediaFileRef ref, const std::string &suffix)
    {
        for (const auto &[id, text] : kValues)
            ASSERT_EQ(isInteger(id) ? MediaFileSetInteger(ref, id, std::stoi(text)) : MediaFileSetString(ref, id, (text + suffix).c_str()), 0);
    }

    void expectValues(const std::string &suffix)
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        for (const auto &[id, text] : kValues) {
            EXPECT_EQ(file.string(id), isInteger(id) ? text : text + suffix) << "integer IDs also read as text";
            if (isInteger(id)) {
                EXPECT_EQ(file.integer(id), std::stoi(text));
            }
        }
    }

    TempDir dir;
    std::string path;
};

} // namespace

TEST_P(Contract, OpensAsItsKind)
{
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    MediaFileType kind = 0;
    MediaFileGetType(file.ref(), &kind);
    EXPECT_EQ(kind, GetParam().kind);
    EXPECT_EQ(file.string(kMediaFileDataIDFilenameClean), "work");
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDParent0, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
}

// A second update of one handle: the first grows the tag (a new file replaces the old), the second
// shrinks it again; both read back after reopening.
TEST_P(Contract, TextsAndNumbersRoundTripThroughTwoUpdatesOfOneHandle)
{
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    setValues(file.ref(), " Ünïcödé ☃ 日本語 🎵");
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, std::string(20000, 'c').c_str()), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0);
    expectValues(" Ünïcödé ☃ 日本語 🎵");
    setValues(file.ref(), " two");
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, "short"), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0);
    ASSERT_EQ(file.close(), 0);
    expectValues(" two");
    EXPECT_EQ(OpenFile(path).string(kMediaFileDataIDComment), "short");
}

// A save that grows the tag moves the audio (or the index that points to it): in place and through
// a new file it gives the same bytes, which decode to the samples of before.
TEST_P(Contract, AGrowingSaveKeepsTheAudioInPlaceAndThroughANewFile)
{
    std::string other = dir.copyFixture(GetParam().fixture, "other" + extensionOf(GetParam().fixture));
    for (const auto &[target, flags] : {std::pair{path, 0}, std::pair{other, int(kMediaFileFlagInPlace)}}) {
        OpenFile file(target);
        ASSERT_EQ(file.status(), 0);
        setValues(file.ref(), std::string(3000, 'g'));
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion | flags), 0);
    }
    EXPECT_EQ(readFile(path), readFile(other));
    if (!haveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    const std::string audio = decodedAudio(fixturePath(GetParam().fixture));
    ASSERT_NE(audio, "");
    EXPECT_EQ(decodedAudio(path), audio);
}

TEST_P(Contract, AFileThatVanishesBeforeTheSaveIsNotRecreated)
{
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "gone"), 0);
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_NE(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path())) << "not recreated, no temporary file left behind";
}

namespace {

// The Ogg handler's own status for an absent comment (kOggVorbisErrNoComment).
constexpr MediaFileStatus kOggAbsent = 2005;

// A value the getter finds (its text in *text), or the getter's status.
MediaFileStatus presence(MediaFileRef ref, const MediaFileDataIDInfo &info, std::string *text)
{
    if (info.valueType != 'S')
        return info.valueType == 'I' ? MediaFileGetInteger(ref, info.dataID, nullptr) : MediaFileGetData(ref, info.dataID, nullptr, nullptr);
    char *value = nullptr;
    const MediaFileStatus status = MediaFileGetString(ref, info.dataID, &value);
    *text = status == 0 ? value : "";
    std::free(value);
    return status;
}

// What a removal may leave on purpose: fields with a fixed place in their block can only be
// emptied (the bext fields, the coding history keeping its line break, and the FLAC vendor); a
// total shares its field with a number that stays ("3/12" becomes "3") and reads 0; the ID3
// artist getter falls back to the album artist, another value that stays.
bool leftByRule(MediaFileType kind, MediaFileRef ref, MediaFileDataID id, const std::string &text)
{
    if ((id >= kMediaFileDataIDBWFDescription && id <= kMediaFileDataIDBWFCodingHistory) || (kind == kMediaFileTypeFLAC && id == kMediaFileDataIDEncodedBy))
        return text.find_first_not_of("\r\n") == std::string::npos;
    int32_t total = -1;
    if (id == kMediaFileDataIDTotalTracks || id == kMediaFileDataIDTotalDisks)
        return MediaFileGetInteger(ref, id, &total) == 0 && total == 0 &&
               MediaFileGetInteger(ref, id == kMediaFileDataIDTotalTracks ? kMediaFileDataIDTrackNumber : kMediaFileDataIDDiskNumber, nullptr) == 0;
    std::string albumArtist;
    return id == kMediaFileDataIDArtist && presence(ref, *MediaFileGetDataIDInfo(kMediaFileDataIDBandOrOrchestra), &albumArtist) == 0 && text == albumArtist;
}

} // namespace

// MediaFileRemoveValue for every data ID the kind takes: after a save the getter finds nothing.
TEST_P(Contract, EveryIDTheKindTakesIsRemovedWithoutTrace)
{
    const std::vector<uint8_t> image = readFile(fixturePath("mp3-cover.jpg")), record(52, 1);
    size_t tried = 0;
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataIDInfo &info = *MediaFileGetDataIDInfoAt(i);
        if (info.readOnly || info.valueType == '-' || info.valueType == 'P')
            continue;
        const std::string copy = dir.copyFixture(GetParam().fixture, "remove" + extensionOf(GetParam().fixture));
        std::string text;
        {
            OpenFile file(copy);
            ASSERT_EQ(file.status(), 0);
            const std::vector<uint8_t> &bytes = info.dataID == kMediaFileDataIDVolume ? record : image;
            const MediaFileStatus set = info.valueType == 'I'   ? MediaFileSetInteger(file.ref(), info.dataID, 3)
                                        : info.valueType == 'S' ? MediaFileSetString(file.ref(), info.dataID, "sample")
                                                                : MediaFileSetData(file.ref(), info.dataID, bytes.data(), bytes.size());
            // An ID the kind does not take, or takes without a place for it, is not this test's.
            if (set != 0 || presence(file.ref(), info, &text) != 0)
                continue;
            ++tried;
            ASSERT_EQ(MediaFileRemoveValue(file.ref(), info.dataID), 0) << info.constantName;
            ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0) << info.constantName;
        }
        OpenFile reopened(copy);
        const MediaFileStatus status = presence(reopened.ref(), info, &text);
        if (status != 0 || !leftByRule(GetParam().kind, reopened.ref(), info.dataID, text)) {
            EXPECT_EQ(status, GetParam().kind == kMediaFileTypeOgg ? kOggAbsent : kMediaFileErrNotFound) << info.constantName << ": " << text;
        }
    }
    EXPECT_GE(tried, 7u) << "every kind takes at least the common texts and numbers";
}

INSTANTIATE_TEST_SUITE_P(EveryWritableKind, Contract, ::testing::ValuesIn(writableKinds()), [](const auto &info) { return info.param.name; });

TEST(Contract, RemovalRefusedWhereNothingCanGo)
{
    TempDir dir;
    OpenFile file(dir.copyFixture("id3v23-full.mp3")), image(dir.copyFixture("exif-camera.jpg"));
    ASSERT_EQ(file.status() | image.status(), 0);
    const std::tuple<MediaFileRef, MediaFileDataID, MediaFileStatus> rows[] = {
        {nullptr, kMediaFileDataIDTitle, kMediaFileErrNullRef},
        {image.ref(), kMediaFileDataIDMake, kMediaFileErrUnsupported},    // EXIF is read only
        {file.ref(), kMediaFileDataIDBitRate, kMediaFileErrUnsupported},  // read-only ID
        {file.ref(), kMediaFileDataIDFilename, kMediaFileErrUnsupported}, // from the path
        {file.ref(), kMediaFileDataIDFileSize, kMediaFileErrUnsupported}, // name only
        {file.ref(), kMediaFileDataIDNetwork, kMediaFileErrUnsupported},  // MP4 only
        {file.ref(), kMediaFileDataIDPublisher, kMediaFileNoErr},
        {file.ref(), kMediaFileDataIDPublisher, kMediaFileNoErr}, // already gone: no error
    };
    for (const auto &[ref, id, status] : rows)
        EXPECT_EQ(MediaFileRemoveValue(ref, id), status) << id;
}

// A save that has to grow a tag leaves room for the next edit (interop profile): 1 KiB and 1 % of
// the file in 512-byte units, the audio moved by whole 4 KiB blocks; the next, slightly longer edit
// then keeps the file's size and inode. The classic rules keep their own padding.
TEST(Contract, AGrowingSaveLeavesRoomForTheNextEdit)
{
    const std::tuple<const char *, MediaFileFlags, bool, bool> rows[] = {
        // fixture, profile, room for the next edit, grown by whole 4 KiB blocks (an old tag in 512-byte units)
        {"id3v24-full.mp3", kMediaFileFlagInterop, true, false},
        {"no-tags.mp3", kMediaFileFlagInterop, true, true},
        {"id3v24-full.mp3", 0, false, false},
        {"flac-tagged.flac", kMediaFileFlagInterop, true, true},
        {"tagged-faststart.m4a", kMediaFileFlagInterop, true, true},
        {"id3-middle.aiff", kMediaFileFlagInterop, true, false},
        {"id3-lowercase.wav", kMediaFileFlagInterop, true, false},
    };
    for (const auto &[fixture, profile, room, wholeBlocks] : rows) {
        SCOPED_TRACE(std::string(fixture) + (profile ? " interop" : " classic"));
        TempDir dir;
        const std::string path = dir.copyFixture(fixture);
        struct stat st[3] {};
        stat(path.c_str(), &st[0]);
        for (int edit = 1; edit <= 2; ++edit) {
            OpenFile file(path, profile | kMediaFileFlagIgnoreTagErrors);
            ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, std::string(2400 + 600 * edit, 'a').c_str()), 0);
            ASSERT_EQ(MediaFileUpdate(file.ref(), profile | kMediaFileFlagID3v24), 0);
            ASSERT_EQ(file.close(), 0);
            stat(path.c_str(), &st[edit]);
        }
        EXPECT_EQ(st[1].st_ino == st[2].st_ino && st[1].st_size == st[2].st_size, room);
        EXPECT_EQ((st[1].st_size - st[0].st_size) % 4096 == 0, wholeBlocks) << st[1].st_size - st[0].st_size;
    }
}
