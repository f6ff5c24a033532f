// Runs a command and writes its peak of resident memory, in KiB, into the file named first. A
// process starts with its parent's peak, so the parent that measures must be a small one.
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argument_count, char** arguments) {
  if (argument_count < 3) return 98;
  const pid_t child = fork();
  if (child == 0) {
    execvp(arguments[2], arguments + 2);
    _exit(97);
  }
  int status = 0;
  struct rusage usage;
  if (child < 0 || wait4(child, &status, 0, &usage) != child) return 96;
  FILE* file = fopen(arguments[1], "w");
  if (file == NULL || fprintf(file, "%ld", usage.ru_maxrss) < 0 || fclose(file) != 0) return 95;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 94;
}
