// Under the interop rules a Vorbis save rewrites the header pages only: the audio pages other
// tools wrote are copied, renumbered (sequence number and checksum) only when the headers take
// another number of pages. The classic rules repack the audio, as OggSaveTest pins.
#include "VorbisTestSupport.h"

#include <gtest/gtest.h>

#include <ogg/ogg.h>

using namespace kestrabel::test;

namespace {

using Page = std::vector<uint8_t>;

// The pages of a stream after its three header packets; sequence number and checksum zeroed
// when asked, so that pages are compared by what the save must not change.
std::vector<Page> audioPages(const OggStream &stream, bool blankNumbering)
{
    std::vector<Page> pages;
    size_t offset = 0;
    for (size_t index = 0; offset + 27 <= stream.pageBytes.size(); ++index) {
        const uint8_t *header = stream.pageBytes.data() + offset;
        size_t size = 27 + header[26];
        for (int segment = 0; segment < header[26]; ++segment)
            size += header[27 + segment];
        Page page(header, header + size);
        offset += size;
        if (index == 0 || stream.packetsDoneAfterPage.at(index - 1) < 3)
            continue;
        if (blankNumbering)
            std::fill(page.begin() + 18, page.begin() + 26, 0);
        pages.push_back(std::move(page));
    }
    return pages;
}

std::vector<Bytes> audioPackets(const OggStream &stream)
{
    return {stream.packets.begin() + std::min<size_t>(3, stream.packets.size()), stream.packets.end()};
}

// A copy of the fixture whose first audio packets share the setup header's last page, as a
// writer that does not flush after the headers makes it; only the last page keeps its granule.
std::string withAudioOnSetupPage(const TempDir &dir, const std::string &fixture)
{
    const OggLayout layout = readOggLayout(fixturePath(fixture));
    const OggStream &source = layout.streams.at(0);
    ogg_stream_state state;
    ogg_stream_init(&state, source.serial);
    std::vector<uint8_t> bytes;
    auto take = [&bytes](const ogg_page &page) {
        bytes.insert(bytes.end(), page.header, page.header + page.header_len);
        bytes.insert(bytes.end(), page.body, page.body + page.body_len);
    };
    ogg_page page;
    for (size_t i = 0; i < source.packets.size(); ++i) {
        ogg_packet packet{};
        packet.packet = const_cast<unsigned char *>(source.packets[i].data());
        packet.bytes = static_cast<long>(source.packets[i].size());
        packet.b_o_s = i == 0;
        packet.e_o_s = i + 1 == source.packets.size();
        packet.granulepos = i < 3 ? 0 : packet.e_o_s ? source.pageGranules.back() : -1;
        packet.packetno = static_cast<ogg_int64_t>(i);
        ogg_stream_packetin(&state, &packet);
        if (i == 0)
            while (ogg_stream_flush(&state, &page))
                take(page);
        while (ogg_stream_pageout(&state, &page))
            take(page);
    }
    while (ogg_stream_flush(&state, &page))
        take(page);
    ogg_stream_clear(&state);
    const std::string path = dir.file("shared-setup-page.ogg");
    writeFile(path, bytes);
    return path;
}

struct PageCopyCase {
    const char *name;
    const char *fixture;
    size_t titleLength;
    MediaFileFlags flags;
    // What becomes of the first stream's audio pages.
    enum { Identical, Renumbered, Repacked } audio;
    bool audioOnSetupPage = false;
};

void PrintTo(const PageCopyCase &c, std::ostream *os)
{
    *os << c.name;
}

class OggPageCopy : public ::testing::TestWithParam<PageCopyCase> {};

TEST_P(OggPageCopy, AudioPagesAndDecodedAudio)
{
    const PageCopyCase &c = GetParam();
    TempDir dir;
    const std::string path = c.audioOnSetupPage ? withAudioOnSetupPage(dir, c.fixture) : dir.copyFixture(c.fixture);
    const OggLayout before = readOggLayout(path);
    const bool haveFfmpeg = haveTool("ffmpeg");
    // The crafted copy has no granule positions for ffmpeg to trim by; the fixture has.
    const std::string md5Before = haveFfmpeg ? decodedMd5(fixturePath(c.fixture)) : "";
    const std::string title(c.titleLength, 't');
    {
        OpenFile file(path, c.flags);
        ASSERT_EQ(file.status(), 0);
        ASSERT_EQ(MediaFileSetString(file.ref(), kMediaFileDataIDTitle, title.c_str()), 0);
        ASSERT_EQ(MediaFileUpdate(file.ref(), c.flags), 0);
    }
    const OggLayout after = readOggLayout(path);
    ASSERT_EQ(after.streams.size(), before.streams.size());
    EXPECT_EQ(after.brokenPages, 0);
    const OggStream &was = before.streams[0];
    const OggStream &is = after.streams[0];
    EXPECT_EQ(audioPackets(is), audioPackets(was));
    switch (c.audio) {
    case PageCopyCase::Identical:
        EXPECT_EQ(audioPages(is, false), audioPages(was, false)) << "copied byte for byte";
        break;
    case PageCopyCase::Renumbered:
        EXPECT_NE(audioPages(is, false), audioPages(was, false)) << "the header pages grew, so the numbers move";
        EXPECT_EQ(audioPages(is, true), audioPages(was, true)) << "all else of each page is kept";
        break;
    case PageCopyCase::Repacked:
        EXPECT_NE(audioPages(is, true), audioPages(was, true));
        EXPECT_EQ(vorbisGranuleProblems(is), "");
        break;
    }
    for (size_t other = 1; other < after.streams.size(); ++other)
        EXPECT_EQ(after.streams[other].pageBytes, before.streams[other].pageBytes) << "stream " << other;
    OpenFile file(path, c.flags);
    EXPECT_EQ(file.string(kMediaFileDataIDTitle), title);
    if (haveTool("ogginfo")) {
        EXPECT_EQ(validatorProblems(path), "");
    }
    if (haveFfmpeg) {
        EXPECT_EQ(decodedMd5(path), md5Before);
    }
    if (!haveFfmpeg || !haveTool("ogginfo"))
        GTEST_SKIP() << "ffmpeg or ogginfo is missing: the decoded audio or the stream was not checked";
}

constexpr MediaFileFlags kInterop = kMediaFileFlagInterop;

INSTANTIATE_TEST_SUITE_P(
    Rows, OggPageCopy,
    ::testing::Values(PageCopyCase{"SameHeaderPages", "vorbis-tagged.ogg", 10, kInterop, PageCopyCase::Identical},
                      PageCopyCase{"MoreHeaderPages", "vorbis-tagged.ogg", 70000, kInterop, PageCopyCase::Renumbered},
                      PageCopyCase{"SmallPagesKept", "vorbis-small-pages.ogg", 70000, kInterop, PageCopyCase::Renumbered},
                      PageCopyCase{"SmallPagesClassic", "vorbis-small-pages.ogg", 10, 0, PageCopyCase::Repacked},
                      PageCopyCase{"Multiplexed", "vorbis-multiplexed.ogg", 70000, kInterop, PageCopyCase::Renumbered},
                      PageCopyCase{"Chained", "vorbis-chained.ogg", 70000, kInterop, PageCopyCase::Renumbered},
                      PageCopyCase{"AudioOnSetupPage", "vorbis-small-pages.ogg", 10, kInterop, PageCopyCase::Repacked, true}),
    [](const ::testing::TestParamInfo<PageCopyCase> &info) { return std::string(info.param.name); });

} // namespace
