/* Streams as a program uses them: files in both modes, positions, ends. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void show_bytes(const char* path) {
  unsigned char bytes[64];
  FILE* file = fopen(path, "rb");
  int got = (int)fread(bytes, 1, sizeof bytes, file);
  printf("%s:", path);
  for (int i = 0; i < got; ++i) printf(" %02x", bytes[i]);
  printf("\n");
  fclose(file);
}

int main(void) {
  char line[32];
  FILE *file, *second;
  errno = 0;
  file = fopen("missing.txt", "r");
  printf("missing file: %d, errno %d\n", file == 0, errno);

  file = fopen("text.txt", "w");
  fprintf(file, "alpha\nbeta %d\n", 2);
  second = fopen("text.txt", "r");
  printf("second opener refused: %d\n", second == 0);
  fclose(file);
  show_bytes("text.txt");

  file = fopen("text.txt", "a");
  fputs("gamma", file);
  fclose(file);

  file = fopen("text.txt", "r+");
  while (fgets(line, sizeof line, file)) printf("[%d] %s\n", (int)strlen(line), line);
  printf("end %d, error %d\n", feof(file), ferror(file));
  rewind(file);
  printf("rewound: %c", fgetc(file));
  ungetc('?', file);
  putchar(fgetc(file));
  putchar(fgetc(file));
  fseek(file, -2, SEEK_END);
  putchar(fgetc(file));
  printf(" at %ld\n", ftell(file));
  fclose(file);

  file = fopen("text.txt", "rb");
  printf("a write to a reader gives %d", fputs("x", file));
  printf(", errno %d, error %d\n", errno, ferror(file));
  fclose(file);
  printf("line read: %s\n", fgets(line, sizeof line, stdin) ? line : "(none)");
  printf("then: %s\n", gets(line) ? line : "(none)");
  exit(3);
}
