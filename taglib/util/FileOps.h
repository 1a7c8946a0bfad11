// The system calls a save goes through. Tests swap entries to make the Nth write, fsync,
// syncfs, rename or copy fail and check that the original file survives.
#pragma once

#include <sys/types.h>

namespace kestrabel::util {

struct FileOps {
    ssize_t (*pwrite)(int fd, const void *buffer, size_t count, off_t offset);
    int (*fsync)(int fd);
    int (*rename)(const char *from, const char *to);
    ssize_t (*copyFileRange)(int in, off_t *inOffset, int out, off_t *outOffset, size_t length, unsigned flags);
    int (*ftruncate)(int fd, off_t length);
    int (*syncfs)(int fd);
};

FileOps &fileOps();
void resetFileOps();

} // namespace kestrabel::util
