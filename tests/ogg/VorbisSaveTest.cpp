// Saving Ogg Vorbis, Ogg Opus and FLAC files: values, audio packets, pages or blocks, the
// validators' verdict and the decoded audio, a row per situation.
#include "VorbisTestSupport.h"

#include "ogg/OggVorbisFile.h"

#include <gtest/gtest.h>
#include <ogg/ogg.h>

#include <sys/stat.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

struct SaveRow {
    const char *fixture;
    Edits edits;
    MediaFileFlags flags = 0;
    const char *ffprobeKey = nullptr; // shows the first edit to ffprobe
    int sameFile = -1;                // 1: the same inode after, 0: a new file, -1: either
    std::vector<std::string> flacComments = {}, flacTypes = {}; // the entries and block types after, when given
    int pages = -1;                // the audio pages: 0 copied as they were, 1 only renumbered
    bool audioOnSetupPage = false; // first audio packets moved onto the setup header's page
};

void PrintTo(const SaveRow &row, std::ostream *out) { *out << row.fixture << ", " << row.edits.size() << " edits"; }

const std::string kLong(20000, 'c'), kVeryLong(70000, 'A');

// Small pages are repacked; the other stream of a chained or multiplexed file is kept byte for
// byte; a page with a bad checksum is dropped. FLAC grows in place within its padding, else
// through a new file unless asked in place.
const SaveRow kSaves[] = {
    {"vorbis-tagged.ogg", {{kMediaFileDataIDTitle, "Day Drive"}, {kMediaFileDataIDComment, kLong}, {kMediaFileDataIDTrackNumber, "4"}}, 0, "TITLE"},
    {"vorbis-tagged.ogg", {{kMediaFileDataIDTitle, "Nächtliche Fahrx"}}},
    {"vorbis-no-comments.ogg", {{kMediaFileDataIDArtist, "Once"}, {kMediaFileDataIDLicense, "CC BY 4.0"}}, 0, "ARTIST"},
    {"vorbis-small-pages.ogg", {{kMediaFileDataIDTitle, "Repacked"}}},
    {"vorbis-chained.ogg", {{kMediaFileDataIDTitle, "A much longer first title than before"}}},
    {"vorbis-multiplexed.ogg", {{kMediaFileDataIDTitle, "Main, renamed"}}},
    {"vorbis-bad-crc-page.ogg", {{kMediaFileDataIDTitle, "Mended"}}},
    {"opus-tagged.opus", {{kMediaFileDataIDTitle, "Neuer Titel"}}, 0, "title"},
    {"opus-ffmpeg.opus", {{kMediaFileDataIDAlbum, kVeryLong}}, 0, "album"},
    {"opus-mono-in-ogg.ogg", {{kMediaFileDataIDComposer, "Someone"}}, 0, "composer"},
    {"flac-tagged.flac", {{kMediaFileDataIDTitle, "Longer Hours Than Before"}, {kMediaFileDataIDGenre, "Électronique"}}, 0, "TITLE", 1},
    {"flac-no-tags.flac", {{kMediaFileDataIDTitle, "Created"}}, 0, "TITLE", -1, {"TITLE=Created"}, {"0", "3", "4", "1"}},
    {"flac-no-tags-no-padding.flac", {{kMediaFileDataIDArtist, "Rewritten"}}, 0, "ARTIST", 0},
    {"flac-no-tags-no-padding.flac", {{kMediaFileDataIDTitle, std::string(5000, 'g')}}, kMediaFileFlagInPlace, nullptr, 1},
    {"flac-duplicate-artist.flac", {{kMediaFileDataIDArtist, "Only Artist"}}, 0, nullptr, -1, {"ARTIST=Only Artist", "TITLE=Two Artists"}},
    // The interop rules copy the audio pages other tools wrote; audio on the setup header's page is repacked.
    {.fixture = "vorbis-tagged.ogg", .edits = {{kMediaFileDataIDTitle, "tttttttttt"}}, .flags = kMediaFileFlagInterop, .pages = 0},
    {.fixture = "vorbis-tagged.ogg", .edits = {{kMediaFileDataIDTitle, kVeryLong}}, .flags = kMediaFileFlagInterop, .pages = 1},
    {.fixture = "vorbis-small-pages.ogg", .edits = {{kMediaFileDataIDTitle, kVeryLong}}, .flags = kMediaFileFlagInterop, .pages = 1},
    {.fixture = "vorbis-multiplexed.ogg", .edits = {{kMediaFileDataIDTitle, kVeryLong}}, .flags = kMediaFileFlagInterop, .pages = 1},
    {.fixture = "vorbis-chained.ogg", .edits = {{kMediaFileDataIDTitle, kVeryLong}}, .flags = kMediaFileFlagInterop, .pages = 1},
    {.fixture = "vorbis-small-pages.ogg", .edits = {{kMediaFileDataIDTitle, "tttttttttt"}}, .flags = kMediaFileFlagInterop, .audioOnSetupPage = true},
};

