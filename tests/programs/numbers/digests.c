/* Text of numbers and its reading, dot products, and which elements a sort
 * compares: digests of what many values give, the same on every target. */
#include <io.h>
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

/* Flags, widths, precisions and conversions of one directive together. */
static void print_fields(const char* conversions) {
  static const char flags[] = "-+ #0";
  static const int precisions[] = {-1, 0, 1, 7, 24};
  begin();
  state = 5;
  for (int set = 0; set < 32; ++set) {
    for (int width = 0; width < 30; width += 6) {
      for (int p = 0; p < 5; ++p) {
        for (const char* conversion = conversions; *conversion; ++conversion) {
          char format[40] = "%", text[400];
          int length = 1;
          for (int i = 0; i < 5; ++i) {
            if (set >> i & 1) format[length++] = flags[i];
          }
          if (width > 0) length += sprintf(format + length, "%d", width);
          if (precisions[p] >= 0) length += sprintf(format + length, ".%d", precisions[p]);
          sprintf(format + length, strchr("diuxXo", *conversion) ? "ll%c|" : "%c|", *conversion);
          for (int i = 0; i < 4; ++i) {
            const double real = random_value(i) / 1024;
            const int64_t whole = i == 0 ? 0 : (int64_t)random_bits() >> random_bits() % 64;
            add(text, strchr("diuxXo", *conversion) ? sprintf(text, format, whole)
                                                    : sprintf(text, format, i == 1 ? 0.0 : real));
          }
        }
      }
    }
  }
  printf("fields of %s %llX\n", conversions, digest);
}

static void print_precisions(const char* format) {
  char text[500];
  begin();
  state = 6;
  for (int i = 0; i < kValues; ++i) add(text, sprintf(text, format, i % 61, random_value(i)));
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

/* Each text is read from the string and from a stream. */
static void read_integers(void) {
  static const char letters[] = "0123456789abcxXz+- ,";
  begin();
  state = 3;
  FILE* stream = fopen("digests.tmp", "w+b");
  int unequal = 0;
  for (int i = 0; i < kValues; ++i) {
    char text[13];
    uint64_t bits = random_bits();
    for (int k = 0; k < 12; ++k, bits >>= 5) text[k] = letters[bits % 20];
    text[12] = 0;
    int fields[3] = {7, 7, 7};
    char* end;
    const int found = sscanf(text, "%i %x %d", &fields[0], &fields[1], &fields[2]);
    if (i % 40 == 0) {
      int again[3] = {7, 7, 7};
      rewind(stream);
      fprintf(stream, "%s;;", text);
      rewind(stream);
      ungetc(0, stream); /* none from the text before */
      fscanf(stream, "%i %x %d", &again[0], &again[1], &again[2]);
      unequal += memcmp(fields, again, sizeof fields) != 0;
    }
    const int64_t whole = strtol64(text, &end, (int)(bits % 4) * 12);
    const int taken = (int)(end - text);
    add(&found, sizeof found);
    add(fields, sizeof fields);
    add(&whole, sizeof whole);
    add(&taken, sizeof taken);
  }
  fclose(stream);
  _unlink("digests.tmp");
  printf("integers %llX, %d unequal\n", digest, unequal);
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

static const char* array;
static int element;

/* Adds which elements are compared: -1 is the key. */
static int TARNAPI watched(const void* left, const void* right) {
  int value[2];
  const int64_t apart = (const char*)left - array;
  const int pair[2] = {apart < 0 || apart >= element * 6000 ? -1 : (int)apart / element,
                       (int)((const char*)right - array) / element};
  memcpy(&value[0], left, 4);
  memcpy(&value[1], right, 4);
  add(pair, sizeof pair);
  return (value[0] > value[1]) - (value[0] < value[1]);
}

static int shaped(int shape, int i, int last) {
  switch (shape) {
    case 0:
      return (int)(random_bits() >> 33);
    case 1:
      return (int)(random_bits() >> 33) % 4;
    case 2:
      return i;
    case 3:
      return last - i;
    case 4:
      return i < last - i ? i : last - i;
    case 5:
      return i == last ? -1 : i;
    default:
      return i % 17;
  }
}

static void sort_arrays(void) {
  static const int sizes[] = {8, 4, 12, 16, 24, 40, 100};
  static char bytes[100 * 6000];
  array = bytes;
  state = 7;
  begin();
  for (int count = 0; count < 5000; count += count < 40 ? 1 : count * 3 / 4) {
    for (int shape = 0; shape < 7; ++shape) {
      element = sizes[(count + shape) % 7];
      for (int i = 0; i < count; ++i) {
        const int value = shaped(shape, i, count - 1);
        memset(bytes + i * element, value, element);
        memcpy(bytes + i * element, &value, 4);
      }
      qsort(bytes, count, element, watched);
      add(bytes, count * element);
    }
    if (count > 40) continue;
    for (int i = 0; i < count; ++i) {
      const int value = i / 3 * 2;
      memcpy(bytes + i * element, &value, 4);
    }
    for (int key = -1; key <= count; ++key) {
      const char* const found = bsearch(&key, bytes, count, element, watched);
      const int place = found ? (int)(found - bytes) : -1;
      add(&place, sizeof place);
    }
  }
  printf("sort and search %llX\n", digest);
}

int main(void) {
  static const char* const formats[] = {"%.6f", "%.0f", "%g", "%#.12g", "%.15e", "%.17E", "%+.40e"};
  for (int i = 0; i < 7; ++i) print_values(formats[i]);
  print_precisions("%.*f");
  print_precisions("%.*e");
  print_precisions("%#.*G");
  print_fields("diuxXo");
  print_fields("feEgG");
  read_values("strtod", "%.16e", 0, 1);
  read_values("strtod", "%.9f", 0, 3);
  read_values("sscanf", "%.12g", 1, 1);
  read_integers();
  multiply_vectors();
  sort_arrays();
  return 0;
}
