// A profiled program: its counters, the summary and the listing.
#include <stdio.h>
#include <tarn/profile.h>

TARN_PROFILE_SOURCE("primes.cpp", 30)

static bool is_prime(int n) {
  TARN_COUNT
  for (int d = 2; d * d <= n; ++d) {
    TARN_COUNT if (n % d == 0) return false;
  }
  TARN_COUNT return n > 1;
}

static void show(const char* path) {
  printf("--- %s\n", path);
  FILE* file = fopen(path, "r");
  if (!file) return;
  for (char line[200]; fgets(line, sizeof line, file);) printf("%s", line);
  fclose(file);
}

int main() {
  int primes = 0;
  for (int n = 0; n < 2000; ++n) {
    if (is_prime(n)) ++primes;
  }
  if (primes < 0) {
    TARN_COUNT printf("never\n");
  }
  __use_profile_data();
  printf("%d primes\n", primes);
  show("primes.PROFILE");
  show("primes.LIS");
  return 0;
}
