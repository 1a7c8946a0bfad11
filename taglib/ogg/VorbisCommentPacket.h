// Reading the comment header packet of a Vorbis stream. libvorbis's header reader takes every
// byte of it through its bit reader, one call per byte, which made it most of the cost of
// opening a file whose comments carry a cover picture. Well-formed packets are read here in one
// pass instead, into the same vorbis_comment libvorbis would fill; everything else still goes
// to libvorbis, so that every unusual packet gets libvorbis's own answer.
#pragma once

#include <ogg/ogg.h>
#include <vorbis/codec.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kestrabel::ogg {

// What vorbis_synthesis_headerin(info, comment, packet) returns, with the same effect on info
// and comment, for every packet.
int readHeaderPacket(vorbis_info *info, vorbis_comment *comment, ogg_packet *packet);

// The fast path alone: true when the packet was a well-formed comment header and comment now
// holds it; false, with comment untouched, for anything else.
bool readCommentPacket(const vorbis_info &info, vorbis_comment *comment, const ogg_packet &packet);

// The list shared by Vorbis and Opus comment headers (vendor, count, entries, all lengths
// little-endian) from bytes[at]; on success comment holds it and *end is the offset behind it.
// Comment is untouched on failure.
bool readCommentList(std::span<const uint8_t> bytes, size_t at, vorbis_comment *comment, size_t *end);
// The same list appended to out; vendor, when given, stands for the comment's own.
void writeCommentList(const vorbis_comment &comment, std::vector<uint8_t> *out, const std::string *vendor = nullptr);
// The comment header packet: with the comment's vendor string, or with libvorbis's own as
// vorbis_commentheader_out writes it (false when libvorbis cannot say which that is).
bool renderCommentPacket(const vorbis_comment &comment, bool keepVendor, std::vector<uint8_t> *out);

} // namespace kestrabel::ogg
