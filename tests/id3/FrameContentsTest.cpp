// The engine in memory: frame bodies as the data IDs write them, the genre conventions, the
// ID3v1 record, and rendering in each version, read back through the raw frames.
#include "Mp3TestSupport.h"

#include "id3/FrameContents.h"
#include "id3/ID3Engine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

using namespace kestrabel::test;
using namespace kestrabel::id3;

namespace {

using Bytes = std::vector<uint8_t>;

ID3TagPtr newTag()
{
    ID3TagPtr tag;
    EXPECT_EQ(ID3NewTag(&tag), kMediaFileNoErr);
    return tag;
}

uint32_t code(const char *id) { return uint32_t(uint8_t(id[0])) << 24 | uint32_t(uint8_t(id[1])) << 16 | uint32_t(uint8_t(id[2])) << 8 | uint8_t(id[3]); }

std::string body(const ID3Tag &tag, const char *id)
{
    const ID3Frame *frame = findFrame(tag, code(id));
    return frame ? bytesAsText(frame->data) : "";
}

void put(ID3Tag &tag, const char *id, const Bytes &body) { ID3PutFrame(tag, kOriginCaller, 0, code(id), {}, {}, 0, body); }

Bytes render(ID3Tag &tag, MediaFileFlags options)
{
    Bytes out;
    EXPECT_EQ(ID3RenderToBuffer(tag, options, &out), kMediaFileNoErr);
    return out;
}

ID3TagPtr parse(const Bytes &bytes)
{
    ID3TagPtr tag;
    EXPECT_EQ(ID3ParseBuffer(bytes, 0, &tag), kMediaFileNoErr);
    return tag;
}

std::string text(ID3Tag &tag, MediaFileDataID id, MediaFileStatus expected = kMediaFileNoErr)
{
    std::string out;
    EXPECT_EQ(ID3GetString(tag, id, &out), expected) << MediaFileGetDataIDName(id);
    return out;
}

} // namespace

TEST(Id3Genre, ParseFollowsTheTconConventions)
{
    const std::pair<const char *, int> cases[] = {
        {"(17)", 17}, {"(17)Rock", 17}, {"rock", 17}, {"  (8", 8}, // leading blanks skipped, ")" not checked
        {"(200)", -2}, {"(99999999999999999999)", -2}, {"", -1}, {" \t", -1}, {"Chillout", -2},
        {" Rock", -2}, // names are compared with their leading blanks
        {"PSYCHADELIC", 67}, {"contemporary c", 140},
    };
    for (const auto &[text, index] : cases)
        EXPECT_EQ(ID3ParseGenre(text), index) << text;
}

// One tag, set step by step: the status, then TCON as stored and the index the getter gives.
TEST(Id3Genre, SetAndGetEachForm)
{
    const struct {
        uint32_t flags;
        int index;
        const char *name;
        MediaFileStatus status;
        const char *stored; // null: the frame is gone
        int gotIndex;
    } steps[] = {
        {0, -2, "Rock", kMediaFileNoErr, "(17)", 17},       {0, -2, "Chillout", kMediaFileNoErr, "Chillout", -2},
        {0, -2, nullptr, kMediaFileErrParam, "Chillout", -2}, {0, 148, nullptr, kMediaFileErrParam, "Chillout", -2},
        {kGenreStoreText, 148, nullptr, kMediaFileErrTell, "Chillout", -2},
        {0, 8, nullptr, kMediaFileNoErr, "(8)", 8},          {kGenreStoreText, 8, nullptr, kMediaFileNoErr, "Jazz", 8},
        {0, -1, nullptr, kMediaFileNoErr, nullptr, 0},
    };
    ID3TagPtr tag = newTag();
    for (const auto &s : steps) {
        SCOPED_TRACE(testing::Message() << s.index << " " << (s.name ? s.name : ""));
        const std::string_view name = s.name ? s.name : "";
        EXPECT_EQ(ID3SetGenre(*tag, s.flags, s.index, s.name ? &name : nullptr), s.status);
        EXPECT_EQ(body(*tag, "TCON"), s.stored ? std::string(1, '\0') + s.stored : "");
        int index = 0;
        std::string got;
        EXPECT_EQ(ID3GetGenre(*tag, 0, &index, &got), s.stored ? kMediaFileNoErr : kMediaFileErrNotFound);
        EXPECT_EQ(index, s.gotIndex);
    }
    std::string_view rock = "Rock";
    int index = 0;
    std::string names[2];
    ID3SetGenre(*tag, 0, -2, &rock);
    EXPECT_EQ(ID3GetGenre(*tag, 0, &index, &names[0]) + ID3GetGenre(*tag, kGenreKeepText, &index, &names[1]), kMediaFileNoErr);
    EXPECT_EQ(names[0] + "|" + names[1], "Rock|(17)");
}

