// Ogg Vorbis and FLAC files passed between us and the peer tools: we set fields (classic rules),
// the peers (vorbiscomment, metaflac, mutagen, ffmpeg) or kestrabel-tag write theirs, and at the
// end both sides read what the other wrote; the decoded audio and the validators' verdicts stay
// as they were. The kestrabel-tag rows check only what its two rule sets have in common.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

struct Field {
    MediaFileDataID id;
    const char *value; // a picture reads as its size: "N bytes"
};

struct Command {
    const char *line; // run by the shell; {} is the file, {cli} kestrabel-tag, {data} the fixtures
    int status;
    std::vector<const char *> output; // texts its output must hold
};

struct Exchange {
    const char *fixture;
    std::vector<Field> weSet;
    std::vector<Command> commands;
    std::vector<std::string> peersSee; // lines of the peer view; "-" and a start no line may have
    std::vector<Field> weRead;
};

const char kMutagen[] = "/usr/bin/python3 -c \"import sys, mutagen; f = mutagen.File(sys.argv[1]); ";

const Exchange kExchanges[] = {
    {"flac-duplicate-artist.flac",
     {{kMediaFileDataIDArtist, "Ünïcode Artist"}, {kMediaFileDataIDTotalTracks, "11"}, {kMediaFileDataIDEncodedBy, "our vendor"}},
     {{"metaflac --remove-tag=TITLE --set-tag='TITLE=From metaflac' --set-tag=TRACKNUMBER=2/9 --set-tag=COMPILATION=1 {}", 0, {}}},
     {"ARTIST\tmetaflac\tÜnïcode Artist", "-ARTIST\tmetaflac\tFirst", "-ARTIST\tmetaflac\tSecond", "TOTALTRACKS\tmetaflac\t11",
      "VENDOR\tmutagen\tour vendor"},
     {{kMediaFileDataIDTitle, "From metaflac"}, {kMediaFileDataIDTrackNumber, "2"}, {kMediaFileDataIDCompilation, "1"}}},
    {"flac-escn-picture.flac",
     {{kMediaFileDataIDAlbum, "Album für alle"}, {kMediaFileDataIDYear, "1999"}},
     {{"%sf['title'] = 'Set by mutagen'; f['discc'] = '3'; f.save()\" {}", 0, {}}},
     {"ALBUM\tmutagen\tAlbum für alle", "YEAR\tmutagen\t1999", "TITLE\tmetaflac\tSet by mutagen"},
     {{kMediaFileDataIDTitle, "Set by mutagen"}, {kMediaFileDataIDTotalDisks, "3"}, {kMediaFileDataIDArtwork, "232 bytes"}}},
    {"flac-escn-picture.flac",
     {},
     {{"{cli} set -t Title=Shown -t 'Total Tracks=10' --artwork {data}/no-exif.jpg {}", 0, {}},
      {"{cli} show {}", 0, {"(FLAC)", "Title          : Shown", "Total Tracks   : 10", "Bit Rate       : 125"}}},
     {"TITLE\tmetaflac\tShown"},
     {{kMediaFileDataIDArtwork, "232 bytes"}}},
    {"vorbis-tagged.ogg",
     {{kMediaFileDataIDTitle, "Über den Wolken"}, {kMediaFileDataIDTotalTracks, "14"}, {kMediaFileDataIDAuthor, "Someone"}},
     {},
     {"TITLE\tvorbiscomment\tÜber den Wolken", "TRACKTOTAL\tvorbiscomment\t14", "AUTHOR\tvorbiscomment\tSomeone",
      "ARTIST\tvorbiscomment\tKestrel Quartet"},
     {}},
    {"vorbis-no-comments.ogg",
     {},
     {{"vorbiscomment -w -t 'ARTIST=Via Tool' -t 'COMPILATION=10' -t 'discnumber=4' -t 'TOTALTRACKS=8' {}", 0, {}}},
     {},
     {{kMediaFileDataIDArtist, "Via Tool"}, {kMediaFileDataIDCompilation, "1"}, {kMediaFileDataIDDiskNumber, "4"},
      {kMediaFileDataIDTotalTracks, "8"}}},
    {"vorbis-chained.ogg",
     {{kMediaFileDataIDAlbum, "Ünïcode Album"}, {kMediaFileDataIDYear, "2001"}},
     {{"%sf['title'] = 'Set by mutagen'; f['tracknumber'] = '6'; f.save()\" {}", 0, {}}},
     {"ALBUM\tmutagen\tÜnïcode Album", "YEAR\tmutagen\t2001"},
     {{kMediaFileDataIDTitle, "Set by mutagen"}, {kMediaFileDataIDTrackNumber, "6"}, {kMediaFileDataIDAlbum, "Ünïcode Album"}}},
    {"vorbis-ffmpeg.ogg",
     {{kMediaFileDataIDGenre, "Test Tones"}},
     {},
     {"GENRE\tffprobe\tTest Tones", "TITLE\tffprobe\tFrom ffmpeg"},
     {{kMediaFileDataIDArtist, "Encoder Test"}}},
    {"vorbis-aliases.ogg",
     {},
     {{"{cli} set -t Title=Shown -t 'Disk Number=5' {}", 0, {}},
      {"{cli} show {}", 0, {"(Ogg)", "Title          : Shown", "Disk Number    : 5", "Total Tracks   : 12"}},
      {"{cli} set -t Encoder=me {}", 1, {"kMediaFileErrUnsupported"}}},
     {"TITLE\tvorbiscomment\tShown"},
     {}},
    {"ogg-flac-not-vorbis.ogg",
     {},
     {{"{cli} show {}", 1, {"This Ogg bitstream does not contain Vorbis audio data.", "2003"}}},
     {},
     {}},
};

