#include "Batch.h"
#include "Commands.h"
#include "Edit.h"
#include "ExportFormat.h"
#include "MediaFileWrapper.h"
#include "PropertyList.h"

#include "util/File.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <optional>

namespace kestrabel::cli {

const char kImportHelp[] = R"(usage: kestrabel-tag import [--overwrite] [--dry-run] [-r] [-j N] PLIST FILE...

Applies a tag dictionary written by 'kestrabel-tag export' to each FILE and saves
it with the default write options of 'set'.

PLIST is either one tag dictionary, applied to every FILE, or an archive
(export --archive), in which each FILE finds its entry by its file name without
extension. A dictionary marked as something other than a Kestrabel export is
refused; one without a marker is taken.

  --overwrite        replace values the file already has, and its cover art.
                     Without it only empty values are filled in, and the cover
                     art is never touched. Empty exported texts never erase.
                     The exported file names never rename a file.
                     A value the file cannot hold is named with its status
                     and makes the exit status 1; the others are saved.
  -n, --dry-run      print, per file, each value that would change
                     (old -> new) and write nothing
  --force            save a file whose tag could not be read whole, although
                     what could not be read is lost (refused without it)
  -r, --recursive    go through folders: every media file below them, in name
                     order; files of no media kind are skipped
  -j, --jobs N       save N files at once (0: one per processor core)
  --classic          the classic rules, without the interop profile

Exit status: 0 when every file was saved, 1 when any failed, 2 for a usage error.
)";

namespace {

// By the name's bytes, so that a name that is not UTF-8 is read too.
std::optional<QVariantMap> readDictionary(const std::string &path)
{
    std::vector<uint8_t> bytes;
    if (util::readWholeFile(path, &bytes, uint64_t(kMaxPropertyListFileSize)) != kMediaFileNoErr)
        return std::nullopt;
    return propertyListDictionaryFromData(QByteArray(reinterpret_cast<const char *>(bytes.data()), qsizetype(bytes.size())));
}

// A tag dictionary has the marker or keys named after data IDs (or nothing at all, which the
// import has always taken); anything else whose values include dictionaries is an archive.
bool isTagDictionary(const QVariantMap &root)
{
    if (root.isEmpty())
        return true;
    for (auto it = root.constBegin(); it != root.constEnd(); ++it)
        if (it.key() == QLatin1String(kMediaFileDataExportKey) || it.key().startsWith(QLatin1String("kMediaFileDataID")))
            return true;
    return false;
}

bool isArchive(const QVariantMap &root)
{
    if (isTagDictionary(root))
        return false;
    for (const QVariant &value : root)
        if (value.typeId() == QMetaType::QVariantMap)
            return true;
    return false;
}

// Kinds whose tags are read only take no imported value; the import would set nothing.
bool takesValues(MediaFileRef ref)
{
    MediaFileType kind = kMediaFileTypeUnsupported;
    MediaFileGetType(ref, &kind);
    return kind != kMediaFileTypeEXIF && kind != kMediaFileTypeQuickTime;
}

} // namespace

