#include "Batch.h"
#include "Commands.h"
#include "Edit.h"
#include "Output.h"
#include "Template.h"
#include "Values.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>

namespace kestrabel::cli {

const char kRenameHelp[] = R"(usage: kestrabel-tag rename --to TEMPLATE [--dry-run] [-r] [-j N] FILE...

Renames each FILE, within its folder, after its values; the extension stays.

  --to TEMPLATE     the new name without extension: each %{NAME} is replaced by
                    the file's value of that data ID, %{NAME:02} pads it to two
                    digits, %{kind} gives the file's kind, %% a percent sign.
                    Example: --to '%{Track Number:02} %{Title}'
  -n, --dry-run     print "old -> new" for each file and rename nothing
  -r, --recursive   go through folders: every media file below them, in name
                    order; files of no media kind are skipped
  -j, --jobs N      rename N files at once (0: one per processor core)
  --classic         the classic rules, without the interop profile

In the values, "/" and the characters file systems refuse (control characters and
\ : * ? " < > |) become "_", as does a leading "."; blanks and dots at the end are
dropped; a name too long for the file system is shortened. An existing file is
never replaced: such a FILE is left as it is and reported
(kMediaFileErrExists). A file that lacks a value of the template is not renamed.

Exit status: 0 when every file was renamed (or already had its name), 1 when any
failed, 2 for a usage error.
)";

namespace {

constexpr size_t kMaxNameBytes = 255;

std::string safeForFileName(std::string_view value)
{
    std::string out;
    for (char c : value) {
        unsigned char u = static_cast<unsigned char>(c);
        bool refused = u < 0x20 || u == 0x7F || std::string_view("/\\:*?\"<>|").find(c) != std::string_view::npos;
        out += refused ? '_' : c;
    }
    return out;
}

// The name's extension with its dot (".mp3"), or nothing: the text from the last "." of the
// name, unless the name starts with it.
std::string extensionOf(const std::string &name)
{
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? std::string() : name.substr(dot);
}

// Cuts a UTF-8 text to at most max bytes without splitting a character.
void cutUtf8(std::string *text, size_t max)
{
    if (text->size() <= max)
        return;
    size_t end = max;
    while (end > 0 && (static_cast<unsigned char>((*text)[end]) & 0xC0) == 0x80)
        --end;
    text->resize(end);
}

// The whole new name, or an empty text when nothing usable is left.
std::string finishName(std::string stem, const std::string &extension)
{
    if (!stem.empty() && stem[0] == '.')
        stem[0] = '_';
    cutUtf8(&stem, kMaxNameBytes - std::min(extension.size(), kMaxNameBytes));
    while (!stem.empty() && (stem.back() == ' ' || stem.back() == '.'))
        stem.pop_back();
    return stem.empty() ? std::string() : stem + extension;
}

// Renames without ever replacing an existing file: the kernel checks and renames in one step
// where the file system allows it; elsewhere a check comes first.
int renameNoReplace(const std::string &from, const std::string &to)
{
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    struct stat info;
    if (lstat(to.c_str(), &info) == 0)
        return EEXIST;
    return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

} // namespace

int runRename(const Args &args)
{
    std::optional<Template> name;
    DryRun dryRun;
    BatchOptions batch;
    std::vector<std::string> files;
    int parsed = parseCommandLine("rename", kRenameHelp, args, &batch, &files, [&](const std::string &arg, size_t &i, std::string *error) {
        if (dryRun.take(arg))
            return OptionMatch::Taken;
        if (arg != "--to")
            return OptionMatch::NotMine;
        std::string text;
        if (!takeValue(args, i, &text)) {
            *error = "--to needs a TEMPLATE";
            return OptionMatch::Error;
        }
        if (!(name = Template::parse(text, error)))
            return OptionMatch::Error;
        if (name->literalCount('/') > 0) {
            *error = "--to names a file within its folder: '/' is not allowed outside the values";
            return OptionMatch::Error;
        }
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (!name)
        return usageError("rename", "no --to TEMPLATE given");
    if (files.empty())
        return usageError("rename", "no FILE given");

    auto job = [&](const std::string &path, size_t) {
        JobResult result;
        MediaFileRef ref = nullptr;
        if (MediaFileStatus status = openToRead(path, batch, false, &ref)) {
            addError(&result, path + ": cannot open: " + openFailureText(path, status));
            return result;
        }
        MediaFileType kind = kMediaFileTypeUnsupported;
        MediaFileGetType(ref, &kind);
        auto lookup = [&](const TemplateField &field) -> std::optional<std::string> {
            if (field.source == TemplateField::Source::Kind)
                return std::string(MediaFileGetTypeName(kind));
            if (field.source == TemplateField::Source::Path)
                return path;
            Value value;
            if (!field.info || readValue(ref, field.info, &value) != kMediaFileNoErr)
                return std::nullopt;
            std::string text = valueText(value);
            return text.empty() ? std::nullopt : std::optional(text);
        };
        std::vector<const TemplateField *> missing;
        std::string stem = name->expand(lookup, safeForFileName, &missing);
        MediaFileClose(ref);
        if (!missing.empty()) {
            addError(&result, path + ": not renamed: it has no " + missing.front()->name + ": " + statusText(kMediaFileErrNotFound));
            return result;
        }
        size_t slash = path.rfind('/');
        std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
        std::string oldName = path.substr(folder.size());
        std::string newName = finishName(stem, extensionOf(oldName));
        if (newName.empty()) {
            addError(&result, path + ": not renamed: the template gives an empty name: " + statusText(kMediaFileErrBadPath));
            return result;
        }
        std::string target = folder + newName;
        if (dryRun.on) {
            result.out = renameAsText(path, target);
            return result;
        }
        if (newName == oldName)
            return result;
        if (int error = renameNoReplace(path, target)) {
            MediaFileStatus status = error == EEXIST ? kMediaFileErrExists : error;
            addError(&result, path + ": not renamed to " + target + ": " + statusText(status));
        }
        return result;
    };
    return runBatch(files, batch, job);
}

} // namespace kestrabel::cli
