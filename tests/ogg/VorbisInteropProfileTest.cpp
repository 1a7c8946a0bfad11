// Ogg Vorbis and FLAC files written by other tools, edited once: what every peer tool read
// before is read the same after (but the edited field), the decoded audio and the validators'
// verdicts are unchanged. Each row runs with the interop profile, where nothing may go wrong,
// and with the classic rules, whose row documents what goes wrong there.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

const char *const kImages[] = {"interop-front.jpg", "interop-back.png", "escn-cover.jpg"};

struct Row {
    const char *fixture;
    MediaFileDataID readID; // read before the edit; its value starts the problem list
    MediaFileDataID editID;
    const char *text; // the value set, or the image fixture for a data ID ("": no image)
    std::set<std::string> changes; // tags whose peer views may change
    std::vector<std::string> expect; // "TAG<tab>peer<tab>value" lines after; "-" and the start of lines none may begin with
    const char *interop; // the problems found: the read value first, then what went wrong
    const char *classic;
};

const Row kRows[] = {
    // A set replaces its exact name, and every entry of it.
    {"interop-albumartist.ogg", kMediaFileDataIDAlbum, kMediaFileDataIDAlbum, "New Album", {"ALBUM"},
     {"ALBUM\tmutagen\tNew Album", "ALBUMARTIST\tmutagen\tVarious Artists"}, "Sampler",
     "Sampler; changed ALBUMARTIST; changed ALBUM_ARTIST; missing ALBUMARTIST\tmutagen\tVarious Artists"},
    {"interop-albumartist.ogg", kMediaFileDataIDGenre, kMediaFileDataIDGenre, "Rock", {"GENRE"},
     {"GENRE\tvorbiscomment\tRock", "-GENRE\tvorbiscomment\tBlues"}, "Jazz", "Jazz; still GENRE\tvorbiscomment\tBlues"},
    {"interop-names.flac", kMediaFileDataIDAlbum, kMediaFileDataIDAlbum, "New Album", {"ALBUM"},
     {"ALBUM\tmetaflac\tNew Album", "ALBUMARTIST\tmetaflac\tVarious Artists"}, "Sampler", "Sampler"},
    // The names today's files use: read under either name, written under the common one.
    {"interop-names.ogg", kMediaFileDataIDTotalTracks, kMediaFileDataIDTotalTracks, "10", {"TRACKTOTAL", "TOTALTRACKS"},
     {"TRACKTOTAL\tmutagen\t10", "-TOTALTRACKS"}, "12", "12; still TOTALTRACKS"},
    {"interop-names.ogg", kMediaFileDataIDTotalDisks, kMediaFileDataIDTotalDisks, "4", {"DISCTOTAL", "DISCC"},
     {"DISCTOTAL\tmutagen\t4", "-DISCC"}, "3", "status 2005; missing DISCTOTAL\tmutagen\t4; still DISCC"},
    {"interop-names.ogg", kMediaFileDataIDDiskNumber, kMediaFileDataIDDiskNumber, "5", {"DISCNUMBER", "DISC"},
     {"DISCNUMBER\tmutagen\t5", "-DISC\tmutagen"}, "2", "2; missing DISCNUMBER\tmutagen\t5; still DISC\tmutagen"},
    {"interop-names.ogg", kMediaFileDataIDYear, kMediaFileDataIDYear, "2020", {"DATE", "YEAR"}, {"DATE\tmutagen\t2020", "-YEAR"},
     "2019", "status 2005; missing DATE\tmutagen\t2020; still YEAR"},
    {"interop-names.flac", kMediaFileDataIDTotalTracks, kMediaFileDataIDTotalTracks, "10", {"TRACKTOTAL", "TOTALTRACKS"},
     {"TRACKTOTAL\tmetaflac\t10", "-TOTALTRACKS"}, "12", "status -6727; missing TRACKTOTAL\tmetaflac\t10; still TOTALTRACKS"},
    {"interop-names.flac", kMediaFileDataIDDiskNumber, kMediaFileDataIDDiskNumber, "5", {"DISCNUMBER", "DISC"},
     {"DISCNUMBER\tmetaflac\t5", "-DISC\tmetaflac"}, "2", "status -6727; missing DISCNUMBER\tmetaflac\t5; still DISC\tmetaflac"},
    {"interop-names.flac", kMediaFileDataIDYear, kMediaFileDataIDYear, "2021", {"DATE", "YEAR"},
     {"DATE\tmetaflac\t2021", "-YEAR"}, "2020", "status -6727; missing DATE\tmetaflac\t2021; still YEAR"},
    // The vendor string ffmpeg wrote stays.
    {"vorbis-ffmpeg.ogg", kMediaFileDataIDEncodedBy, kMediaFileDataIDGenre, "Test Tones", {"GENRE"}, {"GENRE\tffprobe\tTest Tones"},
     "ffmpeg", "ffmpeg; changed VENDOR"},
    // Pictures: read, kept by other edits, replaced by type, added when absent.
    {"interop-pictures.ogg", kMediaFileDataIDArtwork, kMediaFileDataIDTitle, "Retitled", {"TITLE"}, {"TITLE\tmutagen\tRetitled"},
     "interop-front.jpg", "status -6735"},
    {"interop-pictures.ogg", kMediaFileDataIDArtworkBack, kMediaFileDataIDArtworkBack, "interop-front.jpg", {"PICTURE"},
     {"PICTURE\tmutagen\t4 image/jpeg interop-front.jpg", "PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"},
     "interop-back.png", "status -6735; set status -6735; missing PICTURE\tmutagen\t4 image/jpeg interop-front.jpg"},
    {"interop-no-picture.ogg", kMediaFileDataIDArtwork, kMediaFileDataIDArtwork, "interop-back.png", {"PICTURE"},
     {"PICTURE\tvorbiscomment\t3 image/png interop-back.png"}, "status -6727",
     "status -6735; set status -6735; missing PICTURE\tvorbiscomment\t3 image/png interop-back.png"},
    {"interop-pictures.flac", kMediaFileDataIDArtwork, kMediaFileDataIDTitle, "Retitled", {"TITLE"}, {"TITLE\tmetaflac\tRetitled"},
     "interop-front.jpg", "status -6727"},
    {"interop-pictures.flac", kMediaFileDataIDArtworkMisc, kMediaFileDataIDArtwork, "interop-back.png", {"PICTURE"},
     {"PICTURE\tmutagen\t3 image/png interop-back.png", "PICTURE\tmutagen\t4 image/png interop-back.png"}, "status -6727",
     "status -6735; missing PICTURE\tmutagen\t3 image/png interop-back.png"},
    {"interop-no-picture.flac", kMediaFileDataIDArtwork, kMediaFileDataIDArtwork, "interop-front.jpg", {"PICTURE"},
     {"PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"}, "status -6727",
     "status -6727; missing PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"},
    {"interop-escn-and-picture.flac", kMediaFileDataIDArtwork, kMediaFileDataIDArtwork, "interop-front.jpg", {"PICTURE", "ESCN"},
     {"PICTURE\tmutagen\t3 image/jpeg interop-front.jpg", "ESCN\tmutagen\tinterop-front.jpg"}, "escn-cover.jpg",
     "232 bytes; missing PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"},
    // No image removes the pictures of the type.
    {"interop-pictures.ogg", kMediaFileDataIDArtworkBack, kMediaFileDataIDArtworkBack, "", {"PICTURE"},
     {"-PICTURE\tmutagen\t4", "PICTURE\tmutagen\t3 image/jpeg interop-front.jpg"}, "interop-back.png",
     "status -6735; set status -6735; still PICTURE\tmutagen\t4"},
    {"interop-escn-and-picture.flac", kMediaFileDataIDArtwork, kMediaFileDataIDArtwork, "", {"PICTURE", "ESCN"}, {"-PICTURE", "-ESCN"},
     "escn-cover.jpg", "232 bytes; still PICTURE; still ESCN"},
    // Two comment blocks: the first is the file's; the second is kept as it was.
    {"interop-two-comment-blocks.flac", kMediaFileDataIDTitle, kMediaFileDataIDArtist, "New Artist", {"ARTIST"},
     {"ARTIST\tblock0\tb'New Artist'", "ARTIST\tmutagen\tNew Artist"}, "First Block",
     "Second Block; missing ARTIST\tblock0\tb'New Artist'; missing ARTIST\tmutagen\tNew Artist"},
    // Entries libFLAC cannot read: no save, so nothing is dropped.
    {"interop-comment-past-block.flac", kMediaFileDataIDTitle, kMediaFileDataIDTitle, "Retitled", {"TITLE"}, {}, "Readable; save status -6751",
     "Readable; changed ARTIST; changed ERROR; changed VENDOR"},
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.fixture << ", set " << MediaFileGetDataIDName(row.editID); }

