// Preloaded on the host: every move fails 19 times, and for good where its target's name matches
// the pattern BLOCKED_MOVES. Each attempt adds a byte to the file MOVE_ATTEMPTS, if that is set.
#include <errno.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <unistd.h>

static void CountAttempt(void) {
  const char* path = getenv("MOVE_ATTEMPTS");
  if (path == NULL) return;
  const int file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (file < 0 || write(file, "x", 1) != 1 || close(file) != 0) abort();
}

int rename(const char* from, const char* to) {
  static int failed;
  CountAttempt();
  const char* slash = strrchr(to, '/');
  const char* pattern = getenv("BLOCKED_MOVES");
  if (pattern == NULL) abort();
  if (failed < 19 || fnmatch(pattern, slash == NULL ? to : slash + 1, 0) == 0) {
    failed = (failed + 1) % 20;
    errno = EACCES;
    return -1;
  }
  failed = 0;
  return (int)syscall(SYS_rename, from, to);
}
