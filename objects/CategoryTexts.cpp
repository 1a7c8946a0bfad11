#include "MediaFileWrapper.h"

#include <cstdlib>

namespace kestrabel {

QString stringFromMediaFileRef(MediaFileRef ref, MediaFileDataID dataID)
{
    char *text = nullptr;
    MediaFileStatus status = MediaFileGetString(ref, dataID, &text);
    QString result = status == kMediaFileNoErr && text ? QString::fromUtf8(text) : QStringLiteral("");
    std::free(text);
    return result;
}

QString stringRepresentationOfTrackNumberForMediaFile(MediaFileRef ref)
{
    int32_t track = 0;
    int32_t total = 0;
    if (MediaFileGetInteger(ref, kMediaFileDataIDTrackNumber, &track) != kMediaFileNoErr)
        track = 0;
    if (MediaFileGetInteger(ref, kMediaFileDataIDTotalTracks, &total) != kMediaFileNoErr)
        total = 0;
    return trackNumberText(track, total);
}

QString stringRepresentationOfTimeForMediaFile(MediaFileRef ref)
{
    int32_t seconds = 0;
    if (!ref || MediaFileGetInteger(ref, kMediaFileDataIDPlayTime, &seconds) != kMediaFileNoErr)
        return QStringLiteral("");
    return playTimeText(seconds);
}

QString trackNumberText(int32_t track, int32_t total)
{
    if (track <= 0)
        return QStringLiteral("");
    if (total <= 0)
        return QString::asprintf("%d", track);
    return QString::asprintf("%d / %d", track, total);
}

QString playTimeText(int32_t seconds)
{
    int32_t minutes = seconds / 60;
    int32_t rest = seconds - 60 * minutes;
    return QString::asprintf("%d:%02d", minutes, rest);
}

} // namespace kestrabel
