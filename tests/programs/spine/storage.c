/* Storage as compiled code uses it: the heap's shapes and the two stacks. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/storage.h>

int main(void) {
  char *block = malloc(10), *copy;
  memmove(block, "0123456789", 10);
  block = realloc(block, 5000);
  printf("kept %.10s\n", block);
  copy = strdup("a copy");
  printf("%s\n", copy);
  UnlockStorage(copy);
  printf("freed to null: %d\n", realloc(block, 0) == 0);
  int status = 0;
  printf("already allocated: %d", ALLOCATE(100, &status, 1) == 0);
  printf(", status %d\n", status);
  int* cleared = ALLOCATE(40, &status, 0);
  int sum = 0;
  for (int i = 0; i < 10; ++i) sum |= cleared[i];
  printf("cleared: %d\n", sum == 0);

  char* mark = __return_pseudo_stack_ptr();
  char *first = __alloc_pseudo_stack(1), *second = __alloc_pseudo_stack1(100000);
  printf("pseudo: down by %d and %d, filled %02x\n", (int)(mark - first), (int)(first - second),
         (unsigned char)second[99999]);
  __set_pseudo_stack_ptr(mark);
  printf("reset: %d\n", __return_pseudo_stack_ptr() == (void*)mark);
  char *blank = __alloc_quasi_stack_str(20), *next = __alloc_quasi_stack(0);
  printf("quasi: up by %d and blank [%.20s]\n", (int)(next - blank), blank);
  __free_quasi_stack();
  printf("back at the base: %d\n", __alloc_quasi_stack(16) == (void*)blank);
  PRINT_SECONDARY_STACK_STATISTICS();
  return 0;
}