bool havePeers()
{
    for (const char *tool : {"ffprobe", "ffmpeg", "metaflac", "flac", "vorbiscomment", "ogginfo"})
        if (!haveTool(tool))
            return false;
    return runCommand("/usr/bin/python3 -c 'import mutagen' 2>/dev/null") == 0;
}

// TAG -> its sorted "TAG<tab>peer<tab>value" lines.
using View = std::map<std::string, std::vector<std::string>>;

std::vector<std::string> linesOf(const View &view, const std::string &tag)
{
    auto found = view.find(tag);
    return found == view.end() ? std::vector<std::string>{} : found->second;
}

View peerView(const std::string &path)
{
    std::string command = "/usr/bin/python3 " + shellQuote(KESTRABEL_VORBIS_PEERS) + " " + shellQuote(path);
    for (const char *image : kImages)
        command += " " + shellQuote(fixturePath(image));
    std::string output;
    EXPECT_EQ(runCommand(command, &output, true), 0) << output;
    View view;
    std::istringstream in(output);
    for (std::string line; std::getline(in, line);)
        view[line.substr(0, line.find('\t'))].push_back(line);
    return view;
}

std::string describe(const std::vector<uint8_t> &bytes)
{
    for (const char *image : kImages)
        if (readFile(fixturePath(image)) == bytes)
            return image;
    return std::to_string(bytes.size()) + " bytes";
}