// Values set through the data IDs, one after the other on one tag: the frame body each leaves,
// and what reads back. Texts are Latin-1 when they can be, else UTF-16 with a mark.
TEST(Id3Frames, BodiesTheSettersWrite)
{
    const struct {
        MediaFileDataID id;
        std::string set;
        const char *frame;
        std::string body; // "" when the frame must be gone
        std::string read;
    } cases[] = {
        {kMediaFileDataIDTitle, "Café", "TIT2", std::string("\0Caf\xE9", 5), "Café"},
        {kMediaFileDataIDTitle, "☃", "TIT2", "\x01\xFF\xFE\x03\x26", "☃"},
        {kMediaFileDataIDComment, "plain", "COMM", std::string("\0eng\0plain", 10), "plain"},
        // An empty UTF-16 descriptor takes 4 bytes: its mark and its terminator.
        {kMediaFileDataIDComment, "☃", "COMM", std::string("\x01" "eng\xFF\xFE\0\0\xFF\xFE\x03\x26", 12), "☃"},
        {kMediaFileDataIDComment, "", "COMM", "", ""},
        {kMediaFileDataIDLyrics, "one\r\ntwo\nthree", "USLT", std::string("\0eng\0one\ntwo\nthree", 18), "one\ntwo\nthree"},
        {kMediaFileDataIDInvolvedPeople, "producer: Pat\nmix:Max", "IPLS", std::string("\0producer\0Pat\0mix\0Max\0", 22), "producer: Pat\nmix: Max"},
        {kMediaFileDataIDInvolvedPeople, "producer: Pat\nmix:Max", "TIPL", std::string("\0producer\0Pat\0mix\0Max\0", 22), "producer: Pat\nmix: Max"},
        // UTF-16: each string with its mark and terminator, the empty one too.
        {kMediaFileDataIDInvolvedPeople, "☃: ", "IPLS", std::string("\x01\xFF\xFE\x03\x26\0\0\xFF\xFE\0\0", 11), "☃: "},
        {kMediaFileDataIDInvolvedPeople, "", "IPLS", "", ""},
    };
    ID3TagPtr tag = newTag();
    for (const auto &c : cases) {
        SCOPED_TRACE(c.frame + (" " + c.set));
        ASSERT_EQ(ID3SetString(*tag, c.id, c.set), kMediaFileNoErr);
        EXPECT_EQ(body(*tag, c.frame), c.body);
        EXPECT_EQ(text(*tag, c.id, c.body.empty() ? kMediaFileErrNotFound : kMediaFileNoErr), c.body.empty() ? "" : c.read);
    }
    EXPECT_EQ(tag->frames.size(), 2u) << "TIT2 and USLT: a setter rewrites its frame, an empty value removes it";
    EXPECT_EQ(ID3SetString(*tag, kMediaFileDataIDTitle, "\xC3"), kMediaFileErrTextConversion);
    put(*tag, "COMM", {0, 'e', 'n', 'g'});
    text(*tag, kMediaFileDataIDComment, kMediaFileErrShortHeader);
    put(*tag, "COMM", {0, 'e', 'n', 'g', 'd', 'e', 's', 'c'});
    text(*tag, kMediaFileDataIDComment, kMediaFileErrPastEnd);
}

