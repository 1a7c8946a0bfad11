// FLAC files: libFLAC's metadata chain, the comment block, the application-block picture and
// the chain write.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kestrabel::fuzz::exerciseFile(data, size, {".flac"});
    return 0;
}
