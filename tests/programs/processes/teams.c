/* A master alone that asks for more memory, a team that starts teams, the next
 * team of its master, and a task that ends while the others wait for it. */
#include <stdio.h>
#include <string.h>
#include <tarn/parallel.h>
#include <tarn/process.h>

enum { SLAVES = 2, SIZE = 100000 };

/* A team of its own, whoever started it. */
static int inner(void) {
  int number = GetParallelTaskID(1) == 0 ? 42 : 0;
  BROADCASTINTEGER(&number);
  return number;
}

int main(int argc, char** argv) {
  char program[1000];
  if (argc > 1 && strcmp(argv[1], "inner") == 0) return inner();

  if (!IsSlaveProcess()) {
    GetParallelTaskID(0);
    SetParallelTaskMemorySize(SIZE);
  }
  const int task = GetParallelTaskID(SLAVES);
  int* const codes = allocate_auto_shared_memory(SIZE - 128);
  codes[SIZE / 4 - 100] = 1;

  sprintf(program, "\"%s\"", argv[0]);
  codes[task] = _spawns(TARN_SPAWN_WAIT, program, "inner");
  TASKSYNCHRONISE();
  if (task == 0) {
    printf("inner teams: %d %d %d\n", codes[0], codes[1], codes[2]);
    TerminateParallelProcessing(); /* the slaves leave */
    if (GetParallelTaskID(SLAVES) != 0) return 2;
    puts("the next team\n");
    TASKSYNCHRONISE();
  }
  TASKSYNCHRONISE();
  if (task == 1) return 5;
  TASKSYNCHRONISE();
  return 99; /* nobody comes here */
}
