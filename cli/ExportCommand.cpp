#include "Batch.h"
#include "Commands.h"
#include "ExportFormat.h"
#include "MediaFileWrapper.h"
#include "OutputFile.h"
#include "PropertyList.h"

#include <QFile>

#include <cstdio>
#include <sys/stat.h>
#include <optional>

namespace kestrabel::cli {

const char kExportHelp[] = R"(usage: kestrabel-tag export [--artwork] [--overwrite] [-o OUT.plist | --archive OUT.plist]
                            [-r] [-j N] FILE...

Writes the tags of each FILE as an XML property list (a tag dictionary marked
"KESTRABEL MEDIA FILE DATA EXPORT", keyed by data-ID constant names) that
'kestrabel-tag import' applies again.

  (default)            one dictionary beside each file: a.mp3 -> a.plist
  -o, --output OUT     one dictionary into OUT (exactly one FILE); "-" writes
                       it to standard output
  --archive OUT        one archive of all files into OUT ("-": standard
                       output): a dictionary of tag dictionaries keyed by file
                       name without extension
  --artwork            include the cover art
  --overwrite          replace an existing OUT or .plist file (never a folder,
                       device, FIFO or socket: those are refused)
  -r, --recursive      go through folders: every media file below them, in name
                       order; files of no media kind are skipped
  -j, --jobs N         read N files at once (0: one per processor core)
  --classic            the classic rules, without the interop profile

Exit status: 0 when every file was exported, 1 when any failed, 2 for a usage error.
)";

namespace {

QString qtPath(const std::string &path) { return QFile::decodeName(path.c_str()); }

// Names keep their bytes; only a leading "~" goes through Qt's text.
std::string expandTilde(const std::string &path)
{
    if (path.empty() || path[0] != '~')
        return path;
    return QFile::encodeName(expandTildeInPath(qtPath(path))).toStdString();
}

std::optional<MediaFileWrapper> openWrapper(const std::string &path, MediaFileStatus *status, const BatchOptions &batch)
{
    return MediaFileWrapper::initWithFileAtNativePath(QByteArray::fromStdString(path), false, false, status,
                                                      batch.profileFlags());
}

// Puts bytes where OUT says: standard output through the job's result (so that it keeps the
// order of the files), a file otherwise. False when it failed, with the error added.
bool deliver(const std::string &out, const QByteArray &bytes, bool overwrite, JobResult *result)
{
    if (isStandardOutput(out)) {
        result->out.append(bytes.constData(), size_t(bytes.size()));
        return true;
    }
    std::string cause;
    MediaFileStatus status = writeOutputFile(out, std::string_view(bytes.constData(), size_t(bytes.size())), overwrite, &cause);
    if (status == kMediaFileErrExists)
        addError(result, out + ": exists (use --overwrite to replace it): " + statusText(status));
    else if (status != kMediaFileNoErr)
        addError(result, out + ": cannot write: " + statusText(status) + (cause.empty() ? "" : ": " + cause));
    return status == kMediaFileNoErr;
}

std::string unprintableText(const QString &key)
{
    return "not written: the value of " + key.toStdString() +
           " holds a character an XML property list cannot hold (a control character): " +
           statusText(kMediaFileErrBadFormat, "a value that cannot be printed");
}

int exportArchive(const std::vector<std::string> &arguments, const BatchOptions &batch, const std::string &archivePath,
                  bool artwork, bool overwrite)
{
    std::string target = expandTilde(archivePath);
    struct stat existing {};
    if (!isStandardOutput(target) && stat(target.c_str(), &existing) == 0) {
        if (!S_ISREG(existing.st_mode)) {
            JobResult refused;
            deliver(target, {}, overwrite, &refused);
            std::fputs(refused.err.c_str(), stderr);
            return 1;
        }
        if (!overwrite) {
            printError(archivePath + ": exists (use --overwrite to replace it): " + statusText(kMediaFileErrExists));
            return 1;
        }
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
        std::optional<MediaFileWrapper> wrapper = openWrapper(path, &status, batch);
        if (!wrapper) {
            addError(&result, path + ": cannot open: " + openFailureText(path, status));
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
            // No library status fits: the archive is keyed by file name without extension.
            printError(files[i] + ": left out of the archive: its name without extension, '" + name.toStdString() +
                       "', is already the key of " + firstFile.value(name) + "'s entry");
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
    if (QString key = keyXmlCannotHold(archive); !key.isEmpty()) {
        printError(archivePath + ": " + unprintableText(key));
        return 1;
    }
    QByteArray xml;
    if (MediaFileStatus made = propertyListBytes(archive, exportKeyOrder(), &xml)) {
        printError(archivePath + ": cannot write the archive: " + statusText(made));
        return 1;
    }
    JobResult written;
    if (!deliver(target, xml, overwrite, &written))
        status = 1;
    std::fwrite(written.out.data(), 1, written.out.size(), stdout);
    std::fflush(stdout);
    std::fputs(written.err.c_str(), stderr);
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
        std::optional<MediaFileWrapper> wrapper = openWrapper(path, &status, batch);
        if (!wrapper) {
            addError(&result, path + ": cannot open: " + openFailureText(path, status));
            return result;
        }
        std::string target = output ? expandTilde(*output) : pathBeside(path, "plist");
        std::optional<QVariantMap> dictionary = wrapper->getDictionaryRepresentation(artwork);
        QByteArray xml;
        status = dictionary ? propertyListBytes(*dictionary, exportKeyOrder(), &xml) : kMediaFileErrCantCreate;
        if (status == kMediaFileErrBadFormat)
            addError(&result, target + ": " + unprintableText(keyXmlCannotHold(*dictionary)));
        else if (status != kMediaFileNoErr)
            addError(&result, target + ": cannot write: " + statusText(status));
        else
            deliver(target, xml, overwrite, &result);
        return result;
    };
    int status = runBatchOnFiles(list, batch, job);
    return folderErrors ? 1 : status;
}

} // namespace kestrabel::cli
