// The engine in memory: frame bodies as the data IDs write them, the genre conventions, the
// ID3v1 record, and rendering in each version, read back through the raw frames.
#include "Mp3TestSupport.h"

#include "core/Genres.h"
#include "id3/FrameContents.h"
#include "id3/ID3Engine.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace kestrabel::test;
using namespace kestrabel::id3;

namespace {

constexpr uint32_t kTCON = frameCode("TCON");

ID3TagPtr newTag()
{
    ID3TagPtr tag;
    EXPECT_EQ(ID3NewTag(&tag), kMediaFileNoErr);
    return tag;
}

std::vector<uint8_t> body(const ID3Tag &tag, const char *id)
{
    const ID3Frame *frame = findFrame(tag, uint32_t(uint8_t(id[0])) << 24 | uint32_t(uint8_t(id[1])) << 16 |
                                               uint32_t(uint8_t(id[2])) << 8 | uint8_t(id[3]));
    return frame ? frame->data : std::vector<uint8_t>{};
}

std::vector<uint8_t> bytes(std::initializer_list<int> values) { return std::vector<uint8_t>(values.begin(), values.end()); }

std::vector<uint8_t> render(ID3Tag &tag, MediaFileFlags options)
{
    std::vector<uint8_t> out;
    EXPECT_EQ(ID3RenderToBuffer(tag, options, &out), kMediaFileNoErr);
    return out;
}

const RawFrame *frameNamed(const std::vector<RawFrame> &frames, const std::string &id)
{
    for (const RawFrame &f : frames)
        if (f.id == id)
            return &f;
    return nullptr;
}

TEST(Id3Genre, ParseFollowsTheTconConventions)
{
    EXPECT_EQ(ID3ParseGenre("(17)"), 17);
    EXPECT_EQ(ID3ParseGenre("(17)Rock"), 17);
    EXPECT_EQ(ID3ParseGenre("rock"), 17);
    EXPECT_EQ(ID3ParseGenre("  (8"), 8) << "leading blanks skipped, closing parenthesis not checked";
    EXPECT_EQ(ID3ParseGenre("(200)"), -2);
    EXPECT_EQ(ID3ParseGenre("(99999999999999999999)"), -2);
    EXPECT_EQ(ID3ParseGenre(""), -1);
    EXPECT_EQ(ID3ParseGenre(" \t"), -1);
    EXPECT_EQ(ID3ParseGenre("Chillout"), -2);
    EXPECT_EQ(ID3ParseGenre(" Rock"), -2) << "names are compared with their leading blanks";
    EXPECT_EQ(ID3ParseGenre("PSYCHADELIC"), 67);
    EXPECT_EQ(ID3ParseGenre("contemporary c"), 140);
}

TEST(Id3Genre, SetAndGetEachForm)
{
    ID3TagPtr tag = newTag();
    std::string_view rock = "Rock";
    ASSERT_EQ(ID3SetGenre(*tag, 0, -2, &rock), kMediaFileNoErr);
    std::string text;
    ID3CopyFrameText(*tag, kTCON, &text);
    EXPECT_EQ(text, "(17)");
    int index = 0;
    std::string name;
    EXPECT_EQ(ID3GetGenre(*tag, 0, &index, &name), kMediaFileNoErr);
    EXPECT_EQ(index, 17);
    EXPECT_EQ(name, "Rock");
    EXPECT_EQ(ID3GetGenre(*tag, kGenreKeepText, &index, &name), kMediaFileNoErr);
    EXPECT_EQ(name, "(17)");

    std::string_view chill = "Chillout";
    ASSERT_EQ(ID3SetGenre(*tag, 0, -2, &chill), kMediaFileNoErr);
    EXPECT_EQ(ID3GetGenre(*tag, 0, &index, &name), kMediaFileNoErr);
    EXPECT_EQ(index, -2);
    EXPECT_EQ(name, "Chillout");

    EXPECT_EQ(ID3SetGenre(*tag, 0, -2, nullptr), kMediaFileErrParam);
    EXPECT_EQ(ID3SetGenre(*tag, 0, 148, nullptr), kMediaFileErrParam);
    EXPECT_EQ(ID3SetGenre(*tag, kGenreStoreText, 148, nullptr), kMediaFileErrTell);
    ASSERT_EQ(ID3SetGenre(*tag, 0, 8, nullptr), kMediaFileNoErr);
    ID3CopyFrameText(*tag, kTCON, &text);
    EXPECT_EQ(text, "(8)");
    ASSERT_EQ(ID3SetGenre(*tag, kGenreStoreText, 8, nullptr), kMediaFileNoErr);
    ID3CopyFrameText(*tag, kTCON, &text);
    EXPECT_EQ(text, "Jazz");
    EXPECT_EQ(ID3SetGenre(*tag, 0, -1, nullptr), kMediaFileNoErr);
    EXPECT_EQ(ID3GetGenre(*tag, 0, &index, &name), kMediaFileErrNotFound);
    EXPECT_EQ(tag->frames.size(), 0u);
}

// Values set through the data IDs, one after the other on one tag: the frame body each leaves,
// and what reads back. Texts are Latin-1 when they can be, else UTF-16 with a mark.
struct BodyCase {
    MediaFileDataID id;
    std::string set;
    const char *frame;
    std::string body; // "" when the frame must be gone
    std::string read;
};

const BodyCase kBodyCases[] = {
    {kMediaFileDataIDTitle, "Café", "TIT2", std::string("\0Caf\xE9", 5), "Café"},
    {kMediaFileDataIDTitle, "☃", "TIT2", "\x01\xFF\xFE\x03\x26", "☃"},
    {kMediaFileDataIDComment, "plain", "COMM", std::string("\0eng\0plain", 10), "plain"},
    // An empty UTF-16 descriptor takes 4 bytes: its mark and its terminator.
    {kMediaFileDataIDComment, "☃", "COMM", std::string("\x01" "eng\xFF\xFE\0\0\xFF\xFE\x03\x26", 12), "☃"},
    {kMediaFileDataIDComment, "", "COMM", "", ""},
    {kMediaFileDataIDLyrics, "one\r\ntwo\nthree", "USLT", std::string("\0eng\0one\ntwo\nthree", 18), "one\ntwo\nthree"},
    {kMediaFileDataIDInvolvedPeople, "producer: Pat\nmix:Max", "IPLS", std::string("\0producer\0Pat\0mix\0Max\0", 22),
     "producer: Pat\nmix: Max"},
    {kMediaFileDataIDInvolvedPeople, "producer: Pat\nmix:Max", "TIPL", std::string("\0producer\0Pat\0mix\0Max\0", 22),
     "producer: Pat\nmix: Max"},
    // UTF-16: each string with its mark and terminator, the empty one too.
    {kMediaFileDataIDInvolvedPeople, "☃: ", "IPLS", std::string("\x01\xFF\xFE\x03\x26\0\0\xFF\xFE\0\0", 11), "☃: "},
    {kMediaFileDataIDInvolvedPeople, "", "IPLS", "", ""},
};

TEST(Id3Frames, BodiesTheSettersWrite)
{
    ID3TagPtr tag = newTag();
    for (const BodyCase &c : kBodyCases) {
        SCOPED_TRACE(c.frame + (" " + c.set));
        ASSERT_EQ(ID3SetString(*tag, c.id, c.set), kMediaFileNoErr);
        EXPECT_EQ(bytesAsText(body(*tag, c.frame)), c.body);
        std::string text;
        EXPECT_EQ(ID3GetString(*tag, c.id, &text), c.body.empty() ? kMediaFileErrNotFound : kMediaFileNoErr);
        if (!c.body.empty()) {
            EXPECT_EQ(text, c.read);
        }
    }
    EXPECT_EQ(tag->frames.size(), 2u) << "TIT2 and USLT: a setter rewrites its frame, an empty value removes it";
    EXPECT_EQ(ID3SetString(*tag, kMediaFileDataIDTitle, "\xC3"), kMediaFileErrTextConversion);
    // Short and unterminated comment bodies.
    std::string text;
    ID3PutFrame(*tag, kOriginCaller, 0, frameCode("COMM"), {}, {}, 0, bytes({0, 'e', 'n', 'g'}));
    EXPECT_EQ(ID3GetString(*tag, kMediaFileDataIDComment, &text), kMediaFileErrShortHeader);
    ID3PutFrame(*tag, kOriginCaller, 0, frameCode("COMM"), {}, {}, 0, bytes({0, 'e', 'n', 'g', 'd', 'e', 's', 'c'}));
    EXPECT_EQ(ID3GetString(*tag, kMediaFileDataIDComment, &text), kMediaFileErrPastEnd);
}

TEST(Id3Frames, DecodingEachEncoding)
{
    std::string text;
    EXPECT_EQ(ID3DecodeText(bytes({0, 'A', 0xE9, 0, 'x'}), &text), kMediaFileNoErr);
    EXPECT_EQ(text, "Aé") << "the first string only";
    EXPECT_EQ(ID3DecodeText(bytes({1, 0xFE, 0xFF, 0x26, 0x03, 0, 0}), &text), kMediaFileNoErr);
    EXPECT_EQ(text, "☃");
    EXPECT_EQ(ID3DecodeText(bytes({1, 0x03, 0x26, 'a', 0}), &text), kMediaFileNoErr);
    EXPECT_EQ(text, "☃a") << "no mark: read as little-endian";
    EXPECT_EQ(ID3DecodeText(bytes({2, 0x26, 0x03}), &text), kMediaFileNoErr);
    EXPECT_EQ(text, "☃");
    EXPECT_EQ(ID3DecodeText(bytes({3, 0xE2, 0x98, 0x83}), &text), kMediaFileNoErr);
    EXPECT_EQ(text, "☃");
    EXPECT_EQ(ID3DecodeText(bytes({4, 'a'}), &text), kMediaFileErrBadFrame);
    // UTF-16 terminators count in whole units: 0x00 0x41 0x00 0x00 is "A" then the end.
    EXPECT_EQ(ID3DecodeText(bytes({2, 0x00, 0x41, 0x00, 0x00, 0x00, 0x42}), &text), kMediaFileNoErr);
    EXPECT_EQ(text, "A");
}

TEST(Id3Frames, NumberPairsKeepTheOtherHalf)
{
    ID3TagPtr tag = newTag();
    ASSERT_EQ(ID3SetInteger(*tag, kMediaFileDataIDTrackNumber, 3), kMediaFileNoErr);
    EXPECT_EQ(bytesAsText(body(*tag, "TRCK")), std::string("\0" "3", 2));
    ASSERT_EQ(ID3SetInteger(*tag, kMediaFileDataIDTotalTracks, 12), kMediaFileNoErr);
    EXPECT_EQ(bytesAsText(body(*tag, "TRCK")), std::string("\0" "3/12", 5));
    ASSERT_EQ(ID3SetInteger(*tag, kMediaFileDataIDTrackNumber, 4), kMediaFileNoErr);
    EXPECT_EQ(bytesAsText(body(*tag, "TRCK")), std::string("\0" "4/12", 5));
    ASSERT_EQ(ID3SetInteger(*tag, kMediaFileDataIDTotalDisks, 2), kMediaFileNoErr);
    EXPECT_EQ(bytesAsText(body(*tag, "TPOS")), std::string("\0" "0/2", 4));
    ASSERT_EQ(ID3SetInteger(*tag, kMediaFileDataIDYear, 2020), kMediaFileNoErr);
    EXPECT_EQ(bytesAsText(body(*tag, "TDRC")), std::string("\0" "2020", 5));
    EXPECT_EQ(bytesAsText(body(*tag, "TYER")), std::string("\0" "2020", 5));
    ASSERT_EQ(ID3SetInteger(*tag, kMediaFileDataIDCompilation, 5), kMediaFileNoErr);
    EXPECT_EQ(bytesAsText(body(*tag, "TCMP")), std::string("\0" "1", 2));
    ASSERT_EQ(ID3SetInteger(*tag, kMediaFileDataIDCompilation, 0), kMediaFileNoErr);
    EXPECT_EQ(findFrame(*tag, frameCode("TCMP")), nullptr);

    EXPECT_EQ(ID3SetString(*tag, kMediaFileDataIDBPM, "x"), kMediaFileErrBadFormat);
    EXPECT_EQ(ID3SetString(*tag, kMediaFileDataIDBPM, " 98 bpm"), kMediaFileNoErr);
    std::string text;
    EXPECT_EQ(ID3GetString(*tag, kMediaFileDataIDBPM, &text), kMediaFileNoErr);
    EXPECT_EQ(text, "98");
    EXPECT_EQ(ID3SetString(*tag, kMediaFileDataIDBitRate, "128"), kMediaFileErrNotFound) << "read-only";
    EXPECT_EQ(ID3GetString(*tag, kMediaFileDataIDBitRate, &text), kMediaFileErrNotFound) << "no audio scanned";
    EXPECT_EQ(ID3GetString(*tag, kMediaFileDataIDNetwork, &text), kMediaFileErrNotFound);

    // Year reads TDRC first, as a leading number; TYER only without TDRC.
    ID3SetTextFrame(*tag, frameCode("TDRC"), "1999-05-01");
    int32_t year = 0;
    EXPECT_EQ(ID3GetInteger(*tag, kMediaFileDataIDYear, &year), kMediaFileNoErr);
    EXPECT_EQ(year, 1999);
    ID3RemoveFrame(*tag, frameCode("TDRC"));
    EXPECT_EQ(ID3GetInteger(*tag, kMediaFileDataIDYear, &year), kMediaFileNoErr);
    EXPECT_EQ(year, 2020);
}

TEST(Id3Frames, PicturesByType)
{
    ID3TagPtr tag = newTag();
    const std::vector<uint8_t> front = bytes({0xFF, 0xD8, 1, 2, 3});
    const std::vector<uint8_t> back = bytes({0xFF, 0xD8, 9, 9});
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDArtwork, front), kMediaFileNoErr);
    EXPECT_EQ(bytesAsText(body(*tag, "APIC")), std::string("\0image/jpeg\0\3\0", 14) + bytesAsText(front));
    std::vector<uint8_t> out;
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDArtworkBack, &out), kMediaFileErrNotFound);
    // The setter replaces the first picture whatever its type: the front cover becomes the back.
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDArtworkBack, back), kMediaFileNoErr);
    EXPECT_EQ(tag->frames.size(), 1u);
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDArtworkBack, &out), kMediaFileNoErr);
    EXPECT_EQ(out, back);
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDArtwork, &out), kMediaFileNoErr) << "Cover Art falls back";
    EXPECT_EQ(out, back);
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDArtworkMisc, &out), kMediaFileErrNotFound);
    Picture picture;
    ASSERT_EQ(ID3GetPicture(*tag, kPictureBackCover, &picture), kMediaFileNoErr);
    EXPECT_EQ(picture.mime, "image/jpeg");
    EXPECT_EQ(picture.type, 4);
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDArtwork, {}), kMediaFileNoErr);
    EXPECT_EQ(findFrame(*tag, frameCode("APIC")), nullptr);

    // A picture of type 0 answers Cover Art only.
    ID3PutFrame(*tag, kOriginCaller, 0, frameCode("APIC"), {}, {}, 0, bytes({0, 'i', 0, 0, 'd', 0, 7}));
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDArtwork, &out), kMediaFileNoErr);
    EXPECT_EQ(out, bytes({7}));
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDArtworkBack, &out), kMediaFileErrNotFound);
    ID3PutFrame(*tag, kOriginCaller, 0, frameCode("APIC"), {}, {}, 0, bytes({0, 'i', 0, 3}));
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDArtwork, &out), kMediaFileErrShortHeader);
}

