#include "ArtworkInput.h"

#include "ArtworkImage.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

namespace kestrabel::cli {

MediaFileStatus readArtworkImage(const std::string &path, std::vector<uint8_t> *out)
{
    QString name = QFile::decodeName(path.c_str());
    if (!QFileInfo::exists(name))
        return ENOENT;
    QByteArray jpeg;
    if (MediaFileStatus status = jpegArtworkFromImageFile(name, &jpeg))
        return status;
    out->assign(jpeg.begin(), jpeg.end());
    return kMediaFileNoErr;
}

} // namespace kestrabel::cli
