/* Pi as the area under 4 / (1 + x * x) between 0 and 1, by a team of processes:
 * the program starts copies of itself, each sums its part of the intervals, and
 * the first one adds up the parts.
 *
 *   parallel_pi [slaves [intervals]]   default: 1 1000000 */
#include <stdio.h>
#include <stdlib.h>
#include <tarn/parallel.h>

static double part(int intervals, int task, int tasks, double width) {
  const int first = (int)((long long)intervals * task / tasks);
  const int end = (int)((long long)intervals * (task + 1) / tasks);
  double sum = 0;
  for (int i = first; i < end; ++i) {
    const double x = (i + 0.5) * width;
    sum += 4 / (1 + x * x);
  }
  return sum * width;
}

int main(int argc, char** argv) {
  const int slaves = argc > 1 ? atoi(argv[1]) : 1;
  int intervals = argc > 2 ? atoi(argv[2]) : 1000000;
  if (slaves < 0 || slaves > 63 || intervals < 1) {
    puts("parallel_pi: 0 to 63 slaves, 1 interval or more\n");
    return 2;
  }
  /* Every task comes here; all but the first were started by this call. */
  const int task = GetParallelTaskID(slaves);

  /* What the first task has decided, all know. */
  double width = 1.0 / intervals;
  BROADCASTINTEGER(&intervals);
  BROADCASTDOUBLE(&width);

  double* const parts = allocate_auto_shared_memory((slaves + 1) * sizeof(double));
  parts[task] = part(intervals, task, slaves + 1, width);
  TASKSYNCHRONISE();
  if (task > 0) return 0;

  double pi = 0;
  for (int i = 0; i <= slaves; ++i) {
    printf("task %d: %.12f\n", i, parts[i]);
    pi += parts[i];
  }
  printf("pi:     %.12f\n", pi);
  return 0;
}
