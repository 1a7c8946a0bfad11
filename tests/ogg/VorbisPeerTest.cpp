// Ogg Vorbis, Ogg Opus and FLAC files passed between us and the peer tools: we set fields, then
// metaflac, vorbiscomment, mutagen or kestrabel-tag write theirs; both sides read what the other
// wrote, and the decoded audio and the validators' verdicts (flac -t, ogginfo) stay as they were.
// Each row runs with the interop profile and with the classic rules, the problems found under each
// part of the row. What today's files need of the interop profile (names, pictures, comment
// blocks) is a row of the contract suite's interop table.
#include "VorbisTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

struct Field {
    MediaFileDataID id;
    std::string value; // a picture reads as its size: "N bytes"
};

struct Row {
    const char *fixture;
    std::vector<Field> edits;          // ours, saved before the commands run
    std::vector<std::string> commands; // {} the file, {cli} kestrabel-tag, %m mutagen's opening
    std::vector<std::string> expect;   // lines of the peer view after; "-" and a start no line may have
    std::vector<Field> weRead;         // what our reader finds at the end
    const char *interop, *classic;     // the problems found
};

const char kMutagen[] = "/usr/bin/python3 -c \"import sys, mutagen; f = mutagen.File(sys.argv[1]); ";
using F = std::vector<Field>;

// The interop profile writes the common names (TRACKTOTAL, DATE); the classic rules read the
// application-block picture with the block's length.
const Row kRows[] = {
    {"flac-duplicate-artist.flac", 
     F{{kMediaFileDataIDArtist, "Ünïcode Artist"}, {kMediaFileDataIDTotalTracks, "11"}, {kMediaFileDataIDEncodedBy, "our vendor"}},
     {"metaflac --remove-tag=TITLE --set-tag='TITLE=From metaflac' --set-tag=TRACKNUMBER=2/9 --set-tag=COMPILATION=1 {}"},
     {"ARTIST\tmetaflac\tÜnïcode Artist", "-ARTIST\tmetaflac\tFirst", "-ARTIST\tmetaflac\tSecond", "TOTALTRACKS\tmetaflac\t11",
      "VENDOR\tmutagen\tour vendor"},
     F{{kMediaFileDataIDTitle, "From metaflac"}, {kMediaFileDataIDTrackNumber, "2"}, {kMediaFileDataIDCompilation, "1"}},
     "missing TOTALTRACKS\tmetaflac\t11", ""},
    {"flac-escn-picture.flac", F{{kMediaFileDataIDAlbum, "Album für alle"}, {kMediaFileDataIDYear, "1999"}},
     {"%mf['title'] = 'Set by mutagen'; f['discc'] = '3'; f.save()\" {}"},
     {"ALBUM\tmutagen\tAlbum für alle", "YEAR\tmutagen\t1999", "TITLE\tmetaflac\tSet by mutagen"},
     F{{kMediaFileDataIDTitle, "Set by mutagen"}, {kMediaFileDataIDTotalDisks, "3"}, {kMediaFileDataIDArtwork, "224 bytes"}},
     "missing YEAR\tmutagen\t1999", "read Cover Art 232 bytes"},
    {"vorbis-tagged.ogg", F{{kMediaFileDataIDTitle, "Über den Wolken"}, {kMediaFileDataIDTotalTracks, "14"}, {kMediaFileDataIDAuthor, "Someone"}},
     {},
     {"TITLE\tvorbiscomment\tÜber den Wolken", "TRACKTOTAL\tvorbiscomment\t14", "AUTHOR\tvorbiscomment\tSomeone",
      "ARTIST\tvorbiscomment\tKestrel Quartet"},
     {}, "", ""},
    {"vorbis-no-comments.ogg", {}, {"vorbiscomment -w -t 'ARTIST=Via Tool' -t 'COMPILATION=10' -t 'discnumber=4' -t 'TOTALTRACKS=8' {}"},
      {},
     F{{kMediaFileDataIDArtist, "Via Tool"}, {kMediaFileDataIDCompilation, "1"}, {kMediaFileDataIDDiskNumber, "4"}, {kMediaFileDataIDTotalTracks, "8"}},
     "", ""},
    {"vorbis-chained.ogg", F{{kMediaFileDataIDAlbum, "Ünïcode Album"}, {kMediaFileDataIDYear, "2001"}},
     {"%mf['title'] = 'Set by mutagen'; f['tracknumber'] = '6'; f.save()\" {}"}, {"ALBUM\tmutagen\tÜnïcode Album", "YEAR\tmutagen\t2001"},
     F{{kMediaFileDataIDTitle, "Set by mutagen"}, {kMediaFileDataIDTrackNumber, "6"}, {kMediaFileDataIDAlbum, "Ünïcode Album"}},
     "missing YEAR\tmutagen\t2001", ""},
    {"opus-ffmpeg.opus", {}, {"%mf['artist'] = 'Via Mutagen'; f['discnumber'] = '3'; f.save()\" {}"}, {},
     F{{kMediaFileDataIDArtist, "Via Mutagen"}, {kMediaFileDataIDDiskNumber, "3"}}, "", ""},
    {"vorbis-aliases.ogg", {}, {"{cli} set -t Title=Shown -t 'Disk Number=5' {}"}, {"TITLE\tvorbiscomment\tShown"},
     F{{kMediaFileDataIDTitle, "Shown"}, {kMediaFileDataIDTotalTracks, "12"}}, "", ""},
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.fixture << ", " << row.edits.size() << " edits"; }

