#include "FileOps.h"

#include <cstdio>
#include <unistd.h>

namespace kestrabel::util {

namespace {

ssize_t systemCopyFileRange(int in, off_t *inOffset, int out, off_t *outOffset, size_t length, unsigned flags)
{
    return ::copy_file_range(in, inOffset, out, outOffset, length, flags);
}

constexpr FileOps kSystemOps{::pwrite, ::fsync, ::rename, systemCopyFileRange, ::ftruncate, ::syncfs};

FileOps gOps = kSystemOps;

} // namespace

FileOps &fileOps() { return gOps; }
void resetFileOps() { gOps = kSystemOps; }

} // namespace kestrabel::util