TEST(Id3Frames, VolumeRecord)
{
    ID3TagPtr tag = newTag();
    VolumeRecord record;
    record.parts = VolumeRecord::kMain;
    record.rightChange = 300;
    record.leftChange = -70000;
    record.rightPeak = 1000;
    record.leftPeak = 2000;
    std::vector<uint8_t> raw(sizeof record);
    std::memcpy(raw.data(), &record, sizeof record);
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDVolume, raw), kMediaFileNoErr);
    EXPECT_EQ(body(*tag, "RVAD"), bytes({0x01, 16, 0x01, 0x2C, 0xFF, 0xFF, 0x03, 0xE8, 0x07, 0xD0}))
        << "sign byte, bits used, then four 16-bit values; the change magnitude is clamped";
    std::vector<uint8_t> out;
    ASSERT_EQ(ID3GetData(*tag, kMediaFileDataIDVolume, &out), kMediaFileNoErr);
    ASSERT_EQ(out.size(), 52u);
    VolumeRecord back;
    std::memcpy(&back, out.data(), sizeof back);
    EXPECT_EQ(back.parts, VolumeRecord::kMain);
    EXPECT_EQ(back.rightChange, 300);
    EXPECT_EQ(back.leftChange, -65535);
    EXPECT_EQ(back.leftPeak, 2000);

    record.parts = VolumeRecord::kMain | VolumeRecord::kBack | VolumeRecord::kCentre | VolumeRecord::kBass;
    record.bassChange = 12;
    record.bassPeak = 99;
    record.centreChange = -5;
    std::memcpy(raw.data(), &record, sizeof record);
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDVolume, raw), kMediaFileNoErr);
    EXPECT_EQ(body(*tag, "RVAD").size(), 26u);
    ASSERT_EQ(ID3GetData(*tag, kMediaFileDataIDVolume, &out), kMediaFileNoErr);
    std::memcpy(&back, out.data(), sizeof back);
    EXPECT_EQ(back.parts, 15);
    EXPECT_EQ(back.centreChange, -5);
    EXPECT_EQ(back.bassChange, 12);
    EXPECT_EQ(back.bassPeak, 12) << "the bass peak is never written; the change stands in for it";

    EXPECT_EQ(ID3SetData(*tag, kMediaFileDataIDVolume, std::vector<uint8_t>(51)), kMediaFileErrShortHeader);
    EXPECT_EQ(ID3SetData(*tag, kMediaFileDataIDVolume, std::vector<uint8_t>(53)), kMediaFileErrShortHeader);
    ASSERT_EQ(ID3SetData(*tag, kMediaFileDataIDVolume, std::vector<uint8_t>(52)), kMediaFileNoErr);
    EXPECT_EQ(findFrame(*tag, frameCode("RVAD")), nullptr) << "no part present removes the frame";

    // 8-bit values are rescaled onto 0-65535; a body too short for its width is refused.
    ID3PutFrame(*tag, kOriginCaller, 0, frameCode("RVAD"), {}, {}, 0, bytes({0x03, 8, 255, 0, 51, 255}));
    ASSERT_EQ(ID3GetData(*tag, kMediaFileDataIDVolume, &out), kMediaFileNoErr);
    std::memcpy(&back, out.data(), sizeof back);
    EXPECT_EQ(back.rightChange, 65535);
    EXPECT_EQ(back.leftChange, 0);
    EXPECT_EQ(back.rightPeak, 13107);
    ID3PutFrame(*tag, kOriginCaller, 0, frameCode("RVAD"), {}, {}, 0, bytes({0x03, 16, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDVolume, &out), kMediaFileErrNotImage);
    ID3PutFrame(*tag, kOriginCaller, 0, frameCode("RVAD"), {}, {}, 0, bytes({0x03}));
    EXPECT_EQ(ID3GetData(*tag, kMediaFileDataIDVolume, &out), kMediaFileErrNotImage);
}