bool havePeers()
{
    for (const char *tool : {"ffprobe", "ffmpeg", "metaflac", "flac", "vorbiscomment", "ogginfo"})
        if (!haveTool(tool))
            return false;
    return runCommand("/usr/bin/python3 -c 'import mutagen' 2>/dev/null") == 0;
}

std::string peerView(const std::string &path)
{
    std::string output;
    EXPECT_EQ(runCommand("/usr/bin/python3 " + shellQuote(KESTRABEL_VORBIS_PEERS) + " " + shellQuote(path), &output, true), 0) << output;
    return "\n" + output;
}

// The decoded audio's and the validators' lines of a view.
std::string unchangedPart(const std::string &view)
{
    std::istringstream in(view);
    std::string kept;
    for (std::string line; std::getline(in, line);)
        if (line.rfind("AUDIO\t", 0) == 0 || line.rfind("VALID\t", 0) == 0)
            kept += line + "\n";
    return kept;
}

// Each placeholder stands once in a command.
std::string put(std::string text, const std::string &from, const std::string &to)
{
    return text.find(from) == std::string::npos ? text : text.replace(text.find(from), from.size(), to);
}

std::string problems(const Row &row, const std::string &before, MediaFileFlags flags)
{
    TempDir dir;
    std::string path = dir.copyFixture(row.fixture), found;
    auto add = [&](const std::string &problem) { found += (found.empty() ? "" : "; ") + problem; };
    if (!row.edits.empty()) {
        OpenFile file(path, flags);
        for (const Field &edit : row.edits)
            if (MediaFileStatus status = MediaFileSetString(file.ref(), edit.id, edit.value.c_str()))
                add("set status " + std::to_string(status));
        if (MediaFileStatus status = MediaFileUpdate(file.ref(), flags))
            add("save status " + std::to_string(status));
    }
    for (const std::string &command : row.commands) {
        std::string line = put(put(put(command, "%m", kMutagen), "{cli}", shellQuote(cliPath())), "{}", shellQuote(path)), output;
        if (int status = runCommand(line, &output, true))
            add("command status " + std::to_string(status) + ": " + output);
    }
    const std::string after = peerView(path);
    if (unchangedPart(after) != unchangedPart(before))
        add("audio or validity changed");
    for (const std::string &line : row.expect) {
        bool absent = line[0] == '-';
        if ((after.find("\n" + line.substr(absent) + (absent ? "" : "\n")) != std::string::npos) == absent)
            add((absent ? "still " : "missing ") + line.substr(absent));
    }
    OpenFile file(path, flags);
    for (const Field &field : row.weRead) {
        MediaFileStatus status = 0;
        std::string value = field.id == kMediaFileDataIDArtwork ? std::to_string(file.data(field.id, &status).size()) + " bytes" : file.string(field.id, &status);
        if ((status ? "status " + std::to_string(status) : value) != field.value)
            add(std::string("read ") + MediaFileGetDataIDName(field.id) + " " + (status ? "status " + std::to_string(status) : value));
    }
    return found;
}

class VorbisPeers : public testing::TestWithParam<Row> {};

TEST_P(VorbisPeers, EachSideReadsWhatTheOtherWrote)
{
    if (!havePeers())
        GTEST_SKIP() << "needs ffprobe, ffmpeg, metaflac, flac, vorbiscomment, ogginfo and mutagen";
    const Row &row = GetParam();
    const std::string before = peerView(fixturePath(row.fixture));
    EXPECT_EQ(problems(row, before, kMediaFileFlagInterop), row.interop) << "interop profile";
    EXPECT_EQ(problems(row, before, 0), row.classic) << "classic rules";
}

INSTANTIATE_TEST_SUITE_P(Rows, VorbisPeers, testing::ValuesIn(kRows), [](const testing::TestParamInfo<Row> &info) {
    std::string name = std::to_string(info.index) + "_" + info.param.fixture;
    std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
});

} // namespace
