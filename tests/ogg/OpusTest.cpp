// Ogg Opus files: read and write their OpusTags under the Vorbis-comment names, keep every
// audio packet, page granule position and the decoded audio, and stay readable by the peers
// (opusinfo, mutagen, ffprobe and ffmpeg).
#include "OggTestSupport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

const char kMutagenPython[] = "/usr/bin/python3";

struct SaveCase {
    const char *what;
    const char *fixture;
    MediaFileDataID id;
    std::string value;
    const char *mutagenKey; // how mutagen names the field
    const char *ffprobeKey; // and ffprobe
};

// A short title keeps the comment header on its page; 70,000 bytes of album take two more
// pages, so every later page of the stream gets a new sequence number.
const SaveCase kSaves[] = {
    {"opusenc file, short title", "opus-tagged.opus", kMediaFileDataIDTitle, "Neuer Titel", "title", "title"},
    {"ffmpeg file, year", "opus-ffmpeg.opus", kMediaFileDataIDYear, "2024", "year", "year"},
    {"opusenc file named .ogg, new field", "opus-mono-in-ogg.ogg", kMediaFileDataIDComposer, "Someone", "composer", "composer"},
    {"ffmpeg file, album over several pages", "opus-ffmpeg.opus", kMediaFileDataIDAlbum, std::string(70000, 'A'), "album", "album"},
    {"opusenc file, track number", "opus-tagged.opus", kMediaFileDataIDTrackNumber, "9", "tracknumber", "track"},
};

void PrintTo(const SaveCase &c, std::ostream *out) { *out << c.what; }

std::vector<int64_t> audioGranules(const OggStream &stream)
{
    std::vector<int64_t> granules;
    std::copy_if(stream.pageGranules.begin(), stream.pageGranules.end(), std::back_inserter(granules),
                 [](int64_t g) { return g > 0; });
    return granules;
}

std::string decodedMd5(const std::string &path)
{
    std::string out;
    runCommand("ffmpeg -nostdin -v error -i " + shellQuote(path) + " -f md5 -", &out);
    return out;
}

class OpusSave : public ::testing::TestWithParam<SaveCase> {};

TEST_P(OpusSave, KeepsAudioAndPeersReadTheValue)
{
    const SaveCase &c = GetParam();
    TempDir dir;
    const std::string path = dir.copyFixture(c.fixture);
    const OggLayout before = readOggLayout(path);
    const bool haveFfmpeg = haveTool("ffmpeg");
    const std::string md5Before = haveFfmpeg ? decodedMd5(path) : "";
    {
        OpenFile file(path);
        ASSERT_EQ(file.status(), 0);
        EXPECT_EQ(file.string(kMediaFileDataIDKind), "Ogg Opus");
        ASSERT_EQ(MediaFileSetString(file.ref(), c.id, c.value.c_str()), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), 0), 0);
    }
    OpenFile reread(path);
    ASSERT_EQ(reread.status(), 0);
    EXPECT_EQ(reread.string(c.id), c.value);

    const OggLayout after = readOggLayout(path);
    ASSERT_EQ(after.streams.size(), before.streams.size());
    EXPECT_EQ(after.brokenPages, 0);
    const OggStream &old = before.streams[0], &now = after.streams[0];
    ASSERT_GT(old.packets.size(), 2u);
    EXPECT_TRUE(std::equal(old.packets.begin() + 2, old.packets.end(), now.packets.begin() + 2, now.packets.end()))
        << "an audio packet changed";
    EXPECT_EQ(now.packets[0], old.packets[0]) << "OpusHead changed";
    EXPECT_EQ(audioGranules(now), audioGranules(old));
    EXPECT_TRUE(now.endsWithEos);

    if (haveFfmpeg) {
        EXPECT_EQ(decodedMd5(path), md5Before);
        std::string tag;
        runCommand("ffprobe -v error -show_entries stream_tags=" + std::string(c.ffprobeKey) + " -of default=nw=1:nk=1 " +
                       shellQuote(path),
                   &tag);
        EXPECT_EQ(tag, c.value + "\n") << "ffprobe's view of the field";
    }
    else
        ADD_FAILURE() << "ffmpeg is not installed: the decoded audio was not compared";
    if (haveTool("opusinfo")) {
        std::string report;
        EXPECT_EQ(runCommand("opusinfo " + shellQuote(path), &report, true), 0);
        EXPECT_EQ(report.find("WARNING"), std::string::npos) << report.substr(0, 2000);
    }
    if (runCommand(std::string(kMutagenPython) + " -c 'import mutagen' 2>/dev/null") == 0) {
        std::string value;
        ASSERT_EQ(runCommand(std::string(kMutagenPython) + " -c 'import sys, mutagen.oggopus; f = mutagen.oggopus.OggOpus(sys.argv[1]); "
                                                           "sys.stdout.write(f.tags[sys.argv[2]][0])' " +
                                 shellQuote(path) + " " + c.mutagenKey,
                             &value),
                  0);
        EXPECT_EQ(value, c.value);
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, OpusSave, ::testing::ValuesIn(kSaves), [](const auto &info) { return "Case" + std::to_string(info.index); });

