/* The log, the checksum, quotes and folders that are missing. */
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/files.h>

int main(void) {
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
  return 0;
}
