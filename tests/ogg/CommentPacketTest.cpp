// The one-pass reader of Vorbis comment headers against libvorbis's own header reader, which
// serves as the oracle: for real packets and for every kind of damage, both must accept or
// refuse alike and leave the same comments behind.
#include "VorbisTestSupport.h"
#include "ogg/VorbisCommentPacket.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

using namespace kestrabel;

namespace {

struct Headers {
    std::vector<uint8_t> identification;
    std::vector<uint8_t> comment;
};

Headers headersOf(const std::string &fixture)
{
    test::OggLayout layout = test::readOggLayout(test::fixturePath(fixture));
    const auto &packets = layout.streams.at(0).packets;
    return {packets.at(0), packets.at(1)};
}

// An identification header read, as it always is before the comment header.
class ReaderState {
public:
    explicit ReaderState(std::vector<uint8_t> identification)
    {
        vorbis_info_init(&info);
        vorbis_comment_init(&comment);
        ogg_packet packet = packetOf(identification, true);
        ready = vorbis_synthesis_headerin(&info, &comment, &packet) == 0;
    }
    ~ReaderState()
    {
        vorbis_comment_clear(&comment);
        vorbis_info_clear(&info);
    }
    static ogg_packet packetOf(std::vector<uint8_t> &bytes, bool first = false)
    {
        ogg_packet packet{};
        packet.packet = bytes.data();
        packet.bytes = static_cast<long>(bytes.size());
        packet.b_o_s = first;
        packet.packetno = first ? 0 : 1;
        return packet;
    }
    // The comments as one text: vendor, then each entry with its stored length.
    std::string dump() const
    {
        std::string out = comment.vendor ? std::string("vendor:") + comment.vendor : std::string("no vendor");
        for (int i = 0; i < comment.comments; ++i)
            out += "\n" + std::to_string(comment.comment_lengths[i]) + ":" +
                   std::string(comment.user_comments[i], static_cast<size_t>(comment.comment_lengths[i]));
        return out;
    }

    vorbis_info info;
    vorbis_comment comment;
    bool ready = false;
};

struct Outcome {
    int status;
    std::string comments;
    bool operator==(const Outcome &) const = default;
};

Outcome throughLibvorbis(const Headers &headers, std::vector<uint8_t> bytes)
{
    ReaderState state(headers.identification);
    ogg_packet packet = ReaderState::packetOf(bytes);
    int status = vorbis_synthesis_headerin(&state.info, &state.comment, &packet);
    return {status, state.dump()};
}

Outcome throughOurs(const Headers &headers, std::vector<uint8_t> bytes)
{
    ReaderState state(headers.identification);
    ogg_packet packet = ReaderState::packetOf(bytes);
    int status = ogg::readHeaderPacket(&state.info, &state.comment, &packet);
    return {status, state.dump()};
}

void put32(std::vector<uint8_t> &bytes, size_t at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        bytes.at(at + i) = static_cast<uint8_t>(value >> (8 * i));
}

// A comment header built by hand: vendor, entries, framing byte.
std::vector<uint8_t> commentPacket(const std::string &vendor, const std::vector<std::string> &entries, uint8_t framing = 1)
{
    std::vector<uint8_t> bytes = {3, 'v', 'o', 'r', 'b', 'i', 's'};
    auto text = [&](const std::string &s) {
        bytes.resize(bytes.size() + 4);
        put32(bytes, bytes.size() - 4, static_cast<uint32_t>(s.size()));
        bytes.insert(bytes.end(), s.begin(), s.end());
    };
    text(vendor);
    bytes.resize(bytes.size() + 4);
    put32(bytes, bytes.size() - 4, static_cast<uint32_t>(entries.size()));
    for (const std::string &entry : entries)
        text(entry);
    bytes.push_back(framing);
    return bytes;
}

} // namespace

