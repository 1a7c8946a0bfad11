// Audio properties of every audio fixture against ffprobe's, and the record's size rule.
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

struct Probe {
    double duration = -1;
    uint32_t sampleRate = 0;
    uint32_t channels = 0;
};

// The first audio stream's figures; the stream's own length, else the container's. Where
// ffprobe only estimates the length from the bit rate, the sum of its packets' lengths is taken
// instead; a file ffprobe finds damaged is no measure and gives false.
bool probe(const std::string &path, Probe *out)
{
    std::string text, packets;
    if (runCommand("ffprobe -v warning -select_streams a:0 -show_entries stream=sample_rate,channels,duration:format=duration -of default=nw=1 " +
                       shellQuote(path), &text, true) != 0 ||
        text.find("CRC mismatch") != std::string::npos || text.find("Invalid data") != std::string::npos)
        return false;
    if (text.find("Estimating duration from bitrate") != std::string::npos) {
        runCommand("ffprobe -v error -select_streams a:0 -show_entries packet=duration_time -of csv=p=0 " + shellQuote(path), &packets);
        std::istringstream in(packets);
        out->duration = 0;
        for (double one; in >> one;)
            out->duration += one;
    }
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::string key = line.substr(0, line.find('=')), value = line.substr(line.find('=') + 1);
        if (key == line || value == "N/A")
            continue;
        if (key == "sample_rate" || key == "channels")
            (key == "channels" ? out->channels : out->sampleRate) = static_cast<uint32_t>(std::stoul(value));
        else if (key == "duration" && out->duration <= 0) // the stream's, else the container's
            out->duration = std::stod(value);
    }
    return out->sampleRate != 0 && out->duration > 0;
}

// Fixtures on which ffprobe's length is no measure, each with the reason.
const std::map<std::string, const char *> kNotComparable = {
    {"truncated-tag.mp3", "the ID3v2 tag claims more bytes than the file has; ffprobe guesses where the audio starts"},
    {"stco-count-mismatch.m4a", "damaged on purpose: the chunk-offset table disagrees with the sample tables ffprobe follows"},
    {"vorbis-chained.ogg", "two chained streams: ffprobe gives the last chain's length, we the first's, whose comments we edit"},
};

bool isAudioKind(MediaFileType kind) { return kind != kMediaFileTypeEXIF && kind != kMediaFileTypeQuickTime; }

// Every codec name the handlers give must be met on at least one real file.
const std::set<std::string> kCodecsToCover = {"MP3", "MP2", "AAC", "ALAC", "PCM", "FLAC", "Vorbis", "Opus"};

TEST(AudioProperties, MatchEveryAudioFixtureWithFfprobe)
{
    if (!haveTool("ffprobe"))
        GTEST_SKIP() << "ffprobe is not installed";
    std::map<std::string, double> largestDifference; // by kind name (and codec), in per cent
    std::set<std::string> codecsSeen;
    int compared = 0;
    for (const auto &entry : std::filesystem::directory_iterator(fixturePath(""))) {
        if (!entry.is_regular_file())
            continue;
        const std::string path = entry.path().string();
        const std::string name = entry.path().filename().string();
        if (kNotComparable.count(name))
            continue;
        MediaFileRef ref = nullptr;
        if (MediaFileOpen(path.c_str(), &ref, kMediaFileFlagIgnoreTagErrors | kMediaFileFlagSkipMPEGInfo) != 0)
            continue;
        MediaFileType kind = 0;
        MediaFileGetType(ref, &kind);
        MediaFileAudioProperties props{};
        props.structSize = sizeof props;
        const MediaFileStatus status = isAudioKind(kind) ? MediaFileGetAudioProperties(ref, &props) : kMediaFileErrUnsupported;
        MediaFileClose(ref);
        Probe peer;
        if (!isAudioKind(kind) || !probe(path, &peer))
            continue;
        SCOPED_TRACE(name);
        ASSERT_EQ(status, kMediaFileNoErr) << "ffprobe reads audio that we do not";
        ASSERT_NE(props.codec, nullptr);
        EXPECT_EQ(props.sampleRate, peer.sampleRate);
        EXPECT_EQ(props.channels, peer.channels);
        const double ours = static_cast<double>(props.durationMs) / 1000.0;
        // Within 1 %, or the millisecond our figure is rounded to on the shortest files.
        EXPECT_NEAR(ours, peer.duration, std::max(peer.duration * 0.01, 0.0011));
        const std::string key = std::string(MediaFileGetTypeName(kind)) + "/" + props.codec;
        largestDifference[key] = std::max(largestDifference[key], std::fabs(ours - peer.duration) / peer.duration * 100);
        codecsSeen.insert(props.codec);
        ++compared;
    }
    for (const auto &[key, percent] : largestDifference)
        std::printf("largest duration difference against ffprobe, %s: %.2f %%\n", key.c_str(), percent);
    for (const std::string &codec : kCodecsToCover)
        EXPECT_TRUE(codecsSeen.count(codec)) << "no fixture compared for " << codec;
    EXPECT_GE(compared, 20);
    for (const auto &[name, reason] : kNotComparable)
        EXPECT_TRUE(std::filesystem::exists(fixturePath(name))) << name << " is gone; drop its row";
}