TEST(Id3Frames, DecodingEachEncoding)
{
    const std::tuple<Bytes, MediaFileStatus, const char *> cases[] = {
        {{0, 'A', 0xE9, 0, 'x'}, kMediaFileNoErr, "Aé"}, // the first string only
        {{1, 0xFE, 0xFF, 0x26, 0x03, 0, 0}, kMediaFileNoErr, "☃"},
        {{1, 0x03, 0x26, 'a', 0}, kMediaFileNoErr, "☃a"}, // no mark: little-endian
        {{2, 0x26, 0x03}, kMediaFileNoErr, "☃"},
        {{3, 0xE2, 0x98, 0x83}, kMediaFileNoErr, "☃"},
        {{4, 'a'}, kMediaFileErrBadFrame, ""},
        {{2, 0x00, 0x41, 0x00, 0x00, 0x00, 0x42}, kMediaFileNoErr, "A"}, // terminators count in whole units
    };
    for (const auto &[bytes, status, expected] : cases) {
        std::string decoded;
        EXPECT_EQ(ID3DecodeText(bytes, &decoded), status) << expected;
        EXPECT_EQ(decoded, expected);
    }
}

TEST(Id3Frames, NumbersYearAndReadOnlyValues)
{
    ID3TagPtr tag = newTag();
    const std::tuple<MediaFileDataID, int32_t, const char *, const char *> steps[] = {
        {kMediaFileDataIDTrackNumber, 3, "TRCK", "3"}, {kMediaFileDataIDTotalTracks, 12, "TRCK", "3/12"},
        {kMediaFileDataIDTrackNumber, 4, "TRCK", "4/12"}, {kMediaFileDataIDTotalDisks, 2, "TPOS", "0/2"},
        {kMediaFileDataIDYear, 2020, "TDRC", "2020"}, {kMediaFileDataIDYear, 2020, "TYER", "2020"},
        {kMediaFileDataIDCompilation, 5, "TCMP", "1"}, {kMediaFileDataIDCompilation, 0, "TCMP", nullptr},
    };
    for (const auto &[id, value, frame, stored] : steps) {
        ASSERT_EQ(ID3SetInteger(*tag, id, value), kMediaFileNoErr);
        EXPECT_EQ(body(*tag, frame), stored ? std::string(1, '\0') + stored : "") << frame;
    }
    EXPECT_EQ(ID3SetString(*tag, kMediaFileDataIDBPM, "x"), kMediaFileErrBadFormat);
    EXPECT_EQ(ID3SetString(*tag, kMediaFileDataIDBPM, " 98 bpm"), kMediaFileNoErr);
    EXPECT_EQ(text(*tag, kMediaFileDataIDBPM), "98");
    EXPECT_EQ(ID3SetString(*tag, kMediaFileDataIDBitRate, "128"), kMediaFileErrNotFound) << "read-only";
    text(*tag, kMediaFileDataIDBitRate, kMediaFileErrNotFound); // no audio scanned
    text(*tag, kMediaFileDataIDNetwork, kMediaFileErrNotFound);
    // Year reads TDRC first, as a leading number; TYER only without TDRC.
    ID3SetTextFrame(*tag, frameCode("TDRC"), "1999-05-01");
    EXPECT_EQ(text(*tag, kMediaFileDataIDYear), "1999");
    ID3RemoveFrame(*tag, frameCode("TDRC"));
    EXPECT_EQ(text(*tag, kMediaFileDataIDYear), "2020");
}

TEST(Id3Frames, PicturesByType)
{
    ID3TagPtr tag = newTag();
    const auto got = [&](MediaFileDataID id) {
        Bytes out;
        const MediaFileStatus status = ID3GetData(*tag, id, &out);
        return std::pair(status, bytesAsText(out));
    };
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDArtwork, Bytes{0xFF, 0xD8, 1}), kMediaFileNoErr);
    EXPECT_EQ(body(*tag, "APIC"), std::string("\0image/jpeg\0\3\0\xFF\xD8\1", 17));
    EXPECT_EQ(got(kMediaFileDataIDArtworkBack).first, kMediaFileErrNotFound);
    // The setter replaces the first picture whatever its type: the front cover becomes the back.
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDArtworkBack, Bytes{0xFF, 0xD8, 9}), kMediaFileNoErr);
    EXPECT_EQ(body(*tag, "APIC"), std::string("\0image/jpeg\0\4\0\xFF\xD8\x09", 17));
    EXPECT_EQ(got(kMediaFileDataIDArtwork), std::pair(MediaFileStatus(kMediaFileNoErr), std::string("\xFF\xD8\x09"))) << "Cover Art falls back";
    EXPECT_EQ(got(kMediaFileDataIDArtworkMisc).first, kMediaFileErrNotFound);
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDArtwork, {}), kMediaFileNoErr);
    EXPECT_EQ(tag->frames.size(), 0u);
    // A picture of type 0 answers Cover Art only.
    put(*tag, "APIC", {0, 'i', 0, 0, 'd', 0, 7});
    EXPECT_EQ(got(kMediaFileDataIDArtwork), std::pair(MediaFileStatus(kMediaFileNoErr), std::string("\7")));
    EXPECT_EQ(got(kMediaFileDataIDArtworkBack).first, kMediaFileErrNotFound);
    put(*tag, "APIC", {0, 'i', 0, 3});
    EXPECT_EQ(got(kMediaFileDataIDArtwork).first, kMediaFileErrShortHeader);
}

