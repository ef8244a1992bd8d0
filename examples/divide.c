/* Prints a line, then divides by a floating-point zero three calls deep: the
 * report that follows names the routines and their lines. */
#include <stdio.h>

#define A_ROUTINE_OF_ITS_OWN __attribute__((noinline)) /* whatever the compiler thinks */

A_ROUTINE_OF_ITS_OWN double shares(double total, double people) { return total / people; }

A_ROUTINE_OF_ITS_OWN double split_bill(const double* amounts, int count, double people) {
  double total = 0;
  for (int i = 0; i < count; ++i) total += amounts[i];
  return 1.1 * shares(total, people); /* with the tip */
}

int main(void) {
  const double amounts[] = {12.5, 30, 7.25};
  printf("Splitting the bill\n");
  double share = split_bill(amounts, 3, 0);
  printf("Each pays %.2f\n", share);
  return 0;
}
