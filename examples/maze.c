/* A maze in the console, and the way through it.
 *
 *   maze [columns rows [seed]]
 *
 * Without numbers the maze fills the window. On a screen the walls are blue and
 * the way is yellow; in a file it is plain text. */
#include <stdio.h>
#include <stdlib.h>
#include <tarn/console.h>

enum { RIGHT = 1, DOWN = 2, LEFT = 4, UP = 8, SEEN = 16, ON_WAY = 32 };

#define MOST_COLUMNS 120
#define MOST_ROWS 1000

static const struct {
  int dx, dy, open, opposite;
} kSteps[] = {{1, 0, RIGHT, LEFT}, {0, 1, DOWN, UP}, {-1, 0, LEFT, RIGHT}, {0, -1, UP, DOWN}};

static int columns, rows;
static unsigned char* rooms;
static int* path; /* the rooms from the first one to here */
static unsigned seed;

static unsigned random_below(unsigned limit) {
  seed = seed * 1664525u + 1013904223u;
  return (seed >> 16) % limit;
}

/* The neighbour of a room in a direction, or -1. */
static int neighbour(int room, int step) {
  int x = room % columns + kSteps[step].dx, y = room / columns + kSteps[step].dy;
  return x < 0 || x >= columns || y < 0 || y >= rows ? -1 : y * columns + x;
}

/* Walks at random into rooms not seen yet, and back where there are none. The
 * path to the last room is the way. */
static void dig(void) {
  int length = 1, last = columns * rows - 1;
  path[0] = 0;
  rooms[0] = SEEN;
  while (length > 0) {
    int here = path[length - 1], choice = -1, choices = 0;
    if (here == last) {
      for (int i = 0; i < length; ++i) rooms[path[i]] |= ON_WAY;
    }
    for (int step = 0; step < 4; ++step) {
      int there = neighbour(here, step);
      if (there >= 0 && !(rooms[there] & SEEN) && random_below((unsigned)++choices) == 0) {
        choice = step;
      }
    }
    if (choice < 0) {
      --length;
      continue;
    }
    int there = neighbour(here, choice);
    rooms[here] |= (unsigned char)kSteps[choice].open;
    rooms[there] |= (unsigned char)(kSteps[choice].opposite | SEEN);
    path[length++] = there;
  }
}

static void put(int colour, const char* text) {
  SetConsoleColour(colour);
  ConsoleWrite(text);
}

static void draw(void) {
  int wall = TARN_BLUE | TARN_BRIGHT, way = TARN_YELLOW | TARN_BRIGHT;
  const char* block = ConsoleRedirected() ? "##" : "\xDB\xDB";
  const char* mark = ConsoleRedirected() ? ". " : "\xFA ";
  for (int y = 0; y < rows; ++y) {
    for (int x = 0; x < columns; ++x) {
      put(wall, block);
      put(wall, rooms[y * columns + x] & UP ? "  " : block);
    }
    put(wall, block);
    ConsoleWrite("\n");
    for (int x = 0; x < columns; ++x) {
      int room = rooms[y * columns + x];
      put(wall, room & LEFT ? "  " : block);
      put(way, room & ON_WAY ? mark : "  ");
    }
    put(wall, block);
    ConsoleWrite("\n");
  }
  for (int x = 0; x <= 2 * columns; ++x) put(wall, block);
  ConsoleWrite("\n");
}

static int read_number(const char* text, int least, int most, int* value) {
  char* end;
  long number = strtol(text, &end, 10);
  *value = (int)number;
  return end != text && *end == '\0' && number >= least && number <= most;
}

int main(int argc, char** argv) {
  int from_seed = 1, height = ScreenHeight();
  columns = ScreenWidth() / 4 - 1;
  rows = height > 4 ? (height - 2) / 2 : 8;
  if (columns > MOST_COLUMNS) columns = MOST_COLUMNS;
  if (argc > 4 || argc == 2 ||
      (argc > 2 && (!read_number(argv[1], 1, MOST_COLUMNS, &columns) ||
                    !read_number(argv[2], 1, MOST_ROWS, &rows))) ||
      (argc > 3 && !read_number(argv[3], 0, 2000000000, &from_seed))) {
    fprintf(stderr, "usage: maze [columns rows [seed]], up to %d columns and %d rows\n",
            MOST_COLUMNS, MOST_ROWS);
    return 2;
  }
  if (columns < 1) columns = 1;
  seed = (unsigned)from_seed;
  rooms = calloc((size_t)(columns * rows), 1);
  path = calloc((size_t)(columns * rows), sizeof *path);
  if (!rooms || !path) {
    fputs("maze: out of storage\n", stderr);
    return 1;
  }
  dig();
  CursorWrapMode(0);
  int colour = SetConsoleColour(TARN_WHITE);
  draw();
  SetConsoleColour(colour);
  FlushConsole();
  free(rooms);
  free(path);
  return 0;
}
