// The one-pass reader of Vorbis comment headers against libvorbis's header reader as the oracle.
#include "VorbisTestSupport.h"
#include "ogg/VorbisCommentPacket.h"

#include <gtest/gtest.h>

#include <random>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

Bytes headerOf(const char *fixture, size_t which) { return readOggLayout(fixturePath(fixture)).streams.at(0).packets.at(which); }

ogg_packet packetOf(Bytes &bytes, bool first = false) { return {bytes.data(), long(bytes.size()), first, 0, 0, first ? 0 : 1}; }

// The states after the identification header (none when bare), as before a comment header.
struct ReaderState {
    explicit ReaderState(bool bare = false)
    {
        vorbis_info_init(&info), vorbis_comment_init(&comment);
        Bytes identification = headerOf("vorbis-tagged.ogg", 0);
        ogg_packet packet = packetOf(identification, true);
        EXPECT_TRUE(bare || vorbis_synthesis_headerin(&info, &comment, &packet) == 0);
    }
    ~ReaderState() { vorbis_comment_clear(&comment), vorbis_info_clear(&info); }
    // The status, the vendor, then each entry with its stored length.
    std::string read(Bytes bytes, bool ours)
    {
        ogg_packet packet = packetOf(bytes);
        int status = ours ? ogg::readHeaderPacket(&info, &comment, &packet) : vorbis_synthesis_headerin(&info, &comment, &packet);
        std::string out = std::to_string(status) + (comment.vendor ? std::string(" vendor:") + comment.vendor : std::string(" no vendor"));
        for (int i = 0; i < comment.comments; ++i)
            out += "\n" + std::to_string(comment.comment_lengths[i]) + ":" + std::string(comment.user_comments[i], size_t(comment.comment_lengths[i]));
        return out;
    }
    vorbis_info info;
    vorbis_comment comment;
};

void put32(Bytes &bytes, size_t at, uint32_t value) { for (int i = 0; i < 4; ++i) bytes.at(at + i) = uint8_t(value >> 8 * i); }

// A comment header built by hand: vendor, entries, framing byte.
Bytes commentPacket(const std::string &vendor, const std::vector<std::string> &entries, uint8_t framing = 1)
{
    Bytes bytes = {3, 'v', 'o', 'r', 'b', 'i', 's'};
    auto put = [&](size_t length, const std::string &text) {
        bytes.resize(bytes.size() + 4);
        put32(bytes, bytes.size() - 4, uint32_t(length));
        bytes.insert(bytes.end(), text.begin(), text.end());
    };
    put(vendor.size(), vendor), put(entries.size(), "");
    for (const std::string &entry : entries)
        put(entry.size(), entry);
    bytes.push_back(framing);
    return bytes;
}

} // namespace

// Valid packets, real and unusual (empty entries, a NUL inside, 70,000 bytes, other bits beside
// the framing bit, bytes after it), take the fast path. Damaged ones (every truncation, the
// framing bit clear, odd lengths at the vendor length, the count and the first entry, the wrong
// type or magic, random bit flips) get libvorbis's answer.
TEST(VorbisCommentPacket, EveryPacketGetsLibvorbisAnswer)
{
    std::vector<Bytes> valid = {commentPacket("", {}),
                                commentPacket("vendor", {"", "=", "NOEQUALS", std::string("TITLE=a\0b", 9), std::string(70000, 'x')}),
                                commentPacket(std::string("ven\0dor", 7), {"A=1"}), commentPacket("v", {"A=1"}, 0xFF), commentPacket("v", {"A=1"})};
    valid.back().insert(valid.back().end(), {9, 9, 9});
    for (const char *fixture : {"vorbis-tagged.ogg", "vorbis-no-comments.ogg", "vorbis-aliases.ogg", "vorbis-ffmpeg.ogg", "vorbis-discc-before-disc.ogg"})
        valid.push_back(headerOf(fixture, 1));
    Bytes base = commentPacket("Xiph.Org libVorbis", {"TITLE=Damage", "ARTIST=Someone", "EMPTY="});
    std::vector<Bytes> damaged = {commentPacket("v", {"A=1"}, 0), commentPacket("v", {"A=1"}, 2), base, base};
    damaged[2][0] = 5;
    damaged[3][3] = 'X';
    for (size_t length = 0; length < base.size(); ++length)
        damaged.emplace_back(base.begin(), base.begin() + static_cast<long>(length));
    for (uint32_t value : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 1000u, 3u, 2u})
        for (size_t at : {size_t(7), size_t(7 + 4 + 18), size_t(7 + 4 + 18 + 4)})
            put32(damaged.emplace_back(base), at, value);
    std::mt19937 random(20261121);
    for (int round = 0; round < 2000; ++round) {
        Bytes &p = damaged.emplace_back(base);
        for (int flips = 1 + round % 3; flips > 0; --flips)
            p[random() % p.size()] ^= static_cast<uint8_t>(1u << (random() % 8));
    }
    for (size_t i = 0; i < valid.size() + damaged.size(); ++i) {
        Bytes &packet = i < valid.size() ? valid[i] : damaged[i - valid.size()];
        ReaderState state;
        EXPECT_TRUE(i >= valid.size() || ogg::readCommentPacket(state.info, &state.comment, packetOf(packet))) << "valid packet " << i << " needed libvorbis";
        EXPECT_EQ(ReaderState().read(packet, true), ReaderState().read(packet, false)) << "packet " << i;
    }
}

TEST(VorbisCommentPacket, RefusedOutOfOrderAsLibvorbisDoes)
{
    Bytes comment = headerOf("vorbis-tagged.ogg", 1);
    ReaderState bare(true), second;
    EXPECT_FALSE(ogg::readCommentPacket(bare.info, &bare.comment, packetOf(comment))) << "before the identification header";
    EXPECT_EQ(ReaderState(true).read(comment, true), ReaderState(true).read(comment, false));
    std::string once = second.read(comment, true);
    EXPECT_FALSE(ogg::readCommentPacket(second.info, &second.comment, packetOf(comment))) << "a second comment header";
    auto comments = [](const std::string &outcome) { return outcome.substr(outcome.find(' ')); };
    EXPECT_EQ(comments(second.read({}, false)), comments(once)) << "the comments stay";
}
