/* Shows progress as its standard input says, one order a line, so that a test
 * is the clock:
 *
 *   window TOTAL TEXT    StartProgressDialog, with the title "Progress of a job"
 *   at VALUE             UpdateProgressDialog
 *   counts E W C         SetErrorCounters
 *   close                CloseProgressDialog
 *   say TEXT             a line of output
 *
 * At its end it prints "end". */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/progress.h>

/* The text behind the first word, if that is `word`. */
static char* after(char* line, const char* word) {
  unsigned long long length = strlen(word);
  if (strncmp(line, word, length) != 0) return 0;
  if (line[length] == 0) return line + length;
  return line[length] == ' ' ? line + length + 1 : 0;
}

static void obey(char* line) {
  char* rest;
  int errors, warnings, comments;
  if ((rest = after(line, "window")) != 0) {
    char* text = rest;
    while (*text != 0 && *text != ' ') ++text;
    StartProgressDialog(atoi(rest), "Progress of a job", *text != 0 ? text + 1 : text);
  } else if ((rest = after(line, "at")) != 0) {
    UpdateProgressDialog(atoi(rest));
  } else if ((rest = after(line, "counts")) != 0) {
    sscanf(rest, "%d %d %d", &errors, &warnings, &comments);
    SetErrorCounters(errors, warnings, comments);
  } else if (after(line, "close") != 0) {
    CloseProgressDialog();
  } else if ((rest = after(line, "say")) != 0) {
    printf("%s\n", rest);
  } else {
    printf("what is '%s'?\n", line);
  }
  fflush(stdout);
}

int main(void) {
  static char line[400];
  while (fgets(line, sizeof line, stdin) != 0) {
    unsigned long long length = strlen(line);
    while (length > 0 && (line[length - 1] == '\n' || line[length - 1] == '\r')) line[--length] = 0;
    obey(line);
  }
  printf("end\n");
  return 0;
}
