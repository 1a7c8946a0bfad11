#include "FileWalker.h"

#include <kestrabel/MediaFile.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <sys/stat.h>
#include <utility>

namespace kestrabel::cli {
namespace fs = std::filesystem;

namespace {

void walk(const fs::path &folder, FileList *list)
{
    std::error_code error;
    fs::directory_iterator it(folder, error);
    if (error) {
        list->errors.push_back(folder.string() + ": cannot read the folder: " + error.message());
        return;
    }
    std::vector<fs::directory_entry> entries;
    for (; it != fs::directory_iterator(); it.increment(error)) {
        if (error) {
            list->errors.push_back(folder.string() + ": cannot read the folder: " + error.message());
            break;
        }
        entries.push_back(*it);
    }
    std::sort(entries.begin(), entries.end(),
              [](const fs::directory_entry &a, const fs::directory_entry &b) { return a.path().filename() < b.path().filename(); });
    for (const fs::directory_entry &entry : entries) {
        std::error_code statusError;
        if (entry.is_symlink(statusError) && entry.is_directory(statusError))
            continue;
        if (entry.is_directory(statusError))
            walk(entry.path(), list);
        else if (entry.is_regular_file(statusError) && isMediaFile(entry.path().string())) {
            list->files.push_back(entry.path().string());
            list->identities.emplace_back();
        }
    }
}

} // namespace

bool isMediaFile(const std::string &path)
{
    MediaFileType kind = kMediaFileTypeUnsupported;
    if (MediaFileGetTypeForPath(path.c_str(), &kind) != kMediaFileNoErr)
        return false;
    return kind != kMediaFileTypeUnsupported && kind != kMediaFileTypeWMA;
}

std::vector<std::string> distinctFiles(FileList list)
{
    std::set<std::pair<dev_t, ino_t>> seen;
    std::vector<std::string> kept;
    kept.reserve(list.files.size());
    for (size_t i = 0; i < list.files.size(); ++i) {
        FileList::Identity identity = list.identities[i];
        struct stat st {};
        if (!identity.known && stat(list.files[i].c_str(), &st) == 0)
            identity = {true, st.st_dev, st.st_ino};
        if (!identity.known || seen.insert({identity.device, identity.inode}).second)
            kept.push_back(std::move(list.files[i]));
    }
    return kept;
}

FileList expandFileArguments(const std::vector<std::string> &arguments, bool recursive)
{
    FileList list;
    for (const std::string &argument : arguments) {
        struct stat st {};
        const bool found = stat(argument.c_str(), &st) == 0;
        if (!found || !S_ISDIR(st.st_mode)) {
            list.files.push_back(argument);
            list.identities.push_back({found, st.st_dev, st.st_ino});
        } else if (!recursive) {
            list.errors.push_back(argument + ": is a folder (use -r to go through it)");
        } else {
            walk(argument, &list);
        }
    }
    return list;
}

} // namespace kestrabel::cli
