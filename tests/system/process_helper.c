/* A small program the process tests start:
 *   helper sleep SECONDS      sleeps, then exits 0
 *   helper exit CODE          exits with CODE at once
 *   helper echo FILE ARGS...  writes argv[0] and each argument on its own line to FILE
 * Without arguments it exits 0. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
  if (argc >= 3 && strcmp(argv[1], "sleep") == 0) {
    sleep((unsigned)atoi(argv[2]));
    return 0;
  }
  if (argc >= 3 && strcmp(argv[1], "exit") == 0) return atoi(argv[2]);
  if (argc >= 3 && strcmp(argv[1], "echo") == 0) {
    FILE* out = fopen(argv[2], "w");
    if (!out) return 99;
    fprintf(out, "%s\n", argv[0]);
    for (int i = 3; i < argc; ++i) fprintf(out, "%s\n", argv[i]);
    return fclose(out) == 0 ? 0 : 98;
  }
  return 0;
}
