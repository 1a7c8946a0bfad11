// TagLib as a peer reader for the interop suite: prints "taglib:KEY=value" for every property
// TagLib reads from the file and one line per picture (length and an FNV-1a hash of its bytes).
#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/wavfile.h>

#include <cstdint>
#include <cstdio>

namespace {

void printPicture(const char *what, unsigned index, const TagLib::ByteVector &bytes)
{
    uint64_t hash = 1469598103934665603ull;
    for (char c : bytes)
        hash = (hash ^ static_cast<uint8_t>(c)) * 1099511628211ull;
    std::printf("taglib:%s%u=%u bytes %016llx\n", what, index, bytes.size(), static_cast<unsigned long long>(hash));
}

void printPictures(TagLib::ID3v2::Tag *tag)
{
    if (!tag)
        return;
    unsigned index = 0;
    for (TagLib::ID3v2::Frame *frame : tag->frameListMap()["APIC"])
        if (auto *picture = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame *>(frame))
            printPicture("picture", index++, picture->picture());
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    TagLib::FileRef ref(argv[1]);
    if (ref.isNull()) {
        std::puts("taglib:error=cannot open");
        return 0;
    }
    const TagLib::PropertyMap properties = ref.file()->properties();
    for (const auto &[key, values] : properties)
        std::printf("taglib:%s=%s\n", key.toCString(true), values.toString(" | ").toCString(true));
    if (auto *mpeg = dynamic_cast<TagLib::MPEG::File *>(ref.file()))
        printPictures(mpeg->ID3v2Tag());
    else if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(ref.file()))
        printPictures(wav->ID3v2Tag());
    else if (auto *aiff = dynamic_cast<TagLib::RIFF::AIFF::File *>(ref.file()))
        printPictures(aiff->tag());
    else if (auto *mp4 = dynamic_cast<TagLib::MP4::File *>(ref.file()); mp4 && mp4->tag() && mp4->tag()->contains("covr")) {
        unsigned index = 0;
        for (const TagLib::MP4::CoverArt &cover : mp4->tag()->item("covr").toCoverArtList())
            printPicture("cover", index++, cover.data());
    }
    return 0;
}
