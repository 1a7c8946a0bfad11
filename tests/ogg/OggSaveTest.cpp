// Saving Ogg Vorbis files: the header pages are rebuilt, the audio packets and every other
// logical stream come through unchanged, and a save that fails leaves the original alone.
#include "OggTestSupport.h"
#include "TestSupport.h"

#include "ogg/OggVorbisFile.h"
#include "util/FileOps.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/stat.h>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

// Restores the real system calls however a test ends.
struct FileOpsGuard {
    ~FileOpsGuard() { util::resetFileOps(); }
};

int gCallsBeforeFailure = 0;

ssize_t failingPwrite(int fd, const void *buffer, size_t count, off_t offset)
{
    if (gCallsBeforeFailure-- <= 0) {
        errno = ENOSPC;
        return -1;
    }
    return ::pwrite(fd, buffer, count, offset);
}

int failingFsync(int)
{
    errno = EIO;
    return -1;
}

int failingRename(const char *, const char *)
{
    errno = EXDEV;
    return -1;
}

// The status of a save attempted as an unprivileged user (root may write any file). The child
// process only calls the library; the parent makes the assertions.
MediaFileStatus updateAsNobody(const std::string &path, MediaFileDataID id, const char *text)
{
    int channel[2];
    if (pipe(channel) != 0)
        return -1;
    pid_t child = fork();
    if (child == 0) {
        close(channel[0]);
        MediaFileStatus status = -1;
        if (geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(65534) == 0 && setuid(65534) == 0)) {
            MediaFileRef ref = nullptr;
            status = MediaFileOpen(path.c_str(), &ref, 0);
            if (status == 0 && (status = MediaFileSetString(ref, id, text)) == 0)
                status = MediaFileUpdate(ref, 0);
            if (ref)
                MediaFileClose(ref);
        }
        (void)!write(channel[1], &status, sizeof status);
        _exit(0);
    }
    close(channel[1]);
    MediaFileStatus status = -1;
    (void)!read(channel[0], &status, sizeof status);
    close(channel[0]);
    waitpid(child, nullptr, 0);
    return status;
}

std::vector<std::string> folderEntries(const TempDir &dir)
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(dir.path()))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

void expectSameVorbisAudio(const OggStream &before, const OggStream &after)
{
    EXPECT_EQ(audioPackets(after), audioPackets(before)) << "the audio packets are copied unchanged";
    ASSERT_FALSE(after.pageGranules.empty());
    EXPECT_EQ(after.pageGranules.back(), before.pageGranules.back()) << "the same number of samples";
    EXPECT_TRUE(after.endsWithEos);
    EXPECT_EQ(vorbisGranuleProblems(after), "");
}

void expectValidOgg(const std::string &path)
{
    if (haveTool("ogginfo")) {
        EXPECT_EQ(ogginfoProblems(path), "") << path;
    }
}

} // namespace

TEST(OggSave, CommentsRoundTripAndTheAudioStaysTheSame)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-tagged.ogg");
    OggLayout before = readOggLayout(path);
    const std::string longComment(20000, 'c');
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Day Drive"), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDLicense, "CC BY 4.0"), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDComment, longComment.c_str()), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTrackNumber, 4), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTotalTracks, "15/20"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Day Drive");
    EXPECT_EQ(file.string(kMediaFileDataIDLicense), "CC BY 4.0");
    EXPECT_EQ(file.string(kMediaFileDataIDComment), longComment);
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 4);
    EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 15);
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Kestrel Quartet") << "untouched comments stay";
    EXPECT_EQ(file.integer(kMediaFileDataIDSampleRate), 11025);

    OggLayout after = readOggLayout(path);
    ASSERT_EQ(after.streams.size(), 1u);
    EXPECT_EQ(after.streams[0].serial, before.streams[0].serial);
    EXPECT_EQ(after.streams[0].packets[0], before.streams[0].packets[0]) << "identification header";
    EXPECT_EQ(after.streams[0].packets[2], before.streams[0].packets[2]) << "setup header";
    EXPECT_GT(after.streams[0].packets[1].size(), longComment.size()) << "the comment packet spans several pages";
    expectSameVorbisAudio(before.streams[0], after.streams[0]);
    EXPECT_EQ(after.brokenPages, 0);
    expectValidOgg(path);
}