TEST(Id3v1, RecordFromTheFrames)
{
    ID3TagPtr tag = newTag();
    ID3SetString(*tag, kMediaFileDataIDTitle, std::string(31, 'T'));
    ID3SetString(*tag, kMediaFileDataIDArtist, "   ");
    ID3SetString(*tag, kMediaFileDataIDBandOrOrchestra, "Band");
    ID3SetString(*tag, kMediaFileDataIDComment, "snow ☃ é");
    ID3SetInteger(*tag, kMediaFileDataIDTrackNumber, 300);
    std::array<uint8_t, 128> record = renderV1(*tag, kMediaFileFlagID3v11);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(record.data()), 3), "TAG");
    EXPECT_EQ(std::string(reinterpret_cast<char *>(record.data() + 3), 30), std::string(30, 'T')) << "cut, no terminator";
    EXPECT_EQ(std::string(reinterpret_cast<char *>(record.data() + 33), 5), std::string("Band\0", 5)) << "a blank artist gives way";
    EXPECT_EQ(std::string(reinterpret_cast<char *>(record.data() + 93), 4), std::string("0\0\0\0", 4)) << "no year writes 0";
    EXPECT_EQ(std::string(reinterpret_cast<char *>(record.data() + 97), 9), std::string("snow ? \xE9\0", 9));
    EXPECT_EQ(record[125], 0);
    EXPECT_EQ(record[126], 300 % 256);
    EXPECT_EQ(record[127], 253) << "no TCON";
    EXPECT_EQ(renderV1(*tag, kMediaFileFlagID3v1)[126], 0) << "ID3v1.0 has no track";

    std::string_view genre = "Chillout";
    ID3SetGenre(*tag, 0, -2, &genre);
    EXPECT_EQ(renderV1(*tag, kMediaFileFlagID3v11)[127], 254);
    genre = "";
    ID3SetGenre(*tag, 0, -2, &genre);
    EXPECT_EQ(renderV1(*tag, kMediaFileFlagID3v11)[127], 255);
    genre = "Metal";
    ID3SetGenre(*tag, 0, -2, &genre);
    EXPECT_EQ(renderV1(*tag, kMediaFileFlagID3v11)[127], 9);
    ID3SetInteger(*tag, kMediaFileDataIDYear, 123456);
    record = renderV1(*tag, kMediaFileFlagID3v11);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(record.data() + 93), 4), "1234");
}

