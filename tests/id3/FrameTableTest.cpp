// Every row of the frame table, both spellings: a frame read under one spelling is written
// under the other. The spellings are copied from the ID3v2.2 and v2.3 frame lists, not from
// the table; the guard fails when a table row has no case here.
#include "Mp3TestSupport.h"

#include "id3/FrameTable.h"
#include "id3/ID3Engine.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kestrabel;
using namespace kestrabel::test;

namespace {

struct FrameCase {
    const char *longID;
    const char *shortID;       // "" where 2.2 has no such frame
    const char *shortReadsAs = nullptr; // what a 2.2 frame of shortID becomes in a 2.3 tag, when not longID
};

const FrameCase kFrameCases[] = {
    {"AENC", "CRA"}, {"APIC", "PIC"}, {"COMM", "COM"}, {"COMR", ""},    {"ENCR", ""},     {"EQUA", "EQU"},
    {"ETCO", "ETC"}, {"GEOB", "GEO"}, {"GRID", ""},    {"IPLS", "IPL"}, {"LINK", "LNK"},  {"MCDI", "MCI"},
    {"MLLT", "MLL"}, {"OWNE", ""},    {"PRIV", ""},    {"PCNT", "CNT"}, {"POPM", "POP"},  {"POSS", ""},
    {"RBUF", "BUF"}, {"RVAD", "RVA"}, {"RVRB", "REV"}, {"SYLT", "SLT"}, {"SYTC", "STC"},  {"TALB", "TAL"},
    {"TBPM", "TBP"}, {"TCMP", ""},    {"TCOM", "TCM"}, {"TCON", "TCO"}, {"TCOP", "TCR"},  {"TDAT", "TDA"},
    {"TDLY", "TDY"}, {"TDRC", ""},    {"TENC", "TEN"}, {"TEXT", "TXT"}, {"TFLT", "TFT"},  {"TIME", "TIM"},
    {"TIPL", ""},    {"TIT1", "TT1"}, {"TIT2", "TT2"}, {"TIT3", "TT3"}, {"TKEY", "TKE"},  {"TLAN", "TLA"},
    {"TLEN", "TLE"}, {"TMED", "TMT"}, {"TOAL", "TOT"}, {"TOFN", "TOF"}, {"TOLY", "TOL"},  {"TOPE", "TOA"},
    {"TORY", "TOR"}, {"TOWN", ""},    {"TPE1", "TP1"}, {"TPE2", "TP2"}, {"TPE3", "TP3"},  {"TPE4", "TP4"},
    {"TPOS", "TPA"}, {"TPUB", "TPB"}, {"TRCK", "TRK"}, {"TRDA", "TRD"}, {"TRSN", ""},     {"TRSO", ""},
    {"TSRC", "TRC"}, {"TSSE", "TSS"}, {"TYER", "TYE"}, {"TXXX", "TXX"}, {"UFID", "UFI"},  {"USER", ""},
    {"USLT", "ULT"}, {"WCOM", "WCM"}, {"WCOP", "WCP"}, {"WOAF", "WAF"}, {"WOAR", "WAR"},  {"WOAS", "WAS"},
    {"WORS", ""},    {"WPAY", ""},    {"WPUB", "WPB"}, {"WXXX", "WXX"},
    // The sort-order frames came after 2.2; the table gives them TSRC's "TRC", which reads as TSRC.
    {"TSOA", "TRC", "TSRC"}, {"TSOP", "TRC", "TSRC"}, {"TSOT", "TRC", "TSRC"},
};

// The IDs of the frames after a tag holding this one frame is read in one version and written in
// another. Its body is one each frame's writer accepts: pictures are converted between the two forms.
std::vector<std::string> rewritten(int from, std::string_view id, MediaFileFlags toVersion)
{
    const std::vector<uint8_t> body = id == "APIC" ? std::vector<uint8_t>{0, 'i', 'm', 'a', 'g', 'e', '/', 'j', 'p', 'e', 'g', 0, 3, 0, 0xFF, 0xD9}
                                      : id == "PIC" ? std::vector<uint8_t>{0, 'J', 'P', 'G', 3, 0, 0xFF, 0xD9}
                                                    : std::vector<uint8_t>{0, 'v', 'a', 'l', 'u', 'e'};
    std::vector<uint8_t> tag{'I', 'D', '3', uint8_t(from), 0, 0, 0, 0, 0, uint8_t(body.size() + (from == 2 ? 6 : 10))};
    tag.insert(tag.end(), id.begin(), id.end());
    for (int shift = from == 2 ? 16 : 24; shift >= 0; shift -= 8)
        tag.push_back(uint8_t(body.size() >> shift));
    tag.insert(tag.end(), from == 2 ? 0 : 2, 0);
    tag.insert(tag.end(), body.begin(), body.end());
    id3::ID3TagPtr parsed;
    std::vector<uint8_t> bytes;
    if (id3::ID3ParseBuffer(tag, 0, &parsed) != 0 || id3::ID3RenderToBuffer(*parsed, toVersion | kMediaFileFlagID3NoPadding, &bytes) != 0)
        return {"(no tag)"};
    std::vector<std::string> ids;
    for (const RawFrame &frame : rawFrames(bytes, toVersion == kMediaFileFlagID3v22 ? 2 : 3))
        ids.push_back(frame.id);
    return ids;
}

} // namespace

TEST(FrameTable, EveryRowHasACase)
{
    for (const id3::FrameTableRow &row : id3::frameTableRows())
        EXPECT_TRUE(std::any_of(std::begin(kFrameCases), std::end(kFrameCases),
                                [&](const FrameCase &c) { return std::string_view(c.longID) == row.longID; }))
            << row.longID << " has no case";
}

TEST(FrameTable, EachFrameIsWrittenUnderItsOtherSpelling)
{
    for (const FrameCase &c : kFrameCases) {
        SCOPED_TRACE(c.longID);
        const std::string shortID = c.shortID;
        EXPECT_EQ(rewritten(3, c.longID, kMediaFileFlagID3v22),
                  shortID.empty() ? std::vector<std::string>{} : std::vector<std::string>{shortID});
        if (!shortID.empty()) {
            EXPECT_EQ(rewritten(2, shortID, kMediaFileFlagID3v23), std::vector<std::string>{c.shortReadsAs ? c.shortReadsAs : c.longID});
        }
    }
}
