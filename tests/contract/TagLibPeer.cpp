// TagLib as a peer reader for the interop suite: prints "taglib:KEY=value" for every property
// TagLib reads from the file and one line per picture (the image file of the arguments it equals,
// else its length and an FNV-1a hash of its bytes). Usage: taglib_peer FILE [IMAGE...]
#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::vector<std::string> images;

std::string pictureName(const TagLib::ByteVector &bytes)
{
    for (const std::string &image : images) {
        std::ifstream in(image, std::ios::binary);
        if (std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()) == std::string(bytes.data(), bytes.size()))
            return image.substr(image.rfind('/') + 1);
    }
    uint64_t hash = 1469598103934665603ull;
    for (char c : bytes)
        hash = (hash ^ static_cast<uint8_t>(c)) * 1099511628211ull;
    char text[64];
    std::snprintf(text, sizeof text, "%u bytes %016llx", bytes.size(), static_cast<unsigned long long>(hash));
    return text;
}

// As mutagen's lines: "type MIME image", several joined by the dump.
void printPictures(const TagLib::List<TagLib::FLAC::Picture *> &pictures)
{
    for (TagLib::FLAC::Picture *picture : pictures)
        std::printf("taglib:picture=%d %s %s\n", int(picture->type()), picture->mimeType().toCString(true), pictureName(picture->data()).c_str());
}

void printPictures(TagLib::ID3v2::Tag *tag)
{
    unsigned index = 0;
    for (TagLib::ID3v2::Frame *frame : tag ? tag->frameListMap()["APIC"] : TagLib::ID3v2::FrameList())
        if (auto *picture = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame *>(frame))
            std::printf("taglib:picture%u=%s\n", index++, pictureName(picture->picture()).c_str());
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return 2;
    images.assign(argv + 2, argv + argc);
    TagLib::FileRef ref(argv[1]);
    if (ref.isNull())
        return std::puts("taglib:error=cannot open"), 0;
    for (const auto &[key, values] : ref.file()->properties())
        std::printf("taglib:%s=%s\n", key.toCString(true), values.toString(" | ").toCString(true));
    if (auto *mpeg = dynamic_cast<TagLib::MPEG::File *>(ref.file()))
        printPictures(mpeg->ID3v2Tag());
    else if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(ref.file()))
        printPictures(wav->ID3v2Tag());
    else if (auto *aiff = dynamic_cast<TagLib::RIFF::AIFF::File *>(ref.file()))
        printPictures(aiff->tag());
    else if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(ref.file()))
        printPictures(flac->pictureList());
    else if (auto *vorbis = dynamic_cast<TagLib::Ogg::Vorbis::File *>(ref.file()); vorbis && vorbis->tag())
        printPictures(vorbis->tag()->pictureList());
    else if (auto *opus = dynamic_cast<TagLib::Ogg::Opus::File *>(ref.file()); opus && opus->tag())
        printPictures(opus->tag()->pictureList());
    else if (auto *mp4 = dynamic_cast<TagLib::MP4::File *>(ref.file()); mp4 && mp4->tag() && mp4->tag()->contains("covr")) {
        unsigned index = 0;
        for (const TagLib::MP4::CoverArt &cover : mp4->tag()->item("covr").toCoverArtList())
            std::printf("taglib:cover%u=%s\n", index++, pictureName(cover.data()).c_str());
    }
    return 0;
}
