// Opening and reading Ogg Vorbis files: the comment names and their aliases, the stream
// information, and the refusals of files that are no Ogg Vorbis.
#include "TestSupport.h"

#include "ogg/OggVorbisFile.h"

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

constexpr MediaFileStatus kNoComment = ogg::kOggVorbisErrNoComment;
constexpr MediaFileStatus kNotVorbis = ogg::kOggVorbisErrNotVorbis;

MediaFileStatus openStatus(const std::string &path, std::string *stderrText)
{
    ::testing::internal::CaptureStderr();
    MediaFileStatus status = MediaFileOpen(path.c_str(), nullptr, 0);
    *stderrText = ::testing::internal::GetCapturedStderr();
    return status;
}

} // namespace

TEST(OggRead, EveryCommentOfATaggedFile)
{
    OpenFile file(fixturePath("vorbis-tagged.ogg"));
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Nächtliche Fahrt");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Kestrel Quartet");
    EXPECT_EQ(file.string(kMediaFileDataIDAlbum), "Small Hours");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Jazz");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), "recorded live");
    EXPECT_EQ(file.string(kMediaFileDataIDComposer), "A. Composer");
    EXPECT_EQ(file.string(kMediaFileDataIDDate), "2019-04-02");
    EXPECT_EQ(file.string(kMediaFileDataIDISRC), "USRC17607839");
    EXPECT_EQ(file.string(kMediaFileDataIDCopyright), "2019 Kestrel");
    EXPECT_EQ(file.string(kMediaFileDataIDPerformer), "The Quartet");
    EXPECT_EQ(file.string(kMediaFileDataIDDescription), "Late set");
    EXPECT_EQ(file.integer(kMediaFileDataIDYear), 2019);
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 3);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 12);
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalDisks), 2);
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDBPM), 96);
    EXPECT_EQ(file.string(kMediaFileDataIDTrackNumber), "3");
    EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy), "Xiph.Org libVorbis I 20200704 (Reducing Environment)");
}

TEST(OggRead, StreamInformation)
{
    OpenFile file(fixturePath("vorbis-tagged.ogg"));
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.integer(kMediaFileDataIDChannels), 1);
    EXPECT_EQ(file.integer(kMediaFileDataIDSampleRate), 11025);
    // oggenc -q 0 at 11,025 Hz mono sets only the nominal rate, 20,000 bits/s; counted in 1,024s.
    EXPECT_EQ(file.integer(kMediaFileDataIDBitRate), 19);
    MediaFileStatus status = 0;
    file.integer(kMediaFileDataIDPlayTime, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);

    OpenFile managed(fixturePath("vorbis-managed-bitrate.ogg"));
    ASSERT_EQ(managed.status(), 0);
    EXPECT_EQ(managed.integer(kMediaFileDataIDBitRate), 187) << "the upper rate of a managed stream";
    EXPECT_EQ(managed.integer(kMediaFileDataIDChannels), 2);
    EXPECT_EQ(managed.integer(kMediaFileDataIDSampleRate), 44100);
}

TEST(OggRead, BitRateRules)
{
    std::string text;
    EXPECT_EQ(ogg::bitRateFromHints(192000, 160000, 128000, &text), 187);
    EXPECT_EQ(text, "VBR (125-187)");
    EXPECT_EQ(ogg::bitRateFromHints(128000, 128000, 128000, &text), 125);
    EXPECT_EQ(text, "125");
    EXPECT_EQ(ogg::bitRateFromHints(-1, 160000, -1, &text), 156);
    EXPECT_EQ(text, "156");
    EXPECT_EQ(ogg::bitRateFromHints(0, 0, 0, &text), 0) << "all three equal, even when unset";
    EXPECT_EQ(text, "0");
    EXPECT_EQ(ogg::bitRateFromHints(-1, 0, 0, &text), 0);
    EXPECT_EQ(text, "0");
    EXPECT_EQ(ogg::bitRateFromHints(-1, 64000, 2048, &text), 0) << "a lower rate alone makes it VBR";
    EXPECT_EQ(text, "VBR (2-0)");
}

