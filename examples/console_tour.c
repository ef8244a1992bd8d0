/* What the console can do: colours, boxes, lines that are centred and rewritten,
 * wrapped and cut lines, a pause at a screenful, progress in the title, and
 * line input.
 *
 *   console_tour [colours | boxes | lines | pause | progress | input]...
 *
 * Without arguments it shows all. The same cells appear on a Windows console and
 * on a Linux terminal; with its output in a file the tour is plain text. */
#include <stdio.h>
#include <string.h>
#include <tarn/console.h>
#include <tarn/progress.h>

static void heading(const char* text) {
  PushConsoleColour(TARN_YELLOW | TARN_BRIGHT);
  ConsolePrintf("%s\n", text);
  PopConsoleColour();
}

static void colours(void) {
  static const char letters[] = "KBGCRMYW";
  heading("Sixteen colours on eight backgrounds");
  for (int background = TARN_BLACK; background <= TARN_WHITE; ++background) {
    ConsolePrintf("%c ", letters[background]);
    int before = SetConsoleBackground(background);
    for (int colour = 0; colour < 16; ++colour) {
      PushConsoleColour(colour);
      ConsolePrintf(" %c%c ", colour & TARN_BRIGHT ? '-' : ' ', letters[colour & TARN_WHITE]);
      PopConsoleColour();
    }
    SetConsoleBackground(before);
    ConsoleWrite("\n");
  }
}

static void boxes(void) {
  static const char* const names[] = {"0: blanks",      "1: a single line", "2: a double line",
                                      "3: light block", "4: middle block",  "5: full block"};
  heading("Six boxes, one without a shadow");
  for (int style = 0; style < 6; ++style) {
    SetBoxShadow(style == 1 ? -1 : TARN_BLACK | TARN_BRIGHT);
    ConsoleBoxPrint(style, TARN_BLUE, TARN_WHITE | TARN_BRIGHT, "%s", names[style]);
  }
  ConsoleBoxPrint(2, TARN_RED, TARN_YELLOW | TARN_BRIGHT,
                  "Every line of a text\nhas its own middle,\nthe longest makes the width");
}

static void lines(void) {
  static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz";
  heading("Lines in the middle, the second written four times over");
  ConsolePrintfC("once\n");
  ClearPrintfCLine(1);
  for (int done = 25; done <= 100; done += 25) ConsolePrintfC("%d of 100 done\r", done);
  ClearPrintfCLine(0);
  ConsoleWrite("\n");
  heading("A text wider than the screen: wrapped, then cut");
  for (int wrap = 1; wrap >= 0; --wrap) {
    CursorWrapMode(wrap);
    for (int length = 0; length < ScreenWidth() + 13; length += 26) ConsoleWrite(alphabet);
    ConsoleWrite("\n");
    CursorWrapMode(1);
  }
}

static void pause(void) {
  heading("A pause at each screenful: any key goes on, ESC ends the program");
  ConsolePauseMode(1);
  for (int row = 1; row <= 3 * ScreenHeight(); ++row) ConsolePrintf("row %d\n", row);
  ConsolePauseMode(0);
}

static int is_prime(int number) {
  for (int divisor = 2; divisor * divisor <= number; ++divisor) {
    if (number % divisor == 0) return 0;
  }
  return number > 1;
}

static void progress(void) {
  enum { LIMIT = 300000, PERCENT = LIMIT / 100 };
  int primes = 0;
  heading("A job that tells in the title how far it has come");
  for (int number = 1; number <= LIMIT; ++number) {
    primes += is_prime(number);
    if (number % PERCENT == 0) DisplayProgress(number / PERCENT);
  }
  DisplayProgress(-1);
  ConsolePrintf("%d primes up to %d\n", primes, LIMIT);
}

static void input(void) {
  char name[40];
  int length;
  ConsoleWrite("Your name: ");
  if (ConsoleRead(name, sizeof name, &length) || length < 0) {
    ConsoleWrite("(no answer)\n");
    return;
  }
  ConsoleBoxPrint(1, TARN_GREEN, TARN_WHITE | TARN_BRIGHT, "Good day, %.*s", length, name);
}

int main(int argc, char** argv) {
  static const struct {
    const char* name;
    void (*show)(void);
  } parts[] = {{"colours", colours}, {"boxes", boxes},       {"lines", lines},
               {"pause", pause},     {"progress", progress}, {"input", input}};
  for (unsigned i = 0; i < sizeof parts / sizeof parts[0]; ++i) {
    int wanted = argc < 2;
    for (int argument = 1; argument < argc; ++argument) {
      if (strcmp(argv[argument], parts[i].name) == 0) wanted = 1;
    }
    if (wanted) parts[i].show();
  }
  FlushConsole();
  return 0;
}
