// Interim: the engine's entry points link but do not yet parse or render.
#include "ID3Tag.h"

namespace kestrabel::id3 {

struct ID3Tag {};

void ID3TagDeleter::operator()(ID3Tag *tag) const { delete tag; }

MediaFileStatus ID3ParseBuffer(std::span<const uint8_t>, MediaFileFlags, ID3TagPtr *) { return kMediaFileErrUnsupported; }
MediaFileStatus ID3NewTag(ID3TagPtr *out)
{
    out->reset(new ID3Tag);
    return kMediaFileNoErr;
}
MediaFileStatus ID3RenderToBuffer(ID3Tag &, MediaFileFlags, std::vector<uint8_t> *) { return kMediaFileErrUnsupported; }
MediaFileStatus ID3GetInteger(ID3Tag &, MediaFileDataID, int32_t *) { return kMediaFileErrUnsupported; }
MediaFileStatus ID3GetString(ID3Tag &, MediaFileDataID, std::string *) { return kMediaFileErrUnsupported; }
MediaFileStatus ID3SetInteger(ID3Tag &, MediaFileDataID, int32_t) { return kMediaFileErrUnsupported; }
MediaFileStatus ID3SetString(ID3Tag &, MediaFileDataID, std::string_view) { return kMediaFileErrUnsupported; }
MediaFileStatus ID3GetData(ID3Tag &, MediaFileDataID, std::vector<uint8_t> *) { return kMediaFileErrUnsupported; }
MediaFileStatus ID3SetData(ID3Tag &, MediaFileDataID, std::span<const uint8_t>) { return kMediaFileErrUnsupported; }

} // namespace kestrabel::id3
