// What kestrabel-tag does to the file system around a file: links, hard links, permissions and
// owners, FIFOs, output paths, a file named twice, dates and names that are not UTF-8. One row
// per (situation, kind, command, what must hold after); the command runs as a child process,
// as the unprivileged user "nobody" where permissions matter.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

using namespace kestrabel::test;
namespace fs = std::filesystem;

namespace {

constexpr uid_t kNobody = 65534;
constexpr gid_t kNogroup = 65534;

struct Kind {
    const char *name;
    const char *fixture;
    const char *extension;
};

constexpr Kind kMP3{"MP3", "id3v23-full.mp3", "mp3"};
constexpr Kind kM4A{"M4A", "tagged.m4a", "m4a"};
constexpr Kind kOgg{"Ogg", "vorbis-tagged.ogg", "ogg"};
constexpr Kind kFLAC{"FLAC", "flac-tagged.flac", "flac"};
constexpr Kind kWAVE{"WAVE", "bext.wav", "wav"};
#ifdef KESTRABEL_CLI_OBJECTS
constexpr Kind kCover{"M4Acover", "cover.m4a", "m4a"}; // a real JPEG as its cover
#endif
const std::vector<Kind> kAllKinds{kMP3, kM4A, kOgg, kFLAC, kWAVE};

// Longer than any fixture's padding, so that every kind's tag has to grow.
const std::string kLong(9000, 'x');

// The files of one case. `named` is what the command is given; `real` holds the data.
struct Scene {
    TempDir dir;
    TempDir io; // the command's standard output and error, apart from the files it works on
    Kind kind{};
    std::string real, named, other;
    std::vector<uint8_t> before;
    struct stat statBefore {};
    int status = -1;
    std::string out, err;
    std::string file(const std::string &name) const { return dir.file(name); }
};

struct Situation {
    const char *name;
    std::vector<Kind> kinds;
    // {F} the named file, {O} the other name, {D} the folder, {LONG} kLong (all quoted), {E}
    // the kind's extension.
    const char *command;
    bool unprivileged;
    int exitStatus;
    std::function<void(Scene &)> prepare;
    std::function<void(const Scene &)> check;
};

#ifdef KESTRABEL_CLI_OBJECTS
std::string hex(const std::string &bytes)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes)
        out += {digits[c >> 4], digits[c & 15]};
    return out;
}
#endif

std::string comment(const std::string &path) { return OpenFile(path).string(kMediaFileDataIDComment); }

struct stat statOf(const std::string &path, bool follow = true)
{
    struct stat st {};
    (follow ? stat(path.c_str(), &st) : lstat(path.c_str(), &st));
    return st;
}

size_t countOf(const std::string &text, const std::string &what)
{
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++count;
    return count;
}

void openToAll(const std::string &path) { chmod(path.c_str(), 0777); }

void expectUnchanged(const Scene &s)
{
    EXPECT_EQ(readFile(s.real), s.before) << "the file is left byte for byte";
    EXPECT_EQ(statOf(s.real).st_ino, s.statBefore.st_ino);
    EXPECT_EQ(statOf(s.real).st_mode, s.statBefore.st_mode);
}

// Only the files the case made: no temporary file left behind, no link turned into a file.
void expectOnlyFiles(const Scene &s, std::vector<std::string> names)
{
    std::vector<std::string> found;
    for (const auto &entry : fs::directory_iterator(s.dir.path()))
        found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(found, names);
}

void readOnlyForNobody(Scene &s)
{
    chown(s.real.c_str(), kNobody, kNogroup);
    chmod(s.real.c_str(), 0444);
}

void refusedForAccess(const Scene &s)
{
    expectUnchanged(s);
    EXPECT_NE(s.err.find("EACCES (13)"), std::string::npos) << s.err;
}

void nobodysFileInAClosedFolder(Scene &s)
{
    chown(s.real.c_str(), kNobody, kNogroup);
    chmod(s.dir.path().c_str(), 0755);
}