// Real comment headers, and unusual but valid ones: empty entries, a NUL inside, 70,000 bytes,
// other bits beside the framing bit, bytes after the framing byte.
TEST(VorbisCommentPacket, ValidPacketsTakeTheFastPathAndMatchLibvorbis)
{
    Headers headers = headersOf("vorbis-tagged.ogg");
    std::vector<std::vector<uint8_t>> packets = {
        commentPacket("", {}),
        commentPacket("vendor", {"", "=", "NOEQUALS", std::string("TITLE=a\0b", 9), std::string(70000, 'x')}),
        commentPacket(std::string("ven\0dor", 7), {"A=1"}),
        commentPacket("v", {"A=1"}, 0xFF),
        commentPacket("v", {"A=1"}),
    };
    packets.back().insert(packets.back().end(), {9, 9, 9});
    for (const char *fixture : {"vorbis-tagged.ogg", "vorbis-no-comments.ogg", "vorbis-aliases.ogg", "vorbis-ffmpeg.ogg", "vorbis-discc-before-disc.ogg"})
        packets.push_back(headersOf(fixture).comment);
    for (size_t i = 0; i < packets.size(); ++i) {
        SCOPED_TRACE(i);
        ReaderState state(headers.identification);
        ASSERT_TRUE(state.ready);
        std::vector<uint8_t> copy = packets[i];
        ogg_packet packet = ReaderState::packetOf(copy);
        EXPECT_TRUE(ogg::readCommentPacket(state.info, &state.comment, packet)) << "a valid comment header must not need libvorbis";
        EXPECT_EQ(throughOurs(headers, packets[i]), throughLibvorbis(headers, packets[i]));
    }
}

TEST(VorbisCommentPacket, DamagedPacketsGetLibvorbisAnswer)
{
    Headers headers = headersOf("vorbis-tagged.ogg");
    std::vector<uint8_t> base = commentPacket("Xiph.Org libVorbis", {"TITLE=Damage", "ARTIST=Someone", "EMPTY="});
    std::vector<std::vector<uint8_t>> damaged;
    for (size_t length = 0; length < base.size(); ++length) // every truncation, the framing byte's loss included
        damaged.emplace_back(base.begin(), base.begin() + static_cast<long>(length));
    damaged.push_back(commentPacket("v", {"A=1"}, 0));                          // framing bit clear
    damaged.push_back(commentPacket("v", {"A=1"}, 2));                          // another bit set, not the framing bit
    for (uint32_t value : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 1000u, 3u, 2u}) {
        for (size_t at : {size_t(7), size_t(7 + 4 + 18), size_t(7 + 4 + 18 + 4)}) { // vendor length, count, first entry length
            std::vector<uint8_t> p = base;
            put32(p, at, value);
            damaged.push_back(p);
        }
    }
    std::vector<uint8_t> wrongType = base;
    wrongType[0] = 5;
    damaged.push_back(wrongType);
    std::vector<uint8_t> wrongMagic = base;
    wrongMagic[3] = 'X';
    damaged.push_back(wrongMagic);
    std::mt19937 random(20261121);
    for (int round = 0; round < 2000; ++round) {
        std::vector<uint8_t> p = base;
        for (int flips = 1 + round % 3; flips > 0; --flips)
            p[random() % p.size()] ^= static_cast<uint8_t>(1u << (random() % 8));
        damaged.push_back(p);
    }
    for (size_t i = 0; i < damaged.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(throughOurs(headers, damaged[i]), throughLibvorbis(headers, damaged[i]));
    }
}

TEST(VorbisCommentPacket, RefusedOutOfOrderAsLibvorbisDoes)
{
    Headers headers = headersOf("vorbis-tagged.ogg");
    // Before the identification header.
    vorbis_info info;
    vorbis_comment comment;
    vorbis_info_init(&info);
    vorbis_comment_init(&comment);
    std::vector<uint8_t> bytes = headers.comment;
    ogg_packet packet = ReaderState::packetOf(bytes);
    EXPECT_FALSE(ogg::readCommentPacket(info, &comment, packet));
    EXPECT_EQ(ogg::readHeaderPacket(&info, &comment, &packet), vorbis_synthesis_headerin(&info, &comment, &packet));
    vorbis_comment_clear(&comment);
    vorbis_info_clear(&info);
    // A second comment header.
    ReaderState state(headers.identification);
    ogg_packet first = ReaderState::packetOf(bytes);
    ASSERT_EQ(ogg::readHeaderPacket(&state.info, &state.comment, &first), 0);
    std::string before = state.dump();
    EXPECT_FALSE(ogg::readCommentPacket(state.info, &state.comment, first));
    EXPECT_EQ(state.dump(), before);
}