// RVAD: sign byte, bits used, then 16-bit values; the change magnitude is clamped, the bass peak is
// never written (the change stands in for it), 8-bit values are rescaled onto 0-65535.
TEST(Id3Frames, VolumeRecord)
{
    ID3TagPtr tag = newTag();
    ASSERT_EQ(ID3SetVolume(*tag, VolumeRecord{VolumeRecord::kMain, 300, -70000, 1000, 2000}), kMediaFileNoErr);
    EXPECT_EQ(body(*tag, "RVAD"), bytesAsText({0x01, 16, 0x01, 0x2C, 0xFF, 0xFF, 0x03, 0xE8, 0x07, 0xD0}));
    VolumeRecord back;
    ASSERT_EQ(ID3GetVolume(*tag, &back), kMediaFileNoErr);
    EXPECT_EQ(std::tuple(back.parts, back.rightChange, back.leftChange, back.leftPeak), std::tuple(1, 300, -65535, 2000));
    ASSERT_EQ(ID3SetVolume(*tag, VolumeRecord{15, 300, -70000, 1000, 2000, 0, 0, 0, 0, -5, 0, 12, 99}), kMediaFileNoErr);
    EXPECT_EQ(body(*tag, "RVAD").size(), 26u);
    ASSERT_EQ(ID3GetVolume(*tag, &back), kMediaFileNoErr);
    EXPECT_EQ(std::tuple(back.parts, back.centreChange, back.bassChange, back.bassPeak), std::tuple(15, -5, 12, 12));
    EXPECT_EQ(ID3SetData(*tag, kMediaFileDataIDVolume, Bytes(51)), kMediaFileErrShortHeader);
    EXPECT_EQ(ID3SetData(*tag, kMediaFileDataIDVolume, Bytes(53)), kMediaFileErrShortHeader);
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDVolume, Bytes(52)), kMediaFileNoErr);
    EXPECT_EQ(body(*tag, "RVAD"), "") << "no part present removes the frame";
    put(*tag, "RVAD", {0x03, 8, 255, 0, 51, 255});
    ASSERT_EQ(ID3GetVolume(*tag, &back), kMediaFileNoErr);
    EXPECT_EQ(std::tuple(back.rightChange, back.leftChange, back.rightPeak), std::tuple(65535, 0, 13107));
    for (const Bytes &bad : {Bytes{0x03, 16, 1, 2, 3, 4, 5, 6, 7}, Bytes{0x03}}) {
        put(*tag, "RVAD", bad);
        EXPECT_EQ(ID3GetVolume(*tag, &back), kMediaFileErrNotImage);
    }
}

