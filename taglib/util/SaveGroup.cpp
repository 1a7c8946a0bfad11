#include "SaveGroup.h"

#include "File.h"
#include "FileOps.h"

#include <cerrno>
#include <fcntl.h>
#include <map>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrabel::util {

namespace {

thread_local HoldSaves *tHolder = nullptr;

std::string folderOf(const std::string &path)
{
    size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// One syncfs for the file system that holds folder; the folder's own file system is the new
// files' one, since each is made beside its original.
MediaFileStatus syncFileSystemOf(const std::string &folder)
{
    int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return statusFromErrno();
    errno = 0;
    MediaFileStatus status = fileOps().syncfs(fd) == 0 ? kMediaFileNoErr : statusFromErrno();
    ::close(fd);
    return status;
}

MediaFileStatus syncFile(const std::string &path)
{
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return statusFromErrno();
    errno = 0;
    MediaFileStatus status = fileOps().fsync(fd) == 0 ? kMediaFileNoErr : statusFromErrno();
    ::close(fd);
    return status;
}

} // namespace

SaveGroup::~SaveGroup()
{
    for (const Held &held : held_)
        ::unlink(held.tempPath.c_str());
}

void SaveGroup::hold(std::string label, std::string target, std::string tempPath)
{
    std::lock_guard lock(mutex_);
    held_.push_back({std::move(label), std::move(target), std::move(tempPath)});
}

std::vector<SaveGroup::Failure> SaveGroup::commit()
{
    std::vector<Held> held;
    {
        std::lock_guard lock(mutex_);
        held.swap(held_);
    }
    std::vector<Failure> failures;
    // Every new file on the disk before any rename: one syncfs per file system, or the file's
    // own fsync where it is the only one there, which spares flushing what other programs wrote.
    std::vector<MediaFileStatus> statuses(held.size(), kMediaFileNoErr);
    std::vector<dev_t> devices(held.size());
    std::map<dev_t, size_t> filesOn;
    for (size_t i = 0; i < held.size(); ++i) {
        struct stat st {};
        if (::stat(held[i].tempPath.c_str(), &st) != 0)
            statuses[i] = statusFromErrno();
        devices[i] = st.st_dev;
        ++filesOn[st.st_dev];
    }
    std::map<dev_t, MediaFileStatus> synced;
    for (size_t i = 0; i < held.size(); ++i) {
        if (statuses[i] != kMediaFileNoErr)
            continue;
        if (filesOn[devices[i]] == 1) {
            statuses[i] = syncFile(held[i].tempPath);
            continue;
        }
        auto [it, added] = synced.emplace(devices[i], kMediaFileNoErr);
        if (added)
            it->second = syncFileSystemOf(folderOf(held[i].tempPath));
        statuses[i] = it->second;
    }
    std::set<std::string> folders;
    for (size_t i = 0; i < held.size(); ++i) {
        if (statuses[i] == kMediaFileNoErr) {
            errno = 0;
            if (fileOps().rename(held[i].tempPath.c_str(), held[i].target.c_str()) == 0)
                folders.insert(folderOf(held[i].target));
            else
                statuses[i] = statusFromErrno();
        }
        if (statuses[i] != kMediaFileNoErr) {
            ::unlink(held[i].tempPath.c_str());
            failures.push_back({held[i].label, statuses[i]});
        }
    }
    // The renames themselves made durable, once per folder; as for a single save, a folder
    // that cannot be flushed is no failure of the saves, which have happened.
    for (const std::string &folder : folders) {
        int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd >= 0) {
            fileOps().fsync(fd);
            ::close(fd);
        }
    }
    return failures;
}

HoldSaves::HoldSaves(SaveGroup &group, std::string label) : group_(group), label_(std::move(label)) { tHolder = this; }

HoldSaves::~HoldSaves() { tHolder = nullptr; }

bool holdingSaves() { return tHolder != nullptr; }

void holdNewFile(const std::string &target, const std::string &tempPath)
{
    tHolder->group_.hold(tHolder->label_, target, tempPath);
    tHolder->held_ = true;
}

} // namespace kestrabel::util
