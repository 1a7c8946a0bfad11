// MP4 files: the atom tree, the ilst items, and a save chosen by the input's last bytes (the
// free-atom padding, the tail move with stco correction, in place or through a new file).
#include "FuzzCommon.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kestrabel::fuzz::exerciseFile(data, size, {".m4a"});
    return 0;
}
