// The MPEG audio figures: frame header decoding, the Xing estimate at each of its offsets, and
// the deliberate formulas (MPEG-2.5 rates, the 144 divisor, play time over 128).
#include "Mp3TestSupport.h"

#include "id3/MPEGScan.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;
using kestrabel::id3::MPEGInfo;

namespace {

struct Figures {
    const char *fixture;
    int32_t bitRate;
    int32_t sampleRate;
    int32_t channelMode;
    int32_t playTime = 0;
};

void PrintTo(const Figures &f, std::ostream *os) { *os << f.fixture; }

class Mp3AudioFigures : public ::testing::TestWithParam<Figures> {};

TEST_P(Mp3AudioFigures, MatchTheFirstFrame)
{
    const Figures &f = GetParam();
    OpenFile file(fixturePath(f.fixture), kMediaFileFlagIgnoreTagErrors);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.integer(kMediaFileDataIDBitRate), f.bitRate);
    EXPECT_EQ(file.integer(kMediaFileDataIDSampleRate), f.sampleRate);
    EXPECT_EQ(file.integer(kMediaFileDataIDChannels), f.channelMode);
    EXPECT_EQ(file.string(kMediaFileDataIDSampleRate), std::to_string(f.sampleRate));
    MediaFileStatus status = 1;
    EXPECT_EQ(file.integer(kMediaFileDataIDPlayTime, &status), f.playTime);
    EXPECT_EQ(status, kMediaFileNoErr);
}

// The Xing estimates: audio bytes / frames * sample rate / 1000 / 144, in single precision.
//   mono:   3312 / 15 * 32000 / 1000 / 144 = 49.07
//   stereo: 2772 / 10 * 32000 / 1000 / 144 = 61.6
//   MPEG-2: 3070 / 22 * 22050 / 1000 / 144 = 21.37 (half the true rate: the divisor stays 144),
//           so its half second plays for 3070 / (21 * 128) = 1 second.
// The 8 kHz MPEG-2.5 file reads as 32000 Hz: its rate row repeats MPEG-1's, on purpose.
INSTANTIATE_TEST_SUITE_P(Fixtures, Mp3AudioFigures,
                         ::testing::Values(Figures{"mpeg1-cbr-stereo.mp3", 32, 32000, 0},
                                           Figures{"vbr-xing-mono.mp3", 49, 32000, 3},
                                           Figures{"vbr-xing-stereo.mp3", 61, 32000, 1},
                                           Figures{"vbr-xing-mpeg2.mp3", 21, 22050, 1, 1},
                                           Figures{"no-tags.mp3", 8, 32000, 3},
                                           Figures{"id3v23-full.mp3", 8, 32000, 3},
                                           Figures{"id3v1-only.mp3", 8, 32000, 3}));

std::vector<uint8_t> frameWithXing(std::vector<uint8_t> header, size_t offset, uint32_t flags, uint32_t frames)
{
    std::vector<uint8_t> bytes(128, 0);
    std::copy(header.begin(), header.end(), bytes.begin());
    const uint8_t xing[] = {'X', 'i', 'n', 'g', uint8_t(flags >> 24), uint8_t(flags >> 16), uint8_t(flags >> 8), uint8_t(flags),
                            uint8_t(frames >> 24), uint8_t(frames >> 16), uint8_t(frames >> 8), uint8_t(frames)};
    std::copy(std::begin(xing), std::end(xing), bytes.begin() + offset);
    return bytes;
}

TEST(Mp3FrameHeader, DecodesMpeg1Layer3)
{
    const uint8_t header[] = {0xFF, 0xFB, 0x90, 0x64};
    ASSERT_TRUE(kestrabel::id3::isFrameHeader(header));
    MPEGInfo info;
    kestrabel::id3::decodeFrame(header, 0, &info);
    EXPECT_TRUE(info.valid);
    EXPECT_EQ(info.versionBits, 3u);
    EXPECT_EQ(info.layerBits, 1u);
    EXPECT_EQ(info.bitRate, 128u);
    EXPECT_EQ(info.sampleRate, 44100u);
    EXPECT_EQ(info.channelMode, 1u);
    EXPECT_FALSE(info.xingPresent);
}

TEST(Mp3FrameHeader, RejectsReservedFields)
{
    const uint8_t bitRate15[] = {0xFF, 0xFB, 0xF0, 0x64};
    const uint8_t bitRate0[] = {0xFF, 0xFB, 0x00, 0x64};
    const uint8_t sampleRate3[] = {0xFF, 0xFB, 0x9C, 0x64};
    const uint8_t version1[] = {0xFF, 0xEB, 0x90, 0x64};
    const uint8_t layer0[] = {0xFF, 0xF9, 0x90, 0x64};
    const uint8_t emphasis2[] = {0xFF, 0xFB, 0x90, 0x66};
    const uint8_t noSync[] = {0xFF, 0x1B, 0x90, 0x64};
    for (const uint8_t *bytes : {bitRate15, bitRate0, sampleRate3, version1, layer0, emphasis2, noSync})
        EXPECT_FALSE(kestrabel::id3::isFrameHeader(bytes));
}

