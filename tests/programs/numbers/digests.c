/* Text of numbers and its reading: digests of what many values give, which are
 * the same on every target. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/fortran_math.h>
#include <tarn/number_text.h>

enum { kValues = 100000 };

static uint64_t digest;

static void add(const void* bytes, int size) {
  for (const unsigned char* byte = bytes; size > 0; --size, ++byte) {
    digest = (digest ^ *byte) * 0x100000001B3;
  }
}

static void begin(void) { digest = 0xCBF29CE484222325; }

static uint64_t state;

static uint64_t random_bits(void) {
  state = state * 6364136223846793005 + 1442695040888963407;
  return state ^ state >> 29;
}

/* Every third value has the magnitude of everyday numbers. */
static double random_value(int i) {
  double value;
  do {
    uint64_t bits = random_bits();
    if (i % 3 == 0) return (double)((int64_t)bits >> 20) / 4194304;
    memcpy(&value, &bits, sizeof value);
  } while (invalid_double(value));
  return value;
}

static void print_values(const char* format) {
  char text[400];
  begin();
  state = 1;
  for (int i = 0; i < kValues; ++i) {
    const int length = sprintf(text, format, random_value(i));
    add(text, length);
  }
  printf("%s %llX\n", format, digest);
}

static void read_values(const char* name, const char* format, int by_scanner, int step) {
  char text[400];
  begin();
  state = 2;
  for (int i = 0; i < kValues; ++i) {
    double value = 0;
    sprintf(text, format, random_value(i * step));
    if (by_scanner) {
      sscanf(text, "%lf", &value);
    } else {
      value = strtod(text, 0);
    }
    add(&value, sizeof value);
  }
  printf("%s of %s %llX\n", name, format, digest);
}

static void read_integers(void) {
  static const char letters[] = "0123456789abcxXz+- ,";
  begin();
  state = 3;
  for (int i = 0; i < kValues; ++i) {
    char text[13];
    uint64_t bits = random_bits();
    for (int k = 0; k < 12; ++k, bits >>= 5) text[k] = letters[bits % 20];
    text[12] = 0;
    int fields[3] = {7, 7, 7};
    char* end;
    const int found = sscanf(text, "%i %x %d", &fields[0], &fields[1], &fields[2]);
    const int64_t whole = strtol64(text, &end, (int)(bits % 4) * 12);
    const int taken = (int)(end - text);
    add(&found, sizeof found);
    add(fields, sizeof fields);
    add(&whole, sizeof whole);
    add(&taken, sizeof taken);
  }
  printf("integers %llX\n", digest);
}

static void multiply_vectors(void) {
  static double a[1000], b[1000];
  static float c[1000], d[1000];
  state = 4;
  for (int i = 0; i < 1000; ++i) {
    a[i] = (double)(int64_t)random_bits() * 0x1p-63;
    b[i] = (double)(int64_t)random_bits() * 0x1p-63;
    c[i] = (float)a[i];
    d[i] = (float)b[i];
  }
  begin();
  for (int n = 0; n <= 1000; ++n) {
    const double wide = tarn_dot_product8(a, b, n);
    const float narrow = tarn_dot_product4(c, d, n);
    add(&wide, sizeof wide);
    add(&narrow, sizeof narrow);
  }
  printf("dot products %llX\n", digest);
}

int main(void) {
  static const char* const formats[] = {"%.6f", "%.0f", "%g", "%#.12g", "%.15e", "%.17E", "%+.40e"};
  for (int i = 0; i < 7; ++i) print_values(formats[i]);
  read_values("strtod", "%.16e", 0, 1);
  read_values("strtod", "%.9f", 0, 3);
  read_values("sscanf", "%.12g", 1, 1);
  read_integers();
  multiply_vectors();
  return 0;
}