TEST(OggSave, SmallPagesAreRepackedWithComputedGranulePositions)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-small-pages.ogg");
    OggLayout before = readOggLayout(path);
    ASSERT_EQ(vorbisGranuleProblems(before.streams[0]), "");
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Repacked"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    OggLayout after = readOggLayout(path);
    ASSERT_EQ(after.streams.size(), 1u);
    EXPECT_LT(after.streams[0].pageGranules.size() * 4, before.streams[0].pageGranules.size())
        << "pages of about 4 KB instead of one every 40 ms";
    expectSameVorbisAudio(before.streams[0], after.streams[0]);
    expectValidOgg(path);
}

TEST(OggSave, AChainedSecondStreamIsKeptByteForByte)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-chained.ogg");
    OggLayout before = readOggLayout(path);
    ASSERT_EQ(before.streams.size(), 2u);
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), "First") << "the first stream's comments";
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "A much longer first title than before"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    OggLayout after = readOggLayout(path);
    ASSERT_EQ(after.streams.size(), 2u);
    EXPECT_EQ(after.streams[1].serial, 202);
    EXPECT_EQ(after.streams[1].pageBytes, before.streams[1].pageBytes);
    expectSameVorbisAudio(before.streams[0], after.streams[0]);
    std::vector<uint8_t> bytes = readFile(path);
    const std::vector<uint8_t> &second = before.streams[1].pageBytes;
    ASSERT_GE(bytes.size(), second.size());
    EXPECT_TRUE(std::equal(second.begin(), second.end(), bytes.end() - static_cast<long>(second.size())))
        << "the second stream still follows the first";
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "A much longer first title than before");
    expectValidOgg(path);
}

TEST(OggSave, AMultiplexedStreamKeepsItsPagesAndItsPlaceAmongTheFirstPages)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-multiplexed.ogg");
    OggLayout before = readOggLayout(path);
    ASSERT_EQ(before.streams.size(), 2u);
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Main, renamed"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    OggLayout after = readOggLayout(path);
    ASSERT_EQ(after.streams.size(), 2u);
    EXPECT_EQ(after.streams[1].pageBytes, before.streams[1].pageBytes);
    expectSameVorbisAudio(before.streams[0], after.streams[0]);
    // Both beginning-of-stream pages come before any other page.
    std::vector<uint8_t> bytes = readFile(path);
    ASSERT_GT(bytes.size(), 116u);
    EXPECT_EQ(bytes[5] & 2, 2);
    EXPECT_EQ(bytes[58 + 5] & 2, 2) << "the other stream's first page right after ours";
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Main, renamed");
    expectValidOgg(path);
}

TEST(OggSave, SavingTwiceOnOneHandle)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-no-comments.ogg");
    OggLayout before = readOggLayout(path);
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDArtist, "Once"), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDArtist, "Twice"), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDArtist), "Twice");
    expectSameVorbisAudio(before.streams[0], readOggLayout(path).streams[0]);
    EXPECT_EQ(folderEntries(dir), std::vector<std::string>{"vorbis-no-comments.ogg"});
}

TEST(OggSave, TheTemporaryNamePassesOverANameAlreadyTaken)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-no-comments.ogg");
    int next = ogg::nextTemporaryNumber() + 1;
    std::string taken = path + "-" + std::to_string(next);
    writeFile(taken, std::string("someone else's file"));
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Saved"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    EXPECT_EQ(readFile(taken), std::vector<uint8_t>({'s', 'o', 'm', 'e', 'o', 'n', 'e', ' ', 'e', 'l', 's', 'e', '\'', 's', ' ',
                                                     'f', 'i', 'l', 'e'}));
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Saved");
    EXPECT_EQ(folderEntries(dir).size(), 2u);
    EXPECT_NE(ogg::nextTemporaryNumber(), ogg::nextTemporaryNumber());
}

TEST(OggSave, PermissionBitsAreCarriedOver)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-no-comments.ogg");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Mode"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
}

