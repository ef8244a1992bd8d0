/* A file that this process holds is refused to a second one, and the other
 * way round. Run twice at once: "hold" waits on its input while it holds. */
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  char line[16];
  FILE* file = fopen("held.txt", "w");
  printf("%s: %s\n", argc > 1 ? argv[1] : "", file ? "opened" : "refused");
  if (!file) return 1;
  if (argc > 1 && strcmp(argv[1], "hold") == 0) fgets(line, sizeof line, stdin);
  fputs("written\n", file);
  fclose(file);
  return 0;
}