std::string readValue(const OpenFile &file, MediaFileDataID id)
{
    MediaFileStatus status = 0;
    bool picture = id == kMediaFileDataIDArtwork || id == kMediaFileDataIDArtworkBack || id == kMediaFileDataIDArtworkMisc;
    std::string value = picture ? describe(file.data(id, &status)) : file.string(id, &status);
    return status ? "status " + std::to_string(status) : value;
}

MediaFileStatus edit(const OpenFile &file, const Row &row)
{
    if (row.editID == kMediaFileDataIDArtwork || row.editID == kMediaFileDataIDArtworkBack ||
        row.editID == kMediaFileDataIDArtworkMisc) {
        std::vector<uint8_t> image = *row.text ? readFile(fixturePath(row.text)) : std::vector<uint8_t>{};
        return MediaFileSetData(file.ref(), row.editID, image.data(), image.size());
    }
    return MediaFileSetString(file.ref(), row.editID, row.text);
}

// The read value, then everything that went wrong, "; "-separated.
std::string problems(const Row &row, const View &before, MediaFileFlags flags)
{
    TempDir dir;
    std::string path = dir.copyFixture(row.fixture);
    std::vector<std::string> found;
    {
        OpenFile file(path, flags);
        if (file.status())
            return "open status " + std::to_string(file.status());
        found.push_back(readValue(file, row.readID));
        if (MediaFileStatus status = edit(file, row))
            found.push_back("set status " + std::to_string(status));
        if (MediaFileStatus status = MediaFileUpdate(file.ref(), flags))
            found.push_back("save status " + std::to_string(status));
    }
    const View after = peerView(path);
    std::set<std::string> tags;
    for (const View *view : {&before, &after})
        for (const auto &entry : *view)
            tags.insert(entry.first);
    for (const std::string &tag : tags)
        if (!row.changes.count(tag) && linesOf(before, tag) != linesOf(after, tag))
            found.push_back("changed " + tag);
    for (const std::string &line : row.expect) {
        bool absent = line[0] == '-';
        std::string wanted = absent ? line.substr(1) : line;
        std::vector<std::string> lines = linesOf(after, wanted.substr(0, wanted.find('\t')));
        bool present = std::any_of(lines.begin(), lines.end(), [&](const std::string &have) {
            return absent ? have.rfind(wanted, 0) == 0 : have == wanted;
        });
        if (absent && present)
            found.push_back("still " + wanted);
        if (!absent && !present)
            found.push_back("missing " + wanted);
    }
    std::string text;
    for (const std::string &item : found)
        text += (text.empty() ? "" : "; ") + item;
    return text;
}

class VorbisInteropProfile : public testing::TestWithParam<Row> {};

TEST_P(VorbisInteropProfile, EditKeepsWhatPeersRead)
{
    if (!havePeers())
        GTEST_SKIP() << "needs ffprobe, ffmpeg, metaflac, flac, vorbiscomment, ogginfo and mutagen";
    const Row &row = GetParam();
    View before = peerView(fixturePath(row.fixture));
    EXPECT_EQ(problems(row, before, kMediaFileFlagInterop), row.interop) << "interop profile";
    EXPECT_EQ(problems(row, before, 0), row.classic) << "classic rules";
}

INSTANTIATE_TEST_SUITE_P(Rows, VorbisInteropProfile, testing::ValuesIn(kRows), [](const testing::TestParamInfo<Row> &info) {
    std::string name = std::to_string(info.index) + "_" + info.param.fixture;
    std::replace_if(name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
});

} // namespace