// opusinfo is Opus's own tool and takes the pre-skip off, as we do; it prints whole milliseconds
// cut, not rounded.
TEST(AudioProperties, OpusLengthAsOpusinfoSaysIt)
{
    if (!haveTool("opusinfo"))
        GTEST_SKIP() << "opusinfo is not installed (opus-tools)";
    for (const char *name : {"opus-tagged.opus", "opus-mono-in-ogg.ogg", "opus-ffmpeg.opus"}) {
        SCOPED_TRACE(name);
        std::string text;
        ASSERT_EQ(runCommand("opusinfo " + shellQuote(fixturePath(name)), &text), 0);
        const auto at = text.find("Playback length: ");
        ASSERT_NE(at, std::string::npos);
        unsigned minutes = 0;
        double seconds = 0;
        ASSERT_EQ(std::sscanf(text.c_str() + at, "Playback length: %um:%lfs", &minutes, &seconds), 2);
        OpenFile file(fixturePath(name));
        ASSERT_EQ(file.status(), 0);
        MediaFileAudioProperties props{};
        props.structSize = sizeof props;
        ASSERT_EQ(MediaFileGetAudioProperties(file.ref(), &props), 0);
        EXPECT_STREQ(props.codec, "Opus");
        EXPECT_NEAR(static_cast<double>(props.durationMs), (minutes * 60 + seconds) * 1000, 1.0);
    }
}

// The record grows at its end: a caller's shorter record is filled only as far as it reaches.
TEST(AudioProperties, RecordSizeRule)
{
    struct Case {
        const char *what;
        uint32_t structSize;
        MediaFileStatus status;
        bool durationWritten;
    };
    const Case cases[] = {
        {"zero", 0, kMediaFileErrParam, false},
        {"size field only", sizeof(uint32_t), kMediaFileErrParam, false},
        {"up to the codec", offsetof(MediaFileAudioProperties, durationMs), kMediaFileNoErr, false},
        {"whole record", sizeof(MediaFileAudioProperties), kMediaFileNoErr, true},
        {"a newer, longer record", sizeof(MediaFileAudioProperties) + 16, kMediaFileNoErr, true},
    };
    OpenFile file(fixturePath("props-aac.m4a"));
    ASSERT_EQ(file.status(), 0);
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        unsigned char buffer[sizeof(MediaFileAudioProperties) + 16];
        std::memset(buffer, 0xEE, sizeof buffer);
        auto *props = reinterpret_cast<MediaFileAudioProperties *>(buffer);
        props->structSize = c.structSize;
        EXPECT_EQ(MediaFileGetAudioProperties(file.ref(), props), c.status);
        EXPECT_EQ(props->durationMs == 500, c.durationWritten);
        // Nothing past the caller's record, nor past ours.
        const size_t end = std::min<size_t>(std::max<uint32_t>(c.structSize, sizeof(uint32_t)), sizeof(MediaFileAudioProperties));
        for (size_t i = end; i < sizeof buffer; ++i)
            ASSERT_EQ(buffer[i], 0xEE) << "byte " << i;
    }
    EXPECT_EQ(MediaFileGetAudioProperties(file.ref(), nullptr), kMediaFileErrParam);
    OpenFile image(fixturePath("exif-camera.jpg"));
    ASSERT_EQ(image.status(), 0);
    MediaFileAudioProperties props{};
    props.structSize = sizeof props;
    EXPECT_EQ(MediaFileGetAudioProperties(image.ref(), &props), kMediaFileErrUnsupported) << "a still image has no audio";
    EXPECT_EQ(MediaFileGetAudioProperties(nullptr, nullptr), kMediaFileErrNullRef);
}

} // namespace