TEST(Mp3FrameHeader, XingOffsetsAndEstimates)
{
    MPEGInfo info;
    // MPEG-1 mono: Xing at 21; 1,000,000 bytes over 1000 frames at 44100 Hz / 144 = 306.25.
    kestrabel::id3::decodeFrame(frameWithXing({0xFF, 0xFB, 0x90, 0xC4}, 21, 1, 1000), 1000000, &info);
    EXPECT_TRUE(info.xingPresent);
    EXPECT_EQ(info.xingFrameCount, 1000u);
    EXPECT_EQ(info.bitRate, 306u);
    // The same bytes at the stereo offset are not a Xing header for a mono frame.
    kestrabel::id3::decodeFrame(frameWithXing({0xFF, 0xFB, 0x90, 0xC4}, 36, 1, 1000), 1000000, &info);
    EXPECT_FALSE(info.xingPresent);
    EXPECT_EQ(info.bitRate, 128u);
    // MPEG-2 mono: Xing at 13; its sample rate is the MPEG-1 rate halved (index 1: 24000).
    kestrabel::id3::decodeFrame(frameWithXing({0xFF, 0xF3, 0x84, 0xC4}, 13, 1, 100), 36000, &info);
    EXPECT_TRUE(info.xingPresent);
    EXPECT_EQ(info.sampleRate, 24000u);
    EXPECT_EQ(info.bitRate, 60u); // 36000 / 100 * 24000 / 1000 / 144
    // Without Xing the rate comes from the MPEG-2 row itself.
    kestrabel::id3::decodeFrame(frameWithXing({0xFF, 0xF3, 0x84, 0xC4}, 36, 1, 100), 36000, &info);
    EXPECT_EQ(info.sampleRate, 24000u);
    // Layer I divides by 12.
    kestrabel::id3::decodeFrame(frameWithXing({0xFF, 0xFF, 0x90, 0x04}, 36, 1, 100), 12000, &info);
    EXPECT_EQ(info.layerBits, 3u);
    EXPECT_EQ(info.bitRate, 441u); // 12000 / 100 * 44100 / 1000 / 12
    // A frame count of 0, or no frame-count flag, keeps the header's rate.
    kestrabel::id3::decodeFrame(frameWithXing({0xFF, 0xFB, 0x90, 0x64}, 36, 1, 0), 1000000, &info);
    EXPECT_TRUE(info.xingPresent);
    EXPECT_EQ(info.bitRate, 128u);
    kestrabel::id3::decodeFrame(frameWithXing({0xFF, 0xFB, 0x90, 0x64}, 36, 2, 1000), 1000000, &info);
    EXPECT_EQ(info.bitRate, 128u);
}

TEST(Mp3FrameHeader, PlayTimeDividesBy128PerKbit)
{
    kestrabel::id3::ID3Tag tag;
    const uint8_t header[] = {0xFF, 0xFB, 0x90, 0x64};
    kestrabel::id3::decodeFrame(header, 0, &tag.mpeg);
    tag.audioByteCount = 1280000;
    EXPECT_EQ(kestrabel::id3::playTimeSeconds(tag), 78u);
    tag.mpeg.bitRate = 0;
    EXPECT_EQ(kestrabel::id3::playTimeSeconds(tag), 0u);
}

TEST(Mp3Scan, SkipsFalseSyncAndJunk)
{
    TempDir dir;
    // Junk, then false candidates (bit-rate index 15, sample-rate index 3), then a real header.
    std::vector<uint8_t> bytes(5000, 0x55);
    const uint8_t falseA[] = {0xFF, 0xFB, 0xF0, 0x64};
    const uint8_t falseB[] = {0xFF, 0xFB, 0x9C, 0x64};
    const uint8_t real[] = {0xFF, 0xFB, 0x50, 0xC4};
    std::copy(std::begin(falseA), std::end(falseA), bytes.begin() + 100);
    std::copy(std::begin(falseB), std::end(falseB), bytes.begin() + 4000);
    std::copy(std::begin(real), std::end(real), bytes.begin() + 4500);
    const std::string path = dir.file("junk.mp3");
    writeFile(path, bytes);
    OpenFile file(path, kMediaFileFlagIgnoreTagErrors);
    ASSERT_EQ(file.status(), kMediaFileNoErr);
    EXPECT_EQ(file.integer(kMediaFileDataIDBitRate), 64);
    EXPECT_EQ(file.integer(kMediaFileDataIDChannels), 3);

    // A header split over the scan's read blocks is still found.
    std::vector<uint8_t> large(70000, 0x00);
    std::copy(std::begin(real), std::end(real), large.begin() + 65534);
    writeFile(path, large);
    OpenFile split(path, kMediaFileFlagIgnoreTagErrors);
    EXPECT_EQ(split.integer(kMediaFileDataIDBitRate), 64);

    writeFile(path, std::vector<uint8_t>(3000, 0x55));
    OpenFile none(path, kMediaFileFlagIgnoreTagErrors);
    ASSERT_EQ(none.status(), kMediaFileNoErr);
    MediaFileStatus status = 0;
    none.integer(kMediaFileDataIDBitRate, &status);
    EXPECT_EQ(status, kMediaFileErrNotFound);
    OpenFile strict(path, kMediaFileFlagStrict);
    EXPECT_EQ(strict.status(), kMediaFileErrTooSmall);
}

} // namespace
