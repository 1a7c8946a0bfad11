// MediaFileRemoveValue on every writable kind, for every data ID the kind takes: afterwards,
// in memory and after a save, the getter finds nothing.
#include "KindTable.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

using namespace kestrabel::test;

namespace {

// The Ogg handler's own status for an absent comment (kOggVorbisErrNoComment).
constexpr MediaFileStatus kOggAbsent = 2005;

// Values with a fixed place in their block, which can only be emptied: the Broadcast Wave
// fields of the bext chunk (the coding history keeps its line break) and the FLAC vendor string.
bool emptiedNotRemoved(MediaFileType kind, MediaFileDataID id)
{
    return (id >= kMediaFileDataIDBWFDescription && id <= kMediaFileDataIDBWFCodingHistory) ||
           (kind == kMediaFileTypeFLAC && id == kMediaFileDataIDEncodedBy);
}

// Two answers a removal leaves on purpose. A total shares its field with a number that stays
// ("3/12" becomes "3"), so it reads as 0. The ID3 artist getter falls back to the album artist,
// another value that stays.
bool keptByRule(MediaFileRef ref, MediaFileDataID id, const std::string &text)
{
    if (id == kMediaFileDataIDTotalTracks || id == kMediaFileDataIDTotalDisks) {
        const MediaFileDataID number = id == kMediaFileDataIDTotalTracks ? kMediaFileDataIDTrackNumber : kMediaFileDataIDDiskNumber;
        int32_t total = -1;
        return MediaFileGetInteger(ref, id, &total) == 0 && total == 0 && MediaFileGetInteger(ref, number, nullptr) == 0;
    }
    if (id == kMediaFileDataIDArtist) {
        char *albumArtist = nullptr;
        if (MediaFileGetString(ref, kMediaFileDataIDBandOrOrchestra, &albumArtist) != 0)
            return false;
        const bool same = text == albumArtist;
        std::free(albumArtist);
        return same;
    }
    return false;
}

MediaFileStatus setSample(MediaFileRef ref, const MediaFileDataIDInfo &info, const std::vector<uint8_t> &image)
{
    if (info.valueType == 'I')
        return MediaFileSetInteger(ref, info.dataID, 3);
    if (info.valueType == 'S')
        return MediaFileSetString(ref, info.dataID, "sample");
    if (info.dataID == kMediaFileDataIDVolume) {
        const std::vector<uint8_t> record(52, 1);
        return MediaFileSetData(ref, info.dataID, record.data(), record.size());
    }
    return MediaFileSetData(ref, info.dataID, image.data(), image.size());
}

MediaFileStatus presence(MediaFileRef ref, const MediaFileDataIDInfo &info, std::string *text)
{
    if (info.valueType == 'I')
        return MediaFileGetInteger(ref, info.dataID, nullptr);
    if (info.valueType == 'D')
        return MediaFileGetData(ref, info.dataID, nullptr, nullptr);
    char *value = nullptr;
    MediaFileStatus status = MediaFileGetString(ref, info.dataID, &value);
    if (status == 0) {
        *text = value;
        std::free(value);
    }
    return status;
}

class RemoveContract : public ::testing::TestWithParam<KindCase> {};

TEST_P(RemoveContract, EveryIDTheKindTakesGoesWithoutTrace)
{
    const KindCase &kind = GetParam();
    const std::vector<uint8_t> image = readFile(fixturePath("mp3-cover.jpg"));
    const MediaFileStatus absent = kind.kind == kMediaFileTypeOgg ? kOggAbsent : kMediaFileErrNotFound;
    size_t tried = 0;
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        const MediaFileDataIDInfo &info = *MediaFileGetDataIDInfoAt(i);
        if (info.readOnly || info.valueType == '-' || info.valueType == 'P')
            continue;
        TempDir dir;
        const std::string path = dir.copyFixture(kind.fixture);
        std::string text;
        {
            OpenFile file(path);
            ASSERT_EQ(file.status(), 0);
            // An ID the kind does not take, or takes without a place for it, is not this test's.
            if (setSample(file.ref(), info, image) != 0 || presence(file.ref(), info, &text) != 0)
                continue;
            ++tried;
            ASSERT_EQ(MediaFileRemoveValue(file.ref(), info.dataID), 0) << info.constantName;
            ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion), 0) << info.constantName;
        }
        OpenFile reopened(path);
        ASSERT_EQ(reopened.status(), 0);
        text.clear();
        const MediaFileStatus status = presence(reopened.ref(), info, &text);
        if (emptiedNotRemoved(kind.kind, info.dataID)) {
            const bool blank = text.find_first_not_of("\r\n") == std::string::npos;
            EXPECT_TRUE(status == 0 ? blank : status == absent) << info.constantName << ": " << text;
        } else if (status == 0 && keptByRule(reopened.ref(), info.dataID, text)) {
            continue;
        } else {
            EXPECT_EQ(status, absent) << info.constantName;
        }
    }
    EXPECT_GE(tried, 7u) << "every kind takes at least the common texts and numbers";
}

INSTANTIATE_TEST_SUITE_P(EveryWritableKind, RemoveContract, ::testing::ValuesIn(writableKinds()),
                         [](const auto &info) { return info.param.name; });

TEST(RemoveContract, RefusedWhereNothingCanGo)
{
    TempDir dir;
    const std::string mp3 = dir.copyFixture("id3v23-full.mp3");
    const std::string jpeg = dir.copyFixture("exif-camera.jpg");
    OpenFile file(mp3);
    OpenFile image(jpeg);
    ASSERT_EQ(file.status(), 0);
    ASSERT_EQ(image.status(), 0);
    const struct {
        MediaFileRef ref;
        MediaFileDataID id;
        MediaFileStatus status;
    } rows[] = {
        {nullptr, kMediaFileDataIDTitle, kMediaFileErrNullRef},
        {image.ref(), kMediaFileDataIDMake, kMediaFileErrUnsupported},     // EXIF is read only
        {file.ref(), kMediaFileDataIDBitRate, kMediaFileErrUnsupported},   // read-only ID
        {file.ref(), kMediaFileDataIDFilename, kMediaFileErrUnsupported},  // from the path
        {file.ref(), kMediaFileDataIDFileSize, kMediaFileErrUnsupported},  // name only
        {file.ref(), kMediaFileDataIDNetwork, kMediaFileErrUnsupported},   // MP4 only
        {file.ref(), kMediaFileDataIDPublisher, kMediaFileNoErr},
        {file.ref(), kMediaFileDataIDPublisher, kMediaFileNoErr},          // already gone: no error
    };
    for (const auto &row : rows)
        EXPECT_EQ(MediaFileRemoveValue(row.ref, row.id), row.status) << row.id;
}

} // namespace
