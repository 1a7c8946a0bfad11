// Ogg Vorbis files: recognition, the header packets, the comments and the save that copies
// every page into a new file.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kestrabel::fuzz::exerciseFile(data, size, {".ogg"});
    return 0;
}
