// Ogg Vorbis, Ogg Opus and FLAC files passed between us and the peer tools (mutagen, ffprobe,
// ffmpeg, metaflac, vorbiscomment, flac -t, ogginfo, and kestrabel-tag itself): we edit, the
// peers may write theirs after us, and then everything a peer read before is read the same (but
// the tags the row changes), the decoded audio and the validators' verdicts stay, and both sides
// read what the other wrote. Each row runs with the interop profile and with the classic rules;
// the problems found under each are part of the row.
#include "VorbisTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

const char *const kImages[] = {"interop-front.jpg", "interop-back.png", "escn-cover.jpg"};
const MediaFileDataID kNone = MediaFileDataID(-1);

struct Field {
    MediaFileDataID id;
    std::string value; // a picture: the image fixture ("" for none)
};

struct Row {
    const char *fixture;
    MediaFileDataID readID;          // read before the edit; its value starts the problem list
    std::vector<Field> edits;        // ours, saved before the commands run
    std::vector<std::string> commands; // {} the file, {cli} kestrabel-tag, %m mutagen's opening
    std::set<std::string> changes;   // tags whose peer views may change; "*" any (AUDIO and VALID never)
    std::vector<std::string> expect; // "TAG<tab>peer<tab>value" lines after; "-" and a start no line may have
    std::vector<Field> weRead;       // what our reader finds at the end
    const char *interop, *classic;   // the problems: the read value first, then what went wrong
};

const char kMutagen[] = "/usr/bin/python3 -c \"import sys, mutagen; f = mutagen.File(sys.argv[1]); ";
using F = std::vector<Field>;

