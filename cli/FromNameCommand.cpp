#include "Batch.h"
#include "Commands.h"
#include "Edit.h"
#include "Template.h"
#include "Values.h"

#include <cstdlib>

namespace kestrabel::cli {

const char kFromNameHelp[] = R"(usage: kestrabel-tag from-name --pattern TEMPLATE [--dry-run] [-r] [-j N] FILE...

Sets values of each FILE from its name and saves it with the default write
options of 'set'.

  --pattern TEMPLATE  how the name without extension is made: each %{NAME} takes
                      the text of that data ID's value, %{*} takes text that is
                      ignored, the rest must match as written, %% is a percent
                      sign. A field takes as few characters as it can; one of a
                      number (Track Number, Year, ...) takes digits only. With
                      "/" the pattern also matches the folders above the file.
                      Examples: --pattern '%{Track Number} - %{Title}'
                                --pattern '%{Artist}/%{Album}/%{Track Number} %{Title}'
  -n, --dry-run       print, per file, each value that would change
                      (old -> new) and write nothing
  -r, --recursive     go through folders: every media file below them, in name
                      order; files of no media kind are skipped
  -j, --jobs N        save N files at once (0: one per processor core)
  --classic           the classic rules, without the interop profile

A name that does not fit the pattern is reported (kMediaFileErrNotFound) and its
file left as it is.
Exit status: 0 when every file was saved, 1 when any failed, 2 for a usage error.
)";

namespace {

// The part of the file's path the pattern describes: its name without extension, and as many
// folders above it as the pattern has "/".
std::string nameToMatch(MediaFileRef ref, size_t folders, MediaFileStatus *status)
{
    std::string text;
    for (size_t level = folders + 1; level-- > 0;) {
        MediaFileDataID id = level == 0 ? kMediaFileDataIDFilenameClean : MediaFileDataID(kMediaFileDataIDParent1 + level - 1);
        char *part = nullptr;
        if ((*status = MediaFileGetString(ref, id, &part)) != kMediaFileNoErr)
            return {};
        text += part;
        std::free(part);
        if (level > 0)
            text += '/';
    }
    return text;
}

} // namespace

int runFromName(const Args &args)
{
    std::optional<Template> pattern;
    DryRun dryRun;
    BatchOptions batch;
    std::vector<std::string> files;
    int parsed = parseCommandLine("from-name", kFromNameHelp, args, &batch, &files, [&](const std::string &arg, size_t &i, std::string *error) {
        if (dryRun.take(arg))
            return OptionMatch::Taken;
        if (arg != "--pattern")
            return OptionMatch::NotMine;
        std::string text;
        if (!takeValue(args, i, &text)) {
            *error = "--pattern needs a TEMPLATE";
            return OptionMatch::Error;
        }
        if (!(pattern = Template::parse(text, error)))
            return OptionMatch::Error;
        for (const TemplateField &field : pattern->fields()) {
            bool writable = field.source == TemplateField::Source::Skip ||
                            (field.info && !field.info->readOnly && (field.info->valueType == 'S' || field.info->valueType == 'I'));
            if (!writable) {
                *error = "%{" + field.name + "} cannot be set from a name";
                return OptionMatch::Error;
            }
        }
        return OptionMatch::Taken;
    });
    if (parsed >= 0)
        return parsed;
    if (!pattern)
        return usageError("from-name", "no --pattern TEMPLATE given");
    if (files.empty())
        return usageError("from-name", "no FILE given");
    const size_t folders = pattern->literalCount('/');

    auto job = [&](const std::string &path, size_t) {
        JobResult result;
        FileEdit edit(path, dryRun);
        if (!edit.open(batch, &result))
            return result;
        MediaFileStatus status = kMediaFileNoErr;
        std::string name = nameToMatch(edit.ref(), folders, &status);
        if (status != kMediaFileNoErr) {
            addError(&result, path + ": has fewer folders than the pattern: " + statusText(status));
            return result;
        }
        std::optional<Template::Match> match = pattern->match(name);
        if (!match) {
            addError(&result, path + ": the name does not fit the pattern: " + statusText(kMediaFileErrNotFound));
            return result;
        }
        for (const auto &[field, text] : *match) {
            if (field->source == TemplateField::Source::Skip)
                continue;
            if (MediaFileStatus set = writeText(edit.ref(), field->info, text))
                addError(&result, path + ": " + field->info->constantName + " = '" + text + "': " + statusText(set));
        }
        if (!result.failed)
            edit.finish(&result);
        return result;
    };
    return runBatch(files, batch, job);
}

} // namespace kestrabel::cli
