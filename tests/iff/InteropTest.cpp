// What we write, ffprobe, exiftool and mutagen read; what mutagen writes, we read. A row whose peer
// is missing is skipped, and says so.
#include "IffTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cctype>

using namespace kestrabel::test;

namespace {

const std::string kPython = "/usr/bin/python3";

bool havePeer(const std::string &tool)
{
    return tool == "mutagen" ? runCommand(kPython + " -c 'import mutagen' >/dev/null 2>&1") == 0 : haveTool(tool);
}

std::string peerCommand(const std::string &tool, const std::string &field)
{
    if (tool == "ffprobe")
        return "ffprobe -v error -show_entries format_tags=" + field + " -of default=nw=1:nk=1";
    if (tool == "exiftool")
        return "exiftool -s -s -s -" + field;
    return kPython + " -c 'import sys, mutagen; t = mutagen.File(sys.argv[1]).tags; print(t.version[1], t[\"" + field +
           "\"])'";
}

struct PeerRow {
    const char *tool, *fixture;
    MediaFileDataID id;
    const char *value;
    const char *field;  // the peer's name for it
    const char *expect; // what the peer prints
};

const PeerRow kPeerRows[] = {
    {"ffprobe", "no-tags.wav", kMediaFileDataIDBWFDescription, "Dawn chorus", "comment", "Dawn chorus\n"},
    {"ffprobe", "no-tags.wav", kMediaFileDataIDBWFOriginator, "Kestrabel", "encoded_by", "Kestrabel\n"},
    {"ffprobe", "no-tags.wav", kMediaFileDataIDBWFOriginatorReference, "KST-7", "originator_reference", "KST-7\n"},
    {"ffprobe", "no-tags.wav", kMediaFileDataIDBWFOriginatorDate, "2021-06-21", "date", "2021-06-21\n"},
    {"ffprobe", "no-tags.wav", kMediaFileDataIDBWFOriginatorTime, "04:45:00", "creation_time", "04:45:00\n"},
    {"exiftool", "no-tags.wav", kMediaFileDataIDBWFCodingHistory, "A=PCM\nA=PCM,T=K", "RIFF:CodingHistory",
     "A=PCM..A=PCM,T=K..\n"},
    {"exiftool", "no-tags.wav", kMediaFileDataIDBWFOriginator, "Kestrabel", "RIFF:BWFVersion", "1\n"},
    {"ffprobe", "no-tags.aifc", kMediaFileDataIDAlbum, "Mudflats", "album", "Mudflats\n"},
    {"ffprobe", "no-tags.aiff", kMediaFileDataIDArtist, "Wader \xC3\xA9", "artist", "Wader \xC3\xA9\n"},
    {"ffprobe", "no-tags.wav", kMediaFileDataIDTrackNumber, "5", "track", "5\n"},
    {"mutagen", "no-tags.aiff", kMediaFileDataIDTitle, "Heron", "TIT2", "2 Heron\n"},
    {"mutagen", "no-tags.wav", kMediaFileDataIDAlbum, "Estuary", "TALB", "2 Estuary\n"},
    {"exiftool", "no-tags.aifc", kMediaFileDataIDTitle, "Curlew", "ID3:Title", "Curlew\n"},
};

} // namespace

class IffPeer : public ::testing::TestWithParam<PeerRow> {};

TEST_P(IffPeer, ReadsWhatWeWrite)
{
    const PeerRow &row = GetParam();
    if (!havePeer(row.tool))
        GTEST_SKIP() << row.tool << " is not installed";
    TempDir dir;
    std::string path = dir.copyFixture(row.fixture);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), row.id, row.value), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::string out;
    EXPECT_EQ(runCommand(peerCommand(row.tool, row.field) + " " + shellQuote(path), &out), 0);
    EXPECT_EQ(out, row.expect);
}

INSTANTIATE_TEST_SUITE_P(ToolKindField, IffPeer, ::testing::ValuesIn(kPeerRows), [](const auto &info) {
    std::string name = std::string(info.param.tool) + "_" + info.param.fixture + "_" + info.param.field;
    for (char &c : name)
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});

// mutagen writes ID3v2.3 and ID3v2.4 "ID3 " chunks into AIFF; we read either.
TEST(IffInterop, WeReadTheId3ChunkMutagenWrites)
{
    if (!havePeer("mutagen"))
        GTEST_SKIP() << "mutagen not installed for " << kPython;
    TempDir dir;
    for (const char *version : {"3", "4"}) {
        std::string path = dir.copyFixture("no-tags.aiff", std::string("v2") + version + ".aiff");
        ASSERT_EQ(runCommand(kPython + " -c " +
                             shellQuote("import sys\nfrom mutagen.aiff import AIFF\nfrom mutagen.id3 import TIT2, TRCK\n"
                                        "f = AIFF(sys.argv[1])\nf.add_tags()\n"
                                        "f.tags.add(TIT2(encoding=1, text='Bird \\u00e9'))\nf.tags.add(TRCK(text='2/7'))\n"
                                        "f.save(v2_version=int(sys.argv[2]))\n") +
                             " " + shellQuote(path) + " " + version),
                  0);
        OpenFile file(path);
        EXPECT_EQ(file.string(kMediaFileDataIDTitle), "Bird \xC3\xA9") << version;
        EXPECT_EQ(file.integer(kMediaFileDataIDTotalTracks), 7) << version;
    }
}