int runImport(const Args &args)
{
    bool overwrite = false, force = false;
    DryRun dryRun;
    BatchOptions batch;
    std::vector<std::string> operands;
    int parsed = parseCommandLine("import", kImportHelp, args, &batch, &operands, [&](const std::string &arg, size_t &, std::string *) {
        if (dryRun.take(arg))
            return OptionMatch::Taken;
        if (arg == "--force") {
            force = true;
            return OptionMatch::Taken;
        }
        if (arg != "--overwrite")
            return OptionMatch::NotMine;
        overwrite = true;
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (operands.empty())
        return usageError("import", "no PLIST given");
    if (operands.size() < 2)
        return usageError("import", "no FILE given");
    const std::string plistPath = operands.front();
    std::optional<QVariantMap> root = readDictionary(plistPath);
    if (!root) {
        QFileInfo info(QFile::decodeName(plistPath.c_str()));
        if (!info.exists())
            printError(plistPath + ": cannot read: " + statusText(ENOENT));
        else if (!info.isFile() || !info.isReadable())
            printError(plistPath + ": cannot read: " + statusText(info.isFile() ? EACCES : kMediaFileErrBadPath));
        else
            printError(plistPath + ": not an XML property list whose root is a dictionary: " + statusText(kMediaFileErrBadFormat));
        return 1;
    }
    const bool archive = isArchive(*root);
    if (!archive && !isTagDictionary(*root)) {
        printError(plistPath + ": neither a tag dictionary nor an archive of them (no kMediaFileDataID key, no dictionary "
                               "value): " + statusText(kMediaFileErrBadFormat));
        return 1;
    }
    // An archive entry that is no dictionary would be applied as an empty one, silently.
    bool strayEntries = false;
    if (archive) {
        for (auto it = root->constBegin(); it != root->constEnd(); ++it) {
            if (it.value().typeId() != QMetaType::QVariantMap) {
                printError(plistPath + ": the archive entry '" + it.key().toStdString() +
                           "' is not a tag dictionary and is left out: " + statusText(kMediaFileErrBadFormat));
                strayEntries = true;
            }
        }
    }
    std::vector<std::string> files(operands.begin() + 1, operands.end());

    auto job = [&](const std::string &path, size_t) {
        JobResult result;
        MediaFileStatus status = kMediaFileNoErr;
        std::optional<MediaFileWrapper> wrapper = MediaFileWrapper::initWithFileAtNativePath(QByteArray::fromStdString(path), false, false, &status, batch.profileFlags());
        if (!wrapper) {
            addError(&result, path + ": cannot open: " + openFailureText(path, status));
            return result;
        }
        if (!takesValues(wrapper->mediaFileRef())) {
            addError(&result, path + ": cannot take imported values, its kind is read only: " +
                                  statusText(kMediaFileErrUnsupported));
            return result;
        }
        if (MediaFileStatus ignored = MediaFileGetIgnoredTagError(wrapper->mediaFileRef()); ignored && !force) {
            addError(&result, path + ": not saved: " + partialTagText(ignored) + " (--force saves anyway)");
            return result;
        }
        std::optional<QVariantMap> dictionary = *root;
        if (archive) {
            QString name = stringFromMediaFileRef(wrapper->mediaFileRef(), kMediaFileDataIDFilenameClean);
            auto entry = root->constFind(name);
            if (entry == root->constEnd() || entry->typeId() != QMetaType::QVariantMap) {
                addError(&result, path + ": the archive has no entry '" + name.toStdString() + "': " +
                                      statusText(kMediaFileErrNotFound));
                return result;
            }
            dictionary = entry->toMap();
        }
        // The write options are settled before the import adds frames, as set does.
        MediaFileFlags flags = defaultWriteFlags(wrapper->mediaFileRef()) | batch.profileFlags();
        std::vector<Entry> before;
        if (dryRun.on)
            before = valuesForDryRun(wrapper->mediaFileRef());
        std::vector<ImportRefusal> refusals;
        status = wrapper->setMediaFileDataFromDictionaryRepresentation(dictionary, overwrite, &refusals);
        if (status != kMediaFileNoErr) {
            addError(&result, path + ": " + plistPath + " cannot be applied: " + statusText(status));
            return result;
        }
        // An import carries many values, some of which another kind may have no place for: the
        // others are saved, and each one that is not stored is named.
        for (const ImportRefusal &refusal : refusals) {
            const MediaFileDataIDInfo *info = MediaFileGetDataIDInfo(refusal.dataID);
            addError(&result, path + ": " + (info ? info->constantName : "?") + ": not stored: " + statusText(refusal.status));
        }
        if (dryRun.on) {
            result.out = dryRunReport(path, wrapper->mediaFileRef(), before);
            return result;
        }
        status = wrapper->update(flags);
        if (status != kMediaFileNoErr)
            addError(&result, path + ": cannot save: " + statusText(status));
        return result;
    };
    int status = runBatch(files, batch, job);
    return strayEntries ? 1 : status;
}

} // namespace kestrabel::cli
