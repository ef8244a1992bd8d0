/* Starts itself in every way, and prints what arrived. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/files.h>
#include <tarn/process.h>
#include <tarn/timing.h>

/* child CODE ARGUMENT... prints the arguments and ends with the code. */
static int child(int argc, char** argv) {
  printf("  child:");
  for (int i = 3; i < argc; ++i) printf(" <%s>", argv[i]);
  printf("\n");
  return atoi(argv[2]);
}

static void show_file(const char* name) {
  char line[200];
  FILE* const file = fopen(name, "r");
  while (file && fgets(line, sizeof line, file)) printf("%s: %s", name, line);
  if (file) fclose(file);
}

enum { LOGGERS = 3, EVENTS = 60, PATIENCE = 30 /* seconds */ };

static int log_events(void) {
  for (int i = 0; i < EVENTS; ++i) log_event("an event", "events.log");
  return 0;
}

static int count_lines(const char* name) {
  char line[200];
  int count = 0;
  FILE* const file = fopen(name, "r");
  while (file && fgets(line, sizeof line, file)) ++count;
  if (file) fclose(file);
  return count;
}

/* Several programs write one log at once. */
static void log_together(const char* program) {
  double start, now;
  for (int i = 1; i < LOGGERS; ++i) _spawns(TARN_SPAWN_NO_WAIT, program, "log");
  _spawns(TARN_SPAWN_WAIT, program, "log");
  current_time(&start);
  do current_time(&now);
  while (count_lines("events.log") < LOGGERS * EVENTS && now - start < PATIENCE);
  printf("log: %d lines\n", count_lines("events.log"));
}

int main(int argc, char** argv) {
  char program[1000], text[2000];
  if (argc > 1 && strcmp(argv[1], "log") == 0) return log_events();
  if (argc > 2 && strcmp(argv[1], "child") == 0) return child(argc, argv);
  sprintf(program, "\"%s\"", argv[0]);

  printf("_spawns: %d\n", _spawns(0, program, "child 7 one \"two words\"  a\\b \"\" 'c d'"));
  printf("bytes: %d\n",
         _spawns(TARN_SPAWN_WAIT, program, "child 255 \xC3\xA4 \"\xC3\xA9 \xE2\x82\xAC\""));
  printf("by name: %d\n", _spawns(0, "processes", "child 4 found"));
  const char* const list[] = {"itself", "child", "6", "no quotes", "\"are added\"", NULL};
  printf("_spawnv: %d\n", _spawnv(0, program, list));
  printf("mode 1: %d %d\n", _spawns(1, program, "child 0"), _spawnv(1, program, list));
  printf("sliced: %d\n", __start_process_and_wait(program, "child 9 in slices", 5));

  printf("whole codes: %d %d\n", _spawns(0, program, "child 70000"),
         _spawns(0, program, "child -1"));
  sprintf(text, "%s child 256", program);
  printf("by the command processor: %d\n", system(text));

  printf("system: %d %d\n", system("exit 3"), system(""));
  sprintf(text, "%s child 5 to_a_file >output.txt", program);
  printf("redirected: %d\n", system(text));
  show_file("output.txt");

  memset(text, 'x', sizeof text - 1);
  text[sizeof text - 1] = '\0';
  const char* const too_long[] = {"itself", "child", "0", text, NULL};
  printf("too long: %d %d %d\n", _spawns(0, program, text), _spawnv(0, program, too_long),
         system(text));
  printf("missing: %d %d %d\n", _spawns(0, "no_such_program", "x"), _spawns(2, "", "x"),
         __start_process_and_wait("no_such_program", NULL, -1));

  log_together(program);

  double seconds;
  const unsigned int before = __milliseconds_after_midnight();
  current_time(&seconds);
  const unsigned int after = __milliseconds_after_midnight();
  const int in_order = before <= seconds * 1000 + 0.5 && seconds * 1000 <= after + 0.5;
  puts(in_order || after < before ? "clocks agree\n" : "clocks differ\n");
  return 0;
}
