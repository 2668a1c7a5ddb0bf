/* Preloaded into tag_updater: makes the FAULT_INDEX-th call (from 0) of FAULT_CALL fail with FAULT_ERROR (a number), or
 * with FAULT_ERROR=short do a part of the work, or with FAULT_ERROR=kill end the process before the call does
 * anything. FAULT_ERROR=skip has fsync do nothing and say that it did. FAULT_INDEX=all makes every call fail. FAULT_CALL=any counts all calls that can fail, and "tmpfile" those of
 * openat that make a nameless file. Whether the call came is told by creating the file FAULT_REPORT. FAULT_NAMED=1
 * refuses nameless files, whatever else is to fail. Standard output and error are left alone. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

static int s_count;

enum { Pass, Fail, Short, Skip };

static int fault(const char* call)
{
    const char* wanted = getenv("FAULT_CALL");
    if (!wanted || (strcmp(wanted, call) != 0 && strcmp(wanted, "any") != 0))
        return Pass;
    const char* index = getenv("FAULT_INDEX");
    int now = s_count++;
    if (strcmp(index, "all") != 0 && atoi(index) != now)
        return Pass;
    static int (*open_)(const char*, int, ...);
    open_ = (int (*)(const char*, int, ...))dlsym(RTLD_NEXT, "open");
    close(open_(getenv("FAULT_REPORT"), O_CREAT | O_WRONLY, 0600));
    if (strcmp(getenv("FAULT_ERROR"), "short") == 0)
        return Short;
    if (strcmp(getenv("FAULT_ERROR"), "skip") == 0)
        return Skip;
    if (strcmp(getenv("FAULT_ERROR"), "kill") == 0)
        raise(SIGKILL);
    errno = atoi(getenv("FAULT_ERROR"));
    return Fail;
}

#define REAL(type, name, ...) ((type(*)(__VA_ARGS__))dlsym(RTLD_NEXT, name))

static size_t part(int what, size_t size) { return what == Short && size > 1 ? size / 2 : size; }

#define PWRITE(name)                                                                                                   \
    ssize_t name(int fd, const void* data, size_t size, off64_t offset)                                                \
    {                                                                                                                  \
        int what = fault("pwrite");                                                                                    \
        if (what == Fail)                                                                                              \
            return -1;                                                                                                 \
        return REAL(ssize_t, #name, int, const void*, size_t, off64_t)(fd, data, part(what, size), offset);            \
    }
PWRITE(pwrite)
PWRITE(pwrite64)

#define PREAD(name)                                                                                                    \
    ssize_t name(int fd, void* data, size_t size, off64_t offset)                                                      \
    {                                                                                                                  \
        int what = fault("pread");                                                                                     \
        if (what == Fail)                                                                                              \
            return -1;                                                                                                 \
        return REAL(ssize_t, #name, int, void*, size_t, off64_t)(fd, data, part(what, size), offset);                  \
    }
PREAD(pread)
PREAD(pread64)

ssize_t copy_file_range(int in, off64_t* from, int out, off64_t* to, size_t size, unsigned flags)
{
    int what = fault("copy_file_range");
    if (what == Fail)
        return -1;
    return REAL(ssize_t, "copy_file_range", int, off64_t*, int, off64_t*, size_t, unsigned)(
        in, from, out, to, part(what, size), flags);
}

int fsync(int fd)
{
    int what = fault("fsync");
    if (what == Skip)
        return 0;
    return what ? -1 : REAL(int, "fsync", int)(fd);
}

int renameat(int from, const char* old, int to, const char* name)
{
    return fault("renameat") ? -1 : REAL(int, "renameat", int, const char*, int, const char*)(from, old, to, name);
}

int linkat(int from, const char* old, int to, const char* name, int flags)
{
    return fault("linkat")
        ? -1
        : REAL(int, "linkat", int, const char*, int, const char*, int)(from, old, to, name, flags);
}

int unlinkat(int folder, const char* name, int flags)
{
    return fault("unlinkat") ? -1 : REAL(int, "unlinkat", int, const char*, int)(folder, name, flags);
}

#define TRUNCATE(name)                                                                                                 \
    int name(int fd, off64_t size) { return fault("ftruncate") ? -1 : REAL(int, #name, int, off64_t)(fd, size); }
TRUNCATE(ftruncate)
TRUNCATE(ftruncate64)

#define FALLOCATE(name)                                                                                                \
    int name(int fd, int mode, off64_t offset, off64_t size)                                                           \
    {                                                                                                                  \
        return fault("fallocate") ? -1 : REAL(int, #name, int, int, off64_t, off64_t)(fd, mode, offset, size);         \
    }
FALLOCATE(fallocate)
FALLOCATE(fallocate64)

int fchmod(int fd, mode_t mode) { return fault("fchmod") ? -1 : REAL(int, "fchmod", int, mode_t)(fd, mode); }

int fsetxattr(int fd, const char* name, const void* value, size_t size, int flags)
{
    return fault("fsetxattr")
        ? -1
        : REAL(int, "fsetxattr", int, const char*, const void*, size_t, int)(fd, name, value, size, flags);
}

int flock(int fd, int operation) { return fault("flock") ? -1 : REAL(int, "flock", int, int)(fd, operation); }

static int makesNameless(int flags) { return (flags & O_TMPFILE) == O_TMPFILE; }

static int refused(int flags)
{
    if (!makesNameless(flags))
        return fault("openat");
    if (getenv("FAULT_NAMED")) {
        errno = EOPNOTSUPP;
        return Fail;
    }
    return fault("tmpfile");
}

#define OPENAT(name)                                                                                                   \
    int name(int folder, const char* path, int flags, ...)                                                             \
    {                                                                                                                  \
        va_list list;                                                                                                  \
        va_start(list, flags);                                                                                         \
        mode_t mode = flags & O_CREAT || makesNameless(flags) ? va_arg(list, mode_t) : 0;                              \
        va_end(list);                                                                                                  \
        return refused(flags) ? -1 : REAL(int, #name, int, const char*, int, ...)(folder, path, flags, mode);          \
    }
OPENAT(openat)
OPENAT(openat64)

/* What the updates ask of it: to share blocks. */
int ioctl(int fd, unsigned long request, ...)
{
    va_list list;
    va_start(list, request);
    void* argument = va_arg(list, void*);
    va_end(list);
    return fault("ioctl") ? -1 : REAL(int, "ioctl", int, unsigned long, ...)(fd, request, argument);
}