const Row kRows[] = {
    // A set replaces its exact name, and every entry of it.
    {"interop-albumartist.ogg", kMediaFileDataIDAlbum, F{{kMediaFileDataIDAlbum, "New Album"}}, {}, {"ALBUM"},
     {"ALBUM\tmutagen\tNew Album", "ALBUMARTIST\tmutagen\tVarious Artists"}, {}, "Sampler",
     "Sampler; changed ALBUMARTIST; changed ALBUM_ARTIST; missing ALBUMARTIST\tmutagen\tVarious Artists"},
    {"interop-albumartist.ogg", kMediaFileDataIDGenre, F{{kMediaFileDataIDGenre, "Rock"}}, {}, {"GENRE"},
     {"GENRE\tvorbiscomment\tRock", "-GENRE\tvorbiscomment\tBlues"}, {}, "Jazz", "Jazz; still GENRE\tvorbiscomment\tBlues"},
    {"interop-names.flac", kMediaFileDataIDAlbum, F{{kMediaFileDataIDAlbum, "New Album"}}, {}, {"ALBUM"},
     {"ALBUM\tmetaflac\tNew Album", "ALBUMARTIST\tmetaflac\tVarious Artists"}, {}, "Sampler", "Sampler"},
    // The names today's files use: read under either name, written under the common one.
    {"interop-names.ogg", kMediaFileDataIDTotalTracks, F{{kMediaFileDataIDTotalTracks, "10"}}, {}, {"TRACKTOTAL", "TOTALTRACKS"},
     {"TRACKTOTAL\tmutagen\t10", "-TOTALTRACKS"}, {}, "12", "12; still TOTALTRACKS"},
    {"interop-names.ogg", kMediaFileDataIDTotalDisks, F{{kMediaFileDataIDTotalDisks, "4"}}, {}, {"DISCTOTAL", "DISCC"},
     {"DISCTOTAL\tmutagen\t4", "-DISCC"}, {}, "3", "status 2005; missing DISCTOTAL\tmutagen\t4; still DISCC"},
    {"interop-names.ogg", kMediaFileDataIDDiskNumber, F{{kMediaFileDataIDDiskNumber, "5"}}, {}, {"DISCNUMBER", "DISC"},
     {"DISCNUMBER\tmutagen\t5", "-DISC\tmutagen"}, {}, "2", "2; missing DISCNUMBER\tmutagen\t5; still DISC\tmutagen"},
    {"interop-names.ogg", kMediaFileDataIDYear, F{{kMediaFileDataIDYear, "2020"}}, {}, {"DATE", "YEAR"}, {"DATE\tmutagen\t2020", "-YEAR"}, {},
     "2019", "status 2005; missing DATE\tmutagen\t2020; still YEAR"},
    {"interop-names.flac", kMediaFileDataIDTotalTracks, F{{kMediaFileDataIDTotalTracks, "10"}}, {}, {"TRACKTOTAL", "TOTALTRACKS"},
     {"TRACKTOTAL\tmetaflac\t10", "-TOTALTRACKS"}, {}, "12", "status -6727; missing TRACKTOTAL\tmetaflac\t10; still TOTALTRACKS"},
    {"interop-names.flac", kMediaFileDataIDDiskNumber, F{{kMediaFileDataIDDiskNumber, "5"}}, {}, {"DISCNUMBER", "DISC"},
     {"DISCNUMBER\tmetaflac\t5", "-DISC\tmetaflac"}, {}, "2", "status -6727; missing DISCNUMBER\tmetaflac\t5; still DISC\tmetaflac"},
    {"interop-names.flac", kMediaFileDataIDYear, F{{kMediaFileDataIDYear, "2021"}}, {}, {"DATE", "YEAR"}, {"DATE\tmetaflac\t2021", "-YEAR"}, {},
     "2020", "status -6727; missing DATE\tmetaflac\t2021; still YEAR"},
    // The vendor string ffmpeg wrote stays.
    {"vorbis-ffmpeg.ogg", kMediaFileDataIDEncodedBy, F{{kMediaFileDataIDGenre, "Test Tones"}}, {}, {"GENRE"}, {"GENRE\tffprobe\tTest Tones"}, {},
     "ffmpeg", "ffmpeg; changed VENDOR"},
    // Pictures: read, kept by other edits, replaced by type, added when absent, removed by no image.
    {"interop-pictures.ogg", kMediaFileDataIDArtwork, F{{kMediaFileDataIDTitle, "Retitled"}}, {}, {"TITLE"}, {"TITLE\tmutagen\tRetitled"}, {},
     "interop-front.jpg", "status -6735"},
    {"interop-pictures.ogg", kMediaFileDataIDArtworkBack, F{{kMediaFileDataIDArtworkBack, "interop-front.jpg"}}, {}, {"PICTURE"},
     {"PICTURE\tmutagen\t4 image/jpeg interop-front.jpg", "PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"}, {}, "interop-back.png",
     "status -6735; set status -6735; missing PICTURE\tmutagen\t4 image/jpeg interop-front.jpg"},
    {"interop-no-picture.ogg", kMediaFileDataIDArtwork, F{{kMediaFileDataIDArtwork, "interop-back.png"}}, {}, {"PICTURE"},
     {"PICTURE\tvorbiscomment\t3 image/png interop-back.png"}, {}, "status -6727",
     "status -6735; set status -6735; missing PICTURE\tvorbiscomment\t3 image/png interop-back.png"},
    {"interop-pictures.flac", kMediaFileDataIDArtwork, F{{kMediaFileDataIDTitle, "Retitled"}}, {}, {"TITLE"}, {"TITLE\tmetaflac\tRetitled"}, {},
     "interop-front.jpg", "status -6727"},
    {"interop-pictures.flac", kMediaFileDataIDArtworkMisc, F{{kMediaFileDataIDArtwork, "interop-back.png"}}, {}, {"PICTURE"},
     {"PICTURE\tmutagen\t3 image/png interop-back.png", "PICTURE\tmutagen\t4 image/png interop-back.png"}, {}, "status -6727",
     "status -6735; missing PICTURE\tmutagen\t3 image/png interop-back.png"},
    {"interop-no-picture.flac", kMediaFileDataIDArtwork, F{{kMediaFileDataIDArtwork, "interop-front.jpg"}}, {}, {"PICTURE"},
     {"PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"}, {}, "status -6727", "status -6727; missing PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"},
    {"interop-escn-and-picture.flac", kMediaFileDataIDArtwork, F{{kMediaFileDataIDArtwork, "interop-front.jpg"}}, {}, {"PICTURE", "ESCN"},
     {"PICTURE\tmutagen\t3 image/jpeg interop-front.jpg", "ESCN\tmutagen\tinterop-front.jpg"}, {}, "escn-cover.jpg",
     "232 bytes; missing PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"},
    {"interop-pictures.ogg", kMediaFileDataIDArtworkBack, F{{kMediaFileDataIDArtworkBack, ""}}, {}, {"PICTURE"},
     {"-PICTURE\tmutagen\t4", "PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"}, {}, "interop-back.png",
     "status -6735; set status -6735; still PICTURE\tmutagen\t4"},
    {"interop-escn-and-picture.flac", kMediaFileDataIDArtwork, F{{kMediaFileDataIDArtwork, ""}}, {}, {"PICTURE", "ESCN"}, {"-PICTURE", "-ESCN"}, {},
     "escn-cover.jpg", "232 bytes; still PICTURE; still ESCN"},
    // Two comment blocks: the first is the file's; the second is kept as it was.
    {"interop-two-comment-blocks.flac", kMediaFileDataIDTitle, F{{kMediaFileDataIDArtist, "New Artist"}}, {}, {"ARTIST"},
     {"ARTIST\tblock0\tb'New Artist'", "ARTIST\tmutagen\tNew Artist"}, {}, "First Block",
     "Second Block; missing ARTIST\tblock0\tb'New Artist'; missing ARTIST\tmutagen\tNew Artist"},
    // Entries libFLAC cannot read: no save, so nothing is dropped.
    {"interop-comment-past-block.flac", kMediaFileDataIDTitle, F{{kMediaFileDataIDTitle, "Retitled"}}, {}, {"TITLE"}, {}, {},
     "Readable; save status -6751", "Readable; changed ARTIST; changed ERROR; changed VENDOR"},
    // Both ways: we set, a peer writes after us, each reads the other's values. The interop profile
    // writes the common names (TRACKTOTAL, DATE); the classic rules read the application-block
    // picture with its block's length.
    {"flac-duplicate-artist.flac", kNone,
     F{{kMediaFileDataIDArtist, "Ünïcode Artist"}, {kMediaFileDataIDTotalTracks, "11"}, {kMediaFileDataIDEncodedBy, "our vendor"}},
     {"metaflac --remove-tag=TITLE --set-tag='TITLE=From metaflac' --set-tag=TRACKNUMBER=2/9 --set-tag=COMPILATION=1 {}"}, {"*"},
     {"ARTIST\tmetaflac\tÜnïcode Artist", "-ARTIST\tmetaflac\tFirst", "-ARTIST\tmetaflac\tSecond", "TOTALTRACKS\tmetaflac\t11",
      "VENDOR\tmutagen\tour vendor"},
     F{{kMediaFileDataIDTitle, "From metaflac"}, {kMediaFileDataIDTrackNumber, "2"}, {kMediaFileDataIDCompilation, "1"}},
     "missing TOTALTRACKS\tmetaflac\t11", ""},
    {"flac-escn-picture.flac", kNone, F{{kMediaFileDataIDAlbum, "Album für alle"}, {kMediaFileDataIDYear, "1999"}},
     {"%mf['title'] = 'Set by mutagen'; f['discc'] = '3'; f.save()\" {}"}, {"*"},
     {"ALBUM\tmutagen\tAlbum für alle", "YEAR\tmutagen\t1999", "TITLE\tmetaflac\tSet by mutagen"},
     F{{kMediaFileDataIDTitle, "Set by mutagen"}, {kMediaFileDataIDTotalDisks, "3"}, {kMediaFileDataIDArtwork, "escn-cover.jpg"}},
     "missing YEAR\tmutagen\t1999", "read Cover Art 232 bytes"},
    {"vorbis-tagged.ogg", kNone, F{{kMediaFileDataIDTitle, "Über den Wolken"}, {kMediaFileDataIDTotalTracks, "14"}, {kMediaFileDataIDAuthor, "Someone"}},
     {}, {"*"},
     {"TITLE\tvorbiscomment\tÜber den Wolken", "TRACKTOTAL\tvorbiscomment\t14", "AUTHOR\tvorbiscomment\tSomeone",
      "ARTIST\tvorbiscomment\tKestrel Quartet"},
     {}, "", ""},
    {"vorbis-no-comments.ogg", kNone, {}, {"vorbiscomment -w -t 'ARTIST=Via Tool' -t 'COMPILATION=10' -t 'discnumber=4' -t 'TOTALTRACKS=8' {}"},
     {"*"}, {},
     F{{kMediaFileDataIDArtist, "Via Tool"}, {kMediaFileDataIDCompilation, "1"}, {kMediaFileDataIDDiskNumber, "4"}, {kMediaFileDataIDTotalTracks, "8"}},
     "", ""},
    {"vorbis-chained.ogg", kNone, F{{kMediaFileDataIDAlbum, "Ünïcode Album"}, {kMediaFileDataIDYear, "2001"}},
     {"%mf['title'] = 'Set by mutagen'; f['tracknumber'] = '6'; f.save()\" {}"}, {"*"}, {"ALBUM\tmutagen\tÜnïcode Album", "YEAR\tmutagen\t2001"},
     F{{kMediaFileDataIDTitle, "Set by mutagen"}, {kMediaFileDataIDTrackNumber, "6"}, {kMediaFileDataIDAlbum, "Ünïcode Album"}},
     "missing YEAR\tmutagen\t2001", ""},
    {"opus-ffmpeg.opus", kNone, {}, {"%mf['artist'] = 'Via Mutagen'; f['discnumber'] = '3'; f.save()\" {}"}, {"*"}, {},
     F{{kMediaFileDataIDArtist, "Via Mutagen"}, {kMediaFileDataIDDiskNumber, "3"}}, "", ""},
    {"vorbis-aliases.ogg", kNone, {}, {"{cli} set -t Title=Shown -t 'Disk Number=5' {}"}, {"*"}, {"TITLE\tvorbiscomment\tShown"},
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

// TAG -> its sorted "TAG<tab>peer<tab>value" lines.
using View = std::map<std::string, std::vector<std::string>>;

View peerView(const std::string &path)
{
    std::string command = "/usr/bin/python3 " + shellQuote(KESTRABEL_VORBIS_PEERS) + " " + shellQuote(path), output;
    for (const char *image : kImages)
        command += " " + shellQuote(fixturePath(image));
    EXPECT_EQ(runCommand(command, &output, true), 0) << output;
    View view;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);)
        view[line.substr(0, line.find('\t'))].push_back(line);
    return view;
}

