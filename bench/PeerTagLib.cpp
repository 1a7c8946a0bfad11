#include "PeerTagLib.h"

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>

namespace kestrabel::bench {

namespace {

uint64_t id3Picture(TagLib::ID3v2::Tag *tag)
{
    if (!tag)
        return 0;
    const auto &frames = tag->frameListMap()["APIC"];
    if (frames.isEmpty())
        return 0;
    return static_cast<TagLib::ID3v2::AttachedPictureFrame *>(frames.front())->picture().size();
}

TagLib::ID3v2::AttachedPictureFrame *coverFrame(const std::vector<uint8_t> &jpeg)
{
    auto *frame = new TagLib::ID3v2::AttachedPictureFrame;
    frame->setMimeType("image/jpeg");
    frame->setType(TagLib::ID3v2::AttachedPictureFrame::FrontCover);
    frame->setPicture(TagLib::ByteVector(reinterpret_cast<const char *>(jpeg.data()), static_cast<unsigned>(jpeg.size())));
    return frame;
}

} // namespace

uint64_t tagLibReadAll(const std::string &path)
{
    TagLib::FileRef ref(path.c_str(), true, TagLib::AudioProperties::Average);
    if (ref.isNull())
        return 0;
    uint64_t sum = 0;
    if (auto *properties = ref.audioProperties())
        sum += static_cast<uint64_t>(properties->bitrate() + properties->sampleRate() + properties->channels() +
                                     properties->lengthInMilliseconds());
    TagLib::PropertyMap map = ref.file()->properties();
    for (const auto &entry : map)
        for (const auto &value : entry.second)
            sum += value.size();
    TagLib::File *file = ref.file();
    if (auto *mp3 = dynamic_cast<TagLib::MPEG::File *>(file))
        sum += id3Picture(mp3->ID3v2Tag());
    else if (auto *mp4 = dynamic_cast<TagLib::MP4::File *>(file)) {
        if (mp4->tag() && mp4->tag()->contains("covr")) {
            auto covers = mp4->tag()->item("covr").toCoverArtList();
            if (!covers.isEmpty())
                sum += covers.front().data().size();
        }
    } else if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(file)) {
        auto pictures = flac->pictureList();
        if (!pictures.isEmpty())
            sum += pictures.front()->data().size();
    } else if (auto *ogg = dynamic_cast<TagLib::Ogg::Vorbis::File *>(file)) {
        auto pictures = ogg->tag()->pictureList();
        if (!pictures.isEmpty())
            sum += pictures.front()->data().size();
    } else if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(file)) {
        sum += id3Picture(wav->ID3v2Tag());
    } else if (auto *aiff = dynamic_cast<TagLib::RIFF::AIFF::File *>(file)) {
        sum += id3Picture(aiff->tag());
    }
    return sum;
}

bool tagLibSetTitle(const std::string &path, const std::string &title)
{
    TagLib::FileRef ref(path.c_str(), false);
    if (ref.isNull())
        return false;
    ref.tag()->setTitle(TagLib::String(title, TagLib::String::UTF8));
    return ref.save();
}

bool tagLibAddCover(const std::string &path, const std::vector<uint8_t> &jpeg)
{
    TagLib::FileRef ref(path.c_str(), false);
    if (ref.isNull())
        return false;
    TagLib::File *file = ref.file();
    if (auto *mp3 = dynamic_cast<TagLib::MPEG::File *>(file)) {
        mp3->ID3v2Tag(true)->addFrame(coverFrame(jpeg));
        return mp3->save(TagLib::MPEG::File::ID3v2, TagLib::File::StripNone, TagLib::ID3v2::v3);
    }
    if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(file)) {
        wav->ID3v2Tag()->addFrame(coverFrame(jpeg));
        return wav->save();
    }
    if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(file)) {
        auto *picture = new TagLib::FLAC::Picture;
        picture->setType(TagLib::FLAC::Picture::FrontCover);
        picture->setMimeType("image/jpeg");
        picture->setData(TagLib::ByteVector(reinterpret_cast<const char *>(jpeg.data()), static_cast<unsigned>(jpeg.size())));
        flac->addPicture(picture);
        return flac->save();
    }
    return false;
}

} // namespace kestrabel::bench
