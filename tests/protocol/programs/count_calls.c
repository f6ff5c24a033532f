// Preloaded on the host: writes down each call that touches a file or folder below K7K_COUNT_ROOT,
// one line "kind bytes path" in the file K7K_COUNT_LOG.
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

// The function of that name that would have been called.
#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

static void note(const char* kind, long bytes, const char* path) {
  const char* root = getenv("K7K_COUNT_ROOT");
  const char* log = getenv("K7K_COUNT_LOG");
  if (root == NULL || log == NULL || strncmp(path, root, strlen(root)) != 0) return;
  char line[2 * PATH_MAX];
  const int length = snprintf(line, sizeof line, "%s %ld %s\n", kind, bytes, path);
  const long file = syscall(SYS_openat, AT_FDCWD, log, O_WRONLY | O_CREAT | O_APPEND, 0600);
  if (file < 0 || syscall(SYS_write, file, line, length) != length) abort();
  syscall(SYS_close, file);
}

static const char* path_of(int file, char* path) {
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  const long length = syscall(SYS_readlinkat, AT_FDCWD, link, path, PATH_MAX - 1);
  path[length < 0 ? 0 : length] = '\0';
  return path;
}

static void note_file(const char* kind, long bytes, int file) {
  char path[PATH_MAX];
  note(kind, bytes, path_of(file, path));
}

static void note_at(const char* kind, int folder, const char* name) {
  char path[PATH_MAX];
  char whole[2 * PATH_MAX];
  if (folder == AT_FDCWD || name[0] == '/') {
    note(kind, 0, name);
  } else {
    snprintf(whole, sizeof whole, "%s/%s", path_of(folder, path), name);
    note(kind, 0, whole);
  }
}

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const int file = REAL(open)(path, flags, va_arg(rest, int));
  va_end(rest);
  if (file >= 0) note("open", 0, path);
  return file;
}

int openat(int folder, const char* name, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const int file = REAL(openat)(folder, name, flags, va_arg(rest, int));
  va_end(rest);
  if (file >= 0) note_at("open", folder, name);
  return file;
}

int close(int file) {
  note_file("close", 0, file);
  return REAL(close)(file);
}

// How the standard library closes the file of a stream.
int fclose(FILE* stream) {
  note_file("close", 0, fileno(stream));
  return REAL(fclose)(stream);
}

DIR* opendir(const char* path) {
  DIR* folder = REAL(opendir)(path);
  if (folder != NULL) {
    note("open", 0, path);
    note("list", 0, path);
  }
  return folder;
}

DIR* fdopendir(int file) {
  note_file("list", 0, file);
  return REAL(fdopendir)(file);
}

int closedir(DIR* folder) {
  note_file("close", 0, dirfd(folder));
  return REAL(closedir)(folder);
}

ssize_t read(int file, void* buffer, size_t size) {
  const ssize_t count = REAL(read)(file, buffer, size);
  if (count > 0) note_file("read", count, file);
  return count;
}

ssize_t write(int file, const void* buffer, size_t size) {
  const ssize_t count = REAL(write)(file, buffer, size);
  if (count > 0) note_file("write", count, file);
  return count;
}

ssize_t writev(int file, const struct iovec* parts, int number) {
  const ssize_t count = REAL(writev)(file, parts, number);
  if (count > 0) note_file("write", count, file);
  return count;
}

ssize_t sendfile(int to, int from, off_t* offset, size_t size) {
  const ssize_t count = REAL(sendfile)(to, from, offset, size);
  if (count > 0) note_file("read", count, from);
  if (count > 0) note_file("write", count, to);
  return count;
}

ssize_t copy_file_range(int from, off64_t* offset, int to, off64_t* to_offset, size_t size,
                        unsigned flags) {
  const ssize_t count = REAL(copy_file_range)(from, offset, to, to_offset, size, flags);
  if (count > 0) note_file("read", count, from);
  if (count > 0) note_file("write", count, to);
  return count;
}

int fsync(int file) {
  note_file("flush", 0, file);
  return REAL(fsync)(file);
}

int stat(const char* path, struct stat* found) {
  note("ask", 0, path);
  return REAL(stat)(path, found);
}

int lstat(const char* path, struct stat* found) {
  note("ask", 0, path);
  return REAL(lstat)(path, found);
}

int fstat(int file, struct stat* found) {
  note_file("ask", 0, file);
  return REAL(fstat)(file, found);
}

char* realpath(const char* path, char* resolved) {
  note("ask", 0, path);
  return REAL(realpath)(path, resolved);
}

int mkdir(const char* path, mode_t mode) {
  note("make", 0, path);
  return REAL(mkdir)(path, mode);
}

int rename(const char* from, const char* to) {
  note("move", 0, from);
  return REAL(rename)(from, to);
}

int unlinkat(int folder, const char* name, int flags) {
  note_at("remove", folder, name);
  return REAL(unlinkat)(folder, name, flags);
}
