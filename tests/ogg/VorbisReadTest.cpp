// Reading Ogg Vorbis, Ogg Opus and FLAC files: values, refusals and the Vorbis-comment rules.
#include "VorbisTestSupport.h"

#include "ogg/OggVorbisFile.h"

#include <ogg/ogg.h>

#include <cstring>

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

constexpr MediaFileStatus kNoComment = ogg::kOggVorbisErrNoComment, kNotVorbis = ogg::kOggVorbisErrNotVorbis;

struct ReadRow {
    const char *fixture;
    MediaFileDataID id;
    const char *value; // nullptr: only the status is expected
    MediaFileStatus status = 0;
};

// Stream figures (read-only integers) are read as integers, pictures by their size.
bool isFigure(MediaFileDataID id) { return MediaFileGetDataIDInfo(id)->readOnly && MediaFileGetDataIDInfo(id)->valueType == 'I'; }
bool isPicture(MediaFileDataID id) { return MediaFileGetDataIDInfo(id)->valueType == 'D'; }

// Encoder output as oggenc, flac, opusenc and ffmpeg wrote it. oggenc -q 0 at 11,025 Hz mono
// sets only the nominal rate (20,000 bits/s, counted in 1,024s); a managed stream gives its upper
// rate; FLAC's rate leaves out the channels (44,100 x 16 / 1,024).
const ReadRow kReads[] = {
    {"vorbis-tagged.ogg", kMediaFileDataIDTitle, "Nächtliche Fahrt"},
    {"vorbis-tagged.ogg", kMediaFileDataIDCompilation, "1"},
    {"vorbis-tagged.ogg", kMediaFileDataIDEncodedBy, "Xiph.Org libVorbis I 20200704 (Reducing Environment)"},
    {"vorbis-tagged.ogg", kMediaFileDataIDBitRate, "19"},
    {"vorbis-tagged.ogg", kMediaFileDataIDPlayTime, nullptr, kMediaFileErrUnsupported},
    {"vorbis-tagged.ogg", kMediaFileDataIDKind, nullptr, kMediaFileErrUnsupported},
    {"vorbis-managed-bitrate.ogg", kMediaFileDataIDBitRate, "187"},
    {"vorbis-aliases.ogg", kMediaFileDataIDTotalTracks, "12"}, // TOTALTRACKS stands in for TRACKTOTAL
    {"vorbis-aliases.ogg", kMediaFileDataIDDiskNumber, "2"},   // DISCNUMBER for DISC
    {"vorbis-no-comments.ogg", kMediaFileDataIDTitle, nullptr, kNoComment},
    {"vorbis-no-comments.ogg", kMediaFileDataIDTrackNumber, nullptr, kNoComment},
    {"vorbis-no-comments.ogg", kMediaFileDataIDLyrics, nullptr, kMediaFileErrUnsupported},
    {"vorbis-no-comments.ogg", kMediaFileDataIDArtwork, nullptr, kMediaFileErrUnsupported},
    {"opus-tagged.opus", kMediaFileDataIDTitle, "Opus Title"},
    {"opus-tagged.opus", kMediaFileDataIDEncodedBy, "libopus 1.3.1, libopusenc 0.2.1"},
    {"opus-tagged.opus", kMediaFileDataIDKind, "Ogg Opus"},
    {"opus-ffmpeg.opus", kMediaFileDataIDTitle, "From ffmpeg"},
    {"flac-tagged.flac", kMediaFileDataIDComment, "ünïcödé comment"},
    {"flac-tagged.flac", kMediaFileDataIDEncodedBy, "reference libFLAC 1.4.2 20221022"},
    {"flac-tagged.flac", kMediaFileDataIDBitRate, "689"},
    {"flac-tagged.flac", kMediaFileDataIDGrouping, nullptr, kMediaFileErrUnsupported},
    {"flac-tagged.flac", kMediaFileDataIDArtwork, nullptr, kMediaFileErrNotFound},
    {"flac-no-tags.flac", kMediaFileDataIDBitRate, "125"},
    {"flac-no-tags.flac", kMediaFileDataIDTitle, nullptr, kMediaFileErrNotFound},
    {"flac-no-tags.flac", kMediaFileDataIDPlayTime, nullptr, kMediaFileErrUnsupported},
    {"flac-duplicate-artist.flac", kMediaFileDataIDArtist, "First Artist"},
    {"flac-entry-without-equals.flac", kMediaFileDataIDTitle, nullptr, kMediaFileErrBadFrame}, // "TITLE", no '='
    {"flac-entry-without-equals.flac", kMediaFileDataIDArtist, "Has Equals"},
    {"flac-escn-picture.flac", kMediaFileDataIDArtworkBack, nullptr, kMediaFileErrUnsupported},
    {"flac-escn-picture.flac", kMediaFileDataIDVolume, nullptr, kMediaFileErrUnsupported},
};

} // namespace

