// What the Ogg tests look at in a file: its logical streams, their packets and pages, read
// with libogg independently of the handler; and the peer tools' view of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrabel::test {

struct OggStream {
    int serial = 0;
    std::vector<std::vector<uint8_t>> packets;
    std::vector<int64_t> pageGranules;
    std::vector<size_t> packetsDoneAfterPage; // packets completed once each page is read
    std::vector<uint8_t> pageBytes; // every page of the stream, as stored
    bool endsWithEos = false;
};

struct OggLayout {
    std::vector<OggStream> streams; // in the order their first pages appear
    int brokenPages = 0;
    int64_t lastGranule(size_t stream = 0) const { return streams.at(stream).pageGranules.back(); }
};

OggLayout readOggLayout(const std::string &path);

// The audio packets of a Vorbis stream: every packet after the three headers.
std::vector<std::vector<uint8_t>> audioPackets(const OggStream &stream);

// Where a page's granule position differs from the sample count that the Vorbis block sizes of
// the packets completed so far give (the last page may end earlier: the stream's end is trimmed);
// empty when every page agrees.
std::string vorbisGranuleProblems(const OggStream &stream);

// The comments as vorbiscomment lists them, one "NAME=value" per entry; empty when the tool is
// missing (callers skip).
std::vector<std::string> vorbiscommentList(const std::string &path);

// Empty when ogginfo finds nothing to complain about, otherwise its complaints.
std::string ogginfoProblems(const std::string &path);

} // namespace kestrabel::test