TEST(OggRead, AbsentAndUnsupportedValues)
{
    OpenFile file(fixturePath("vorbis-no-comments.ogg"));
    ASSERT_EQ(file.status(), 0);
    MediaFileStatus status = 0;
    file.string(kMediaFileDataIDTitle, &status);
    EXPECT_EQ(status, kNoComment);
    file.integer(kMediaFileDataIDTrackNumber, &status);
    EXPECT_EQ(status, kNoComment);
    file.integer(kMediaFileDataIDCompilation, &status);
    EXPECT_EQ(status, kNoComment);
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDTitle, nullptr), kNoComment) << "presence test";
    EXPECT_EQ(MediaFileGetString(file.ref(), kMediaFileDataIDEncodedBy, nullptr), 0);
    for (MediaFileDataID id : {kMediaFileDataIDLyrics, kMediaFileDataIDGrouping, kMediaFileDataIDSortOrder, kMediaFileDataIDMake}) {
        file.string(id, &status);
        EXPECT_EQ(status, kMediaFileErrUnsupported) << id;
    }
    file.data(kMediaFileDataIDArtwork, &status);
    EXPECT_EQ(status, kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDEncodedBy, "me"), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, "x", 1), kMediaFileErrUnsupported);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTrackNumber, "x"), kMediaFileErrBadFormat);
}

TEST(OggRead, AliasesAreReadButNotWritten)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-aliases.ogg");
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 12) << "TOTALTRACKS stands in for TRACKTOTAL";
        EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 2) << "DISCNUMBER stands in for DISC";
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTotalTracks, 13), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDDiskNumber, 3), 0);
        EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 13);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    ogg::OggVorbisFilePtr handle;
    ASSERT_EQ(ogg::OggVorbisFileOpen(path.c_str(), &handle), 0);
    std::string value;
    ASSERT_EQ(ogg::OggVorbisGetComment(*handle, "TOTALTRACKS", &value), 0);
    EXPECT_EQ(value, "12") << "the old entry stays";
    ASSERT_EQ(ogg::OggVorbisGetComment(*handle, "TRACKTOTAL", &value), 0);
    EXPECT_EQ(value, "13");
    ASSERT_EQ(ogg::OggVorbisGetComment(*handle, "DISCNUMBER", &value), 0);
    EXPECT_EQ(value, "2");
    ASSERT_EQ(ogg::OggVorbisGetComment(*handle, "DISC", &value), 0);
    EXPECT_EQ(value, "3");
    EXPECT_EQ(vorbis_comment_query_count(handle->comment.get(), "DISC"), 1);
}

TEST(OggRead, SettingReplacesTheFirstEntryThatStartsWithTheName)
{
    ogg::OggVorbisFilePtr handle;
    ASSERT_EQ(ogg::OggVorbisFileOpen(fixturePath("vorbis-discc-before-disc.ogg").c_str(), &handle), 0);
    vorbis_comment *comment = handle->comment.get();
    ASSERT_EQ(comment->comments, 2);
    ASSERT_EQ(ogg::OggVorbisSetComment(*handle, "DISC", "7"), 0);
    EXPECT_STREQ(comment->user_comments[0], "DISC=7") << "DISCC comes first and starts with DISC";
    EXPECT_EQ(comment->comment_lengths[0], 6);
    EXPECT_STREQ(comment->user_comments[1], "DISC=1");
    std::string value;
    EXPECT_EQ(ogg::OggVorbisGetComment(*handle, "DISCC", &value), kNoComment);

    ASSERT_EQ(ogg::OggVorbisSetComment(*handle, "discnumber", "8"), 0);
    EXPECT_STREQ(comment->user_comments[0], "DISC=8") << "DISCNUMBER is written as DISC";
    ASSERT_EQ(ogg::OggVorbisSetComment(*handle, "Mood", "calm"), 0);
    EXPECT_EQ(comment->comments, 3);
    EXPECT_STREQ(comment->user_comments[2], "Mood=calm");
    ASSERT_EQ(ogg::OggVorbisGetComment(*handle, "MOOD", &value), 0) << "names match ignoring case";
    EXPECT_EQ(value, "calm");
}

TEST(OggRead, CompilationReadsTrueWhenTheValueBeginsWithOne)
{
    for (auto [stored, expected] : {std::pair{"10", 1}, std::pair{"1", 1}, std::pair{"0", 0}, std::pair{"yes", 0}, std::pair{"", 0}}) {
        TempDir dir;
        std::string path = dir.copyFixture("vorbis-no-comments.ogg");
        ogg::OggVorbisFilePtr handle;
        ASSERT_EQ(ogg::OggVorbisFileOpen(path.c_str(), &handle), 0);
        ASSERT_EQ(ogg::OggVorbisSetComment(*handle, "COMPILATION", stored), 0);
        ASSERT_EQ(ogg::OggVorbisFileSave(*handle), 0);
        OpenFile file(path);
        EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), expected) << stored;
    }
    for (auto [set, stored] : {std::pair{5, "1"}, std::pair{-1, "1"}, std::pair{0, "0"}}) {
        TempDir dir;
        std::string path = dir.copyFixture("vorbis-no-comments.ogg");
        {
            OpenFile file(path);
            ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDCompilation, set), 0);
            ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
        }
        ogg::OggVorbisFilePtr handle;
        ASSERT_EQ(ogg::OggVorbisFileOpen(path.c_str(), &handle), 0);
        std::string value;
        ASSERT_EQ(ogg::OggVorbisGetComment(*handle, "COMPILATION", &value), 0);
        EXPECT_EQ(value, stored) << set;
    }
}