TEST(VorbisRead, EveryRow)
{
    for (const ReadRow &row : kReads) {
        SCOPED_TRACE(std::string(row.fixture) + " " + MediaFileGetDataIDName(row.id));
        OpenFile file(fixturePath(row.fixture));
        ASSERT_EQ(file.status(), 0);
        MediaFileStatus status = 0;
        std::string value = isPicture(row.id)  ? std::to_string(file.data(row.id, &status).size())
                            : isFigure(row.id) ? std::to_string(file.integer(row.id, &status))
                                               : file.string(row.id, &status);
        EXPECT_EQ(status, row.status);
        EXPECT_TRUE(!row.value || value == row.value) << value;
        EXPECT_TRUE(isPicture(row.id) || isFigure(row.id) || MediaFileGetString(file.ref(), row.id, nullptr) == row.status) << "the presence test";
    }
}

// A set refused with its reason (the last: text not in UTF-8), or saved and read back.
TEST(VorbisRead, Sets)
{
    for (auto [fixture, id, value, status, stored] : {std::tuple{"vorbis-no-comments.ogg", kMediaFileDataIDEncodedBy, "me", MediaFileStatus(kMediaFileErrUnsupported), ""},
                                                      {"vorbis-no-comments.ogg", kMediaFileDataIDArtwork, "x", kMediaFileErrUnsupported, ""},
                                                      {"vorbis-no-comments.ogg", kMediaFileDataIDTrackNumber, "x", kMediaFileErrBadFormat, ""},
                                                      {"vorbis-no-comments.ogg", kMediaFileDataIDCompilation, "5", 0, "1"},
                                                      {"vorbis-no-comments.ogg", kMediaFileDataIDCompilation, "0", 0, "0"},
                                                      {"flac-no-tags.flac", kMediaFileDataIDCompilation, "5", 0, "5"},
                                                      {"flac-tagged.flac", kMediaFileDataIDLyrics, "x", kMediaFileErrUnsupported, ""},
                                                      {"flac-tagged.flac", kMediaFileDataIDSeason, "1", kMediaFileErrUnsupported, ""},
                                                      {"flac-tagged.flac", kMediaFileDataIDBitRate, "1", kMediaFileErrUnsupported, ""},
                                                      {"flac-tagged.flac", kMediaFileDataIDTitle, "caf\xE9", kMediaFileErrIO, ""}}) {
        TempDir dir;
        std::string path = dir.copyFixture(fixture);
        EXPECT_EQ(saveEdits(path, {{id, value}}), status) << fixture << " " << MediaFileGetDataIDName(id);
        EXPECT_TRUE(status || OpenFile(path).string(id) == stored) << fixture << " " << MediaFileGetDataIDName(id) << " " << value;
    }
}

TEST(VorbisRead, FilesThatAreNotTheirKindAreRefusedWithTheReason)
{
    // "spliced": the first page of a tagged file, then the audio pages (page numbers 1 and 2 are
    // missing); "empty" and "missing" are made here too. Each is tried under both extensions.
    TempDir dir;
    Bytes spliced = readFile(fixturePath("vorbis-tagged.ogg")), audio = readFile(fixturePath("vorbis-headerless.ogg"));
    spliced.resize(58);
    spliced.insert(spliced.end(), audio.begin(), audio.end());
    writeFile(dir.file("spliced"), spliced);
    writeFile(dir.file("empty"), std::string());
    const std::string noFirstPage = "Error reading first page of Ogg bitstream data.\n";
    for (auto [fixture, as, status, message] :
         {std::tuple{"ogg-flac-not-vorbis.ogg", ".ogg", kNotVorbis, std::string("This Ogg bitstream does not contain Vorbis audio data.\n")},
          {"ogg-truncated-first-page.ogg", ".ogg", kNotVorbis, noFirstPage}, {"vorbis-headerless.ogg", ".ogg", kNotVorbis, noFirstPage},
          {"vorbis-truncated-headers.ogg", ".ogg", kNotVorbis, "EOF before end of vorbis headers.\n"},
          {"spliced", ".ogg", kNotVorbis, "Corrupt secondary header.\n"}, {"flac-tagged.flac", ".ogg", kNotVorbis, noFirstPage},
          {"empty", ".ogg", kNotVorbis, noFirstPage}, {"missing", ".ogg", ENOENT, ""},
          {"flac-truncated-metadata.flac", ".flac", kMediaFileErrFLACReadError, ""}, {"vorbis-tagged.ogg", ".flac", kMediaFileErrFLACNotAFLACFile, ""},
          {"empty", ".flac", kMediaFileErrFLACNotAFLACFile, ""}, {"missing", ".flac", kMediaFileErrFLACErrorOpeningFile, ""}}) {
        std::string path = dir.file(std::string("file") + as), from = std::filesystem::exists(dir.file(fixture)) ? dir.file(fixture) : fixturePath(fixture);
        std::error_code missing;
        std::filesystem::remove(path), std::filesystem::copy_file(from, path, missing);
        Bytes before = readFile(path);
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(MediaFileOpen(path.c_str(), nullptr, 0), status) << fixture << " as " << as;
        EXPECT_EQ(::testing::internal::GetCapturedStderr(), message) << fixture << " as " << as;
        EXPECT_EQ(readFile(path), before);
    }
}

