#include "OutputFile.h"

#include "util/File.h"
#include "util/FileOps.h"
#include "util/Saver.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrabel::cli {

namespace {

const char *kindOf(mode_t mode)
{
    if (S_ISDIR(mode))
        return "it is a folder";
    if (S_ISFIFO(mode))
        return "it is a FIFO, not a regular file";
    if (S_ISSOCK(mode))
        return "it is a socket, not a regular file";
    if (S_ISCHR(mode))
        return "it is a character device, not a regular file";
    if (S_ISBLK(mode))
        return "it is a block device, not a regular file";
    return "it is not a regular file";
}

// Mode 0666 lets the umask decide, as for any new file; an existing file's mode is put back.
MediaFileStatus createTemp(const std::string &target, std::string *tempPath, util::File *out)
{
    static thread_local std::mt19937_64 random{std::random_device{}()};
    size_t slash = target.find_last_of('/');
    std::string folder = slash == std::string::npos ? std::string() : target.substr(0, slash + 1);
    std::string base = slash == std::string::npos ? target : target.substr(slash + 1);
    for (int attempt = 0; attempt < 100; ++attempt) {
        char suffix[24];
        std::snprintf(suffix, sizeof suffix, "%012llx", static_cast<unsigned long long>(random() & 0xFFFFFFFFFFFFull));
        std::string candidate = folder + "." + base.substr(0, 200) + ".kestrabel-" + suffix;
        int fd = ::open(candidate.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            *tempPath = candidate;
            *out = util::File(fd);
            return kMediaFileNoErr;
        }
        if (errno != EEXIST)
            return util::statusFromErrno(kMediaFileErrCantCreate);
    }
    return EEXIST;
}

} // namespace

std::string pathBeside(const std::string &mediaPath, const std::string &extension)
{
    size_t nameStart = mediaPath.find_last_of('/');
    nameStart = nameStart == std::string::npos ? 0 : nameStart + 1;
    size_t dot = mediaPath.find_last_of('.');
    std::string stem = dot != std::string::npos && dot >= nameStart ? mediaPath.substr(0, dot) : mediaPath;
    return stem + "." + extension;
}

MediaFileStatus writeOutputFile(const std::string &path, std::string_view bytes, bool overwrite, std::string *cause)
{
    if (path.empty())
        return kMediaFileErrBadPath;
    std::string target = path;
    struct stat st {};
    bool exists = stat(path.c_str(), &st) == 0;
    if (exists) {
        // Replacing a device or a FIFO by a regular file is never what was meant.
        if (!S_ISREG(st.st_mode)) {
            *cause = kindOf(st.st_mode);
            return kMediaFileErrBadPath;
        }
        if (!overwrite)
            return kMediaFileErrExists;
        char *resolved = ::realpath(path.c_str(), nullptr);
        if (resolved)
            target = resolved;
        std::free(resolved);
    }
    std::string tempPath;
    util::File temp;
    if (MediaFileStatus status = createTemp(target, &tempPath, &temp))
        return status;
    auto fail = [&](MediaFileStatus status) {
        temp.close();
        ::unlink(tempPath.c_str());
        return status;
    };
    std::span<const uint8_t> data(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    if (MediaFileStatus status = temp.writeAt(0, data))
        return fail(status);
    if (exists)
        (void)!fchmod(temp.fd(), st.st_mode & 07777);
    errno = 0;
    if (util::fileOps().fsync(temp.fd()) != 0)
        return fail(util::statusFromErrno(kMediaFileErrWrite));
    if (MediaFileStatus status = temp.close())
        return fail(status);
    errno = 0;
    if (::rename(tempPath.c_str(), target.c_str()) != 0)
        return fail(util::statusFromErrno(kMediaFileErrWrite));
    return util::syncParentFolder(target);
}

} // namespace kestrabel::cli
