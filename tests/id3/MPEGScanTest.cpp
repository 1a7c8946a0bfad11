// The MPEG audio figures: frame header decoding, the Xing estimate at each of its offsets, and
// the deliberate formulas (MPEG-2.5 rates, the 144 divisor, play time over 128).
#include "Mp3TestSupport.h"

#include "id3/MPEGScan.h"

#include <gtest/gtest.h>

using namespace kestrabel::test;
using namespace kestrabel::id3;

// The Xing estimates: audio bytes / frames * sample rate / 1000 / 144, in single precision.
//   mono:   3312 / 15 * 32000 / 1000 / 144 = 49.07;  stereo: 2772 / 10 * 32000 / 1000 / 144 = 61.6
//   MPEG-2: 3070 / 22 * 22050 / 1000 / 144 = 21.37 (half the true rate: the divisor stays 144),
//           so its half second plays for 3070 / (21 * 128) = 1 second.
// The 8 kHz MPEG-2.5 file reads as 32000 Hz: its rate row repeats MPEG-1's, on purpose.
TEST(Mp3AudioFigures, MatchTheFirstFrame)
{
    const struct {
        const char *fixture;
        int32_t bitRate, sampleRate, channelMode, playTime;
    } cases[] = {
        {"mpeg1-cbr-stereo.mp3", 32, 32000, 0, 0}, {"vbr-xing-mono.mp3", 49, 32000, 3, 0}, {"vbr-xing-stereo.mp3", 61, 32000, 1, 0},
        {"vbr-xing-mpeg2.mp3", 21, 22050, 1, 1},   {"no-tags.mp3", 8, 32000, 3, 0},       {"id3v1-only.mp3", 8, 32000, 3, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.fixture);
        OpenFile file(fixturePath(c.fixture), kMediaFileFlagIgnoreTagErrors);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        EXPECT_EQ(file.integer(kMediaFileDataIDBitRate), c.bitRate);
        EXPECT_EQ(file.string(kMediaFileDataIDSampleRate), std::to_string(c.sampleRate));
        EXPECT_EQ(file.integer(kMediaFileDataIDChannels), c.channelMode);
        MediaFileStatus status = 1;
        EXPECT_EQ(file.integer(kMediaFileDataIDPlayTime, &status), c.playTime);
        EXPECT_EQ(status, kMediaFileNoErr);
    }
}