const std::vector<Situation> &situations()
{
    static const std::vector<Situation> table = {
        {"LinkToLinkToFile", kAllKinds, "set -t Comment={LONG} {F}", false, 0,
         [](Scene &s) {
             fs::create_symlink(fs::path(s.real).filename(), s.file("hop"));
             fs::create_symlink("hop", s.named = s.file("link"));
         },
         [](const Scene &s) {
             EXPECT_EQ(comment(s.real), kLong) << "the file behind the links is saved";
             EXPECT_TRUE(fs::is_symlink(s.named) && fs::read_symlink(s.named) == "hop");
             EXPECT_TRUE(fs::is_symlink(s.file("hop")) && fs::read_symlink(s.file("hop")) == fs::path(s.real).filename());
             expectOnlyFiles(s, {fs::path(s.real).filename().string(), "hop", "link"});
         }},
        {"LinkFoundByRecursion", {kMP3, kOgg, kFLAC}, "set -r -t Comment={LONG} {D}/shelf", false, 0,
         [](Scene &s) {
             fs::create_directory(s.file("shelf"));
             fs::create_symlink(fs::path("..") / fs::path(s.real).filename(), s.named = s.file("shelf/link." + std::string(s.kind.extension)));
         },
         [](const Scene &s) {
             EXPECT_EQ(comment(s.real), kLong);
             EXPECT_TRUE(fs::is_symlink(s.named));
         }},
        {"HardLink", kAllKinds, "set -t Comment={LONG} {F}", false, 0,
         [](Scene &s) { fs::create_hard_link(s.real, s.other = s.file("second")); },
         [](const Scene &s) {
             EXPECT_EQ(statOf(s.real).st_ino, s.statBefore.st_ino) << "the links are not split";
             EXPECT_EQ(statOf(s.other).st_ino, s.statBefore.st_ino);
             EXPECT_EQ(comment(s.other), kLong);
         }},
        {"InPlace", kAllKinds, "set --in-place -t Comment={LONG} {F}", false, 0, {},
         [](const Scene &s) {
             EXPECT_EQ(statOf(s.real).st_ino, s.statBefore.st_ino) << "written into the same inode";
             EXPECT_EQ(comment(s.real), kLong);
         }},
        {"ReadOnlyTagGrows", kAllKinds, "set -t Comment={LONG} {F}", true, 1,
         readOnlyForNobody, refusedForAccess},
        {"ReadOnlyTagFits", kAllKinds, "set -t Title=x {F}", true, 1,
         readOnlyForNobody, refusedForAccess},
        {"OwnerTheSaverCannotGive", kAllKinds, "set -t Comment={LONG} {F}", true, 0,
         [](Scene &s) {
             chown(s.real.c_str(), 0, kNogroup);
             chmod(s.real.c_str(), 0664);
         },
         [](const Scene &s) {
             struct stat after = statOf(s.real);
             EXPECT_EQ(after.st_uid, 0u) << "owner kept";
             EXPECT_EQ(after.st_gid, kNogroup) << "group kept";
             EXPECT_EQ(after.st_mode & 07777, 0664u);
             EXPECT_EQ(comment(s.real), kLong);
         }},
        {"FolderTheSaverCannotWrite", {kMP3, kM4A, kFLAC}, "set -t Comment={LONG} {F}", true, 0,
         nobodysFileInAClosedFolder,
         [](const Scene &s) {
             EXPECT_EQ(statOf(s.real).st_ino, s.statBefore.st_ino) << "written in place";
             EXPECT_EQ(comment(s.real), kLong);
         }},
        {"FolderTheSaverCannotWrite", {kOgg}, "set -t Comment={LONG} {F}", true, 1,
         nobodysFileInAClosedFolder,
         [](const Scene &s) { EXPECT_EQ(readFile(s.real), s.before) << "refused, left as it was"; }},
        {"ModeAndAttributes", kAllKinds, "set -t Comment={LONG} {F}", false, 0,
         [](Scene &s) {
             chmod(s.real.c_str(), 0640);
             if (setxattr(s.real.c_str(), "user.kestrabel", "kept", 4, 0) != 0)
                 GTEST_SKIP() << "the temporary folder's file system keeps no user attributes";
         },
         [](const Scene &s) {
             EXPECT_EQ(statOf(s.real).st_mode & 07777, 0640u);
             char value[8] = {};
             EXPECT_EQ(getxattr(s.real.c_str(), "user.kestrabel", value, sizeof value), 4);
             EXPECT_STREQ(value, "kept");
             EXPECT_EQ(comment(s.real), kLong);
         }},
        {"PreserveDates", kAllKinds, "set --preserve-dates -t Comment={LONG} {F}", false, 0,
         [](Scene &s) {
             // An access time older than the modification time: any read moves it (relatime).
             struct timespec times[2] = {{978307200, 0}, {1009843200, 0}};
             utimensat(AT_FDCWD, s.real.c_str(), times, 0);
         },
         [](const Scene &s) {
             struct stat after = statOf(s.real);
             EXPECT_EQ(after.st_atim.tv_sec, 978307200) << "access time";
             EXPECT_EQ(after.st_mtim.tv_sec, 1009843200) << "modification time";
             EXPECT_EQ(comment(s.real), kLong);
         }},
        {"SameFileByManyNames", {kMP3, kM4A}, "show --json {F} {F} {O} {D}/sub/../song.{E}", false, 0,
         [](Scene &s) {
             fs::create_symlink(s.real, s.other = s.file("alias"));
             fs::create_directory(s.file("sub"));
         },
         [](const Scene &s) { EXPECT_EQ(countOf(s.out, "\"path\""), 1u) << s.out; }},
        {"SameFileSavedByFourWorkers", {kMP3, kM4A},
         "set -j 4 -t Comment={LONG} {F} {F} {O} {F} {O} {F} {O} {F}", false, 0,
         [](Scene &s) { fs::create_symlink(s.real, s.other = s.file("alias")); },
         [](const Scene &s) {
             EXPECT_EQ(comment(s.real), kLong);
             EXPECT_EQ(OpenFile(s.real, kMediaFileFlagStrict).status(), 0) << "the tag and audio are whole";
         }},
        {"SameFileRefusedOnce", {kMP3}, "set -j 4 -t Title=x {F} {O} {F} {O}", true, 1,
         [](Scene &s) {
             fs::create_symlink(s.real, s.other = s.file("alias"));
             readOnlyForNobody(s);
         },
         [](const Scene &s) { EXPECT_EQ(countOf(s.err, "EACCES"), 1u) << s.err; }},
        {"MissingFile", {kMP3}, "set -t Title=x {D}/missing.mp3", false, 1, {},
         [](const Scene &s) { EXPECT_NE(s.err.find("No such file or directory"), std::string::npos) << s.err; }},
    };
    return table;
}