// What opusenc and ffmpeg wrote, read under the Vorbis-comment names; mutagen's writing too.
TEST(OpusRead, FieldsOfEveryWriter)
{
    struct Row {
        const char *fixture;
        MediaFileDataID id;
        const char *value;
    };
    const Row rows[] = {
        {"opus-tagged.opus", kMediaFileDataIDTitle, "Opus Title"},
        {"opus-tagged.opus", kMediaFileDataIDArtist, "Opus Artist"},
        {"opus-tagged.opus", kMediaFileDataIDTrackNumber, "4"},
        {"opus-tagged.opus", kMediaFileDataIDEncodedBy, "libopus 1.3.1, libopusenc 0.2.1"},
        {"opus-ffmpeg.opus", kMediaFileDataIDTitle, "From ffmpeg"},
        {"vorbis-tagged.ogg", kMediaFileDataIDKind, nullptr}, // Vorbis keeps the classic answer
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.fixture) + " " + MediaFileGetDataIDName(row.id));
        OpenFile file(fixturePath(row.fixture));
        ASSERT_EQ(file.status(), 0);
        MediaFileStatus status = 0;
        std::string value = file.string(row.id, &status);
        if (row.value)
            EXPECT_EQ(value, row.value);
        else
            EXPECT_EQ(status, kMediaFileErrUnsupported);
    }
    // The classic stream figures answer for Opus as for Vorbis: channels, and the 48 kHz it decodes at.
    OpenFile mono(fixturePath("opus-mono-in-ogg.ogg"));
    EXPECT_EQ(mono.integer(kMediaFileDataIDChannels), 1);
    EXPECT_EQ(mono.integer(kMediaFileDataIDSampleRate), 48000);
}

TEST(OpusRead, WhatMutagenWrites)
{
    if (runCommand(std::string(kMutagenPython) + " -c 'import mutagen' 2>/dev/null") != 0)
        GTEST_SKIP() << "mutagen is not installed";
    TempDir dir;
    const std::string path = dir.copyFixture("opus-ffmpeg.opus");
    ASSERT_EQ(runCommand(std::string(kMutagenPython) + " -c 'import sys, mutagen.oggopus; f = mutagen.oggopus.OggOpus(sys.argv[1]); "
                                                       "f[\"artist\"] = \"Via Mutagen\"; f[\"discnumber\"] = \"3\"; f.save()' " +
                         shellQuote(path)),
              0);
    OpenFile file(path);
    ASSERT_EQ(file.status(), 0);
    EXPECT_EQ(file.string(kMediaFileDataIDArtist), "Via Mutagen");
    EXPECT_EQ(file.integer(kMediaFileDataIDDiskNumber), 3) << "DISCNUMBER is read as DISC's alias";
}

} // namespace
