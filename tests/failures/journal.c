/* Writes a journal; its status is 1 more than the lines whose writing was confirmed. */
#include <stdio.h>
#include <tarn/files.h>

int main(void) {
  int confirmed = 0;
  char line[40];
  for (int part = 0; part < 2; ++part) {
    FILE* file = fopen("journal", part ? "a" : "w");
    if (!file) continue;
    int written = 0, failed = 0;
    for (; written < 6 && !failed; written += !failed) {
      sprintf(line, "line %d of the journal\n", confirmed + written);
      failed = fputs(line, file) < 0 || fflush(file) != 0;
    }
    confirmed += written;
    fclose(file);
    if (failed) return confirmed + 1;
  }
  for (; confirmed < 16; ++confirmed) {
    sprintf(line, "line %d of the journal", confirmed);
    if (!log_event(line, "journal")) break;
  }
  return confirmed + 1;
}