// The commands that must not wait on a FIFO, and the name of the FIFO they are given.
#ifdef KESTRABEL_CLI_OBJECTS
const char *const kFifoCommands[] = {"show {F}", "get Title {F}", "set -t Title=x {F}", "export {F}", "artwork {F}",
                                     "import {O} {F}", "export -o {O} {F}"};
#else
const char *const kFifoCommands[] = {"show {F}", "get Title {F}", "set -t Title=x {F}"};
#endif

struct Case {
    std::string situation;
    Kind kind;
    std::string command;
    bool unprivileged;
    int exitStatus;
    std::function<void(Scene &)> prepare;
    std::function<void(const Scene &)> check;
};

void PrintTo(const Case &c, std::ostream *out) { *out << c.situation << " / " << c.kind.name << " / " << c.command; }

std::vector<Case> allCases()
{
    std::vector<Case> cases;
    for (const Situation &s : situations())
        for (const Kind &kind : s.kinds)
            cases.push_back({s.name, kind, s.command, s.unprivileged, s.exitStatus, s.prepare, s.check});
    for (const char *command : kFifoCommands)
        cases.push_back({"FifoNamed", kMP3, command, false, 1,
                         [](Scene &s) {
                             mkfifo((s.named = s.file("pipe.mp3")).c_str(), 0666);
                             writeFile(s.other = s.file("tags.plist"), "<plist><dict/></plist>");
                         },
                         [](const Scene &s) { EXPECT_NE(s.err.find("not a regular file (a FIFO)"), std::string::npos) << s.err; }});
    cases.push_back({"SocketNamed", kMP3, "set -t Title=x {F}", false, 1,
                     [](Scene &s) {
                         sockaddr_un address{};
                         address.sun_family = AF_UNIX;
                         s.named = s.file("socket.mp3");
                         ASSERT_LT(s.named.size(), sizeof address.sun_path);
                         std::copy(s.named.begin(), s.named.end(), address.sun_path);
                         int fd = socket(AF_UNIX, SOCK_STREAM, 0);
                         ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
                         close(fd);
                     },
                     [](const Scene &s) { EXPECT_NE(s.err.find("not a regular file (a socket)"), std::string::npos) << s.err; }});
#ifdef KESTRABEL_CLI_OBJECTS
    cases.push_back({"FifoAsPropertyList", kMP3, "import {O} {F}", false, 1,
                     [](Scene &s) { mkfifo((s.other = s.file("tags.plist")).c_str(), 0666); },
                     [](const Scene &s) { EXPECT_EQ(readFile(s.real), s.before); }});
    for (const char *command : {"export --overwrite -o {O} {F}", "artwork --overwrite -o {O} {F}"})
        cases.push_back({"OutputIsAFifo", kCover, command, false, 1,
                         [](Scene &s) { mkfifo((s.other = s.file("out")).c_str(), 0666); },
                         [](const Scene &s) {
                             EXPECT_TRUE(S_ISFIFO(statOf(s.other).st_mode)) << "the FIFO stays a FIFO";
                             EXPECT_NE(s.err.find("it is a FIFO, not a regular file"), std::string::npos) << s.err;
                         }});
    cases.push_back({"OutputIsStandardOutput", kCover, "export -o - {F}", false, 0, {},
                     [](const Scene &s) { EXPECT_EQ(s.out.rfind("<?xml", 0), 0u) << s.out.substr(0, 80); }});
    cases.push_back({"OutputIsStandardOutput", kCover, "artwork -o - {F}", false, 0, {},
                     [](const Scene &s) {
                         std::vector<uint8_t> cover = OpenFile(s.real).data(kMediaFileDataIDArtwork);
                         ASSERT_FALSE(cover.empty());
                         EXPECT_EQ(std::vector<uint8_t>(s.out.begin(), s.out.end()), cover);
                     }});
    // A name that is not UTF-8 (Latin-1 "é"), for every command.
    auto latin1 = [](Scene &s) {
        s.named = s.file("caf\xe9." + std::string(s.kind.extension));
        fs::rename(s.real, s.named);
        s.real = s.named;
        s.other = s.file("caf\xe9.plist");
    };
    cases.push_back({"NameNotUtf8", kCover, "show --json {F}", false, 0, latin1, [](const Scene &s) {
                         EXPECT_NE(s.out.find("\"path_bytes\": \"" + hex(s.named) + "\""), std::string::npos) << s.out;
                     }});
    cases.push_back({"NameNotUtf8", kCover, "set -t Comment={LONG} {F}", false, 0, latin1,
                     [](const Scene &s) { EXPECT_EQ(comment(s.real), kLong); }});
    cases.push_back({"NameNotUtf8", kCover, "set --artwork {O} {F}", false, 0,
                     [latin1](Scene &s) {
                         latin1(s);
                         fs::copy_file(fixturePath("m4a-cover.jpg"), s.other = s.file("caf\xe9.jpg"));
                     },
                     [](const Scene &s) { EXPECT_EQ(OpenFile(s.real).data(kMediaFileDataIDArtwork), readFile(s.other)); }});
    cases.push_back({"NameNotUtf8", kCover, "export {F}", false, 0, latin1,
                     [](const Scene &s) { EXPECT_EQ(readFile(s.other).size() > 100, true) << "written beside, a.m4a -> a.plist"; }});
    cases.push_back({"NameNotUtf8", kCover, "artwork {F}", false, 0, latin1, [](const Scene &s) {
                         EXPECT_EQ(readFile(s.file("caf\xe9.jpg")), OpenFile(s.real).data(kMediaFileDataIDArtwork));
                     }});
    cases.push_back({"NameNotUtf8", kCover, "import --overwrite {O} {F}", false, 0,
                     [latin1](Scene &s) {
                         latin1(s);
                         writeFile(s.other, "<plist version=\"1.0\"><dict><key>kMediaFileDataIDTitle</key>"
                                            "<string>Imported</string></dict></plist>");
                     },
                     [](const Scene &s) { EXPECT_EQ(OpenFile(s.real).string(kMediaFileDataIDTitle), "Imported"); }});
#endif
    return cases;
}

