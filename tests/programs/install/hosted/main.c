#include <stdio.h>
#include <tarn/files.h>
#include <time.h>

__declspec(dllimport) void greet(const char* name);
double kept(double number);

int main(int count, char** arguments) {
  int date, hour;
  get_now_file_date_time(&date, &hour);
  greet(count > 1 ? arguments[1] : "");
  printf("%g %d\n", kept(2.25), time(NULL) > 0 && date > 0);
  return 6;
}
