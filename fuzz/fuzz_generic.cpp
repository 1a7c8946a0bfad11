// Every kind at once: the file is tried under each extension and with none, so kind detection
// by content and every handler see the same bytes.
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kestrabel::fuzz::exerciseFile(data, size, {"", ".mp3", ".m4a", ".aif", ".wav", ".ogg", ".flac", ".jpg", ".mov"});
    return 0;
}
