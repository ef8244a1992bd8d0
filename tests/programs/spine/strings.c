/* The string family's own rules, as compiled code sees them. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
  char list[] = ",,a,,b,", text[32] = "abcabc", *word;
  for (word = strtok(list, ","); word; word = strtok(0, ",")) printf("token %s\n", word);
  printf("%d %d %d %d\n", strcmp("a", "\xE9"), strcmpl("ABC", "abc"), stricmp("_", "A"),
         strncmp("x", "y", 0));
  printf("%d %d\n", string_match("Abc", "abc", 0), string_match("Abc", "abc", 1));
  printf("%d\n", memcmp("\x10", "\x90", 1));
  printf("%s|%s|%s\n", strstr("abc", ""), strrchr("abca", 'a'), strpbrk("hello", "ol"));
  printf("%d %d\n", (int)strspn("aabbc", "ab"), (int)strcspn("aabbc", "c"));
  stpcpy(stpcpy(text, "one"), "two");
  printf("%s %s\n", text, strupr(text));
  memmove(text + 1, text, 4);
  printf("%s\n", text);
  char digits[70];
  printf("%s %s", itoa(-255, digits, 16), "");
  printf("%s %d\n", u64toa(255, digits, 2), itoa(1, digits, 99) == 0);
  return 0;
}