bool isPicture(MediaFileDataID id) { return id == kMediaFileDataIDArtwork || id == kMediaFileDataIDArtworkBack || id == kMediaFileDataIDArtworkMisc; }

std::string readValue(const OpenFile &file, MediaFileDataID id)
{
    MediaFileStatus status = 0;
    std::string value = isPicture(id) ? "" : file.string(id, &status);
    if (isPicture(id)) {
        Bytes bytes = file.data(id, &status);
        value = std::to_string(bytes.size()) + " bytes";
        for (const char *image : kImages)
            value = readFile(fixturePath(image)) == bytes ? image : value;
    }
    return status ? "status " + std::to_string(status) : value;
}

std::string replaceAll(std::string text, const std::string &from, const std::string &to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

std::string problems(const Row &row, const View &before, MediaFileFlags flags)
{
    TempDir dir;
    std::string path = dir.copyFixture(row.fixture);
    std::vector<std::string> found;
    if (row.readID != kNone || !row.edits.empty()) {
        OpenFile file(path, flags);
        if (file.status())
            return "open status " + std::to_string(file.status());
        if (row.readID != kNone)
            found.push_back(readValue(file, row.readID));
        for (const Field &edit : row.edits) {
            Bytes image = isPicture(edit.id) && !edit.value.empty() ? readFile(fixturePath(edit.value)) : Bytes{};
            MediaFileStatus status = isPicture(edit.id) ? MediaFileSetData(file.ref(), edit.id, image.data(), image.size())
                                                        : MediaFileSetString(file.ref(), edit.id, edit.value.c_str());
            if (status)
                found.push_back("set status " + std::to_string(status));
        }
        if (MediaFileStatus status = MediaFileUpdate(file.ref(), flags))
            found.push_back("save status " + std::to_string(status));
    }
    for (const std::string &command : row.commands) {
        std::string line = replaceAll(replaceAll(replaceAll(command, "%m", kMutagen), "{cli}", shellQuote(cliPath())), "{}", shellQuote(path)), output;
        if (int status = runCommand(line, &output, true))
            found.push_back("command status " + std::to_string(status) + ": " + output);
    }
    const View after = peerView(path);
    std::set<std::string> tags;
    for (const View *view : {&before, &after})
        for (const auto &entry : *view)
            tags.insert(entry.first);
    for (const std::string &tag : tags) {
        bool mayChange = row.changes.count(tag) || (row.changes.count("*") && tag != "AUDIO" && tag != "VALID");
        auto lines = [&](const View &view) { return view.count(tag) ? view.at(tag) : std::vector<std::string>{}; };
        if (!mayChange && lines(before) != lines(after))
            found.push_back("changed " + tag);
    }
    for (const std::string &line : row.expect) {
        bool absent = line[0] == '-';
        std::string wanted = absent ? line.substr(1) : line, tag = wanted.substr(0, wanted.find('\t'));
        const std::vector<std::string> &lines = after.count(tag) ? after.at(tag) : std::vector<std::string>{};
        bool present = std::any_of(lines.begin(), lines.end(), [&](const std::string &have) { return absent ? have.rfind(wanted, 0) == 0 : have == wanted; });
        if (absent == present)
            found.push_back((absent ? "still " : "missing ") + wanted);
    }
    OpenFile file(path, flags);
    for (const Field &field : row.weRead)
        if (readValue(file, field.id) != field.value)
            found.push_back(std::string("read ") + MediaFileGetDataIDName(field.id) + " " + readValue(file, field.id));
    std::string text;
    for (const std::string &item : found)
        text += (text.empty() ? "" : "; ") + item;
    return text;
}

class VorbisPeers : public testing::TestWithParam<Row> {};

TEST_P(VorbisPeers, EachSideReadsWhatTheOtherWroteAndKeepsTheRest)
{
    if (!havePeers())
        GTEST_SKIP() << "needs ffprobe, ffmpeg, metaflac, flac, vorbiscomment, ogginfo and mutagen";
    const Row &row = GetParam();
    View before = peerView(fixturePath(row.fixture));
    EXPECT_EQ(problems(row, before, kMediaFileFlagInterop), row.interop) << "interop profile";
    EXPECT_EQ(problems(row, before, 0), row.classic) << "classic rules";
}

INSTANTIATE_TEST_SUITE_P(Rows, VorbisPeers, testing::ValuesIn(kRows), [](const testing::TestParamInfo<Row> &info) {
    std::string name = std::to_string(info.index) + "_" + info.param.fixture;
    std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
});

} // namespace
