// kestrabel-tag as a user runs it, as a table: each row names the files before, the command line,
// the exit status and output expected, and what must hold of the files after. A row runs once on
// each of its kinds, in a fresh folder that is the command's working folder.
#include "Sha256.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <map>

using namespace kestrabel::test;

namespace {

struct Kind {
    const char *name, *bare, *tagged, *ext, *kindName; // kindName as show prints it
};

constexpr Kind kKinds[] = {
    {"MP3", "no-tags.mp3", "id3v23-full.mp3", "mp3", "MP3"},  {"M4A", "no-tags.m4a", "tagged.m4a", "m4a", "MP4"},
    {"AIFF", "no-tags.aiff", "id3-middle.aiff", "aiff", "AIFF"}, {"WAVE", "no-tags.wav", "bext.wav", "wav", "WAVE"},
    {"Ogg", "vorbis-no-comments.ogg", "vorbis-tagged.ogg", "ogg", "Ogg"}, {"FLAC", "flac-no-tags.flac", "flac-tagged.flac", "flac", "FLAC"},
};

// A file before the command: a copy of fixture ("" the kind's bare one, "+" its tagged one) as name
// (nullptr: the fixture's own), given values "Name=text|Name=text" through the library; without a
// fixture, values is its content. A fixture "$ command" is a shell command run there instead
// (exit 77: the row is skipped).
struct File {
    const char *fixture;
    const char *name = nullptr;
    const char *values = "";
};

// After the command, name's value in file is value: "(none)" none, "*" any, "?text" none or text,
// byte values by their SHA-256. The name "" checks that the file exists ("yes") or not ("no"), "="
// that its bytes are as before. A file "$ command" is a shell command that must succeed.
struct Check {
    const char *file;
    const char *name = "";
    const char *value = "";
    const char *kinds = nullptr; // only on these kinds
};

// Who runs the command: root runs it as nobody where permissions matter.
enum User { Self, Nobody, NobodyNeedsRoot };

struct Case {
    const char *name;
    const char *kinds; // nullptr: every kind
    std::vector<File> before;
    const char *args; // {ext} {KIND} {LONG}, {d} the fixtures, {io} the folder of the output files "out" and "err"
    int exit;
    // "=text" is the standard output exactly, "!text" is not in the output or errors, other text is.
    std::vector<const char *> out = {};
    // Files the row does not check stay byte for byte when the command fails.
    std::vector<Check> after = {};
    User user = Self;
};

// Three folders of three songs, and a file that is no song; listed in reverse so the order comes from the sort.
constexpr const char *kTree = "$ for d in c b a; do mkdir -p t/$d && for i in 3 2 1; do cp {d}/no-tags.mp3 t/$d/s$i.mp3; done; done; echo x > t/a/n.txt";
constexpr const char *kSourceCover = "e7f0893138aeb54e20f94006b6522ba8331876b1dd2313f77d6c1861cd7b8472"; // id3v23-full.mp3's
constexpr const char *kM4aCover = "b667e2935f7e3c6fde747c952634b4c7dc212a0f57f47ddad61c75e77eea8945";    // m4a-cover.jpg
constexpr const char *kPlist = "<plist version=\"1.0\"><dict><key>kMediaFileDataExportKey</key><string>KESTRABEL MEDIA FILE DATA "
                               "EXPORT</string><key>kMediaFileDataIDTitle</key><string>New</string></dict></plist>";
// A value only a WAVE's bext chunk holds, beside one every kind takes.
constexpr const char *kPlistWithBext = "<plist version=\"1.0\"><dict><key>kMediaFileDataIDTitle</key><string>New</string>"
                                       "<key>kMediaFileDataIDBWFDescription</key><string>Desc</string></dict></plist>";
constexpr const char *kStrayArchive = "<plist version=\"1.0\"><dict><key>f</key><dict><key>kMediaFileDataIDTitle</key><string>From "
                                      "Archive</string></dict><key>stray</key><string>not a dictionary</string></dict></plist>";
// A square RGB PNG of the side given: 12,000 is 576 MB decoded; under 100 its tEXt chunk has a
// wrong CRC, over which libpng warns and reads on.
#define MAKE_PNG                                                                                                                \
    "$ python3 -c 'import struct, sys, zlib\n"                                                                                   \
    "def chunk(t, d): return struct.pack(\">I\", len(d)) + t + d + struct.pack(\">I\", zlib.crc32(t + d))\n"                  \
    "side = int(sys.argv[2]); z = zlib.compressobj(6); row = b\"\\0\" + b\"\\x40\\x80\\xc0\" * side\n"                       \
    "data = b\"\".join(z.compress(row) for _ in range(side)) + z.flush()\n"                                                      \
    "bad = chunk(b\"tEXt\", b\"Comment\\0x\")[:-4] + b\"\\0\\0\\0\\0\" if side < 100 else b\"\"\n"                            \
    "open(sys.argv[1], \"wb\").write(b\"\\x89PNG\\r\\n\\x1a\\n\" + chunk(b\"IHDR\", struct.pack(\">IIBBBBB\", side, side, 8, 2, " \
    "0, 0, 0)) + bad + chunk(b\"IDAT\", data) + chunk(b\"IEND\", b\"\"))' "
constexpr const char *kNobodysReadOnly = "$ chown 65534:65534 song.{ext} 2>/dev/null; chmod 444 song.{ext}";
constexpr const char *kFifoAndPlist = "$ mkfifo pipe.mp3 && echo '<plist><dict/></plist>' > tags.plist";
const File kSong{"+", "song.{ext}"};
const File kCover{"cover.m4a", "song.m4a"};
const File kMp3{"no-tags.mp3", "f.mp3"};

const std::vector<Case> &cases()
{
    static const std::vector<Case> table = {
        // get, show
        {"GetPrintsJustTheValue", nullptr, {{"", "a.{ext}", "Title=Hovering|Track Number=3"}}, "get Title a.{ext}", 0, {"=Hovering\n"}},
        {"GetJsonOfANumber", nullptr, {{"", "a.{ext}", "Track Number=3"}}, "get --json 'Track Number' a.{ext}", 0,
         {"={\"path\": \"a.{ext}\", \"status\": 0, \"value\": 3}\n"}},
        {"GetFailsWhenTheValueIsMissing", nullptr, {{"", "a.{ext}", "Title=Hovering"}, {"", "b.{ext}"}}, "get Title a.{ext} b.{ext}", 1,
         {"=Hovering\n"}},
        {"GetEscapesControlCharacters", nullptr, {{"", "a.{ext}", "Title=one\ntwo\x01"}}, "get Title a.{ext}", 0, {"=one\\ntwo\\x01\n"}},
        {"GetJsonKeepsTheExactText", nullptr, {{"", "a.{ext}", "Title=one\ntwo\x1f"}}, "get --json Title a.{ext}", 0,
         {"={\"path\": \"a.{ext}\", \"status\": 0, \"value\": \"one\\ntwo\\u001f\"}\n"}},
        {"ShowFormatOneLinePerFile", nullptr, {{"", "a.{ext}", "Title=Hovering|Track Number=3"}, {"", "b.{ext}", "Title=Tab\there"}},
         "show --format '%{Track Number:02}|%{Title}|%{kind}|%{path}|%%' a.{ext} b.{ext}", 0,
         {"=03|Hovering|{KIND}|a.{ext}|%\n|Tab\\there|{KIND}|b.{ext}|%\n"}},
        {"ShowJsonOfCoverArt", "M4A", {kCover}, "show --json song.m4a", 0,
         {"\"kMediaFileDataIDArtwork\": {\"length\": 512, \"sha256\": \"b667e2935f7e3c6fde747c952634b4c7dc212a0f57f47ddad61c75e77eea8945\"}"}},
        {"ShowJsonHashesEachFilesOwnCover", "M4A", {{"id3v23-full.mp3", "a.mp3"}, kCover, {"id3v23-full.mp3", "b.mp3"}},
         "show --json a.mp3 song.m4a b.mp3", 0, {kSourceCover, kM4aCover}},
        {"ShowPrintsTheAudioLine", "M4A", {{"props-aac.m4a"}}, "show props-aac.m4a", 0, {"  Audio: AAC, 44.1 kHz, stereo, 63 kbit/s, 0:01\n"}},
        {"ShowJsonHasTheAudioObject", "M4A", {{"props-aac.m4a"}}, "show --json props-aac.m4a", 0,
         {"\"kind\": \"MP4\", \"audio\": {\"codec\": \"AAC\", \"durationMs\": 500, \"sampleRate\": 44100, \"channels\": 2, "
          "\"bitsPerSample\": 0, \"bitRate\": 63}"}},
        {"NoAudioInfoInText", "M4A", {{"props-aac.m4a"}}, "show --no-audio-info props-aac.m4a", 0, {"!Audio:"}},
        {"NoAudioInfoInJson", "M4A", {{"props-aac.m4a"}}, "show --json --no-audio-info props-aac.m4a", 0, {"\"values\"", "!\"audio\""}},
        {"OpusNamesItsCodec", "MP3", {{"opus-tagged.opus"}}, "show opus-tagged.opus", 0, {"(Ogg Opus)\n  Audio: Opus, 48 kHz, stereo"}},
        {"ShowJsonEscapesANameAndListsItsFolders", "MP3", {{"quicktime-tiny.mov", "Album/c \"1\".mov"}}, "show --json Album/'c \"1\".mov'",
         0, {"\"kind\": \"QuickTime\", \"status\": 0, \"values\": {\"kMediaFileDataIDFilename\": \"c \\\"1\\\".mov\", \"kMediaFileDataIDFilePath\": "}},
        {"ShowJsonGoesOnPastAMissingFile", "MP3", {{"quicktime-tiny.mov", "q.mov"}}, "show --json missing.xyz q.mov", 1,
         {"missing.xyz\", \"status\": 2, \"error\": \"ENOENT: ", "\"kMediaFileDataIDFilename\": \"q.mov\""}},
        {"ShowOfAFileNoHandlerTakes", "MP3", {{nullptr, "notes.txt", "plain"}}, "show notes.txt", 1, {"notes.txt: kMediaFileErrUnsupported (-6735)"}},
        {"GetJsonOfAMissingFileNamesTheErrno", "MP3", {}, "get --json Title none.mp3", 1, {"the file cannot be opened: No such file or directory\""}},
        // copy
        {"CopyFillsEveryValueTheKindHolds", nullptr, {{"id3v23-full.mp3", "src.mp3"}, {"", "b.{ext}"}}, "copy src.mp3 b.{ext}", 0, {"="},
         {{"b.{ext}", "Title", "Full Title"},
          {"b.{ext}", "Artist", "Ärtist ☃"},
          {"b.{ext}", "Track Number", "3"},
          {"b.{ext}", "Total Tracks", "12"},
          {"b.{ext}", "Cover Art", kSourceCover, "MP3 M4A AIFF WAVE"},
          {"b.{ext}", "Cover Art", "?e7f0893138aeb54e20f94006b6522ba8331876b1dd2313f77d6c1861cd7b8472", "Ogg FLAC"},
          {"b.{ext}", "BWF Description", "(none)"},
          {"src.mp3", "="}}},
        {"CopyKeepsWhatTheTargetHas", nullptr, {{"id3v23-full.mp3", "src.mp3"}, {"", "b.{ext}", "Title=Old"}},
         "copy --only Title,Album src.mp3 b.{ext}", 0, {"="}, {{"b.{ext}", "Title", "Old"}, {"b.{ext}", "Album", "Albüm"}, {"b.{ext}", "Artist", "(none)"}}},
        {"CopyOverwrite", nullptr, {{"id3v23-full.mp3", "src.mp3"}, {"", "b.{ext}", "Title=Old|Genre=Jazz"}},
         "copy --overwrite --except Genre src.mp3 b.{ext}", 0, {"="}, {{"b.{ext}", "Title", "Full Title"}, {"b.{ext}", "Genre", "Jazz"}}},
        {"CopyDryRun", nullptr, {{"id3v23-full.mp3", "src.mp3"}, {"", "b.{ext}", "Title=Old"}}, "copy -n --overwrite --only Title,Album src.mp3 b.{ext}",
         0, {"=b.{ext}\n  Album : (none) \u2192 Albüm\n  Title : Old \u2192 Full Title\n"}, {{"b.{ext}", "="}}},
        {"CopyIntoAKindWithoutTags", "MP3", {{"id3v23-full.mp3", "src.mp3"}, {"quicktime-tiny.mov", "q.mov"}}, "copy src.mp3 q.mov", 1},
        // rename, from-name
        {"RenameFromValues", nullptr, {{"", "a.{ext}", "Title=Live/Loud: \"x\"?|Track Number=3"}}, "rename --to '%{Track Number:02} %{Title}' a.{ext}",
         0, {"="}, {{"a.{ext}", "", "no"}, {"03 Live_Loud_ _x__.{ext}", "Title", "Live/Loud: \"x\"?"}}},
        {"RenameNeverReplaces", nullptr, {{"", "a.{ext}", "Title=Hovering"}, {"", "Hovering.{ext}"}}, "rename --to %{Title} a.{ext}", 1},
        {"RenameNeedsEveryValue", nullptr, {{"", "a.{ext}", "Title=Hovering"}}, "rename --to '%{Artist} - %{Title}' a.{ext}", 1},
        {"RenameDryRun", nullptr, {{"", "a.{ext}", "Title=Hovering|Track Number=3"}}, "rename -n --to '%{Track Number:02} %{Title}' a.{ext}", 0,
         {"=a.{ext} \u2192 03 Hovering.{ext}\n"}, {{"a.{ext}", "="}}},
        {"FromNameSetsValues", nullptr, {{"", "07 - Hovering - live.{ext}"}}, "from-name --pattern '%{Track Number} - %{Title}' '07 - Hovering - live.{ext}'",
         0, {"="}, {{"07 - Hovering - live.{ext}", "Track Number", "7"}, {"07 - Hovering - live.{ext}", "Title", "Hovering - live"}}},
        {"FromNameWithFolders", nullptr, {{"", "d/Kestrel/x 07 Hovering.{ext}"}}, "from-name -r --pattern '%{Artist}/%{*} %{Track Number} %{Title}' d", 0,
         {"="}, {{"d/Kestrel/x 07 Hovering.{ext}", "Artist", "Kestrel"}, {"d/Kestrel/x 07 Hovering.{ext}", "Title", "Hovering"}}},
        {"FromNameRefusesANameThatDoesNotFit", nullptr, {{"", "Hovering.{ext}"}}, "from-name --pattern '%{Track Number} %{Title}' Hovering.{ext}", 1},
        {"FromNameDryRun", nullptr, {{"", "d/Kestrel - Hovering.{ext}", "Title=Old"}}, "from-name -n -r --pattern '%{Artist} - %{Title}' d", 0,
         {"=d/Kestrel - Hovering.{ext}\n  Artist : (none) \u2192 Kestrel\n  Title  : Old \u2192 Hovering\n"}, {{"d/Kestrel - Hovering.{ext}", "="}}},
        // set and import
        {"SetDryRun", nullptr, {{"", "a.{ext}", "Title=Old|Genre=Jazz"}}, "set --dry-run -t Title=New -t 'Track Number=2' -t 'Total Tracks=9' -t Genre=Jazz a.{ext}",
         0, {"=a.{ext}\n  Title        : Old \u2192 New\n  Total Tracks : (none) \u2192 9\n  Track Number : (none) \u2192 2\n"}, {{"a.{ext}", "="}}},
        {"ImportDryRun", nullptr, {{"", "a.{ext}", "Title=Old"}, {nullptr, "t.plist", kPlist}}, "import -n --overwrite t.plist a.{ext}", 0,
         {"=a.{ext}\n  Title : Old \u2192 New\n"}, {{"a.{ext}", "="}}},
        // A value the file has no place for fails the run; the others are saved.
        {"ImportNamesAValueNotStored", "MP3 M4A Ogg FLAC", {{"", "a.{ext}"}, {nullptr, "t.plist", kPlistWithBext}}, "import --overwrite t.plist a.{ext}",
         1, {}, {{"a.{ext}", "Title", "New"}, {"a.{ext}", "BWF Description", "(none)"}}},
        {"ImportAppliesAllButAStrayValue", "MP3", {{"", "f.mp3"}, {nullptr, "in.plist", kStrayArchive}}, "import in.plist f.mp3", 1,
         {"'stray' is not a tag dictionary"}, {{"f.mp3", "Title", "From Archive"}}},
        {"ImportOfNoXml", "MP3", {kMp3, {nullptr, "in.plist", "not a plist"}}, "import in.plist f.mp3", 1,
         {"kMediaFileErrBadFormat (-6717)", "!overwriting was not allowed"}},
        {"ImportIntoAnExifImage", "MP3", {{"exif-camera.jpg", "f.jpg"}, {"$ kestrabel-tag export -o in.plist {d}/id3v23-full.mp3"}},
         "import --overwrite in.plist f.jpg", 1, {"read only"}},
        {"ExportTwoFilesOfOneName", "MP3", {}, "export --archive a.plist {d}/no-tags.mp3 {d}/no-tags.m4a", 1, {"left out of the archive", "!occurs twice"}},
        {"ExportOfATextXmlCannotHold", "MP3", {kMp3, {"$ kestrabel-tag set -t \"Title=a$(printf '\\001')b\" f.mp3"}}, "export -o out.plist f.mp3", 1,
         {"kMediaFileErrBadFormat (-6717): a value that cannot be printed"}, {{"out.plist", "", "no"}}},
        {"CoverOfBytesThatAreNoImage", "MP3", {kMp3}, "set -t 'Cover Art=hello' f.mp3", 2, {"kMediaFileErrNotImage"}},
        {"CoverOf12000By12000Converts", "MP3", {kMp3, {MAKE_PNG "big.png 12000"}}, "set --artwork big.png f.mp3", 0, {"!not an image"},
         {{"f.mp3", "Cover Art", "*"}}},
        {"LibpngWarningStaysOffTheTerminal", "MP3", {kMp3, {MAKE_PNG "warn.png 8"}}, "set --artwork warn.png f.mp3", 0, {"!libpng"},
         {{"f.mp3", "Cover Art", "*"}}},
        {"ClassicRulesLeaveAFlacWithoutPictureBlock", "FLAC", {kSong}, "set --classic --artwork {d}/mp3-cover.jpg song.flac", 1, {"not stored"}},
        // Damaged tags: refused with their own status, saved with --force, shown with a warning.
        {"ExtendedHeaderClassicRefused", "MP3", {{"id3v24-extended-header.mp3", "f.mp3"}}, "set --classic -t Title=New f.mp3", 1,
         {"its tag could not be read whole", "!kMediaFileErrTell"}},
        {"DamagedFrameRefused", "MP3", {{"comm-zlib-damaged.mp3", "f.mp3"}}, "set -t Title=New f.mp3", 1, {"kMediaFileErrBadFrame (-6742)"}},
        {"DamagedFrameImportRefused", "MP3", {{"comm-zlib-damaged.mp3", "f.mp3"}, {"$ kestrabel-tag export -o in.plist {d}/id3v23-full.mp3"}},
         "import --overwrite in.plist f.mp3", 1, {"--force saves anyway"}},
        {"DamagedFrameForced", "MP3", {{"comm-zlib-damaged.mp3", "f.mp3"}}, "set --force -t Title=New f.mp3", 0, {}, {{"f.mp3", "Title", "New"}}},
        {"TruncatedTagRefused", "MP3", {{"truncated-tag.mp3", "f.mp3"}}, "set -t Title=New f.mp3", 1,
         {"kMediaFileErrShortRead (-6746)", "!kMediaFileErrTell"}},
        {"ShowJsonListsTheWarning", "MP3", {{"comm-zlib-damaged.mp3", "f.mp3"}}, "show --json f.mp3", 0, {"\"warnings\": [\"its tag"}},
        {"ShowMarksTheFileInText", "MP3", {{"comm-zlib-damaged.mp3", "f.mp3"}}, "show f.mp3", 0, {"  warning: its tag"}},
        // Numbers: refused unless they are whole and fit.
        {"TrackNumberPast32Bits", "MP3", {kMp3}, "set -t 'Track Number=99999999999' f.mp3", 2, {"not a number"}},
        {"TrackNumberThatWrapsTo3", "MP3", {kMp3}, "set -t 'Track Number=4294967299' f.mp3", 2, {"not a number"}},
        {"NumberWithTrailingJunk", "MP3", {kMp3}, "set -t Year=7x f.mp3", 2, {"not a number"}},
        {"TrackOverItsTotal", "MP3", {kMp3}, "set -t 'Track Number=7/12' f.mp3", 0, {}, {{"f.mp3", "Track Number", "7"}}},
        // Usage errors exit 2 and touch nothing.
        {"NoCommand", "MP3", {kMp3}, "", 2},
        {"UnknownCommand", "MP3", {kMp3}, "frobnicate f.mp3", 2},
        {"ShowWithoutAFile", "MP3", {}, "show", 2},
        {"UnknownOption", "MP3", {kMp3}, "show --bogus f.mp3", 2},
        {"SetWithNothingToChange", "MP3", {kMp3}, "set f.mp3", 2},
        {"SetOfAnUnknownName", "MP3", {kMp3}, "set -t Nonsense=1 f.mp3", 2, {"unknown data ID 'Nonsense'"}},
        {"SetOfAReadOnlyValue", "MP3", {kMp3}, "set -t 'Bit Rate=1' f.mp3", 2, {"read-only"}},
        {"SetOnAKindWithoutTags", "MP3", {{"quicktime-tiny.mov", "q.mov"}}, "set -t Title=x q.mov", 1, {"kMediaFileDataIDTitle: kMediaFileErrUnsupported (-6735)"}},
        {"RenameWithoutTemplate", "MP3", {kMp3}, "rename f.mp3", 2},
        {"RenameIntoAFolder", "MP3", {kMp3}, "rename --to 'x/%{Title}' f.mp3", 2},
        {"FormatWithUnknownField", "MP3", {kMp3}, "show --format '%{Nope}' f.mp3", 2},
        {"FormatWithLonePercent", "MP3", {kMp3}, "show --format '100%' f.mp3", 2},
        {"FromNameOfReadOnlyValue", "MP3", {kMp3}, "from-name --pattern '%{Bit Rate}' f.mp3", 2},
        {"CopyOnlyUnknown", "MP3", {kMp3}, "copy --only Title,Nope f.mp3 f.mp3", 2},
        {"GetUnknownName", "MP3", {kMp3}, "get Nope f.mp3", 2},
        {"HelpListsTheOptionsOfACommand", "MP3", {}, "help set", 0, {"--id3v2.4"}},
        {"HelpNamesTheInteropProfile", "MP3", {}, "--help", 0, {"interop profile"}},
        {"NamesListsEveryDataID", "MP3", {}, "names", 0, {"kMediaFileDataIDBWFOriginatorReference"}},
        // Qt Gui and D-Bus are loaded only by the commands that use them, so that the others start fast.
        {"ShowLoadsNoQt", "M4A", {kCover}, "LD_DEBUG=files show --json song.m4a", 0, {"!libQt6Gui"}},
        {"GetLoadsNoQt", "M4A", {kCover}, "LD_DEBUG=files get Title song.m4a", 0, {"!libQt6Gui"}},
        {"SetLoadsNoQt", "M4A", {kCover}, "LD_DEBUG=files set -t Title=x song.m4a", 0, {"!libQt6Gui"}},
        {"ArtworkLoadsQt", "M4A", {kCover}, "LD_DEBUG=files artwork --overwrite -o out.jpg song.m4a", 0, {"libQt6Gui"}},
        {"SetArtworkLoadsQt", "M4A", {kCover}, "LD_DEBUG=files set --artwork {d}/escn-cover.jpg song.m4a", 0, {"libQt6Gui"}},
        // The file system around a file: links, permissions and owners, dates, special files.
        {"LinkToLinkToFile", nullptr, {kSong, {"$ ln -s song.{ext} hop && ln -s hop link"}}, "set -t Comment={LONG} link", 0, {},
         {{"song.{ext}", "Comment", "{LONG}"}, {"$ test \"$(readlink link)|$(readlink hop)|$(ls | tr '\\n' ' ')\" = 'hop|song.{ext}|hop link song.{ext} '"}}},
        {"LinkFoundByRecursion", "MP3 Ogg FLAC", {kSong, {"$ mkdir shelf && ln -s ../song.{ext} shelf/link.{ext}"}}, "set -r -t Comment={LONG} shelf", 0,
         {}, {{"song.{ext}", "Comment", "{LONG}"}, {"$ test -L shelf/link.{ext}"}}},
        {"HardLinkNotSplit", nullptr, {kSong, {"$ ln song.{ext} second"}}, "set -t Comment={LONG} song.{ext}", 0, {},
         {{"second", "Comment", "{LONG}"}, {"$ test song.{ext} -ef second"}}},
        {"InPlace", nullptr, {kSong, {"$ stat -c %i song.{ext} > {io}/inode"}}, "set --in-place -t Comment={LONG} song.{ext}", 0, {},
         {{"song.{ext}", "Comment", "{LONG}"}, {"$ test $(stat -c %i song.{ext}) = $(cat {io}/inode)"}}},
        {"ReadOnlyTagGrows", nullptr, {kSong, {kNobodysReadOnly}}, "set -t Comment={LONG} song.{ext}", 1, {"EACCES (13)"},
         {{"song.{ext}", "="}, {"$ test $(stat -c %a song.{ext}) = 444"}}, Nobody},
        {"ReadOnlyTagFits", nullptr, {kSong, {kNobodysReadOnly}}, "set -t Title=x song.{ext}", 1, {"EACCES (13)"},
         {{"song.{ext}", "="}, {"$ test $(stat -c %a song.{ext}) = 444"}}, Nobody},
        {"OwnerTheSaverCannotGive", nullptr, {kSong, {"$ chown 0:65534 song.{ext} && chmod 664 song.{ext}"}}, "set -t Comment={LONG} song.{ext}", 0,
         {}, {{"song.{ext}", "Comment", "{LONG}"}, {"$ test $(stat -c %u:%g:%a song.{ext}) = 0:65534:664"}}, NobodyNeedsRoot},
        {"FolderTheSaverCannotWrite", "MP3 M4A AIFF WAVE FLAC", {kSong, {"$ stat -c %i song.{ext} > {io}/inode && chown 65534:65534 song.{ext} && chmod 755 ."}},
         "set -t Comment={LONG} song.{ext}", 0, {}, {{"song.{ext}", "Comment", "{LONG}"}, {"$ test $(stat -c %i song.{ext}) = $(cat {io}/inode)"}},
         NobodyNeedsRoot},
        {"FolderTheSaverCannotWriteRefused", "Ogg", {kSong, {"$ chown 65534:65534 song.{ext} && chmod 755 ."}}, "set -t Comment={LONG} song.{ext}", 1,
         {}, {}, NobodyNeedsRoot},
        {"ModeAndAttributes", nullptr,
         {kSong, {"$ chmod 640 song.{ext} && python3 -c 'import os; os.setxattr(\"song.{ext}\", \"user.k\", b\"kept\")' 2>/dev/null || exit 77"}},
         "set -t Comment={LONG} song.{ext}", 0, {},
         {{"song.{ext}", "Comment", "{LONG}"},
          {"$ test $(stat -c %a song.{ext}) = 640 && python3 -c 'import os; assert os.getxattr(\"song.{ext}\", \"user.k\") == b\"kept\"'"}}},
        // An access time older than the modification time: any read moves it (relatime).
        {"PreserveDates", nullptr, {kSong, {"$ touch -a -d @978307200 song.{ext} && touch -m -d @1009843200 song.{ext}"}},
         "set --preserve-dates -t Comment={LONG} song.{ext}", 0, {},
         {{"$ test $(stat -c %X:%Y song.{ext}) = 978307200:1009843200"}, {"song.{ext}", "Comment", "{LONG}"}}},
        {"SameFileByManyNames", "MP3 M4A", {kSong, {"$ ln -s \"$PWD/song.{ext}\" alias && mkdir sub"}},
         "show --json song.{ext} song.{ext} alias sub/../song.{ext}", 0, {}, {{"$ test $(grep -o '\"path\"' {io}/out | wc -l) = 1"}}},
        {"SameFileSavedByFourWorkers", "MP3 M4A", {kSong, {"$ ln -s \"$PWD/song.{ext}\" alias"}},
         "set -j 4 -t Comment={LONG} song.{ext} song.{ext} alias song.{ext} alias song.{ext} alias song.{ext}", 0, {},
         {{"song.{ext}", "Comment", "{LONG}"}, {"$ ! kestrabel-tag show song.{ext} | grep warning"}}},
        {"SameFileRefusedOnce", "MP3", {kSong, {"$ ln -s \"$PWD/song.{ext}\" alias"}, {kNobodysReadOnly}},
         "set -j 4 -t Title=x song.{ext} alias song.{ext} alias", 1, {}, {{"$ test $(grep -o EACCES {io}/err | wc -l) = 1"}}, Nobody},
        {"MissingFile", "MP3", {}, "set -t Title=x missing.mp3", 1, {"No such file or directory"}},
        // Parallel runs over a tree report in the serial order (folders, then names); a bar only on a terminal.
        {"ParallelRunKeepsTheSerialOrder", "MP3", {{kTree}}, "show --json -r -j 3 t", 0, {"!9/9", "!n.txt"},
         {{"$ kestrabel-tag show --json -r t | cmp - {io}/out && test $(grep -o 'path.: .t/[abc]/s[0-9]' {io}/out | grep -o '[abc]/s[0-9]' | tr -d '\\n') = a/s1a/s2a/s3b/s1b/s2b/s3c/s1c/s2c/s3"}}},
        {"ParallelSetWithABarOnATerminal", "MP3", {{kTree}}, "set -r -j 4 -t Album=Parallel t", 0, {"!9/9"},
         {{"t/b/s3.mp3", "Album", "Parallel"}, {"$ script -qec 'kestrabel-tag show -r -j 2 t >/dev/null' /dev/null | grep -q '9/9 files'"}}},
        {"ShowJsonOfAFifoNamesTheCause", "MP3", {{kFifoAndPlist}}, "show --json pipe.mp3", 1,
         {"\"error\": \"kMediaFileErrCantOpen: the file cannot be opened: not a regular file (a FIFO)\""}},
        {"GetOfAFifo", "MP3", {{kFifoAndPlist}}, "get Title pipe.mp3", 1, {"not a regular file (a FIFO)"}},
        {"SetOfAFifo", "MP3", {{kFifoAndPlist}}, "set -t Title=x pipe.mp3", 1, {"not a regular file (a FIFO)"}},
        {"ExportOfAFifo", "MP3", {{kFifoAndPlist}}, "export pipe.mp3", 1, {"not a regular file (a FIFO)"}},
        {"ExportOfAFifoToAFile", "MP3", {{kFifoAndPlist}}, "export -o tags.plist pipe.mp3", 1, {"not a regular file (a FIFO)"}},
        {"ArtworkOfAFifo", "MP3", {{kFifoAndPlist}}, "artwork pipe.mp3", 1, {"not a regular file (a FIFO)"}},
        {"ImportIntoAFifo", "MP3", {{kFifoAndPlist}}, "import tags.plist pipe.mp3", 1, {"not a regular file (a FIFO)"}},
        {"ImportFromAFifo", "MP3", {kMp3, {"$ mkfifo tags.plist"}}, "import tags.plist f.mp3", 1},
        {"SetOfASocket", "MP3", {{"$ python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind(\"socket.mp3\")'"}}, "set -t Title=x socket.mp3",
         1, {"not a regular file (a socket)"}},
        {"ExportOutputIsAFifo", "M4A", {kCover, {"$ mkfifo out"}}, "export --overwrite -o out song.m4a", 1, {"it is a FIFO, not a regular file"}, {{"$ test -p out"}}},
        {"ArtworkOutputIsAFifo", "M4A", {kCover, {"$ mkfifo out"}}, "artwork --overwrite -o out song.m4a", 1, {"it is a FIFO, not a regular file"},
         {{"$ test -p out"}}},
        {"ExportToStandardOutput", "M4A", {kCover}, "export -o - song.m4a", 0, {"<?xml version"}},
        {"ArtworkToStandardOutput", "M4A", {kCover}, "artwork -o - song.m4a", 0, {}, {{"$ cmp {io}/out {d}/m4a-cover.jpg"}}},
        // A name that is not UTF-8 (Latin-1 "é"), for every command.
        {"NameNotUtf8InJson", "M4A", {{"cover.m4a", "caf\xe9.m4a"}}, "show --json caf\xe9.m4a", 0, {"\"path_bytes\": \"636166e92e6d3461\""}},
        {"NameNotUtf8Set", "M4A", {{"cover.m4a", "caf\xe9.m4a"}}, "set -t Comment={LONG} caf\xe9.m4a", 0, {}, {{"caf\xe9.m4a", "Comment", "{LONG}"}}},
        {"NameNotUtf8SetArtwork", "M4A", {{"no-tags.m4a", "caf\xe9.m4a"}, {"m4a-cover.jpg", "caf\xe9.jpg"}}, "set --artwork caf\xe9.jpg caf\xe9.m4a", 0,
         {}, {{"caf\xe9.m4a", "Cover Art", kM4aCover}}},
        {"NameNotUtf8Export", "M4A", {{"cover.m4a", "caf\xe9.m4a"}}, "export caf\xe9.m4a", 0, {}, {{"caf\xe9.plist", "", "yes"}}},
        {"NameNotUtf8Artwork", "M4A", {{"cover.m4a", "caf\xe9.m4a"}}, "artwork caf\xe9.m4a", 0, {}, {{"$ cmp caf\xe9.jpg {d}/m4a-cover.jpg"}}},
        {"NameNotUtf8Import", "M4A", {{"cover.m4a", "caf\xe9.m4a"}, {nullptr, "caf\xe9.plist", kPlist}}, "import --overwrite caf\xe9.plist caf\xe9.m4a",
         0, {}, {{"caf\xe9.m4a", "Title", "New"}}},
    };
    return table;
}
#undef MAKE_PNG

bool forKind(const char *kinds, const Kind &kind)
{
    return !kinds || (std::string(" ") + kinds + " ").find(std::string(" ") + kind.name + " ") != std::string::npos;
}

void giveValues(const std::string &path, const std::string &values)
{
    OpenFile file(path, kMediaFileFlagIgnoreTagErrors | kMediaFileFlagSkipMPEGInfo | kMediaFileFlagInterop);
    ASSERT_EQ(file.status(), kMediaFileNoErr) << path;
    for (size_t start = 0, end; start < values.size(); start = end + 1) {
        end = std::min(values.find('|', start), values.size());
        const std::string pair = values.substr(start, end - start);
        const MediaFileDataIDInfo *info = MediaFileFindDataID(pair.substr(0, pair.find('=')).c_str());
        ASSERT_TRUE(info) << pair;
        ASSERT_EQ(MediaFileSetString(file.ref(), info->dataID, pair.substr(pair.find('=') + 1).c_str()), kMediaFileNoErr) << path << ": " << pair;
    }
    ASSERT_EQ(MediaFileUpdate(file.ref(), kMediaFileFlagKeepTagVersion | kMediaFileFlagID3v23), kMediaFileNoErr) << path;
}

// The value as a check spells it, or nothing when the file has none; read as the commands
// wrote it, through the interop profile.
std::optional<std::string> valueOf(const std::string &path, const MediaFileDataIDInfo *info)
{
    OpenFile file(path, kMediaFileFlagIgnoreTagErrors | kMediaFileFlagSkipMPEGInfo | kMediaFileFlagInterop);
    if (file.status() != kMediaFileNoErr)
        return "cannot open: " + std::to_string(file.status());
    MediaFileStatus status = kMediaFileNoErr;
    const std::string value = info->valueType == 'D'   ? kestrabel::cli::sha256Hex(file.data(info->dataID, &status))
                              : info->valueType == 'I' ? std::to_string(file.integer(info->dataID, &status))
                                                       : file.string(info->dataID, &status);
    return status == kMediaFileNoErr ? std::optional(value) : std::nullopt;
}

// Whether nobody may run the binary: a build folder closed to other users keeps it out.
bool nobodyCanRun()
{
    return runCommand("setpriv --reuid=65534 --regid=65534 --clear-groups test -x " + shellQuote(cliPath()) + " 2>/dev/null") == 0;
}

class CliCases : public testing::TestWithParam<std::tuple<size_t, size_t>> {};

TEST_P(CliCases, Run)
{
    const Case &row = cases()[std::get<0>(GetParam())];
    const Kind &kind = kKinds[std::get<1>(GetParam())];
    if (row.user == NobodyNeedsRoot && geteuid() != 0)
        GTEST_SKIP() << "needs root to run the command as a user who does not own the file or folder";
    const bool asNobody = row.user != Self && geteuid() == 0;
    if (asNobody && !nobodyCanRun())
        GTEST_SKIP() << "the user nobody cannot reach " << cliPath() << " (a build folder closed to other users)";
#ifndef KESTRABEL_CLI_OBJECTS
    for (const char *command : {"import", "export", "artwork", "Cover Art="})
        if (std::string(row.args).find(command) != std::string::npos)
            GTEST_SKIP() << command << " needs the object layer, not in this build";
#endif
    TempDir dir, io;
    chmod(dir.path().c_str(), 0777);
    chmod(io.path().c_str(), 0777);
    auto expand = [&](std::string text) {
        const std::pair<std::string, std::string> fields[] = {{"{ext}", kind.ext}, {"{KIND}", kind.kindName}, {"{LONG}", std::string(9000, 'x')},
                                                              {"{d}", shellQuote(fixturePath(""))}, {"{io}", shellQuote(io.path().string())}};
        for (const auto &[key, value] : fields)
            for (size_t at; (at = text.find(key)) != std::string::npos;)
                text.replace(at, key.size(), value);
        return text;
    };
    const std::string there = "cd " + shellQuote(dir.path().string()) + " && PATH=" +
                              shellQuote(std::filesystem::path(cliPath()).parent_path().string()) + ":$PATH; ";
    std::vector<std::string> names;
    for (const File &file : row.before) {
        std::string output;
        if (file.fixture && file.fixture[0] == '$') {
            const int status = runCommand(there + expand(file.fixture + 2), &output, true);
            if (status == 77)
                GTEST_SKIP() << file.fixture << ": " << output;
            ASSERT_EQ(status, 0) << file.fixture << ": " << output;
            continue;
        }
        names.push_back(expand(file.name ? file.name : file.fixture));
        const std::string path = dir.file(names.back());
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        if (!file.fixture)
            writeFile(path, expand(file.values));
        else
            std::filesystem::copy_file(fixturePath(std::string(file.fixture) == "" ? kind.bare : *file.fixture == '+' ? kind.tagged : file.fixture), path);
        chmod(path.c_str(), 0666);
        if (file.fixture && *file.values)
            giveValues(path, file.values);
    }
    // Taken only where compared: a read moves the access time a row may check.
    std::map<std::string, std::vector<uint8_t>> bytesBefore;
    for (const std::string &name : names)
        if (row.exit != 0 || std::any_of(row.after.begin(), row.after.end(), [](const Check &c) { return std::string(c.name) == "="; }))
            bytesBefore[name] = readFile(dir.file(name));
    std::string line = expand(row.args);
    const size_t space = line.find(' ');
    line.insert(std::isupper(static_cast<unsigned char>(line[0])) && line.find('=') < space ? space + 1 : 0, "kestrabel-tag ");
    const std::string user = asNobody ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
    const int status = runCommand(there + "timeout 60 " + user + "env " + line + " >" + shellQuote(io.file("out")) + " 2>" + shellQuote(io.file("err")));
    const std::vector<uint8_t> outBytes = readFile(io.file("out")), errBytes = readFile(io.file("err"));
    const std::string out(outBytes.begin(), outBytes.end()), all = out + std::string(errBytes.begin(), errBytes.end());
    EXPECT_EQ(status, row.exit) << line << "\n" << all.substr(0, 2000);
    for (const char *expected : row.out) {
        const std::string text = expand(expected + (*expected == '=' || *expected == '!'));
        if (*expected == '=')
            EXPECT_EQ(out, text) << line;
        else
            EXPECT_EQ(all.find(text) == std::string::npos, *expected == '!') << text << " in:\n" << all.substr(0, 2000);
    }
    std::vector<std::string> checked;
    for (const Check &check : row.after) {
        if (!forKind(check.kinds, kind))
            continue;
        const std::string name = expand(check.file), what = check.name, expected = expand(check.value), path = dir.file(name);
        checked.push_back(name);
        std::string output;
        if (name[0] == '$')
            EXPECT_EQ(runCommand(there + name.substr(2), &output, true), 0) << name << "\n" << output;
        else if (what.empty())
            EXPECT_EQ(std::filesystem::exists(path), expected == "yes") << name;
        else if (what == "=")
            EXPECT_TRUE(readFile(path) == bytesBefore[name]) << name << " changed";
        else if (const std::optional<std::string> value = valueOf(path, MediaFileFindDataID(check.name)); expected == "*")
            EXPECT_TRUE(value.has_value()) << name << ": " << what;
        else if (expected[0] == '?')
            EXPECT_TRUE(!value || *value == expected.substr(1)) << name << ": " << what << " = " << *value;
        else
            EXPECT_EQ(value.value_or("(none)"), expected) << name << ": " << what;
    }
    for (const auto &[name, bytes] : bytesBefore) {
        if (row.exit != 0 && std::find(checked.begin(), checked.end(), name) == checked.end()) {
            EXPECT_TRUE(readFile(dir.file(name)) == bytes) << name << " changed by a command that failed";
        }
    }
}

std::vector<std::tuple<size_t, size_t>> runs()
{
    std::vector<std::tuple<size_t, size_t>> out;
    for (size_t row = 0; row < cases().size(); ++row)
        for (size_t kind = 0; kind < std::size(kKinds); ++kind)
            if (forKind(cases()[row].kinds, kKinds[kind]))
                out.emplace_back(row, kind);
    return out;
}

INSTANTIATE_TEST_SUITE_P(Rows, CliCases, testing::ValuesIn(runs()), [](const testing::TestParamInfo<std::tuple<size_t, size_t>> &info) {
    return std::string(cases()[std::get<0>(info.param)].name) + "_" + kKinds[std::get<1>(info.param)].name;
});

} // namespace