TEST(Id3v1, MergeRespectsWhatTheTagHas)
{
    std::array<uint8_t, 128> record{};
    std::memcpy(record.data(), "TAG", 3);
    std::memcpy(record.data() + 3, "Title  ", 7);
    std::memcpy(record.data() + 33, "Artist", 6);
    std::memcpy(record.data() + 93, "1990", 4);
    std::memcpy(record.data() + 97, "note", 4);
    record[126] = 4;
    record[127] = 255;
    ID3TagPtr tag = newTag();
    ID3SetString(*tag, kMediaFileDataIDTitle, "Kept");
    ID3SetString(*tag, kMediaFileDataIDBandOrOrchestra, "Band");
    ID3SetInteger(*tag, kMediaFileDataIDTotalTracks, 9);
    ASSERT_EQ(ID3ReadV1(record, false, *tag), kMediaFileNoErr);
    EXPECT_EQ(tag->v1Version, 0x11);
    std::string text;
    ID3GetString(*tag, kMediaFileDataIDTitle, &text);
    EXPECT_EQ(text, "Kept");
    EXPECT_EQ(findFrame(*tag, frameCode("TPE1")), nullptr) << "TPE2 counts as having an artist";
    ID3GetString(*tag, kMediaFileDataIDComment, &text);
    EXPECT_EQ(text, "note");
    ID3GetString(*tag, kMediaFileDataIDTotalTracks, &text);
    EXPECT_EQ(text, "9");
    EXPECT_EQ(findFrame(*tag, frameCode("TCON")), nullptr) << "genre byte 255 is no genre";

    ASSERT_EQ(ID3ReadV1(record, true, *tag), kMediaFileNoErr);
    ID3GetString(*tag, kMediaFileDataIDTitle, &text);
    EXPECT_EQ(text, "Title") << "overwritten, trailing blanks stripped";
    ID3GetString(*tag, kMediaFileDataIDArtist, &text);
    EXPECT_EQ(text, "Artist");
    int32_t year = 0;
    ID3GetInteger(*tag, kMediaFileDataIDYear, &year);
    EXPECT_EQ(year, 1990);

    record[125] = 0;
    record[126] = 0;
    ASSERT_EQ(ID3ReadV1(record, true, *tag), kMediaFileNoErr);
    EXPECT_EQ(tag->v1Version, 0x10) << "a zero track is ID3v1.0";
    record[0] = 'X';
    EXPECT_EQ(ID3ReadV1(record, true, *tag), kID3ErrNoMagic);
    EXPECT_EQ(ID3ReadV1(std::span<const uint8_t>(record).first(127), true, *tag), kMediaFileErrShortRead);
}

