// What we write, ffprobe, exiftool and mutagen read: one table over (tool, kind, field); a row whose
// peer is missing is skipped, and says so. Reading what mutagen writes is the contract's interop table.
#include "TestSupport.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;

namespace {

const std::string kPython = "/usr/bin/python3";
bool haveMutagen() { return runCommand(kPython + " -c 'import mutagen' >/dev/null 2>&1") == 0; }

const struct PeerRow {
    const char *tool, *fixture;
    MediaFileDataID id;
    const char *value, *field, *expect; // the peer's name for the field, and what it prints
} kPeerRows[] = {
    {"ffprobe", "no-tags.wav", kMediaFileDataIDBWFDescription, "Dawn chorus", "comment", "Dawn chorus\n"},
    {"ffprobe", "no-tags.wav", kMediaFileDataIDBWFOriginatorReference, "KST-7", "originator_reference", "KST-7\n"},
    {"ffprobe", "no-tags.wav", kMediaFileDataIDBWFOriginatorTime, "04:45:00", "creation_time", "04:45:00\n"},
    {"exiftool", "no-tags.wav", kMediaFileDataIDBWFCodingHistory, "A=PCM\nA=PCM,T=K", "RIFF:CodingHistory", "A=PCM..A=PCM,T=K..\n"},
    {"exiftool", "no-tags.wav", kMediaFileDataIDBWFOriginator, "Kestrabel", "RIFF:BWFVersion", "1\n"},
    {"ffprobe", "no-tags.aiff", kMediaFileDataIDArtist, "Wader \xC3\xA9", "artist", "Wader \xC3\xA9\n"},
    {"mutagen", "no-tags.wav", kMediaFileDataIDAlbum, "Estuary", "TALB", "2 Estuary\n"},
    {"exiftool", "no-tags.aifc", kMediaFileDataIDTitle, "Curlew", "ID3:Title", "Curlew\n"},
};

std::string peerCommand(const PeerRow &row)
{
    const std::string tool = row.tool, field = row.field;
    if (tool == "ffprobe")
        return "ffprobe -v error -show_entries format_tags=" + field + " -of default=nw=1:nk=1";
    if (tool == "exiftool")
        return "exiftool -s -s -s -" + field;
    return kPython + " -c 'import sys, mutagen; t = mutagen.File(sys.argv[1]).tags; print(t.version[1], t[\"" + field + "\"])'";
}

void PrintTo(const PeerRow &row, std::ostream *out) { *out << row.tool << " " << row.fixture << " " << row.field; }

class IffPeer : public ::testing::TestWithParam<PeerRow> {};

} // namespace

TEST_P(IffPeer, ReadsWhatWeWrite)
{
    const PeerRow &row = GetParam();
    if (std::string(row.tool) == "mutagen" ? !haveMutagen() : !haveTool(row.tool))
        GTEST_SKIP() << row.tool << " is not installed";
    TempDir dir;
    const std::string path = dir.copyFixture(row.fixture);
    {
        OpenFile file(path);
        ASSERT_EQ(MediaFileSetString(file.ref(), row.id, row.value), kMediaFileNoErr);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), kMediaFileNoErr);
    }
    std::string out;
    EXPECT_EQ(runCommand(peerCommand(row) + " " + shellQuote(path), &out), 0);
    EXPECT_EQ(out, row.expect);
}

INSTANTIATE_TEST_SUITE_P(ToolKindField, IffPeer, ::testing::ValuesIn(kPeerRows));
