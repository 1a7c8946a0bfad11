// AIFF, AIFF-C and WAVE: the chunk scan, bext and the "ID3 " chunk, then a save chosen by the
// input's last bytes.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kestrabel::fuzz::exerciseFile(data, size, {".wav", ".aif"});
    return 0;
}