// Runs the command with /bin/sh, as "nobody" when asked and this process may become it.
int runCli(const Scene &s, const std::string &arguments, bool unprivileged)
{
    std::string script = "timeout 60 " + shellQuote(cliPath()) + " " + arguments + " >" + shellQuote(s.io.file("out")) +
                         " 2>" + shellQuote(s.io.file("err"));
    pid_t child = fork();
    if (child == 0) {
        if (unprivileged && geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(kNogroup) != 0 || setuid(kNobody) != 0))
            _exit(126);
        execl("/bin/sh", "sh", "-c", script.c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string expand(std::string command, const Scene &s)
{
    auto replace = [&](const std::string &key, const std::string &value) {
        for (size_t at = command.find(key); at != std::string::npos; at = command.find(key, at + value.size()))
            command.replace(at, key.size(), value);
    };
    replace("{F}", shellQuote(s.named));
    replace("{O}", shellQuote(s.other));
    replace("{D}", shellQuote(s.dir.path().string()));
    replace("{LONG}", shellQuote(kLong));
    replace("{E}", s.kind.extension);
    return command;
}

class FileSystemCase : public testing::TestWithParam<Case> {};

TEST_P(FileSystemCase, HoldsAfterTheCommand)
{
    const Case &c = GetParam();
    // Root makes the file root's and runs the command as nobody; anyone else cannot.
    if (c.situation == "OwnerTheSaverCannotGive" && geteuid() != 0)
        GTEST_SKIP() << "needs root to give the file an owner the saver is not";
    Scene s;
    s.kind = c.kind;
    s.real = s.named = s.dir.copyFixture(c.kind.fixture, std::string("song.") + c.kind.extension);
    openToAll(s.dir.path().string());
    openToAll(s.io.path().string());
    chmod(s.real.c_str(), 0666);
    if (c.prepare)
        c.prepare(s);
    // Without root the folder stays the caller's, who can write it whatever its mode.
    if (c.situation == "FolderTheSaverCannotWrite" && geteuid() != 0)
        GTEST_SKIP() << "needs root to run the command as a user who cannot write the folder";
    if (HasFatalFailure() || IsSkipped())
        return;
    s.before = readFile(fixturePath(c.kind.fixture)); // not the copy: reading it would move its access time
    s.statBefore = statOf(s.real);
    s.status = runCli(s, expand(c.command, s), c.unprivileged);
    std::vector<uint8_t> err = readFile(s.io.file("err"));
    s.err.assign(err.begin(), err.end());
    std::vector<uint8_t> out = readFile(s.io.file("out"));
    s.out.assign(out.begin(), out.end());
    EXPECT_EQ(s.status, c.exitStatus) << s.err;
    c.check(s);
}

std::string caseName(const testing::TestParamInfo<Case> &info)
{
    return info.param.situation + "_" + info.param.kind.name + "_" + std::to_string(info.index);
}

INSTANTIATE_TEST_SUITE_P(Cli, FileSystemCase, testing::ValuesIn(allCases()), caseName);

} // namespace