// The pages after the header packets; sequence number and checksum zeroed when asked.
std::vector<Bytes> audioPages(const OggStream &stream, bool blankNumbering)
{
    std::vector<Bytes> pages;
    for (size_t index = 1; index < stream.pages.size(); ++index)
        if (stream.packetsDoneAfterPage[index - 1] >= 3) {
            pages.push_back(stream.pages[index]);
            if (blankNumbering)
                std::fill(pages.back().begin() + 18, pages.back().begin() + 26, 0);
        }
    return pages;
}

// The packets paged again as a writer that does not flush after the headers would.
void putAudioOnSetupPage(const std::string &path)
{
    const OggStream source = readOggLayout(path).streams.at(0);
    ogg_stream_state state;
    ogg_stream_init(&state, source.serial);
    Bytes bytes;
    ogg_page page;
    for (size_t i = 0, count = source.packets.size(); i <= count; ++i) {
        if (i < count) {
            ogg_packet packet{const_cast<unsigned char *>(source.packets[i].data()), long(source.packets[i].size()), i == 0, i + 1 == count, 0, ogg_int64_t(i)};
            packet.granulepos = i < 3 ? 0 : packet.e_o_s ? source.pageGranules.back() : -1;
            ogg_stream_packetin(&state, &packet);
        }
        while (i == 0 || i == count ? ogg_stream_flush(&state, &page) : ogg_stream_pageout(&state, &page))
            bytes.insert(bytes.end(), page.header, page.header + page.header_len), bytes.insert(bytes.end(), page.body, page.body + page.body_len);
    }
    ogg_stream_clear(&state);
    writeFile(path, bytes);
}

// The values not edited, the vendor not among them: the classic rules write their own.
std::string valuesOf(const std::string &path, const Edits &edits)
{
    OpenFile file(path);
    std::string text;
    for (MediaFileDataID id : {kMediaFileDataIDTitle, kMediaFileDataIDArtist, kMediaFileDataIDAlbum, kMediaFileDataIDGenre, kMediaFileDataIDTrackNumber,
                               kMediaFileDataIDTotalTracks, kMediaFileDataIDYear, kMediaFileDataIDComment})
        if (std::none_of(edits.begin(), edits.end(), [&](const auto &edit) { return edit.first == id; }))
            text += std::string(MediaFileGetDataIDName(id)) + "=" + file.string(id) + "\n";
    return text;
}

class VorbisSave : public ::testing::TestWithParam<SaveRow> {};

TEST_P(VorbisSave, KeepsTheAudioAndTheStreamsOrder)
{
    for (const char *tool : {"ogginfo", "flac", "ffmpeg", "ffprobe"})
        if (!haveTool(tool))
            GTEST_SKIP() << tool << " is not installed";
    const SaveRow &row = GetParam();
    TempDir dir;
    const std::string path = dir.copyFixture(row.fixture);
    if (row.audioOnSetupPage)
        putAudioOnSetupPage(path);
    const bool flac = readFlacLayout(path).valid, opus = std::string(row.fixture).find("opus") != std::string::npos;
    const OggLayout before = readOggLayout(path);
    // From the fixture: the rewritten copy has no granule positions for ffmpeg to trim by.
    const std::string md5 = decodedAudio(fixturePath(row.fixture)), others = valuesOf(path, row.edits), validity = validatorProblems(fixturePath(row.fixture));
    auto inode = [&path] { struct stat st {}; return stat(path.c_str(), &st) == 0 ? st.st_ino : 0; };
    const ino_t oldInode = inode();
    ASSERT_EQ(saveEdits(path, row.edits, row.flags), 0);
    OpenFile file(path);
    for (const auto &[id, value] : row.edits)
        EXPECT_EQ(file.string(id), value) << MediaFileGetDataIDName(id);
    EXPECT_EQ(valuesOf(path, row.edits), others) << "the values not edited";
    EXPECT_EQ(decodedAudio(path), md5) << "the decoded audio";
    EXPECT_EQ(validatorProblems(path), before.brokenPages ? "" : validity);
    EXPECT_TRUE(row.sameFile < 0 || (inode() == oldInode) == (row.sameFile == 1)) << "the inode";
    if (row.ffprobeKey) {
        EXPECT_EQ(toolLines("ffprobe -v error -show_entries stream_tags=" + std::string(row.ffprobeKey) + ":format_tags=" + row.ffprobeKey +
                            " -of default=nw=1:nk=1 " + shellQuote(path)), std::vector<std::string>{row.edits[0].second}) << row.ffprobeKey;
    }
    if (flac) {
        FlacLayout after = readFlacLayout(path);
        std::vector<std::string> types;
        for (const auto &block : after.blocks)
            types.push_back(std::to_string(block.first));
        EXPECT_EQ(after.audio, readFlacLayout(fixturePath(row.fixture)).audio) << "the audio frames";
        EXPECT_EQ(types.at(0), "0") << "STREAMINFO first";
        EXPECT_TRUE(row.flacTypes.empty() || types == row.flacTypes) << "the block types";
        EXPECT_TRUE(row.flacComments.empty() || peerEntries(path) == row.flacComments) << "the comment block";
        return;
    }
    const OggLayout after = readOggLayout(path);
    EXPECT_EQ(after.brokenPages, 0);
    EXPECT_EQ(std::pair(after.firstPages, after.lastSerial), std::pair(before.firstPages, before.lastSerial)) << "the streams' order";
    ASSERT_EQ(after.streams.size(), before.streams.size());
    for (size_t i = 1; i < after.streams.size(); ++i)
        EXPECT_EQ(after.streams[i].pages, before.streams[i].pages) << "the other stream " << i;
    const OggStream &old = before.streams[0], &now = after.streams[0];
    EXPECT_EQ(now.packets.at(0), old.packets.at(0)) << "the identification header";
    EXPECT_TRUE(opus || now.packets.at(2) == old.packets.at(2)) << "the setup header";
    EXPECT_TRUE(std::equal(old.packets.begin() + (opus ? 2 : 3), old.packets.end(), now.packets.begin() + (opus ? 2 : 3), now.packets.end())) << "the audio packets";
    EXPECT_EQ(now.pageGranules.back(), old.pageGranules.back());
    EXPECT_TRUE(now.pages.back().at(5) & 4) << "the end-of-stream mark";
    if (row.pages >= 0) {
        EXPECT_EQ(audioPages(now, true), audioPages(old, true)) << "all but the numbering kept";
        EXPECT_EQ(audioPages(now, false) == audioPages(old, false), row.pages == 0) << "renumbered only when the header pages grow";
    }
    EXPECT_TRUE(std::string(row.fixture) != "vorbis-small-pages.ogg" || row.flags || now.pages.size() * 4 < old.pages.size()) << "pages of 4 KB, not one per 40 ms";
}