TEST(VorbisRead, BitRateFromTheThreeHints)
{
    // Equal hints, even unset, give the rate; a lower rate alone makes it VBR.
    for (auto [upper, nominal, lower, rate, expected] : {std::tuple{192000, 160000, 128000, 187, "VBR (125-187)"}, {128000, 128000, 128000, 125, "125"},
                                                         {-1, 160000, -1, 156, "156"}, {0, 0, 0, 0, "0"}, {-1, 0, 0, 0, "0"}, {-1, 64000, 2048, 0, "VBR (2-0)"}}) {
        std::string text;
        EXPECT_EQ(ogg::bitRateFromHints(upper, nominal, lower, &text), rate) << expected;
        EXPECT_EQ(text, expected);
    }
}

// Headers patched so that a misread field shows: six channels in STREAMINFO, a FLAC behind an
// ID3v2 tag of 16 KiB (its size needs the third synchsafe byte), a last Ogg page whose granule
// position passes 2^32 samples (8,000 Hz: 536,870,912 ms more).
TEST(VorbisRead, FiguresOfPatchedHeaders)
{
    TempDir dir;
    const Bytes flac = readFile(fixturePath("flac-no-tags.flac")), ogg = readFile(fixturePath("vorbis-no-comments.ogg"));
    Bytes sixChannels = flac, behindId3 = {'I', 'D', '3', 4, 0, 0, 0, 1, 0, 0}, longOgg = ogg;
    sixChannels[20] = uint8_t((sixChannels[20] & 0xF1) | 5 << 1);
    behindId3.resize(10 + 16384);
    behindId3.insert(behindId3.end(), flac.begin(), flac.end());
    size_t last = longOgg.size() - 27;
    while (std::memcmp(&longOgg[last], "OggS", 4) != 0)
        --last;
    longOgg[last + 10] += 1;
    ogg_page page{&longOgg[last], 27 + longOgg[last + 26], &longOgg[last + 27 + longOgg[last + 26]], 0};
    page.body_len = long(longOgg.size()) - (page.body - longOgg.data());
    ogg_page_checksum_set(&page);
    auto figures = [&](const std::string &name, const Bytes &bytes) {
        writeFile(dir.file(name), bytes);
        OpenFile file(dir.file(name));
        MediaFileAudioProperties props{};
        props.structSize = sizeof props;
        EXPECT_EQ(MediaFileGetAudioProperties(file.ref(), &props), 0) << name;
        return std::pair(props.channels, props.durationMs);
    };
    const auto [flacChannels, flacMs] = figures("plain.flac", flac);
    const auto [oggChannels, oggMs] = figures("plain.ogg", ogg);
    EXPECT_EQ(figures("six.flac", sixChannels), std::pair(6u, flacMs));
    EXPECT_EQ(figures("id3.flac", behindId3), std::pair(flacChannels, flacMs));
    EXPECT_EQ(figures("long.ogg", longOgg), std::pair(oggChannels, oggMs + 536870912u));
}

