#include "FrameTable.h"

#include "ID3Frames.h"

#include <array>

namespace kestrabel::id3 {
namespace {

// Two rows are odd on purpose and stay so: TSSE carries the canonical ID TSRC, and the three
// sort-order frames share the 2.2 spelling "TRC" with TSRC, so a 2.2 "TRC" always reads as TSRC.
constexpr std::array<FrameTableRow, 79> kFrameTable{{
    {frameCode("AENC"), "AENC", "CRA"},
    {frameCode("APIC"), "APIC", "PIC"},
    {frameCode("COMM"), "COMM", "COM"},
    {frameCode("COMR"), "COMR", ""},
    {frameCode("ENCR"), "ENCR", ""},
    {frameCode("EQUA"), "EQUA", "EQU"},
    {frameCode("ETCO"), "ETCO", "ETC"},
    {frameCode("GEOB"), "GEOB", "GEO"},
    {frameCode("GRID"), "GRID", ""},
    {frameCode("IPLS"), "IPLS", "IPL"},
    {frameCode("LINK"), "LINK", "LNK"},
    {frameCode("MCDI"), "MCDI", "MCI"},
    {frameCode("MLLT"), "MLLT", "MLL"},
    {frameCode("OWNE"), "OWNE", ""},
    {frameCode("PRIV"), "PRIV", ""},
    {frameCode("PCNT"), "PCNT", "CNT"},
    {frameCode("POPM"), "POPM", "POP"},
    {frameCode("POSS"), "POSS", ""},
    {frameCode("RBUF"), "RBUF", "BUF"},
    {frameCode("RVAD"), "RVAD", "RVA"},
    {frameCode("RVRB"), "RVRB", "REV"},
    {frameCode("SYLT"), "SYLT", "SLT"},
    {frameCode("SYTC"), "SYTC", "STC"},
    {frameCode("TALB"), "TALB", "TAL"},
    {frameCode("TBPM"), "TBPM", "TBP"},
    {frameCode("TCMP"), "TCMP", ""},
    {frameCode("TCOM"), "TCOM", "TCM"},
    {frameCode("TCON"), "TCON", "TCO"},
    {frameCode("TCOP"), "TCOP", "TCR"},
    {frameCode("TDAT"), "TDAT", "TDA"},
    {frameCode("TDLY"), "TDLY", "TDY"},
    {frameCode("TDRC"), "TDRC", ""},
    {frameCode("TENC"), "TENC", "TEN"},
    {frameCode("TEXT"), "TEXT", "TXT"},
    {frameCode("TFLT"), "TFLT", "TFT"},
    {frameCode("TIME"), "TIME", "TIM"},
    {frameCode("TIPL"), "TIPL", ""},
    {frameCode("TIT1"), "TIT1", "TT1"},
    {frameCode("TIT2"), "TIT2", "TT2"},
    {frameCode("TIT3"), "TIT3", "TT3"},
    {frameCode("TKEY"), "TKEY", "TKE"},
    {frameCode("TLAN"), "TLAN", "TLA"},
    {frameCode("TLEN"), "TLEN", "TLE"},
    {frameCode("TMED"), "TMED", "TMT"},
    {frameCode("TOAL"), "TOAL", "TOT"},
    {frameCode("TOFN"), "TOFN", "TOF"},
    {frameCode("TOLY"), "TOLY", "TOL"},
    {frameCode("TOPE"), "TOPE", "TOA"},
    {frameCode("TORY"), "TORY", "TOR"},
    {frameCode("TOWN"), "TOWN", ""},
    {frameCode("TPE1"), "TPE1", "TP1"},
    {frameCode("TPE2"), "TPE2", "TP2"},
    {frameCode("TPE3"), "TPE3", "TP3"},
    {frameCode("TPE4"), "TPE4", "TP4"},
    {frameCode("TPOS"), "TPOS", "TPA"},
    {frameCode("TPUB"), "TPUB", "TPB"},
    {frameCode("TRCK"), "TRCK", "TRK"},
    {frameCode("TRDA"), "TRDA", "TRD"},
    {frameCode("TRSN"), "TRSN", ""},
    {frameCode("TRSO"), "TRSO", ""},
    {frameCode("TSRC"), "TSRC", "TRC"},
    {frameCode("TSOA"), "TSOA", "TRC"},
    {frameCode("TSOP"), "TSOP", "TRC"},
    {frameCode("TSOT"), "TSOT", "TRC"},
    {frameCode("TSRC"), "TSSE", "TSS"},
    {frameCode("TYER"), "TYER", "TYE"},
    {frameCode("TXXX"), "TXXX", "TXX"},
    {frameCode("UFID"), "UFID", "UFI"},
    {frameCode("USER"), "USER", ""},
    {frameCode("USLT"), "USLT", "ULT"},
    {frameCode("WCOM"), "WCOM", "WCM"},
    {frameCode("WCOP"), "WCOP", "WCP"},
    {frameCode("WOAF"), "WOAF", "WAF"},
    {frameCode("WOAR"), "WOAR", "WAR"},
    {frameCode("WOAS"), "WOAS", "WAS"},
    {frameCode("WORS"), "WORS", ""},
    {frameCode("WPAY"), "WPAY", ""},
    {frameCode("WPUB"), "WPUB", "WPB"},
    {frameCode("WXXX"), "WXXX", "WXX"},
}};

} // namespace

const FrameTableRow *frameRowByLongID(std::string_view longID)
{
    for (const FrameTableRow &row : kFrameTable) {
        if (longID == row.longID)
            return &row;
    }
    return nullptr;
}

const FrameTableRow *frameRowByShortID(std::string_view shortID)
{
    if (shortID.empty())
        return nullptr;
    for (const FrameTableRow &row : kFrameTable) {
        if (shortID == row.shortID)
            return &row;
    }
    return nullptr;
}

std::span<const FrameTableRow> frameTableRows() { return kFrameTable; }

const FrameTableRow *frameRowByID(uint32_t frameID)
{
    for (const FrameTableRow &row : kFrameTable) {
        if (row.frameID == frameID)
            return &row;
    }
    return nullptr;
}

} // namespace kestrabel::id3