INSTANTIATE_TEST_SUITE_P(Rows, VorbisSave, ::testing::ValuesIn(kSaves), [](const auto &info) { return "Row" + std::to_string(info.index); });

} // namespace

// The classic Ogg save takes a numbered temporary name beside the file: one taken by someone
// else is passed over, not overwritten.
TEST(VorbisSave, OggTemporaryNamePassesOverANameTaken)
{
    TempDir dir;
    std::string path = dir.copyFixture("vorbis-tagged.ogg"), taken = path + "-" + std::to_string(ogg::nextTemporaryNumber() + 1);
    writeFile(taken, std::string("theirs"));
    ASSERT_EQ(saveEdits(path, {{kMediaFileDataIDTitle, "Saved"}}), 0);
    EXPECT_EQ(readFile(taken), (Bytes{'t', 'h', 'e', 'i', 'r', 's'}));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 2);
}

// Another program changed the file after our open: Ogg refuses to save over other headers, FLAC
// writes its own blocks over what the other program wrote, the audio frames moved included.
TEST(VorbisSave, AFileChangedSinceTheOpen)
{
    if (!haveTool("metaflac"))
        GTEST_SKIP() << "metaflac is not installed";
    for (auto [fixture, command, status] : {std::tuple{"vorbis-tagged.ogg", "cp vorbis-managed-bitrate.ogg", ogg::kOggVorbisErrNotVorbis},
                                            {"flac-no-tags-no-padding.flac", "metaflac --set-tag=ARTIST=Theirs --add-padding=3000", 0}}) {
        TempDir dir;
        std::string path = dir.copyFixture(fixture);
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, "Ours"), 0);
        ASSERT_EQ(runCommand("cd " + shellQuote(fixturePath("")) + " && " + command + " " + shellQuote(path)), 0);
        Bytes theirs = readFile(path);
        EXPECT_EQ(MediaFileUpdate(file.ref(), 0), status) << fixture;
        EXPECT_TRUE(!status || readFile(path) == theirs) << "left as the other program wrote it";
        EXPECT_TRUE(status || peerEntries(path) == std::vector<std::string>{"TITLE=Ours"}) << "our blocks replace theirs";
        EXPECT_TRUE(status || readFlacLayout(path).audio == readFlacLayout(fixturePath(fixture)).audio) << "the audio frames";
    }
}

TEST(VorbisSave, FlacApplicationBlockPictureIsReplacedButNeverAdded)
{
    TempDir dir;
    Bytes image = readFile(fixturePath("no-exif.jpg")), block = {'E', 'S', 'C', 'N', 'P', 'I', 'C', '1'};
    block.insert(block.end(), image.begin(), image.end());
    for (auto [fixture, had] : {std::pair{"flac-escn-picture.flac", true}, {"flac-tagged.flac", false}}) {
        std::string path = dir.copyFixture(fixture);
        ASSERT_EQ(saveEdits(path, {{kMediaFileDataIDArtwork, std::string(image.begin(), image.end())}}), 0);
        FlacLayout after = readFlacLayout(path);
        EXPECT_EQ(after.audio, readFlacLayout(fixturePath(fixture)).audio);
        std::vector<Bytes> applications;
        for (const auto &[type, body] : after.blocks)
            if (type == 2)
                applications.push_back(body);
        EXPECT_EQ(applications, had ? std::vector<Bytes>{block} : std::vector<Bytes>{}) << fixture;
        EXPECT_TRUE(had || readFile(path) == readFile(fixturePath(fixture))) << "nothing to write";
    }
}
