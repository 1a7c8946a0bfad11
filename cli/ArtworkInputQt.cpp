#include "ArtworkInput.h"

#include "ArtworkImage.h"

#include "util/File.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>

namespace kestrabel::cli {

MediaFileStatus readArtworkImage(const std::string &path, std::vector<uint8_t> *out)
{
    // Opened by the name's bytes, which a name that is not UTF-8 does not keep through a
    // QString, and so only if it is a regular file; Qt then reads the open file through /proc.
    util::File file;
    if (MediaFileStatus status = util::File::openRead(path, &file))
        return status;
    QString name = QStringLiteral("/proc/self/fd/%1").arg(file.fd());
    if (!QFileInfo::exists(name))
        name = QFile::decodeName(path.c_str());
    if (!QFileInfo::exists(name))
        return ENOENT;
    QByteArray jpeg;
    if (MediaFileStatus status = jpegArtworkFromImageFile(name, &jpeg))
        return status;
    out->assign(jpeg.begin(), jpeg.end());
    return kMediaFileNoErr;
}

MediaFileStatus checkArtworkBytes(const std::string &bytes)
{
    return checkArtworkData(QByteArray::fromRawData(bytes.data(), qsizetype(bytes.size())));
}

} // namespace kestrabel::cli
