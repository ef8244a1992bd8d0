#include <math.h>
#include <stdio.h>

int main(int count, char** arguments) {
  char line[20];
  snprintf(line, sizeof line, "%s %g", count > 1 ? arguments[1] : "", sqrt(2.25) / (count - 1));
  puts(line);
  return 6;
}
