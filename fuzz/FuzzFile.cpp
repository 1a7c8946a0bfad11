// The file targets: fuzz_NAME is this source built with KESTRABEL_FUZZ_NAME="NAME", and writes
// its input under the extensions of its row.
#include <kestrabel/MediaFile.h>

#include <cstdlib>
#include <fstream>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

const std::pair<std::string_view, std::vector<const char *>> kTargets[] = {
    // Every kind at once, and no extension: detection by content and every handler see the bytes.
    {"generic", {"", ".mp3", ".m4a", ".aif", ".wav", ".ogg", ".flac", ".jpg", ".mov"}},
    // ID3v2 (every version, unsynchronisation, compression, the 2.4 size retry), ID3v1, the MPEG scan.
    {"mp3", {".mp3"}},
    // The atom tree, the ilst items, the free-atom padding and the tail move with stco correction.
    {"mp4", {".m4a"}},
    // The chunk scan, bext and the "ID3 " chunk.
    {"iff", {".wav", ".aif"}},
    // Pages, the Vorbis and Opus headers, the comments, the last-page search, the page-copying save.
    {"ogg", {".ogg"}},
    // libFLAC's metadata chain, the comment block, the application-block picture, the chain write.
    {"flac", {".flac"}},
};

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
    static const uint8_t kJpeg[] = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0, 0xFF, 0xD9};
    // A bit of the choice each; the cover is the one data edit.
    static const std::pair<MediaFileDataID, const char *> kEdits[] = {
        {kMediaFileDataIDTitle, "A title that is longer than most titles in the corpus"}, {kMediaFileDataIDArtist, ""},
        {kMediaFileDataIDTrackNumber, "7/12"}, {kMediaFileDataIDComment, "x"}, {kMediaFileDataIDArtwork, nullptr},
        {kMediaFileDataIDBWFDescription, "fuzz"}, {kMediaFileDataIDGenre, "(17)Rock"}, {kMediaFileDataIDLyrics, "line one\nline two\r\n"}};
    const uint8_t choice = size ? data[size - 1] : 0;
    for (int bit = 0; bit < 8; ++bit)
        if (choice >> bit & 1)
            kEdits[bit].second ? MediaFileSetString(ref, kEdits[bit].first, kEdits[bit].second) : MediaFileSetData(ref, kEdits[bit].first, kJpeg, sizeof kJpeg);
}

// Writes the input under each extension in turn and runs the whole life of a handle on it: open,
// every getter, edits chosen by the input, update, reopen, close.
void exerciseFile(const uint8_t *data, size_t size, const std::vector<const char *> &extensions)
{
    static std::string folder = [] {
        char pattern[] = "/tmp/kestrabel-fuzz-XXXXXX";
        const char *made = mkdtemp(pattern);
        return std::string(made ? made : "/tmp");
    }();
    for (const char *extension : extensions) {
        std::string path = folder + "/input" + extension;
        if (!std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char *>(data), std::streamsize(size)))
            continue;
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    for (const auto &[name, extensions] : kTargets)
        if (name == KESTRABEL_FUZZ_NAME)
            exerciseFile(data, size, extensions);
    return 0;
}
