/* Runs a command and prints its peak resident memory in KB on the last line of
 * standard error. The command is forked from this small process: forked from the
 * benchmark script, its peak would start at the script's own size. */
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: peak_rss COMMAND [ARGS...]\n");
    return 2;
  }
  pid_t pid = fork();
  if (pid < 0) return 2;
  if (pid == 0) {
    execvp(argv[1], argv + 1);
    _exit(127);
  }
  int status = 0;
  struct rusage usage;
  if (wait4(pid, &status, 0, &usage) < 0) return 2;
  fprintf(stderr, "peak_rss_kb %ld\n", usage.ru_maxrss);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