TEST(Id3Render, MemoryRenderForChunks)
{
    ID3TagPtr tag = newTag();
    ID3SetString(*tag, kMediaFileDataIDTitle, "Chunk");
    ID3SetInteger(*tag, kMediaFileDataIDYear, 2001);
    const std::vector<uint8_t> out = render(*tag, kMediaFileFlagID3v22 | kMediaFileFlagID3NoPadding);
    ASSERT_GE(out.size(), 10u);
    EXPECT_EQ(std::string(out.begin(), out.begin() + 5), std::string("ID3\2\0", 5));
    const std::vector<RawFrame> frames = rawFrames22(out);
    ASSERT_EQ(frames.size(), 2u) << "TDRC has no 2.2 form; TYER does";
    EXPECT_EQ(frames[0].id, "TT2");
    EXPECT_EQ(frames[1].id, "TYE");
    EXPECT_EQ(out.size(), 10u + 6 + 6 + 6 + 5) << "no padding";

    ID3TagPtr parsed;
    ASSERT_EQ(ID3ParseBuffer(out, 0, &parsed), kMediaFileNoErr);
    std::string text;
    ID3GetString(*parsed, kMediaFileDataIDTitle, &text);
    EXPECT_EQ(text, "Chunk");

    const std::vector<uint8_t> padded = render(*tag, kMediaFileFlagID3v23);
    EXPECT_EQ(padded.size() % 512, 0u);
    EXPECT_EQ(readTagHeader(padded).size, padded.size());
    EXPECT_TRUE(render(*tag, 0).empty()) << "no version asked, nothing rendered";
    const std::vector<uint8_t> withV1 = render(*tag, kMediaFileFlagID3v23 | kMediaFileFlagID3v11);
    EXPECT_EQ(withV1.size(), padded.size() + 128);
    ASSERT_EQ(ID3ParseBuffer(withV1, 0, &parsed), kMediaFileNoErr);
    EXPECT_EQ(parsed->v1Version, 0x10);
}