// One frame header, with a Xing header at an offset or none: what decodes. A frame count of 0, or
// no frame-count flag, keeps the header's rate; Layer I divides by 12.
TEST(Mp3FrameHeader, DecodesAndEstimates)
{
    const struct {
        std::vector<uint8_t> header;
        size_t xingAt; // 0: no Xing header
        uint32_t flags, frames, audioBytes;
        bool valid, xing = false;
        uint32_t bitRate = 0, sampleRate = 0, channelMode = 0;
    } cases[] = {
        {{0xFF, 0xFB, 0x90, 0x64}, 0, 0, 0, 0, true, false, 128, 44100, 1},
        {{0xFF, 0xFB, 0xF0, 0x64}, 0, 0, 0, 0, false}, // bit rate index 15
        {{0xFF, 0xFB, 0x00, 0x64}, 0, 0, 0, 0, false}, // free format
        {{0xFF, 0xFB, 0x9C, 0x64}, 0, 0, 0, 0, false}, // sample rate index 3
        {{0xFF, 0xEB, 0x90, 0x64}, 0, 0, 0, 0, false}, // version 1
        {{0xFF, 0xF9, 0x90, 0x64}, 0, 0, 0, 0, false}, // layer 0
        {{0xFF, 0xFB, 0x90, 0x66}, 0, 0, 0, 0, false}, // emphasis 2
        {{0xFF, 0x1B, 0x90, 0x64}, 0, 0, 0, 0, false}, // no sync
        {{0xFF, 0xFB, 0x90, 0xC4}, 21, 1, 1000, 1000000, true, true, 306, 44100, 3}, // 1000000 / 1000 * 44100 / 1000 / 144
        {{0xFF, 0xFB, 0x90, 0xC4}, 36, 1, 1000, 1000000, true, false, 128, 44100, 3}, // the stereo offset in a mono frame
        {{0xFF, 0xF3, 0x84, 0xC4}, 13, 1, 100, 36000, true, true, 60, 24000, 3},     // MPEG-2: the MPEG-1 rate halved
        {{0xFF, 0xF3, 0x84, 0xC4}, 36, 1, 100, 36000, true, false, 64, 24000, 3},
        {{0xFF, 0xFF, 0x90, 0x04}, 36, 1, 100, 12000, true, true, 441, 44100, 0}, // 12000 / 100 * 44100 / 1000 / 12
        {{0xFF, 0xFB, 0x90, 0x64}, 36, 1, 0, 1000000, true, true, 128, 44100, 1},
        {{0xFF, 0xFB, 0x90, 0x64}, 36, 2, 1000, 1000000, true, true, 128, 44100, 1},
    };
    for (const auto &c : cases) {
        std::vector<uint8_t> bytes(128, 0);
        std::copy(c.header.begin(), c.header.end(), bytes.begin());
        if (c.xingAt) {
            const uint8_t xing[] = {'X', 'i', 'n', 'g', 0, 0, 0, uint8_t(c.flags), uint8_t(c.frames >> 24), uint8_t(c.frames >> 16),
                                    uint8_t(c.frames >> 8), uint8_t(c.frames)};
            std::copy(std::begin(xing), std::end(xing), bytes.begin() + long(c.xingAt));
        }
        SCOPED_TRACE(testing::Message() << std::hex << int(c.header[1]) << " " << int(c.header[2]) << " " << int(c.header[3]) << " @" << c.xingAt);
        ASSERT_EQ(isFrameHeader(bytes.data()), c.valid);
        if (!c.valid)
            continue;
        MPEGInfo info;
        decodeFrame(bytes, c.audioBytes, &info);
        EXPECT_EQ(info.xingPresent, c.xing);
        EXPECT_EQ(info.bitRate, c.bitRate);
        EXPECT_EQ(info.sampleRate, c.sampleRate);
        EXPECT_EQ(info.channelMode, c.channelMode);
    }
    ID3Tag tag;
    decodeFrame(std::vector<uint8_t>{0xFF, 0xFB, 0x90, 0x64}, 0, &tag.mpeg);
    tag.audioByteCount = 1280000;
    EXPECT_EQ(playTimeSeconds(tag), 78u) << "1280000 / (128 * 128)";
}

// Junk, then false candidates (bit-rate index 15, sample-rate index 3), then a real header; a
// header split over the scan's read blocks; and no header at all.
TEST(Mp3Scan, SkipsFalseSyncAndJunk)
{
    const uint8_t falseA[] = {0xFF, 0xFB, 0xF0, 0x64}, falseB[] = {0xFF, 0xFB, 0x9C, 0x64}, real[] = {0xFF, 0xFB, 0x50, 0xC4};
    std::vector<uint8_t> junk(5000, 0x55), split(70000, 0x00), none(3000, 0x55);
    for (auto [bytes, at, header] : {std::tuple{&junk, 100, falseA}, {&junk, 4000, falseB}, {&junk, 4500, real}, {&split, 65534, real}})
        std::copy(header, header + 4, bytes->begin() + at);
    TempDir dir;
    const std::string path = dir.file("junk.mp3");
    for (const auto &[bytes, bitRate, status] : {std::tuple{junk, 64, kMediaFileNoErr}, {split, 64, kMediaFileNoErr}, {none, 0, kMediaFileErrNotFound}}) {
        writeFile(path, bytes);
        OpenFile file(path, kMediaFileFlagIgnoreTagErrors);
        ASSERT_EQ(file.status(), kMediaFileNoErr);
        MediaFileStatus got = 1;
        EXPECT_EQ(file.integer(kMediaFileDataIDBitRate, &got), bitRate);
        EXPECT_EQ(got, status);
        EXPECT_EQ(file.integer(kMediaFileDataIDChannels), status ? 0 : 3);
    }
    EXPECT_EQ(OpenFile(path, kMediaFileFlagStrict).status(), kMediaFileErrTooSmall);
}
