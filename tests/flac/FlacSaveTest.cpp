// Saving FLAC files through libFLAC's chain write: in place when the padding allows, through a
// new file otherwise; the audio frames never change.
#include "FlacTestSupport.h"
#include "TestSupport.h"

#include "util/FileOps.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

constexpr int kStreamInfo = 0, kPadding = 1, kApplication = 2, kSeekTable = 3, kVorbisComment = 4;

struct FileOpsGuard {
    ~FileOpsGuard() { util::resetFileOps(); }
};

ssize_t failingPwrite(int, const void *, size_t, off_t)
{
    errno = ENOSPC;
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

void expectAudioUnchanged(const FlacLayout &before, const std::string &path)
{
    FlacLayout after = readFlacLayout(path);
    ASSERT_TRUE(after.valid);
    EXPECT_EQ(after.audio, before.audio) << "the audio frames are untouched";
    std::string output;
    EXPECT_TRUE(flacTestPasses(path, &output)) << output;
}

void setOldTimes(const std::string &path)
{
    struct timespec old[2] = {{1000000000, 0}, {1100000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), old, 0), 0);
}

struct stat statOf(const std::string &path)
{
    struct stat st {};
    stat(path.c_str(), &st);
    return st;
}

} // namespace

TEST(FlacSave, CommentsRoundTripInPlaceWithinThePadding)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-tagged.flac");
    FlacLayout before = readFlacLayout(path);
    ASSERT_TRUE(before.valid);
    size_t size = readFile(path).size();
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Longer Hours Than Before"), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDGenre, "Électronique"), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTrackNumber, 5), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDTotalTracks, 12), 0);
        ASSERT_EQ(MediaFileSetInteger(file.ref(), kMediaFileDataIDCompilation, 5), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDOrganization, "Label"), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDEncodedBy, "Kestrabel vendor"), 0);
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Longer Hours Than Before") << "read back before the save";
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    EXPECT_EQ(readFile(path).size(), size) << "the padding absorbed the growth";
    expectAudioUnchanged(before, path);
    std::vector<std::string> comments = readFlacLayout(path).comments();
    EXPECT_NE(std::find(comments.begin(), comments.end(), "TOTALTRACKS=12"), comments.end());
    EXPECT_NE(std::find(comments.begin(), comments.end(), "COMPILATION=5"), comments.end()) << "the value as given";
    EXPECT_EQ(std::find(comments.begin(), comments.end(), "TRACKTOTAL=12"), comments.end());
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Longer Hours Than Before");
    EXPECT_EQ(file.string(kMediaFileDataIDGenre), "Électronique");
    EXPECT_EQ(file.integer(kMediaFileDataIDTrackNumber), 5);
    EXPECT_EQ(file.integer(kMediaFileDataIDCompilation), 5);
    EXPECT_EQ(file.string(kMediaFileDataIDOrganization), "Label");
    EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy), "Kestrabel vendor");
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Kestrel Quartet");
}

TEST(FlacSave, AMissingCommentBlockIsCreatedAndThePaddingSortedToTheEnd)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-no-tags.flac");
    FlacLayout before = readFlacLayout(path);
    ASSERT_EQ(before.types(), (std::vector<int>{kStreamInfo, kSeekTable, kPadding}));
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Created"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    expectAudioUnchanged(before, path);
    FlacLayout after = readFlacLayout(path);
    EXPECT_EQ(after.types(), (std::vector<int>{kStreamInfo, kSeekTable, kVorbisComment, kPadding}));
    EXPECT_EQ(after.comments(), std::vector<std::string>{"TITLE=Created"});
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Created");
    EXPECT_EQ(file.string(kMediaFileDataIDEncodedBy).rfind("reference libFLAC", 0), 0u) << "a new block gets libFLAC's vendor";
}

TEST(FlacSave, WithoutPaddingTheFileIsRewrittenKeepingItsModeAndNoTemporaryFile)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-no-tags-no-padding.flac");
    FlacLayout before = readFlacLayout(path);
    ASSERT_EQ(before.types(), (std::vector<int>{kStreamInfo}));
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    setOldTimes(path);
    ino_t inode = statOf(path).st_ino;
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDArtist, "Rewritten"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    expectAudioUnchanged(before, path);
    struct stat st = statOf(path);
    EXPECT_NE(st.st_ino, inode) << "a new file took the original's place";
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_GT(st.st_mtim.tv_sec, 1100000000) << "a save is a modification";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
    EXPECT_EQ(readFlacLayout(path).types().front(), kStreamInfo);
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Rewritten");
}

TEST(FlacSave, PreserveDatesKeepsTheTimesOtherwiseTheyMoveOn)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-tagged.flac");
    setOldTimes(path);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Dated"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagPreserveDates), 0);
    }
    EXPECT_EQ(statOf(path).st_mtim.tv_sec, 1100000000);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Undated"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    EXPECT_GT(statOf(path).st_mtim.tv_sec, 1100000000);
}

TEST(FlacSave, SettingAnArtistWithTwoEntriesLeavesOneAtTheFirstPlace)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-duplicate-artist.flac");
    ASSERT_EQ(readFlacLayout(path).comments(),
              (std::vector<std::string>{"ARTIST=First Artist", "TITLE=Two Artists", "ARTIST=Second Artist"}));
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDArtist, "Only Artist"), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    EXPECT_EQ(readFlacLayout(path).comments(), (std::vector<std::string>{"ARTIST=Only Artist", "TITLE=Two Artists"}));
}