TEST(Id3Render, Version24SizesAndFlags)
{
    ID3TagPtr tag = newTag();
    ID3SetString(*tag, kMediaFileDataIDComment, std::string(300, 'c'));
    const std::vector<uint8_t> out = render(*tag, kMediaFileFlagID3v24 | kMediaFileFlagID3NoPadding);
    // Frame sizes go out plain in 2.4 (the process option for synchsafe sizes is off), the tag
    // size is synchsafe.
    const std::vector<RawFrame> plain = rawFrames(out, false);
    ASSERT_EQ(plain.size(), 1u);
    EXPECT_EQ(plain[0].body.size(), 305u);
    EXPECT_EQ(readTagHeader(out).size, out.size());
    EXPECT_EQ(out[16], 0x01);
    EXPECT_EQ(out[17], 0x31) << "305 = 0x131 as a plain number";

    ID3Options |= kID3OptionSynchsafeFrameSizes;
    const std::vector<uint8_t> synchsafe = render(*tag, kMediaFileFlagID3v24 | kMediaFileFlagID3NoPadding);
    ID3Options &= ~kID3OptionSynchsafeFrameSizes;
    EXPECT_EQ(synchsafe[16], 0x02);
    EXPECT_EQ(synchsafe[17], 0x31) << "305 = 2 * 128 + 0x31 synchsafe";

    // Reading our own 2.4 output needs the second attempt, and gets every frame.
    ID3TagPtr parsed;
    ASSERT_EQ(ID3ParseBuffer(out, 0, &parsed), kMediaFileNoErr);
    EXPECT_TRUE(parsed->sizesNotSynchsafe);
    std::string text;
    EXPECT_EQ(ID3GetString(*parsed, kMediaFileDataIDComment, &text), kMediaFileNoErr);
    EXPECT_EQ(text, std::string(300, 'c'));
}

