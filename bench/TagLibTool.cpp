// kestrabel-bench-taglib: the TagLib side of the command-line comparison as a whole process,
// linked with TagLib alone, as a TagLib-based tool would be.
//   read FILE...              every property, the audio properties and the front picture
//                             of each file, one line of output per file
//   set-comment TEXT FILE...  sets the comment of each file and saves
#include "PeerTagLib.h"

#include <taglib/fileref.h>

#include <cstdio>
#include <string>

int main(int argc, char **argv)
{
    if (argc < 3)
        return 2;
    const std::string mode = argv[1];
    int failed = 0;
    if (mode == "read") {
        for (int i = 2; i < argc; ++i) {
            // One line per file: printing every value would only add to TagLib's time.
            uint64_t sum = kestrabel::bench::tagLibReadAll(argv[i]);
            std::printf("%s %llu\n", argv[i], static_cast<unsigned long long>(sum));
            failed |= sum == 0;
        }
    } else if (mode == "set-comment" && argc >= 4) {
        for (int i = 3; i < argc; ++i) {
            TagLib::FileRef ref(argv[i], false);
            if (ref.isNull()) {
                failed = 1;
                continue;
            }
            ref.tag()->setComment(TagLib::String(argv[2], TagLib::String::UTF8));
            failed |= !ref.save();
        }
    } else {
        return 2;
    }
    return failed;
}
