/* Stamps of a file in the zone of the run, whose TZ the test sets. */
#include <io.h>
#include <stdio.h>
#include <string.h>
#include <tarn/files.h>

static const char path[] = "stamped";

static void stamp(const char* date, const char* time) {
  char date_text[11] = "", time_text[9] = "";
  int set = set_file_date_time_text(path, date, time);
  int got = get_file_date_time_text(path, date_text, time_text);
  printf("%s %s: %d %d, read back as %s %s\n", date, time, set, got, date_text, time_text);
}

int main(void) {
  fclose(fopen(path, "w"));
  stamp("15-01-2021", "12:00:00");
  stamp("15-07-2021", "12:00:00");
  stamp("31-12-99", "23:30:59");
  stamp("01-03-2020", "00:10:00");
  stamp("28-03-2021", "02:30:00"); /* within an hour that daylight saving skips in Europe */
  stamp("29-02-2021", "12:00:00");

  /* Stamped by being written, the file and the clock agree. */
  int now_date, now_time, date, time, year, month, day, hour, minute, second;
  do {
    get_now_file_date_time(&now_date, &now_time);
    log_event("now", path);
    get_file_date_time(path, &date, &time);
    get_time(&year, &month, &day, &hour, &minute, &second);
  } while ((hour << 11 | minute << 5 | second / 2) != now_time);
  /* The file system's clock may be a tick behind. */
  int apart = (now_time & 31) - (time & 31) + 30 * ((now_time >> 5 & 63) - (time >> 5 & 63)) +
              1800 * ((now_time >> 11) - (time >> 11));
  printf("the clock: %d %d\n", date == now_date || apart < 0, apart == 0 || apart == 1);
  return 0;
}
