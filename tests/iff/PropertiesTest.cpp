// The codec tables of the AIFF-C and WAVE audio properties: every row through the parser, each
// with its expected name written here independently, and a guard that no row goes untested.
#include "iff/IFFProperties.h"

#include <gtest/gtest.h>

using namespace kestrabel;
using namespace kestrabel::iff;

namespace {

struct Expected {
    uint32_t id;
    const char *name;
    bool pcm;
};

const Expected kWave[] = {
    {0x0001, "PCM", true},       {0x0003, "PCM", true},        {0x0006, "A-law", false}, {0x0007, "mu-law", false},
    {0x0002, "MS ADPCM", false}, {0x0011, "IMA ADPCM", false}, {0x0055, "MP3", false},   {0x0050, "MP2", false},
};
const Expected kAifc[] = {
    {util::fourCC("NONE"), "PCM", true},        {util::fourCC("twos"), "PCM", true},   {util::fourCC("sowt"), "PCM", true},
    {util::fourCC("raw "), "PCM", true},        {util::fourCC("in24"), "PCM", true},   {util::fourCC("in32"), "PCM", true},
    {util::fourCC("fl32"), "PCM", true},        {util::fourCC("FL32"), "PCM", true},   {util::fourCC("fl64"), "PCM", true},
    {util::fourCC("ulaw"), "mu-law", false},    {util::fourCC("alaw"), "A-law", false}, {util::fourCC("ima4"), "IMA ADPCM", false},
};

// Appends each (value, width) pair, little- or big-endian.
std::vector<uint8_t> pack(bool big, std::initializer_list<std::pair<uint64_t, int>> fields)
{
    std::vector<uint8_t> out;
    for (auto [value, width] : fields)
        for (int i = 0; i < width; ++i)
            out.push_back(static_cast<uint8_t>(value >> (8 * (big ? width - 1 - i : i))));
    return out;
}

// 8 kHz stereo 16-bit; plain or as WAVE_FORMAT_EXTENSIBLE naming the tag in its sub-format.
std::vector<uint8_t> fmtBody(uint16_t tag, bool extensible)
{
    std::vector<uint8_t> out = pack(false, {{extensible ? 0xFFFE : tag, 2}, {2, 2}, {8000, 4}, {32000, 4}, {4, 2}, {16, 2}});
    if (extensible)
        for (uint8_t byte : pack(false, {{22, 2}, {16, 2}, {3, 4}, {tag, 2}, {0, 7}, {0, 7}}))
            out.push_back(byte);
    return out;
}

// 8000 Hz as an 80-bit float: 2^12 times 8000 / 4096.
std::vector<uint8_t> commBody(uint32_t compression)
{
    return pack(true, {{2, 2}, {4000, 4}, {16, 2}, {16383 + 12, 2}, {uint64_t(8000) << 51, 8}, {compression, 4}, {0, 2}});
}

void expectRow(const MediaFileAudioProperties &props, const Expected &row)
{
    EXPECT_STREQ(props.codec, row.name);
    EXPECT_EQ(props.sampleRate, 8000u);
    EXPECT_EQ(props.channels, 2u);
    EXPECT_EQ(props.durationMs, 500u);
    EXPECT_EQ(props.bitsPerSample, row.pcm ? 16u : 0u);
}

} // namespace

TEST(IFFProperties, EveryWaveFormatTagAndAifcCompression)
{
    ASSERT_EQ(std::size(kWave), std::size(kWaveCodecs)) << "a format tag without its case here";
    ASSERT_EQ(std::size(kAifc), std::size(kAifcCodecs)) << "a compression type without its case here";
    MediaFileAudioProperties props{};
    for (const Expected &row : kWave) {
        for (bool extensible : {false, true}) {
            SCOPED_TRACE(std::to_string(row.id) + (extensible ? " extensible" : ""));
            ASSERT_EQ(wavePropertiesFromFmt(fmtBody(static_cast<uint16_t>(row.id), extensible), 16000, &props), 0);
            expectRow(props, row);
        }
    }
    for (const Expected &row : kAifc) {
        SCOPED_TRACE(row.name);
        ASSERT_EQ(aiffPropertiesFromComm(commBody(row.id), true, 16000, &props), 0);
        expectRow(props, row);
    }
    ASSERT_EQ(aiffPropertiesFromComm(commBody(util::fourCC("zzzz")), true, 16000, &props), 0);
    EXPECT_STREQ(props.codec, "?") << "an unknown compression is not taken for PCM";
    ASSERT_EQ(aiffPropertiesFromComm(commBody(0), false, 16000, &props), 0);
    EXPECT_STREQ(props.codec, "PCM") << "plain AIFF has no compression field";
}
