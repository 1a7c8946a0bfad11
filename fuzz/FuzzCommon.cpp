#include "FuzzCommon.h"

#include <kestrabel/MediaFile.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace kestrabel::fuzz {

namespace {

void readEverything(MediaFileRef ref)
{
    for (size_t i = 0; i < MediaFileGetDataIDCount(); ++i) {
        MediaFileDataID id = MediaFileGetDataIDInfoAt(i)->dataID;
        int32_t value = 0;
        MediaFileGetInteger(ref, id, &value);
        MediaFileGetInteger(ref, id, nullptr);
        char *text = nullptr;
        if (MediaFileGetString(ref, id, &text) == 0)
            std::free(text);
        void *bytes = nullptr;
        size_t length = 0;
        if (MediaFileGetData(ref, id, &bytes, &length) == 0)
            std::free(bytes);
    }
    MediaFileAudioProperties props{};
    props.structSize = sizeof props;
    if (MediaFileGetAudioProperties(ref, &props) == 0 && !props.codec)
        __builtin_trap(); // success always names the codec
}

// The last bytes of the input choose the edits, so that the corpus explores saving too.
void applyEdits(MediaFileRef ref, const uint8_t *data, size_t size)
{
    uint8_t choice = size ? data[size - 1] : 0;
    if (choice & 1)
        MediaFileSetString(ref, kMediaFileDataIDTitle, "A title that is longer than most titles in the corpus");
    if (choice & 2)
        MediaFileSetString(ref, kMediaFileDataIDArtist, "");
    if (choice & 4)
        MediaFileSetInteger(ref, kMediaFileDataIDTrackNumber, choice);
    if (choice & 8)
        MediaFileSetString(ref, kMediaFileDataIDComment, "x");
    if (choice & 16) {
        static const uint8_t kJpeg[] = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0, 0xFF, 0xD9};
        MediaFileSetData(ref, kMediaFileDataIDArtwork, kJpeg, sizeof kJpeg);
    }
    if (choice & 32)
        MediaFileSetString(ref, kMediaFileDataIDBWFDescription, "fuzz");
    if (choice & 64)
        MediaFileSetString(ref, kMediaFileDataIDGenre, "(17)Rock");
    if (choice & 128)
        MediaFileSetString(ref, kMediaFileDataIDLyrics, "line one\nline two\r\n");
}

} // namespace

void exerciseFile(const uint8_t *data, size_t size, std::initializer_list<const char *> extensions)
{
    static std::string folder = [] {
        char pattern[] = "/tmp/kestrabel-fuzz-XXXXXX";
        const char *made = mkdtemp(pattern);
        return std::string(made ? made : "/tmp");
    }();
    for (const char *extension : extensions) {
        std::string path = folder + "/input" + extension;
        FILE *file = std::fopen(path.c_str(), "wb");
        if (!file)
            continue;
        if (size)
            std::fwrite(data, 1, size, file);
        std::fclose(file);
        MediaFileRef ref = nullptr;
        if (MediaFileOpen(path.c_str(), &ref, kMediaFileFlagIgnoreTagErrors) == 0) {
            readEverything(ref);
            applyEdits(ref, data, size);
            uint32_t flags = size > 1 && (data[size - 2] & 1) ? kMediaFileFlagInPlace : 0;
            if (MediaFileUpdate(ref, kMediaFileFlagKeepTagVersion | flags) == 0) {
                MediaFileRef again = nullptr;
                if (MediaFileOpen(path.c_str(), &again, 0) == 0) {
                    readEverything(again);
                    MediaFileClose(again);
                }
            }
            MediaFileClose(ref);
        }
        unlink(path.c_str());
    }
}

} // namespace kestrabel::fuzz
