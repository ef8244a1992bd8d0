/* The log, the checksum, quotes, folders that are missing, and names as Windows
 * takes them: in any case, with dots and blanks at the end, of devices; and one
 * in UTF-8, the program's argument. */
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/files.h>

static int opens(const char* path, const char* mode) {
  FILE* file = fopen(path, mode);
  if (file) fclose(file);
  return file != 0;
}

static void write_names(void) {
  static const char* const names[] = {
      "EVENTS.log",
      "events.LOG.",
      "events.log. .",
      "events.log\\",
      ".\\MADE\\On\\the\\WAY\\File",
      "made.\\on\\THE",
      "made..\\on",
      "made \\on",
      "MADE. ",
      "...",
      "  ",
      "made\\ ",
      "made\\on\\nul",
      "none\\nul",
      "nul",
      "NUL.txt",
      "nul :x",
      "lpt9.dat",
      "com0",
      "com10",
  };
  for (unsigned i = 0; i < sizeof names / sizeof *names; ++i) {
    const char* name = names[i];
    int date, time;
    printf("[%s] r %d r+ %d there %d access %d %d size %d found %d\n", name, opens(name, "rb"),
           opens(name, "r+"), FileExists(name), _access(name, 0), _access(name, 6),
           (int)get_file_size(name), get_file_date_time(name, &date, &time));
  }
  printf("console: %d %d\n", FileExists("con"), _access("conout$.x", 6));  // there may be none
  printf("made: %d %d %d %d\n", opens("new.", "w"), opens("NEW", "w"), opens("Made\\new. .", "w"),
         opens("prn.txt", "w"));
  printf("into: %d %d\n", _chdir("MADE."), _access("NEW", 0));
  printf("gone: %d %d %d\n", _unlink("..\\NEW"), _unlink("NEW "), _unlink("nul"));
}

int main(int count, char** arguments) {
  printf("log: %d", log_event("one", "events.log"));
  printf(" %d", log_event("two\n", "events.log"));
  printf(" %d\n", log_event("x", "none\\events.log"));
  int size = (int)get_file_size("events.log");
  char* log = __read_file("events.log");
  printf("%d bytes: ", size);
  for (int i = 0; log && i < size; ++i) printf("%02X", log[i]);
  printf("\n");
  free(log);
  printf("no file: %d\n", __read_file("none") == 0);

  unsigned int sums[2];
  file_checksum("events.log", sums);
  printf("checksum %08X %08X\n", sums[0], sums[1]);

  char text[40] = "two words", copy[40];
  __dquote_string(text, copy);
  printf("%s\n", copy);
  __dquote_string(text, 0);
  __dquote_string(text, 0);
  printf("%s\n", text);
  __dunquote_string(text, 0);
  printf("%s\n", text);

  FILE* file = open_file_path(".\\made\\on\\the\\way\\file", "w");
  printf("open_file_path: %d %d\n", file != 0, _access(".\\made\\on\\the\\way", 0));
  if (file) fclose(file);
  printf("again: %d\n", (file = open_file_path(".\\made\\on\\the\\way\\file", "r")) != 0);
  printf("held: %d\n", set_file_date_time(".\\made\\on\\the\\way\\file", 0x5121, 0x6C2A));

  char date[11], time[9];
  dos_date_time_to_text(0x5121, 0x6C2A, date, time);
  printf("%s %s\n", date, time);
  printf("drives: %d %d\n", disk_is_remote('z') == disk_is_remote('Z'), disk_is_remote('q'));
  write_names();
  const char* name = count > 1 ? arguments[1] : "";
  printf("%s: %d", name, opens(name, "w"));
  printf(" %d\n", opens("GRÖßE.TXT", "r"));
  return 0;
}
