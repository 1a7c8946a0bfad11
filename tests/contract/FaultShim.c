/*
 * Loaded with LD_PRELOAD into kestrabel-tag by the fault-injection tests: makes the Nth call of
 * one file operation fail with an errno, so that every failure point of a save can be tried.
 *   KESTRABEL_FAULT_OP    write | fsync | syncfs | rename | copy_file_range | any
 *   KESTRABEL_FAULT_AT    N (0 = the first call); standard output and error never fail
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

#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

static void report(void)
{
    const char *path = getenv("KESTRABEL_FAULT_COUNT_FILE");
    FILE *out = path ? REAL(fopen)(path, "w") : NULL;
    if (out) {
        fprintf(out, "%ld\n", gCalls);
        fclose(out);
    }
}

__attribute__((constructor)) static void setUp(void)
{
    gOp = getenv("KESTRABEL_FAULT_OP");
    gFailAt = getenv("KESTRABEL_FAULT_AT") ? atol(getenv("KESTRABEL_FAULT_AT")) : -1;
    gErrno = getenv("KESTRABEL_FAULT_ERRNO") ? atoi(getenv("KESTRABEL_FAULT_ERRNO")) : EIO;
    atexit(report);
}

/* Counts a call of the kind; true when this one must fail. */
static int shouldFail(const char *op, int fd)
{
    if ((fd >= 0 && fd <= 2) || !gOp || (strcmp(gOp, op) != 0 && strcmp(gOp, "any") != 0))
        return 0;
    return gCalls++ == gFailAt;
}

#define FAULTY(type, name, op, fd, failed, params, args)                                                                 \
    type name params                                                                                                     \
    {                                                                                                                    \
        if (shouldFail(op, fd))                                                                                          \
            return errno = gErrno, failed;                                                                               \
        return REAL(name) args;                                                                                          \
    }

FAULTY(ssize_t, write, "write", fd, -1, (int fd, const void *b, size_t n), (fd, b, n))
FAULTY(ssize_t, pwrite, "write", fd, -1, (int fd, const void *b, size_t n, off_t at), (fd, b, n, at))
FAULTY(ssize_t, pwrite64, "write", fd, -1, (int fd, const void *b, size_t n, off_t at), (fd, b, n, at))
FAULTY(size_t, fwrite, "write", fileno(s), 0, (const void *b, size_t size, size_t n, FILE *s), (b, size, n, s))
FAULTY(int, fsync, "fsync", fd, -1, (int fd), (fd))
FAULTY(int, fdatasync, "fsync", fd, -1, (int fd), (fd))
FAULTY(int, syncfs, "syncfs", fd, -1, (int fd), (fd))
FAULTY(int, rename, "rename", -1, -1, (const char *from, const char *to), (from, to))
FAULTY(ssize_t, copy_file_range, "copy_file_range", out, -1, (int in, off_t *inAt, int out, off_t *outAt, size_t n, unsigned flags),
       (in, inAt, out, outAt, n, flags))
