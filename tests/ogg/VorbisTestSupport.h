// Ogg streams (through libogg) and FLAC blocks read independently of the handlers; the peers' view.
#pragma once

#include "TestSupport.h" // and with it <cstdint>, <string>, <vector>

namespace kestrabel::test {

using Bytes = std::vector<uint8_t>;

struct OggStream {
    int serial = 0;
    std::vector<Bytes> packets;
    std::vector<int64_t> pageGranules;
    std::vector<size_t> packetsDoneAfterPage; // packets completed once each page is read
    std::vector<Bytes> pages;                 // as stored
};

struct OggLayout {
    std::vector<OggStream> streams; // in the order their first pages appear
    std::vector<int> firstPages;     // serials of the leading pages that begin a stream
    int lastSerial = -1;
    int brokenPages = 0;
};

OggLayout readOggLayout(const std::string &path);

struct FlacLayout {
    bool valid = false;
    std::vector<std::pair<int, Bytes>> blocks; // type, body
    Bytes audio;                               // everything after the last metadata block
};

FlacLayout readFlacLayout(const std::string &path);

// The lines a command prints; empty when it fails.
std::vector<std::string> toolLines(const std::string &command);
// What ogginfo (Ogg) or flac -t (FLAC) complains about.
std::string validatorProblems(const std::string &path);
// The comment entries as metaflac (FLAC) or vorbiscomment (Ogg) lists them.
std::vector<std::string> peerEntries(const std::string &path);
using Edits = std::vector<std::pair<MediaFileDataID, std::string>>;
// Opens the file, sets every value (bytes for the picture IDs) and saves; the first failing status.
MediaFileStatus saveEdits(const std::string &path, const Edits &edits, MediaFileFlags flags = 0);

} // namespace kestrabel::test
