/* Fortran character helpers, called in compiled Fortran's form. */
#include <stdio.h>
#include <string.h>
#include <tarn/character.h>

static void show(const char* what, const char* text, int length) {
  printf("%-8s[%.*s]\n", what, length, text);
}

int main(void) {
  char result[10], text[6];
  int length = 5;
  ADJUSTL(result, 10, "   ab", 5);
  show("ADJUSTL", result, 10);
  ADJUSTR(result, 5, "ab  ", 4);
  show("ADJUSTR", result, 5);
  memmove(text, "  MiX ", 6);
  LCASE(text, 6);
  show("LCASE", text, 6);
  TRIM(text, 6);
  show("TRIM", text, 6);
  TRIMR(text, 6);
  show("TRIMR", text, 6);
  MAKE_CSTRING("abc  ", result, &length);
  printf("MAKE    [%s]\n", result);
  GET_CSTRING(result, "ab", &length);
  show("GET", result, 5);
  short width = 10;
  CENTRE(result, 10, "ab", &width, 2);
  show("CENTRE", result, 10);
  char line[32] = "abcabc";
  printf("replace %s %s\n", string_replace(line, "b", "XY"), line);
  return 0;
}
