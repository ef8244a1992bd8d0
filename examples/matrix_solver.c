/* Solves systems of linear equations.
 *
 *   matrix_solver file...
 *
 * A file holds n, and then n rows of n coefficients and a right-hand side. The
 * matrix is factored into two triangles, with the largest element of each column
 * as pivot; the library computes all inner products. */
#include <stdio.h>
#include <stdlib.h>
#include <tarn/fortran_math.h>

#define MOST_UNKNOWNS 1000

struct system {
  int n;
  double* a;         /* n rows of n: the coefficients as they were read */
  double* triangles; /* the same, split */
  double *b, *x;
  int* row; /* row[i]: which equation the i-th pivot comes from */
};

static double size_of(double x) { return x < 0 ? -x : x; }

static void give_back(struct system* s) {
  free(s->a);
  free(s->triangles);
  free(s->b);
  free(s->x);
  free(s->row);
}

/* Null, or what is wrong with the file. */
static const char* read_system(const char* path, struct system* s) {
  FILE* file = fopen(path, "r");
  if (!file) return "cannot be opened";
  const char* wrong = NULL;
  if (fscanf(file, "%d", &s->n) != 1 || s->n < 1 || s->n > MOST_UNKNOWNS) {
    wrong = "does not begin with a number of unknowns from 1 to 1000";
  } else {
    size_t n = (size_t)s->n;
    s->a = calloc(n * n, sizeof *s->a);
    s->triangles = calloc(n * n, sizeof *s->a);
    s->b = calloc(n, sizeof *s->a);
    s->x = calloc(n, sizeof *s->a);
    s->row = calloc(n, sizeof *s->row);
    if (!s->a || !s->triangles || !s->b || !s->x || !s->row) wrong = "is too large for the storage";
    for (int i = 0; i < s->n && !wrong; ++i) {
      for (int j = 0; j <= s->n && !wrong; ++j) {
        double* place = j < s->n ? &s->a[i * s->n + j] : &s->b[i];
        if (fscanf(file, "%lf", place) != 1) wrong = "ends, or has something else than a number";
      }
    }
  }
  fclose(file);
  return wrong;
}

static double* at(struct system* s, int i, int j) { return &s->triangles[s->row[i] * s->n + j]; }

/* Element i, j less what the columns before it account for. */
static double reduced(struct system* s, int i, int j, int terms) {
  double sum = *at(s, i, j);
  for (int k = 0; k < terms; ++k) sum -= *at(s, i, k) * *at(s, k, j);
  return sum;
}

/* 0 for a singular matrix. */
static int split(struct system* s) {
  for (int i = 0; i < s->n * s->n; ++i) s->triangles[i] = s->a[i];
  for (int i = 0; i < s->n; ++i) s->row[i] = i;
  for (int column = 0; column < s->n; ++column) {
    int best = column;
    for (int i = column; i < s->n; ++i) {
      *at(s, i, column) = reduced(s, i, column, column);
      if (size_of(*at(s, i, column)) > size_of(*at(s, best, column))) best = i;
    }
    if (*at(s, best, column) == 0) return 0;
    int kept = s->row[column];
    s->row[column] = s->row[best];
    s->row[best] = kept;
    double pivot = *at(s, column, column);
    for (int i = column + 1; i < s->n; ++i) *at(s, i, column) /= pivot;
    for (int j = column + 1; j < s->n; ++j) *at(s, column, j) = reduced(s, column, j, column);
  }
  return 1;
}

static void solve(struct system* s) {
  int n = s->n;
  for (int i = 0; i < n; ++i) {
    s->x[i] = s->b[s->row[i]] - tarn_dot_product8(at(s, i, 0), s->x, i);
  }
  for (int i = n - 1; i >= 0; --i) {
    int behind = n - 1 - i;
    double sum = behind ? tarn_dot_product8(at(s, i, i + 1), s->x + i + 1, behind) : 0;
    s->x[i] = (s->x[i] - sum) / *at(s, i, i);
  }
}

static double worst_residual(struct system* s) {
  double worst = 0;
  for (int i = 0; i < s->n; ++i) {
    double r = size_of(s->b[i] - tarn_dot_product8(s->a + i * s->n, s->x, s->n));
    if (r > worst) worst = r;
  }
  return worst;
}

int main(int argc, char** argv) {
  int failed = 0;
  if (argc < 2) {
    fputs("usage: matrix_solver file...\n", stderr);
    return 2;
  }
  for (int i = 1; i < argc; ++i) {
    struct system s = {0, NULL, NULL, NULL, NULL, NULL};
    const char* wrong = read_system(argv[i], &s);
    if (!wrong && !split(&s)) wrong = "has a singular matrix";
    if (wrong) {
      fprintf(stderr, "matrix_solver: %s %s\n", argv[i], wrong);
      failed = 1;
    } else {
      solve(&s);
      printf("%s: %d unknowns\n", argv[i], s.n);
      for (int k = 0; k < s.n && k < 10; ++k) printf("  x%-3d %16.9e\n", k + 1, s.x[k]);
      if (s.n > 10) printf("  and %d more\n", s.n - 10);
      printf("  largest residual below 1e-9: %s\n", worst_residual(&s) < 1e-9 ? "yes" : "no");
    }
    give_back(&s);
  }
  return failed;
}