// What the peer tools and our command line write, read back through the library: metaflac,
// vorbiscomment and mutagen spell names in either case and put aliases and "N/M" numbers;
// a chained or multiplexed file keeps its first stream's comments for us.
TEST(VorbisRead, WhatPeersWrote)
{
    if (!haveTool("metaflac") || !haveTool("vorbiscomment") || runCommand("/usr/bin/python3 -c 'import mutagen' 2>/dev/null") != 0)
        GTEST_SKIP() << "needs metaflac, vorbiscomment and mutagen";
    const std::string mutagen = "/usr/bin/python3 -c \"import sys, mutagen; f = mutagen.File(sys.argv[1]); ";
    using Reads = std::vector<std::pair<MediaFileDataID, const char *>>;
    for (auto [fixture, flags, command, output, reads] : {
             std::tuple{"flac-duplicate-artist.flac", MediaFileFlags(0),
                        "metaflac --remove-tag=TITLE --set-tag='TITLE=From metaflac' --set-tag=TRACKNUMBER=2/9 --set-tag=COMPILATION=1 {}", "",
                        Reads{{kMediaFileDataIDTitle, "From metaflac"}, {kMediaFileDataIDTrackNumber, "2"}, {kMediaFileDataIDCompilation, "1"}}},
             {"flac-tagged.flac", MediaFileFlags(kMediaFileFlagInterop), "{cli} set -t 'Encoder=our vendor' {} && metaflac --show-vendor-tag {}",
              "our vendor\n", Reads{{kMediaFileDataIDEncodedBy, "our vendor"}}},
             {"flac-escn-picture.flac", MediaFileFlags(0), "%mf['title'] = 'By mutagen'; f['discc'] = '3'; f.save()\" {}", "",
              Reads{{kMediaFileDataIDTitle, "By mutagen"}, {kMediaFileDataIDTotalDisks, "3"}, {kMediaFileDataIDArtwork, "232"}}},
             {"flac-escn-picture.flac", MediaFileFlags(kMediaFileFlagInterop), "true {}", "", Reads{{kMediaFileDataIDArtwork, "224"}}},
             {"vorbis-no-comments.ogg", MediaFileFlags(0), "vorbiscomment -w -t 'ARTIST=Via Tool' -t COMPILATION=10 -t discnumber=4 -t TOTALTRACKS=8 {}", "",
              Reads{{kMediaFileDataIDArtist, "Via Tool"}, {kMediaFileDataIDCompilation, "1"}, {kMediaFileDataIDDiskNumber, "4"}, {kMediaFileDataIDTotalTracks, "8"}}},
             {"vorbis-chained.ogg", MediaFileFlags(0), "%mf['title'] = 'By mutagen'; f['tracknumber'] = '6'; f.save()\" {}", "",
              Reads{{kMediaFileDataIDTitle, "By mutagen"}, {kMediaFileDataIDTrackNumber, "6"}}},
             {"opus-ffmpeg.opus", MediaFileFlags(kMediaFileFlagInterop), "%mf['artist'] = 'By mutagen'; f['discnumber'] = '3'; f.save()\" {}", "",
              Reads{{kMediaFileDataIDArtist, "By mutagen"}, {kMediaFileDataIDDiskNumber, "3"}}},
             // The classic rules replace the first entry that starts with the name: DISCC comes before DISC.
             {"vorbis-discc-before-disc.ogg", MediaFileFlags(0), "{cli} set --classic -t 'Disk Number=7' {} && vorbiscomment -l {}", "DISC=7\nDISC=1\n",
              Reads{{kMediaFileDataIDDiskNumber, "7"}}},
             {"vorbis-aliases.ogg", MediaFileFlags(0), "{cli} set -t Title=Shown {} && vorbiscomment -l {}", "TOTALTRACKS=12\nDISCNUMBER=2\nTITLE=Shown\n",
              Reads{{kMediaFileDataIDTitle, "Shown"}, {kMediaFileDataIDTotalTracks, "12"}}},
         }) {
        TempDir dir;
        std::string path = dir.copyFixture(fixture), line = command, out;
        for (auto [from, to] : {std::pair{"%m", mutagen}, {"{cli}", shellQuote(cliPath())}, {"{}", shellQuote(path)}, {"{}", shellQuote(path)}})
            if (line.find(from) != std::string::npos)
                line.replace(line.find(from), std::string(from).size(), to);
        ASSERT_EQ(runCommand(line, &out), 0) << line;
        EXPECT_EQ(out, output) << line;
        OpenFile file(path, flags);
        for (auto [id, value] : reads)
            EXPECT_EQ(id == kMediaFileDataIDArtwork ? std::to_string(file.data(id).size()) : file.string(id), value) << fixture << " " << MediaFileGetDataIDName(id);
    }
}
