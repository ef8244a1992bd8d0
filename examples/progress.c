/* A job that may take a long time: the number below a limit whose chain of Collatz
 * steps (halve if even, else triple and add one) down to 1 is the longest.
 *
 *   progress [-t] [LIMIT]
 *
 * shows its progress in a window, or in the last row of the terminal,
 * with a count of the records on the way. -t shows it in the console's title
 * instead. Neither appears if the job turns out to be quick. The default limit
 * of 20,000,000 takes a few seconds. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/progress.h>

#define STEP 1000

static int chain_length(unsigned long long number) {
  int length = 1;
  for (; number != 1; ++length) number = number % 2 == 0 ? number / 2 : 3 * number + 1;
  return length;
}

int main(int count, char** arguments) {
  int in_title = count > 1 && strcmp(arguments[1], "-t") == 0;
  int limit = count > 1 + in_title ? atoi(arguments[1 + in_title]) : 20000000;
  if (limit < 2) {
    fprintf(stderr, "usage: progress [-t] [LIMIT]\n");
    return 2;
  }
  if (in_title) {
    MakeProgressThread(limit);
  } else {
    StartProgressDialog(limit, "Collatz", "Records: ");
  }

  int longest = 0, best = 0, records = 0;
  for (int number = 1; number < limit; ++number) {
    int length = chain_length((unsigned long long)number);
    if (length > longest) {
      longest = length;
      best = number;
      SetErrorCounters(0, 0, ++records);
    }
    if (number % STEP != 0) continue;
    if (in_title) {
      UpdateProgressValue(number);
    } else {
      UpdateProgressDialog(number);
    }
  }

  if (in_title) {
    CloseProgressThread();
  } else {
    CloseProgressDialog();
  }
  printf("%d has the longest chain below %d: %d numbers, after %d records\n", best, limit, longest,
         records);
  return 0;
}