TEST(Id3v1, RecordFromTheFrames)
{
    ID3TagPtr tag = newTag();
    ID3SetString(*tag, kMediaFileDataIDTitle, std::string(31, 'T'));
    ID3SetString(*tag, kMediaFileDataIDArtist, "   ");
    ID3SetString(*tag, kMediaFileDataIDBandOrOrchestra, "Band");
    ID3SetString(*tag, kMediaFileDataIDComment, "snow ☃ é");
    ID3SetInteger(*tag, kMediaFileDataIDTrackNumber, 300);
    const auto field = [&](MediaFileFlags flags, size_t at, size_t width) {
        const std::array<uint8_t, 128> record = renderV1(*tag, flags);
        return std::string(record.begin() + long(at), record.begin() + long(at + width));
    };
    // Title cut without a terminator, a blank artist gives way to the band, no year writes 0,
    // then the comment in Latin-1, the v1.1 zero, the track and genre 253 for no TCON.
    EXPECT_EQ(field(kMediaFileFlagID3v11, 0, 38), "TAG" + std::string(30, 'T') + std::string("Band\0", 5));
    EXPECT_EQ(field(kMediaFileFlagID3v11, 93, 35), std::string("0\0\0\0snow ? \xE9", 12) + std::string(21, '\0') + "\x2C\xFD");
    EXPECT_EQ(field(kMediaFileFlagID3v1, 125, 2), std::string(2, '\0')) << "ID3v1.0 has no track";
    for (const auto &[genre, byte] : {std::pair{"Chillout", 254}, {"", 255}, {"Metal", 9}}) {
        std::string_view name = genre;
        ID3SetGenre(*tag, 0, -2, &name);
        EXPECT_EQ(uint8_t(field(kMediaFileFlagID3v11, 127, 1)[0]), byte) << genre;
    }
    ID3SetInteger(*tag, kMediaFileDataIDYear, 123456);
    EXPECT_EQ(field(kMediaFileFlagID3v11, 93, 4), "1234");
}

TEST(Id3Render, UnsynchronisationAndCompression)
{
    ID3TagPtr tag = parse(readFile(fixturePath("id3v23-unsync.mp3")));
    EXPECT_EQ(tag->tagFlags, 0x80);
    const Bytes out = render(*tag, kMediaFileFlagKeepTagVersion | kMediaFileFlagID3NoPadding);
    EXPECT_EQ(out[5], 0x80);
    for (size_t i = 10; i + 1 < out.size(); ++i)
        EXPECT_TRUE(out[i] != 0xFF || out[i + 1] == 0x00 || out[i + 1] < 0xE0) << "at " << i;
    EXPECT_NE(out.back(), 0xFF);
    Bytes picture;
    EXPECT_EQ(ID3GetData(*parse(out), kMediaFileDataIDArtwork, &picture), kMediaFileNoErr);
    EXPECT_EQ(picture, (Bytes{0xFF, 0xE0, 0x11, 0xFF, 0x00, 0x22, 0xFF, 0xFB, 0xFF}));
    EXPECT_EQ(render(*tag, kMediaFileFlagID3v22 | kMediaFileFlagID3NoPadding)[5], 0x00) << "2.2 keeps only bits 0x0C";

    const Bytes rendered = render(*parse(readFile(fixturePath("id3v23-compressed.mp3"))), kMediaFileFlagID3v24);
    const std::vector<RawFrame> frames = rawFrames(rendered, 3);
    const auto comm = std::find_if(frames.begin(), frames.end(), [](const RawFrame &f) { return f.id == "COMM"; });
    ASSERT_NE(comm, frames.end());
    EXPECT_EQ(comm->flags, 0x0080);
    const uint32_t inflatedSize = uint32_t(comm->body[0]) << 24 | comm->body[1] << 16 | comm->body[2] << 8 | comm->body[3];
    EXPECT_EQ(inflatedSize, 5u + 19 * 8);
    EXPECT_LT(comm->body.size(), inflatedSize) << "deflated";
    EXPECT_EQ(text(*parse(rendered), kMediaFileDataIDComment).size(), 19u * 8);
}

TEST(Id3Parse, StopsAtFFAndWalksZeroPadding)
{
    // TIT2, ten zero bytes walked over as an empty frame, then 0xFF ends the tag early.
    Bytes tag = {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 40, 'T', 'I', 'T', '2', 0, 0, 0, 2, 0, 0, 0, 'A'};
    tag.resize(10 + 12 + 10, 0);
    tag.push_back(0xFF);
    tag.resize(50, 0x11);
    ID3TagPtr parsed = parse(tag);
    EXPECT_EQ(parsed->frames.size(), 1u);
    EXPECT_EQ(parsed->v2Size, 22u + 10) << "the offset of the 0xFF byte in the body plus 10";
    // A frame that fits the tag exactly is read; one byte more runs past it.
    for (uint8_t size : {2, 3}) {
        const Bytes exact = {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 12, 'T', 'I', 'T', '2', 0, 0, 0, size, 0, 0, 0, 'A'};
        ID3Tag raw;
        EXPECT_EQ(ID3ParseV2(TagSource(exact), raw), size == 2 ? kMediaFileNoErr : kMediaFileErrShortHeader);
    }
}