TEST(Id3Render, UnsynchronisationAndCompression)
{
    const std::vector<uint8_t> file = readFile(fixturePath("id3v23-unsync.mp3"));
    ID3TagPtr tag;
    ASSERT_EQ(ID3ParseBuffer(file, 0, &tag), kMediaFileNoErr);
    EXPECT_EQ(tag->tagFlags, 0x80);
    const std::vector<uint8_t> out = render(*tag, kMediaFileFlagKeepTagVersion | kMediaFileFlagID3NoPadding);
    EXPECT_EQ(out[5], 0x80);
    for (size_t i = 10; i + 1 < out.size(); ++i) {
        if (out[i] == 0xFF) {
            EXPECT_TRUE(out[i + 1] == 0x00 || out[i + 1] < 0xE0) << "at " << i;
        }
    }
    EXPECT_NE(out.back(), 0xFF);
    ID3TagPtr again;
    ASSERT_EQ(ID3ParseBuffer(out, 0, &again), kMediaFileNoErr);
    std::vector<uint8_t> picture;
    EXPECT_EQ(ID3GetData(*again, kMediaFileDataIDArtwork, &picture), kMediaFileNoErr);
    EXPECT_EQ(picture, bytes({0xFF, 0xE0, 0x11, 0xFF, 0x00, 0x22, 0xFF, 0xFB, 0xFF}));
    EXPECT_EQ(render(*tag, kMediaFileFlagID3v22 | kMediaFileFlagID3NoPadding)[5], 0x00) << "2.2 keeps only bits 0x0C";

    ID3TagPtr compressed;
    ASSERT_EQ(ID3ParseBuffer(readFile(fixturePath("id3v23-compressed.mp3")), 0, &compressed), kMediaFileNoErr);
    const std::vector<uint8_t> rendered = render(*compressed, kMediaFileFlagID3v24);
    const std::vector<RawFrame> renderedFrames = rawFrames(rendered, false);
    const RawFrame *comm = frameNamed(renderedFrames, "COMM");
    ASSERT_NE(comm, nullptr);
    EXPECT_EQ(comm->flags, 0x0080);
    const uint32_t inflatedSize = uint32_t(comm->body[0]) << 24 | comm->body[1] << 16 | comm->body[2] << 8 | comm->body[3];
    EXPECT_EQ(inflatedSize, 5u + 19 * 8);
    EXPECT_LT(comm->body.size(), inflatedSize) << "deflated";
    ASSERT_EQ(ID3ParseBuffer(rendered, 0, &again), kMediaFileNoErr);
    std::string text;
    EXPECT_EQ(ID3GetString(*again, kMediaFileDataIDComment, &text), kMediaFileNoErr);
    EXPECT_EQ(text.size(), 19u * 8);
}

