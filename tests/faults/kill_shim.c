/* A preloaded library (LD_PRELOAD) that stands before the libc calls by which a program changes the
 * disk, opens a file or asks about one, counts them, and ends the process before a chosen one: by
 * SIGKILL, with nothing flushed and no handler run.
 *
 * A call that carries data is two points: before it, and in its middle, when half of the data has
 * been moved. Reading a file's content or a folder's names is no point: the disk is then as it is
 * at the open before, and their number differs from run to run where the program lists the
 * processes.
 *
 * Environment:
 *   KILL_SHIM_AT=N         ends the process at point N (from 1)
 *   KILL_SHIM_LOG=FILE     writes a line for each point: "change" or "ask", the call, its path
 *   KILL_SHIM_REFUSE=TEXT  a rename whose source has this text in it, and an open of a path that
 *                          ends in it, fails with EACCES; sleeping is skipped. Not counted.
 *   KILL_SHIM_JITTER=SEED  sleeps up to half a millisecond at some of the points, up to 20
 *                          milliseconds before some of the moves
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

static unsigned long kill_at;
static unsigned long reached;
static unsigned jitter;
static const char* refused;
static int log_file = -1;

/* Read at the first point, not in a constructor: another library's may come first. */
static void Configure(void) {
  static int configured;
  if (configured) return;
  configured = 1;
  const char* text = getenv("KILL_SHIM_AT");
  if (text != NULL) kill_at = strtoul(text, NULL, 10);
  text = getenv("KILL_SHIM_JITTER");
  if (text != NULL) jitter = (unsigned)strtoul(text, NULL, 10) | 1U;
  refused = getenv("KILL_SHIM_REFUSE");
  text = getenv("KILL_SHIM_LOG");
  if (text != NULL) {
    log_file =
        (int)syscall(SYS_openat, AT_FDCWD, text, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  }
}

static void Sleep(long nanoseconds) {
  const struct timespec time = {0, nanoseconds};
  syscall(SYS_nanosleep, &time, NULL);
}

/* Now and then, and longest where a transaction is in two minds: between its moves. */
static void Dawdle(int before_a_move) {
  jitter = jitter * 1103515245U + 12345U;
  const unsigned longest = before_a_move ? 20000000U : 500000U;
  if ((jitter >> 16) % 4 == 0) Sleep((long)((jitter >> 4) % longest));
}

static void Point(int changes, const char* call, const char* path) {
  Configure();
  ++reached;
  if (log_file >= 0) {
    char line[4200];
    const int length = snprintf(line, sizeof(line), "%s %s %s\n", changes ? "change" : "ask", call,
                                path == NULL ? "" : path);
    if (length > 0) syscall(SYS_write, log_file, line, (size_t)length);
  }
  if (reached == kill_at) {
    syscall(SYS_kill, getpid(), SIGKILL);
    for (;;) Sleep(1000000);
  }
  if (jitter != 0) Dawdle(strcmp(call, "rename") == 0);
}

static int EndsInRefused(const char* path) {
  Configure();
  if (refused == NULL) return 0;
  const size_t length = strlen(path);
  const size_t end = strlen(refused);
  return length >= end && strcmp(path + length - end, refused) == 0;
}

static int RefusesMove(const char* from) {
  Configure();
  return refused != NULL && strstr(from, refused) != NULL;
}

static int Refuse(void) {
  errno = EACCES;
  return -1;
}

#define NEXT(name) (__extension__(__typeof__(&name)) dlsym(RTLD_NEXT, #name))

/* A call that only has to be counted, in one line each. */
#define COUNTED(type, name, parameters, arguments, changes, path) \
  type name parameters {                                          \
    static type(*next) parameters;                                \
    if (next == NULL) next = NEXT(name);                          \
    Point(changes, #name, path);                                  \
    return next arguments;                                        \
  }

COUNTED(int, mkdir, (const char* p, mode_t m), (p, m), 1, p)
COUNTED(int, mkdirat, (int f, const char* p, mode_t m), (f, p, m), 1, p)
COUNTED(int, rmdir, (const char* p), (p), 1, p)
COUNTED(int, unlink, (const char* p), (p), 1, p)
COUNTED(int, unlinkat, (int f, const char* p, int g), (f, p, g), 1, p)
COUNTED(int, remove, (const char* p), (p), 1, p)
COUNTED(int, link, (const char* a, const char* b), (a, b), 1, b)
COUNTED(int, symlink, (const char* a, const char* b), (a, b), 1, b)
COUNTED(int, truncate, (const char* p, off_t n), (p, n), 1, p)
COUNTED(int, ftruncate, (int f, off_t n), (f, n), 1, NULL)
COUNTED(int, chmod, (const char* p, mode_t m), (p, m), 1, p)
COUNTED(int, fchmod, (int f, mode_t m), (f, m), 1, NULL)
COUNTED(int, fchmodat, (int f, const char* p, mode_t m, int g), (f, p, m, g), 1, p)
COUNTED(int, utimensat, (int f, const char* p, const struct timespec t[2], int g), (f, p, t, g), 1,
        p)
COUNTED(int, stat, (const char* restrict p, struct stat* restrict s), (p, s), 0, p)
COUNTED(int, lstat, (const char* restrict p, struct stat* restrict s), (p, s), 0, p)
COUNTED(int, fstat, (int f, struct stat* s), (f, s), 0, NULL)
COUNTED(int, fstat64, (int f, struct stat64* s), (f, s), 0, NULL)
COUNTED(int, fstatat, (int f, const char* restrict p, struct stat* restrict s, int g), (f, p, s, g),
        0, p)
COUNTED(char*, realpath, (const char* restrict p, char* restrict r), (p, r), 0, p)
COUNTED(ssize_t, readlink, (const char* restrict p, char* restrict b, size_t n), (p, b, n), 0, p)

int rename(const char* from, const char* to) {
  if (RefusesMove(from)) return Refuse();
  Point(1, "rename", to);
  return NEXT(rename)(from, to);
}

int renameat(int from_folder, const char* from, int to_folder, const char* to) {
  if (RefusesMove(from)) return Refuse();
  Point(1, "renameat", to);
  return NEXT(renameat)(from_folder, from, to_folder, to);
}

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  if (RefusesMove(from)) return Refuse();
  Point(1, "renameat2", to);
  return NEXT(renameat2)(from_folder, from, to_folder, to, flags);
}

static int Writes(int flags) { return (flags & (O_CREAT | O_TRUNC | O_WRONLY | O_RDWR)) != 0; }

/* The mode is there only when a file may be created. */
#define TAKE_MODE(flags, mode)                                     \
  mode_t mode = 0;                                                 \
  if (((flags) & O_CREAT) || ((flags) & O_TMPFILE) == O_TMPFILE) { \
    va_list rest;                                                  \
    va_start(rest, flags);                                         \
    mode = va_arg(rest, mode_t);                                   \
    va_end(rest);                                                  \
  }

#define OPEN(name)                             \
  int name(const char* path, int flags, ...) { \
    TAKE_MODE(flags, mode)                     \
    if (EndsInRefused(path)) return Refuse();  \
    Point(Writes(flags), #name, path);         \
    return NEXT(name)(path, flags, mode);      \
  }
OPEN(open)
OPEN(open64)

#define OPENAT(name)                                       \
  int name(int folder, const char* path, int flags, ...) { \
    TAKE_MODE(flags, mode)                                 \
    if (EndsInRefused(path)) return Refuse();              \
    Point(Writes(flags), #name, path);                     \
    return NEXT(name)(folder, path, flags, mode);          \
  }
OPENAT(openat)
OPENAT(openat64)

#define FOPEN(name)                                          \
  FILE* name(const char* path, const char* mode) {           \
    if (strpbrk(mode, "wa+") != NULL) Point(1, #name, path); \
    return NEXT(name)(path, mode);                           \
  }
FOPEN(fopen)
FOPEN(fopen64)

/* Only a file's data is counted: what goes to a terminal or a pipe is no disk. */
static int IsFile(int descriptor) {
  struct stat found;
  return syscall(SYS_fstat, descriptor, &found) == 0 && S_ISREG(found.st_mode);
}

/* Whether the process ends in the middle of a call that carries data: the caller then moves half
 * of it first. */
static int EndsInside(const char* call) {
  if (reached + 1 == kill_at) return 1;
  Point(1, call, "(in its middle)");
  return 0;
}

ssize_t write(int descriptor, const void* bytes, size_t count) {
  if (IsFile(descriptor)) {
    Point(1, "write", NULL);
    if (EndsInside("write")) {
      syscall(SYS_write, descriptor, bytes, count / 2);
      Point(1, "write", NULL);
    }
  }
  return syscall(SYS_write, descriptor, bytes, count);
}

ssize_t writev(int descriptor, const struct iovec* parts, int count) {
  if (IsFile(descriptor)) {
    Point(1, "writev", NULL);
    if (EndsInside("writev")) {
      if (count > 0) syscall(SYS_write, descriptor, parts[0].iov_base, parts[0].iov_len / 2);
      Point(1, "writev", NULL);
    }
  }
  return syscall(SYS_writev, descriptor, parts, count);
}

ssize_t sendfile(int to, int from, off_t* offset, size_t count) {
  Point(1, "sendfile", NULL);
  if (EndsInside("sendfile")) {
    NEXT(sendfile)(to, from, offset, count / 2);
    Point(1, "sendfile", NULL);
  }
  return NEXT(sendfile)(to, from, offset, count);
}

ssize_t copy_file_range(int from, off64_t* from_offset, int to, off64_t* to_offset, size_t count,
                        unsigned flags) {
  Point(1, "copy_file_range", NULL);
  if (EndsInside("copy_file_range")) {
    NEXT(copy_file_range)(from, from_offset, to, to_offset, count / 2, flags);
    Point(1, "copy_file_range", NULL);
  }
  return NEXT(copy_file_range)(from, from_offset, to, to_offset, count, flags);
}

int nanosleep(const struct timespec* time, struct timespec* left) {
  Configure();
  if (refused != NULL) return 0;
  return NEXT(nanosleep)(time, left);
}

int clock_nanosleep(clockid_t clock, int flags, const struct timespec* time,
                    struct timespec* left) {
  Configure();
  if (refused != NULL) return 0;
  return NEXT(clock_nanosleep)(clock, flags, time, left);
}