TEST(OggRead, VendorAndArguments)
{
    ogg::OggVorbisFile empty;
    std::string vendor;
    EXPECT_EQ(ogg::OggVorbisGetVendor(empty, &vendor), ogg::kOggVorbisErrArgument);
    EXPECT_EQ(vendor, "-");
    EXPECT_EQ(ogg::OggVorbisGetComment(empty, nullptr, &vendor), ogg::kOggVorbisErrArgument);
    EXPECT_EQ(ogg::OggVorbisSetComment(empty, nullptr, "x"), ogg::kOggVorbisErrArgument);
    ogg::OggVorbisFilePtr handle;
    EXPECT_EQ(ogg::OggVorbisFileOpen(nullptr, &handle), ogg::kOggVorbisErrArgument);
    EXPECT_EQ(ogg::OggVorbisFileOpen("/nonexistent/file.ogg", &handle), ENOENT);
    EXPECT_EQ(ogg::OggVorbisFileSave(empty), kNotVorbis) << "nothing to save without headers";
}

TEST(OggRead, FilesThatAreNoOggVorbisAreRefusedWithTheirReason)
{
    struct Case {
        const char *fixture;
        const char *message;
    };
    const Case cases[] = {
        {"ogg-flac-not-vorbis.ogg", "This Ogg bitstream does not contain Vorbis audio data.\n"},
        {"ogg-truncated-first-page.ogg", "Error reading first page of Ogg bitstream data.\n"},
        {"vorbis-headerless.ogg", "Error reading first page of Ogg bitstream data.\n"},
        {"vorbis-truncated-headers.ogg", "EOF before end of vorbis headers.\n"},
        {"flac-tagged.flac", "Error reading first page of Ogg bitstream data.\n"},
    };
    TempDir dir;
    for (const Case &c : cases) {
        std::string path = dir.copyFixture(c.fixture, std::string(c.fixture) + ".ogg");
        std::vector<uint8_t> before = readFile(path);
        std::string messages;
        EXPECT_EQ(openStatus(path, &messages), kNotVorbis) << c.fixture;
        EXPECT_EQ(messages, c.message) << c.fixture;
        EXPECT_EQ(readFile(path), before);
    }
    std::string empty = dir.file("empty.ogg");
    writeFile(empty, std::string());
    std::string messages;
    EXPECT_EQ(openStatus(empty, &messages), kNotVorbis);
    EXPECT_EQ(messages, "Error reading first page of Ogg bitstream data.\n");
    EXPECT_EQ(openStatus(dir.file("missing.ogg"), &messages), ENOENT);
}

TEST(OggRead, AHandleWithoutItsLaterHeadersSaysWhy)
{
    ::testing::internal::CaptureStderr();
    ogg::OggVorbisFilePtr handle;
    ASSERT_EQ(ogg::OggVorbisFileOpen(fixturePath("vorbis-truncated-headers.ogg").c_str(), &handle), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_FALSE(handle->headersRead);
    EXPECT_STREQ(handle->lastError, "EOF before end of vorbis headers.");
    EXPECT_TRUE(handle->mainHeader.empty());
    EXPECT_EQ(handle->comment.get()->comments, 0) << "the states are cleared";
    EXPECT_EQ(ogg::OggVorbisGetChannels(*handle), 0);

    // The first page with its identification header, then the audio pages of the same stream.
    std::vector<uint8_t> bytes = readFile(fixturePath("vorbis-tagged.ogg"));
    std::vector<uint8_t> audio = readFile(fixturePath("vorbis-headerless.ogg"));
    bytes.resize(58);
    bytes.insert(bytes.end(), audio.begin(), audio.end());
    TempDir dir;
    writeFile(dir.file("spliced.ogg"), bytes);
    ASSERT_EQ(ogg::OggVorbisFileOpen(dir.file("spliced.ogg").c_str(), &handle), 0);
    EXPECT_FALSE(handle->headersRead);
    EXPECT_STREQ(handle->lastError, "Corrupt secondary header.") << "page numbers 1 and 2 are missing";
}

TEST(OggRead, AudioOnlyOpenAcceptsOgg)
{
    OpenFile file(fixturePath("vorbis-tagged.ogg"), kMediaFileFlagAudioOnly);
    EXPECT_EQ(file.status(), 0);
    MediaFileType kind = 0;
    MediaFileGetType(file.ref(), &kind);
    EXPECT_EQ(kind, kMediaFileTypeOgg);
}
