/* Summarises logs.
 *
 *   log_analyser file...
 *
 * A line is "2026-03-14 08:15:02 WARN disk: 91% full": date, time, level, the
 * source with a colon, and the message. Counts the levels, lists the sources by
 * number of failures, and finds the longest gap. Other lines are counted, and the
 * first one is shown. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define LINE_SIZE 1024
#define NAME_SIZE 32
#define MOST_SOURCES 500

static const char* const kLevels[] = {"DEBUG", "INFO", "WARN", "ERROR"};
enum { LEVELS = 4, ERROR_LEVEL = 3 };

struct source {
  char name[NAME_SIZE];
  long lines, errors;
};

struct entry {
  int year, month, day, hour, minute, second;
  char level[NAME_SIZE], source[NAME_SIZE];
};

static struct source sources[MOST_SOURCES];
static int source_count;
static long levels[LEVELS], lines, strange, first_strange;
static long long last_time = -1, longest_gap;
static char gap_begin[NAME_SIZE], gap_end[NAME_SIZE], last_stamp[NAME_SIZE];

/* Days since 1 March of the year 0, and from there seconds. */
static long long seconds_of(const struct entry* e) {
  long long year = e->month > 2 ? e->year : e->year - 1;
  long long month = e->month > 2 ? e->month - 3 : e->month + 9;
  long long days = 365 * year + year / 4 - year / 100 + year / 400 + (153 * month + 2) / 5 + e->day;
  return ((days * 24 + e->hour) * 60 + e->minute) * 60 + e->second;
}

static int in_range(int value, int least, int most) { return value >= least && value <= most; }

static int level_number(const char* name) {
  for (int i = 0; i < LEVELS; ++i) {
    if (strcmp(kLevels[i], name) == 0) return i;
  }
  return -1;
}

static int read_entry(const char* line, struct entry* e) {
  if (sscanf(line, "%d-%d-%d %d:%d:%d %31s %31s", &e->year, &e->month, &e->day, &e->hour,
             &e->minute, &e->second, e->level, e->source) != 8) {
    return 0;
  }
  size_t length = strlen(e->source);
  if (length < 2 || e->source[length - 1] != ':') return 0;
  e->source[length - 1] = '\0';
  return in_range(e->year, 0, 9999) && in_range(e->month, 1, 12) && in_range(e->day, 1, 31) &&
         in_range(e->hour, 0, 23) && in_range(e->minute, 0, 59) && in_range(e->second, 0, 60) &&
         level_number(e->level) >= 0;
}

/* Null if there are too many. */
static struct source* find_source(const char* name) {
  for (int i = 0; i < source_count; ++i) {
    if (strcmp(sources[i].name, name) == 0) return &sources[i];
  }
  if (source_count == MOST_SOURCES) return NULL;
  strcpy(sources[source_count].name, name);
  return &sources[source_count++];
}

static void note(const struct entry* e) {
  struct source* source = find_source(e->source);
  int level = level_number(e->level);
  ++levels[level];
  if (source) {
    ++source->lines;
    if (level == ERROR_LEVEL) ++source->errors;
  }
  char stamp[NAME_SIZE];
  sprintf(stamp, "%4.4d-%2.2d-%2.2d %2.2d:%2.2d:%2.2d", e->year, e->month, e->day, e->hour,
          e->minute, e->second);
  long long now = seconds_of(e);
  if (last_time >= 0 && now - last_time > longest_gap) {
    longest_gap = now - last_time;
    strcpy(gap_begin, last_stamp);
    strcpy(gap_end, stamp);
  }
  last_time = now;
  strcpy(last_stamp, stamp);
}

static int by_errors(const void* left, const void* right) {
  const struct source *a = left, *b = right;
  if (a->errors != b->errors) return a->errors < b->errors ? 1 : -1;
  return strcmp(a->name, b->name);
}

static int read_log(const char* path) {
  static char line[LINE_SIZE];
  FILE* file = fopen(path, "r");
  if (!file) {
    fprintf(stderr, "log_analyser: cannot open %s\n", path);
    return 0;
  }
  while (fgets(line, LINE_SIZE, file)) {
    struct entry e;
    ++lines;
    if (read_entry(line, &e)) {
      note(&e);
    } else if (++strange == 1) {
      first_strange = lines;
    }
  }
  fclose(file);
  return 1;
}

int main(int argc, char** argv) {
  int failed = 0;
  if (argc < 2) {
    fputs("usage: log_analyser file...\n", stderr);
    return 2;
  }
  for (int i = 1; i < argc; ++i) failed |= !read_log(argv[i]);

  printf("%ld lines\n", lines);
  for (int i = 0; i < LEVELS; ++i) printf("  %-6s %6ld\n", kLevels[i], levels[i]);
  if (strange) printf("  %ld not understood, the first is line %ld\n", strange, first_strange);
  qsort(sources, (size_t)source_count, sizeof sources[0], by_errors);
  printf("%-20s %8s %8s %7s\n", "source", "lines", "errors", "share");
  for (int i = 0; i < source_count && i < 10; ++i) {
    printf("%-20s %8ld %8ld %6.1f%%\n", sources[i].name, sources[i].lines, sources[i].errors,
           100.0 * (double)sources[i].errors / (double)sources[i].lines);
  }
  if (longest_gap > 0) {
    printf("longest silence: %lld s, from %s to %s\n", longest_gap, gap_begin, gap_end);
  }
  return failed;
}
