// MP3 files: the ID3v2 parse (every version, unsynchronisation, compression, the second attempt
// at 2.4 sizes), the ID3v1 read and merge, the MPEG audio scan, and saves of what was read.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kestrabel::fuzz::exerciseFile(data, size, {".mp3"});
    return 0;
}