TEST(Id3Render, PictureFormsBetweenVersions)
{
    ID3TagPtr tag;
    ASSERT_EQ(ID3ParseBuffer(readFile(fixturePath("id3v22.mp3")), 0, &tag), kMediaFileNoErr);
    EXPECT_FALSE(tag->picturesInMIMEForm);
    const std::vector<RawFrame> frames = rawFrames(render(*tag, kMediaFileFlagID3v23), false);
    const RawFrame *apic = frameNamed(frames, "APIC");
    ASSERT_NE(apic, nullptr);
    EXPECT_EQ(bytesAsText(apic->body).substr(0, 19), std::string("\0image/jpeg\0\3cover\0", 19));

    ID3TagPtr v23;
    ASSERT_EQ(ID3ParseBuffer(readFile(fixturePath("id3v23-full.mp3")), 0, &v23), kMediaFileNoErr);
    std::vector<std::string> heads;
    for (const RawFrame &f : rawFrames22(render(*v23, kMediaFileFlagID3v22)))
        if (f.id == "PIC")
            heads.push_back(bytesAsText(f.body).substr(0, 5));
    ASSERT_EQ(heads.size(), 2u);
    std::sort(heads.begin(), heads.end());
    EXPECT_EQ(heads[0], std::string("\0JPG\4", 5));
    EXPECT_EQ(heads[1], std::string("\0PNG\3", 5));

    ID3TagPtr broken;
    ASSERT_EQ(ID3ParseBuffer(readFile(fixturePath("apic-mime-unterminated.mp3")), 0, &broken), kMediaFileNoErr);
    std::vector<uint8_t> out;
    EXPECT_EQ(ID3RenderToBuffer(*broken, kMediaFileFlagID3v22, &out), kMediaFileErrTooSmall);
}

TEST(Id3Parse, StopsAtFFAndWalksZeroPadding)
{
    // TIT2, ten zero bytes walked over as an empty frame, then 0xFF ends the tag early.
    std::vector<uint8_t> tag = {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 40, 'T', 'I', 'T', '2', 0, 0, 0, 2, 0, 0, 0, 'A'};
    tag.resize(10 + 12 + 10, 0);
    tag.push_back(0xFF);
    tag.resize(50, 0x11);
    ID3TagPtr parsed;
    ASSERT_EQ(ID3ParseBuffer(tag, 0, &parsed), kMediaFileNoErr);
    EXPECT_EQ(parsed->frames.size(), 1u);
    EXPECT_EQ(parsed->v2Size, 22u + 10) << "the offset of the 0xFF byte in the body plus 10";

    // A frame that fits the tag exactly is read; one byte more runs past it.
    for (uint8_t size : {2, 3}) {
        const std::vector<uint8_t> exact = {'I', 'D', '3', 3, 0, 0, 0, 0, 0, 12, 'T', 'I', 'T', '2', 0, 0, 0, size, 0, 0, 0, 'A'};
        ID3Tag raw;
        EXPECT_EQ(ID3ParseV2(TagSource(exact), raw), size == 2 ? kMediaFileNoErr : kMediaFileErrShortHeader);
    }
}

} // namespace
