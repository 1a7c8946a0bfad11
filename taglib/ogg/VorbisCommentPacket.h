// Reading the comment header packet of a Vorbis stream. libvorbis's header reader takes every
// byte of it through its bit reader, one call per byte, which made it most of the cost of
// opening a file whose comments carry a cover picture. Well-formed packets are read here in one
// pass instead, into the same vorbis_comment libvorbis would fill; everything else still goes
// to libvorbis, so that every unusual packet gets libvorbis's own answer.
#pragma once

#include <ogg/ogg.h>
#include <vorbis/codec.h>

namespace kestrabel::ogg {

// What vorbis_synthesis_headerin(info, comment, packet) returns, with the same effect on info
// and comment, for every packet.
int readHeaderPacket(vorbis_info *info, vorbis_comment *comment, ogg_packet *packet);

// The fast path alone: true when the packet was a well-formed comment header and comment now
// holds it; false, with comment untouched, for anything else.
bool readCommentPacket(const vorbis_info &info, vorbis_comment *comment, const ogg_packet &packet);

} // namespace kestrabel::ogg
