#include "ArtworkImage.h"
#include "Batch.h"
#include "Commands.h"
#include "MediaFileWrapper.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <optional>

namespace kestrabel::cli {

const char kArtworkHelp[] = R"(usage: kestrabel-tag artwork [-o OUT] [--overwrite] [-r] [-j N] FILE...

Writes the cover art of each FILE into an image file, byte for byte as it is
stored in the tag (not re-encoded).

  (default)          beside each file, named after it with the image's own
                     extension: a.mp3 -> a.jpg (or a.png, …)
  -o, --output OUT   into OUT (exactly one FILE)
  --overwrite        replace an existing image file
  -r, --recursive    go through folders: every media file below them, in name
                     order; files of no media kind are skipped
  -j, --jobs N       read N files at once (0: one per processor core)

Exit status: 0 when every file had artwork that was written, 1 when any failed
(no artwork: kMediaFileErrNoArtwork; artwork that is not an image:
kMediaFileErrNotImage), 2 for a usage error.
)";

namespace {

QString qtPath(const std::string &path) { return QFile::decodeName(path.c_str()); }

// a.mp3 with PNG artwork -> a.png; the name's extension is the text behind its last ".".
QString besideImagePath(const QString &mediaPath, const QString &extension)
{
    qsizetype nameStart = mediaPath.lastIndexOf(u'/') + 1;
    qsizetype dot = mediaPath.lastIndexOf(u'.');
    QString stem = dot >= nameStart ? mediaPath.left(dot) : mediaPath;
    return stem + u'.' + extension;
}

} // namespace

int runArtwork(const Args &args)
{
    bool overwrite = false;
    std::optional<std::string> output;
    BatchOptions batch;
    std::vector<std::string> files;
    int parsed = parseCommandLine("artwork", kArtworkHelp, args, &batch, &files, [&](const std::string &arg, size_t &i, std::string *error) {
        if (arg == "--overwrite") {
            overwrite = true;
        } else if (arg == "-o" || arg == "--output") {
            std::string value;
            if (!takeValue(args, i, &value)) {
                *error = arg + " needs a file name";
                return OptionMatch::Error;
            }
            output = value;
        } else {
            return OptionMatch::NotMine;
        }
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (files.empty())
        return usageError("artwork", "no FILE given");

    bool folderErrors = false;
    std::vector<std::string> list = batchFiles(files, batch, &folderErrors);
    if (output && list.size() != 1)
        return usageError("artwork", "-o takes exactly one FILE");
    auto job = [&](const std::string &path, size_t) {
        JobResult result;
        MediaFileStatus status = kMediaFileNoErr;
        std::optional<MediaFileWrapper> wrapper = MediaFileWrapper::mediaFileWithFileAtPath(qtPath(path), false, &status);
        if (!wrapper) {
            addError(&result, path + ": cannot open: " + statusText(status));
            return result;
        }
        QString target;
        if (output) {
            target = qtPath(*output);
        } else {
            QString extension = imageFileExtension(wrapper->mediaFileDataForID(kMediaFileDataIDArtwork));
            target = besideImagePath(wrapper->pathString(), extension.isEmpty() ? QStringLiteral("jpg") : extension);
        }
        std::string shown = QFile::encodeName(target).toStdString();
        QFileInfo info(target);
        if (info.isDir()) {
            addError(&result, shown + ": " + statusText(kMediaFileErrBadPath));
            return result;
        }
        if (info.exists() && !overwrite) {
            addError(&result, shown + ": exists (use --overwrite to replace it): " + statusText(kMediaFileErrExists));
            return result;
        }
        status = writeArtworkFile(*wrapper, target);
        if (status > 0 || status == kMediaFileErrWrite)
            addError(&result, shown + ": cannot write the image: " + statusText(status));
        else if (status != kMediaFileNoErr)
            addError(&result, path + ": " + statusText(status));
        return result;
    };
    int status = runBatchOnFiles(list, batch, job);
    return folderErrors ? 1 : status;
}

} // namespace kestrabel::cli
