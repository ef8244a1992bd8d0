/* A table of Bessel functions, and the zeros of J0 and J1 in its range.
 *
 *   bessel_table [from to step]     by default 0.5 10 0.5; from above 0 */
#include <stdio.h>
#include <stdlib.h>
#include <tarn/fortran_math.h>

typedef double (*function)(const double* x);

/* Halves an interval in which the function changes its sign, down to the last bit. */
static double zero_between(function f, double low, double high) {
  double at_low = f(&low);
  for (;;) {
    double middle = low + (high - low) / 2;
    if (middle <= low || middle >= high) return middle;
    double value = f(&middle);
    if (value == 0) return middle;
    if ((value < 0) == (at_low < 0)) {
      low = middle;
    } else {
      high = middle;
    }
  }
}

static void print_zeros(const char* name, function f, double from, double to) {
  const double kStep = 0.25; /* less than the distance of two zeros */
  printf("Zeros of %s:", name);
  double low = from, at_low = f(&low);
  while (low < to) {
    double high = low + kStep < to ? low + kStep : to;
    double at_high = f(&high);
    if ((at_high < 0) != (at_low < 0)) printf(" %.10f", zero_between(f, low, high));
    low = high;
    at_low = at_high;
  }
  printf("\n");
}

/* 0 if the text is not a number alone. */
static int read_number(const char* text, double* value) {
  char* end;
  *value = strtod(text, &end);
  return end != text && *end == '\0';
}

int main(int argc, char** argv) {
  double from = 0.5, to = 10, step = 0.5;
  if (argc != 1 && (argc != 4 || !read_number(argv[1], &from) || !read_number(argv[2], &to) ||
                    !read_number(argv[3], &step))) {
    fputs("usage: bessel_table [from to step]\n", stderr);
    return 2;
  }
  if (!(from > 0) || !(to >= from) || !(step > 0) || to > 1e6) {
    fputs("bessel_table: 0 < from <= to <= 1000000, and a step above 0\n", stderr);
    return 1;
  }
  long rows = (long)((to - from) / step + 1e-9) + 1;
  if (rows > 10000) {
    fputs("bessel_table: more than 10000 rows\n", stderr);
    return 1;
  }
  const int kOrder = 5;
  printf("%8s %13s %13s %13s %13s %13s\n", "x", "J0", "J1", "J5", "Y0", "Y1");
  for (long i = 0; i < rows; ++i) {
    double x = from + (double)i * step;
    printf("%8.3f %13.9f %13.9f %13.9f %13.9f %13.9f\n", x, DBESSEL_J0(&x), DBESSEL_J1(&x),
           DBESSEL_JN(&kOrder, &x), DBESSEL_Y0(&x), DBESSEL_Y1(&x));
  }
  print_zeros("J0", DBESSEL_J0, from, to);
  print_zeros("J1", DBESSEL_J1, from, to);
  return 0;
}
