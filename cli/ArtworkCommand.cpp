#include "ArtworkImage.h"
#include "Batch.h"
#include "Commands.h"
#include "MediaFileWrapper.h"
#include "OutputFile.h"


#include <cstdio>
#include <optional>

namespace kestrabel::cli {

const char kArtworkHelp[] = R"(usage: kestrabel-tag artwork [-o OUT] [--overwrite] [-r] [-j N] FILE...

Writes the cover art of each FILE into an image file, byte for byte as it is
stored in the tag (not re-encoded).

  (default)          beside each file, named after it with the image's own
                     extension: a.mp3 -> a.jpg (or a.png, …)
  -o, --output OUT   into OUT (exactly one FILE); "-" writes the image to
                     standard output
  --overwrite        replace an existing image file (never a folder, device,
                     FIFO or socket: those are refused)
  -r, --recursive    go through folders: every media file below them, in name
                     order; files of no media kind are skipped
  -j, --jobs N       read N files at once (0: one per processor core)
  --classic          the classic rules, without the interop profile

Exit status: 0 when every file had artwork that was written, 1 when any failed
(no artwork: kMediaFileErrNoArtwork; artwork that is not an image:
kMediaFileErrNotImage), 2 for a usage error.
)";

namespace {

// A name's extension is the text behind the last "." of its last component.
std::string imageExtension(const QByteArray &artwork)
{
    QString extension = imageFileExtension(artwork);
    return extension.isEmpty() ? std::string("jpg") : extension.toStdString();
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
        std::optional<MediaFileWrapper> wrapper =
            MediaFileWrapper::initWithFileAtNativePath(QByteArray::fromStdString(path), false, false, &status, batch.profileFlags());
        if (!wrapper) {
            addError(&result, path + ": cannot open: " + openFailureText(path, status));
            return result;
        }
        QByteArray artwork;
        status = artworkFileBytes(*wrapper, &artwork);
        std::string target = output ? *output : pathBeside(path, imageExtension(artwork));
        if (status != kMediaFileNoErr) {
            addError(&result, path + ": " + statusText(status));
            return result;
        }
        if (isStandardOutput(target)) {
            result.out.assign(artwork.constData(), size_t(artwork.size()));
            return result;
        }
        std::string cause;
        status = writeOutputFile(target, std::string_view(artwork.constData(), size_t(artwork.size())), overwrite, &cause);
        if (status == kMediaFileErrExists)
            addError(&result, target + ": exists (use --overwrite to replace it): " + statusText(status));
        else if (status != kMediaFileNoErr)
            addError(&result, target + ": cannot write the image: " + statusText(status) + (cause.empty() ? "" : ": " + cause));
        return result;
    };
    int status = runBatchOnFiles(list, batch, job);
    return folderErrors ? 1 : status;
}

} // namespace kestrabel::cli
