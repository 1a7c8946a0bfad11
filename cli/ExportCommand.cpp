#include "Batch.h"
#include "Commands.h"
#include "ExportFormat.h"
#include "MediaFileWrapper.h"
#include "PropertyList.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <optional>

namespace kestrabel::cli {

const char kExportHelp[] = R"(usage: kestrabel-tag export [--artwork] [--overwrite] [-o OUT.plist | --archive OUT.plist]
                            [-r] [-j N] FILE...

Writes the tags of each FILE as an XML property list (a tag dictionary marked
"KESTRABEL MEDIA FILE DATA EXPORT", keyed by data-ID constant names) that
'kestrabel-tag import' applies again.

  (default)            one dictionary beside each file: a.mp3 -> a.plist
  -o, --output OUT     one dictionary into OUT (exactly one FILE)
  --archive OUT        one archive of all files into OUT: a dictionary of tag
                       dictionaries keyed by file name without extension
  --artwork            include the cover art
  --overwrite          replace an existing OUT or .plist file
  -r, --recursive      go through folders: every media file below them, in name
                       order; files of no media kind are skipped
  -j, --jobs N         read N files at once (0: one per processor core)

Exit status: 0 when every file was exported, 1 when any failed, 2 for a usage error.
)";

namespace {

QString qtPath(const std::string &path) { return QFile::decodeName(path.c_str()); }

int exportArchive(const std::vector<std::string> &arguments, const BatchOptions &batch, const std::string &archivePath,
                  bool artwork, bool overwrite)
{
    QString target = qtPath(archivePath);
    QFileInfo info(target);
    if (info.isDir()) {
        printError(archivePath + ": " + statusText(kMediaFileErrBadPath));
        return 1;
    }
    if (info.exists() && !overwrite) {
        printError(archivePath + ": exists (use --overwrite to replace it): " + statusText(kMediaFileErrExists));
        return 1;
    }
    bool folderErrors = false;
    std::vector<std::string> files = batchFiles(arguments, batch, &folderErrors);
    struct Entry {
        QString name;
        QVariantMap dictionary;
    };
    std::vector<std::optional<Entry>> entries(files.size());
    auto job = [&](const std::string &path, size_t index) {
        JobResult result;
        MediaFileStatus status = kMediaFileNoErr;
        std::optional<MediaFileWrapper> wrapper = MediaFileWrapper::mediaFileWithFileAtPath(qtPath(path), false, &status);
        if (!wrapper) {
            addError(&result, path + ": cannot open: " + statusText(status));
            return result;
        }
        std::optional<QVariantMap> dictionary = wrapper->getDictionaryRepresentation(artwork);
        if (!dictionary) {
            addError(&result, path + ": " + statusText(kMediaFileErrCantCreate));
            return result;
        }
        entries[index] = Entry{stringFromMediaFileRef(wrapper->mediaFileRef(), kMediaFileDataIDFilenameClean),
                               std::move(*dictionary)};
        return result;
    };
    int status = runBatchOnFiles(files, batch, job);

    QVariantMap archive;
    QMap<QString, std::string> firstFile;
    for (size_t i = 0; i < files.size(); ++i) {
        if (!entries[i])
            continue;
        const QString &name = entries[i]->name;
        if (archive.contains(name)) {
            printError(files[i] + ": the archive already has an entry '" + name.toStdString() + "' from " +
                       firstFile.value(name) + ": " + statusText(kMediaFileErrDuplicate));
            status = 1;
            continue;
        }
        archive.insert(name, entries[i]->dictionary);
        firstFile.insert(name, files[i]);
    }
    if (archive.isEmpty()) {
        printError(archivePath + ": not written: no file was exported");
        return 1;
    }
    if (MediaFileStatus written = writePropertyListAtomically(archive, target, exportKeyOrder())) {
        printError(archivePath + ": cannot write the archive: " + statusText(written));
        return 1;
    }
    return folderErrors ? 1 : status;
}

} // namespace

int runExport(const Args &args)
{
    bool artwork = false, overwrite = false;
    std::optional<std::string> output, archive;
    BatchOptions batch;
    std::vector<std::string> files;
    int parsed = parseCommandLine("export", kExportHelp, args, &batch, &files, [&](const std::string &arg, size_t &i, std::string *error) {
        if (arg == "--artwork") {
            artwork = true;
        } else if (arg == "--overwrite") {
            overwrite = true;
        } else if (arg == "-o" || arg == "--output" || arg == "--archive") {
            std::string value;
            if (!takeValue(args, i, &value)) {
                *error = arg + " needs a file name";
                return OptionMatch::Error;
            }
            (arg == "--archive" ? archive : output) = value;
        } else {
            return OptionMatch::NotMine;
        }
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (files.empty())
        return usageError("export", "no FILE given");
    if (output && archive)
        return usageError("export", "-o and --archive exclude each other");
    if (archive)
        return exportArchive(files, batch, *archive, artwork, overwrite);

    bool folderErrors = false;
    std::vector<std::string> list = batchFiles(files, batch, &folderErrors);
    if (output && list.size() != 1)
        return usageError("export", "-o takes exactly one FILE; use --archive for several");
    auto job = [&](const std::string &path, size_t) {
        JobResult result;
        MediaFileStatus status = kMediaFileNoErr;
        std::optional<MediaFileWrapper> wrapper = MediaFileWrapper::mediaFileWithFileAtPath(qtPath(path), false, &status);
        if (!wrapper) {
            addError(&result, path + ": cannot open: " + statusText(status));
            return result;
        }
        QString target = output ? qtPath(*output) : dictionaryPathBeside(wrapper->pathString());
        std::string shown = QFile::encodeName(target).toStdString();
        status = writeDictionaryRepresentation(*wrapper, target, overwrite, artwork);
        if (status == kMediaFileErrExists)
            addError(&result, shown + ": exists (use --overwrite to replace it): " + statusText(status));
        else if (status != kMediaFileNoErr)
            addError(&result, shown + ": cannot write: " + statusText(status));
        return result;
    };
    int status = runBatchOnFiles(list, batch, job);
    return folderErrors ? 1 : status;
}

} // namespace kestrabel::cli