void PrintTo(const Exchange &row, std::ostream *out) { *out << row.fixture; }

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
    EXPECT_EQ(runCommand("/usr/bin/python3 " + shellQuote(KESTRABEL_VORBIS_PEERS) + " " + shellQuote(path), &output, true), 0)
        << output;
    return output;
}

// The audio and the validators' lines of a view.
std::string unchangedPart(const std::string &view)
{
    std::istringstream in(view);
    std::string kept;
    for (std::string line; std::getline(in, line);)
        if (line.rfind("AUDIO\t", 0) == 0 || line.rfind("VALID\t", 0) == 0)
            kept += line + "\n";
    return kept;
}

std::string replaceAll(std::string text, const std::string &from, const std::string &to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

std::string readField(const OpenFile &file, const Field &field)
{
    MediaFileStatus status = 0;
    std::string value = field.id == kMediaFileDataIDArtwork ? std::to_string(file.data(field.id, &status).size()) + " bytes"
                                                             : file.string(field.id, &status);
    return status ? "status " + std::to_string(status) : value;
}

class VorbisPeerExchange : public testing::TestWithParam<Exchange> {};

TEST_P(VorbisPeerExchange, BothSidesReadWhatTheOtherWrote)
{
    if (!havePeers())
        GTEST_SKIP() << "needs ffprobe, ffmpeg, metaflac, flac, vorbiscomment, ogginfo and mutagen";
    const Exchange &row = GetParam();
    TempDir dir;
    std::string path = dir.copyFixture(row.fixture);
    std::string before = peerView(path);
    if (!row.weSet.empty()) {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        for (const Field &field : row.weSet)
            ASSERT_EQ(MediaFileSetString(file.ref(), field.id, field.value), 0) << MediaFileGetDataIDName(field.id);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    for (const Command &command : row.commands) {
        std::string line = replaceAll(command.line, "%s", kMutagen);
        line = replaceAll(replaceAll(line, "{cli}", shellQuote(cliPath())), "{data}", shellQuote(fixturePath("")));
        line = replaceAll(line, "{}", shellQuote(path));
        std::string output;
        EXPECT_EQ(runCommand(line, &output, true), command.status) << line << "\n" << output;
        for (const char *text : command.output)
            EXPECT_NE(output.find(text), std::string::npos) << line << " lacks " << text << "\n" << output;
    }
    std::string after = peerView(path);
    EXPECT_EQ(unchangedPart(after), unchangedPart(before));
    std::string lines = "\n" + after;
    for (const std::string &line : row.peersSee) {
        if (line[0] == '-')
            EXPECT_EQ(lines.find("\n" + line.substr(1)), std::string::npos) << line << " in\n" << after;
        else
            EXPECT_NE(lines.find("\n" + line + "\n"), std::string::npos) << line << " not in\n" << after;
    }
    OpenFile file(path);
    for (const Field &field : row.weRead)
        EXPECT_EQ(readField(file, field), field.value) << MediaFileGetDataIDName(field.id);
}

INSTANTIATE_TEST_SUITE_P(Rows, VorbisPeerExchange, testing::ValuesIn(kExchanges),
                         [](const testing::TestParamInfo<Exchange> &info) {
                             std::string name = std::to_string(info.index) + "_" + info.param.fixture;
                             std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
                             return name;
                         });

} // namespace