TEST(FlacSave, TheApplicationBlockPictureIsReplacedButNeverAdded)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-escn-picture.flac");
    FlacLayout before = readFlacLayout(path);
    std::vector<uint8_t> image = readFile(fixturePath("no-exif.jpg"));
    ASSERT_NE(image, readFile(fixturePath("escn-cover.jpg")));
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, image.data(), image.size()), 0);
        std::vector<uint8_t> data = file.data(kMediaFileDataIDArtwork);
        ASSERT_EQ(data.size(), image.size() + 8);
        EXPECT_TRUE(std::equal(image.begin(), image.end(), data.begin())) << "the new picture, before the save";
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    expectAudioUnchanged(before, path);
    FlacLayout after = readFlacLayout(path);
    std::vector<int> types = after.types();
    ASSERT_EQ(std::count(types.begin(), types.end(), kApplication), 1);
    for (const FlacBlock &block : after.blocks) {
        if (block.type != kApplication)
            continue;
        std::vector<uint8_t> expected = {'E', 'S', 'C', 'N', 'P', 'I', 'C', '1'};
        expected.insert(expected.end(), image.begin(), image.end());
        EXPECT_EQ(block.body, expected);
    }

    std::string plain = dir.copyFixture("flac-tagged.flac");
    std::vector<uint8_t> original = readFile(plain);
    {
        OpenFile file(plain);
        EXPECT_EQ(MediaFileSetData(file.ref(), kMediaFileDataIDArtwork, image.data(), image.size()), 0);
        MediaFileStatus status = 0;
        file.data(kMediaFileDataIDArtwork, &status);
        EXPECT_EQ(status, kMediaFileErrNotFound);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    EXPECT_EQ(readFlacLayout(plain).blocks.size(), readFlacLayout(fixturePath("flac-tagged.flac")).blocks.size());
    EXPECT_EQ(readFile(plain), original) << "nothing to write";
}

TEST(FlacSave, ASecondSaveAfterReadingAgain)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-no-tags-no-padding.flac");
    OpenFile file(path);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, std::string(3000, 'a').c_str()), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), std::string(3000, 'a')) << "the blocks are found again after a save";
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "short"), 0);
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    ASSERT_EQ(file.close(), 0);
    OpenFile again(path);
    EXPECT_EQ(again.string(kMediaFileDataIDTitle), "short");
    std::string output;
    EXPECT_TRUE(flacTestPasses(path, &output)) << output;
}

TEST(FlacSave, TextThatIsNotUtf8IsRefused)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-tagged.flac");
    OpenFile file(path);
    EXPECT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "caf\xE9"), kMediaFileErrIO);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Small Hours");
}

TEST(FlacSave, AReadOnlyFileIsNotReplaced)
{
    TempDir dir;
    ASSERT_EQ(chmod(dir.path().c_str(), 0777), 0);
    std::string path = dir.copyFixture("flac-no-tags-no-padding.flac");
    std::vector<uint8_t> original = readFile(path);
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    EXPECT_EQ(updateAsNobody(path, kMediaFileDataIDTitle, "No"), EACCES) << "the folder is writable, the file is not";
    EXPECT_EQ(readFile(path), original);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
}

TEST(FlacSave, AFailingWriteLeavesTheOriginalInPlaceAndThroughANewFile)
{
    FileOpsGuard guard;
    TempDir dir;
    for (const char *fixture : {"flac-tagged.flac", "flac-no-tags-no-padding.flac"}) {
        std::string path = dir.copyFixture(fixture);
        std::vector<uint8_t> original = readFile(path);
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Never written"), 0);
        util::fileOps().pwrite = failingPwrite;
        EXPECT_EQ(MediaFileUpdate(file.ref(), 0), ENOSPC) << fixture;
        util::resetFileOps();
        EXPECT_EQ(readFile(path), original) << fixture;
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0) << "the handle still saves: " << fixture;
        OpenFile again(path);
        EXPECT_EQ(again.string(kMediaFileDataIDTitle), "Never written") << fixture;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2) << "no temporary file left";
}

TEST(FlacSave, InPlaceKeepsTheFileEvenWhenItGrows)
{
    TempDir dir;
    std::string path = dir.copyFixture("flac-no-tags-no-padding.flac");
    FlacLayout before = readFlacLayout(path);
    ino_t inode = statOf(path).st_ino;
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, std::string(5000, 'g').c_str()), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagInPlace), 0);
    }
    EXPECT_EQ(statOf(path).st_ino, inode);
    expectAudioUnchanged(before, path);
    OpenFile file(path);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), std::string(5000, 'g'));
}

TEST(FlacSave, MetadataChangedByAnotherProgramSinceTheOpenIsWrittenOver)
{
    if (!haveTool("metaflac"))
        GTEST_SKIP() << "metaflac is not installed";
    TempDir dir;
    std::string path = dir.copyFixture("flac-no-tags-no-padding.flac");
    FlacLayout before = readFlacLayout(path);
    OpenFile file(path);
    ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Ours"), 0);
    // The audio frames move: metaflac adds a comment block and padding.
    ASSERT_EQ(runCommand("metaflac --set-tag=ARTIST=Theirs --add-padding=3000 " + shellQuote(path)), 0);
    ASSERT_NE(readFlacLayout(path).blocks.size(), before.blocks.size());
    ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    expectAudioUnchanged(before, path);
    EXPECT_EQ(readFlacLayout(path).comments(), std::vector<std::string>{"TITLE=Ours"}) << "our blocks replace theirs";
}