TEST(OggSave, AReadOnlyFileIsNotReplaced)
{
    TempDir dir;
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    std::string path = dir.copyFixture("vorbis-no-comments.ogg");
    std::vector<uint8_t> original = readFile(path);
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    EXPECT_EQ(updateAsNobody(path, kMediaFileDataIDTitle, "No"), EACCES) << "the folder is writable, the file is not";
    EXPECT_EQ(readFile(path), original);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(OggSave, EveryFailingWriteLeavesTheOriginalAndNoTemporaryFile)
{
    FileOpsGuard guard;
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-tagged.ogg");
    std::vector<uint8_t> original = readFile(path);
    bool saved = false;
    for (int failAt = 0; failAt < 50 && !saved; ++failAt) {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, std::string(70000, 'w').c_str()), 0);
        gCallsBeforeFailure = failAt;
        util::fileOps().pwrite = failingPwrite;
        ::testing::internal::CaptureStderr();
        MediaFileStatus status = MediaFileUpdate(file.ref(), 0);
        std::string messages = ::testing::internal::GetCapturedStderr();
        util::resetFileOps();
        EXPECT_EQ(folderEntries(dir), std::vector<std::string>{"vorbis-tagged.ogg"});
        if (status == 0) {
            saved = true;
            EXPECT_GT(failAt, 0);
            continue;
        }
        EXPECT_EQ(status, ogg::kOggVorbisErrWrite);
        EXPECT_EQ(messages, "Error writing stream to output. Output stream may be corrupted or truncated.\n");
        EXPECT_EQ(readFile(path), original);
    }
    EXPECT_TRUE(saved);
}

TEST(OggSave, AFailingFsyncOrRenameLeavesTheOriginal)
{
    FileOpsGuard guard;
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-tagged.ogg");
    std::vector<uint8_t> original = readFile(path);
    OpenFile file(path);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Not saved"), 0);

    util::fileOps().fsync = failingFsync;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), ogg::kOggVorbisErrWrite);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "Error writing stream to output. Output stream may be corrupted or truncated.\n");
    util::resetFileOps();
    EXPECT_EQ(readFile(path), original);
    EXPECT_EQ(folderEntries(dir), std::vector<std::string>{"vorbis-tagged.ogg"});

    util::fileOps().rename = failingRename;
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), EXDEV);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "failed to rename temp file = " + std::to_string(EXDEV) + "\n");
    util::resetFileOps();
    EXPECT_EQ(readFile(path), original);
    EXPECT_EQ(folderEntries(dir), std::vector<std::string>{"vorbis-tagged.ogg"});

    EXPECT_EQ(MediaFileUpdate(file.ref(), 0), 0) << "the handle is still good";
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDTitle), "Not saved");
}

TEST(OggSave, ABrokenPageIsDroppedAndTheCopyGoesOn)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-bad-crc-page.ogg");
    OggLayout before = readOggLayout(path);
    ASSERT_EQ(before.brokenPages, 1);
    ogg::OggVorbisFilePtr handle;
    ASSERT_EQ(ogg::OggVorbisFileOpen(path.c_str(), &handle), 0);
    ASSERT_TRUE(handle->headersRead);
    ASSERT_EQ(ogg::OggVorbisSetComment(*handle, "TITLE", "Mended"), 0);
    ASSERT_EQ(ogg::OggVorbisFileSave(*handle), 0);
    EXPECT_STREQ(handle->lastError, "Corrupt or missing data, continuing...");
    OggLayout after = readOggLayout(path);
    EXPECT_EQ(after.brokenPages, 0);
    EXPECT_EQ(audioPackets(after.streams[0]), audioPackets(before.streams[0])) << "the packets of the good pages";
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Mended");
}

TEST(OggSave, ProgressIsReportedAfterEachRead)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-tagged.ogg");
    uint64_t size = readFile(path).size();
    ogg::OggVorbisFilePtr handle;
    ASSERT_EQ(ogg::OggVorbisFileOpen(path.c_str(), &handle), 0);
    std::vector<uint64_t> reports;
    handle->progress = [](uint64_t bytes, void *context) { static_cast<std::vector<uint64_t> *>(context)->push_back(bytes); };
    handle->progressContext = &reports;
    ASSERT_EQ(ogg::OggVorbisFileSave(*handle), 0);
    ASSERT_EQ(reports.size(), (size + 4095) / 4096);
    EXPECT_EQ(reports.front(), 4096u);
    EXPECT_EQ(reports.back(), size);
}

TEST(OggSave, AFileReplacedSinceItWasOpenedIsNotOverwritten)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-tagged.ogg");
    ogg::OggVorbisFilePtr handle;
    ASSERT_EQ(ogg::OggVorbisFileOpen(path.c_str(), &handle), 0);
    std::vector<uint8_t> other = readFile(fixturePath("vorbis-managed-bitrate.ogg"));
    writeFile(path, other);
    EXPECT_EQ(ogg::OggVorbisFileSave(*handle), ogg::kOggVorbisErrNotVorbis);
    EXPECT_STREQ(handle->lastError, "The file's Vorbis headers changed since it was opened.");
    EXPECT_EQ(readFile(path), other);
    EXPECT_EQ(folderEntries(dir), std::vector<std::string>{"vorbis-tagged.ogg"});
}
