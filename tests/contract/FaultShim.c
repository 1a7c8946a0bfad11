/*
 * Loaded with LD_PRELOAD into kestrabel-tag by the fault-injection tests: makes the Nth call of
 * one file operation fail with an errno, so that every failure point of a save can be tried.
 *   KESTRABEL_FAULT_OP    write | fsync | syncfs | rename | copy_file_range | any
 *   KESTRABEL_FAULT_AT    N (0 = the first call) — only calls on files opened after start-up count
 *   KESTRABEL_FAULT_ERRNO errno to fail with (default EIO)
 * The number of calls seen is written to KESTRABEL_FAULT_COUNT_FILE at exit, so that the test
 * knows when N has passed the last call.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static long gCalls;
static long gFailAt = -1;
static int gErrno = EIO;
static const char *gOp;

static void report(void)
{
    const char *path = getenv("KESTRABEL_FAULT_COUNT_FILE");
    if (!path)
        return;
    FILE *(*realFopen)(const char *, const char *) = dlsym(RTLD_NEXT, "fopen");
    FILE *out = realFopen(path, "w");
    if (out) {
        fprintf(out, "%ld\n", gCalls);
        fclose(out);
    }
}

__attribute__((constructor)) static void setUp(void)
{
    const char *at = getenv("KESTRABEL_FAULT_AT");
    const char *code = getenv("KESTRABEL_FAULT_ERRNO");
    gOp = getenv("KESTRABEL_FAULT_OP");
    if (at)
        gFailAt = atol(at);
    if (code)
        gErrno = atoi(code);
    atexit(report);
}

/* Counts a call of the kind; true when this one must fail. Standard output and error never fail. */
static int shouldFail(const char *op, int fd)
{
    if (fd >= 0 && fd <= 2)
        return 0;
    if (!gOp || (strcmp(gOp, op) != 0 && strcmp(gOp, "any") != 0))
        return 0;
    return gCalls++ == gFailAt;
}

#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

ssize_t write(int fd, const void *buffer, size_t count)
{
    if (shouldFail("write", fd))
        return errno = gErrno, -1;
    return REAL(write)(fd, buffer, count);
}

ssize_t pwrite(int fd, const void *buffer, size_t count, off_t offset)
{
    if (shouldFail("write", fd))
        return errno = gErrno, -1;
    return REAL(pwrite)(fd, buffer, count, offset);
}

ssize_t pwrite64(int fd, const void *buffer, size_t count, off_t offset)
{
    if (shouldFail("write", fd))
        return errno = gErrno, -1;
    return REAL(pwrite64)(fd, buffer, count, offset);
}

size_t fwrite(const void *buffer, size_t size, size_t count, FILE *stream)
{
    if (shouldFail("write", fileno(stream)))
        return errno = gErrno, 0;
    return REAL(fwrite)(buffer, size, count, stream);
}

int fsync(int fd)
{
    if (shouldFail("fsync", fd))
        return errno = gErrno, -1;
    return REAL(fsync)(fd);
}

int fdatasync(int fd)
{
    if (shouldFail("fsync", fd))
        return errno = gErrno, -1;
    return REAL(fdatasync)(fd);
}

int syncfs(int fd)
{
    if (shouldFail("syncfs", fd))
        return errno = gErrno, -1;
    return REAL(syncfs)(fd);
}

int rename(const char *from, const char *to)
{
    if (shouldFail("rename", -1))
        return errno = gErrno, -1;
    return REAL(rename)(from, to);
}

ssize_t copy_file_range(int in, off_t *inOffset, int out, off_t *outOffset, size_t length, unsigned flags)
{
    if (shouldFail("copy_file_range", out))
        return errno = gErrno, -1;
    return REAL(copy_file_range)(in, inOffset, out, outOffset, length, flags);
}
