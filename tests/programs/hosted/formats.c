/* printf against libmingwex's own formatting, by random formats and values: into blocks
 * of all sizes, and into a file. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int __mingw_pformat(int flags, void* to, int size, const char* format, va_list);

#define ROUNDS 60000

static unsigned long long random_bits(void) {
  static unsigned long long state = 88172645463325252u;
  state ^= state << 13;
  state ^= state >> 7;
  state ^= state << 17;
  return state * 0x2545F4914F6CDD1D;
}
static int below(int limit) { return (int)(random_bits() >> 33) % limit; }

/* What programs print, and what is hard to round: halves of the last place, values next
 * to powers of ten, any bits. */
static double random_double(void) {
  union {
    unsigned long long bits;
    double value;
  } any = {random_bits()};
  double power = 1;
  for (int i = below(25); i > 0; --i) power *= 10;
  switch (below(6)) {
    case 0:
      return any.value;
    case 1:
      return (below(2000001) - 1000000) / power;
    case 2:
      return (below(4001) - 2000) / 1024.0;
    case 3:
      any.value = power;
      any.bits += (unsigned long long)below(5) - 2;
      return below(2) ? any.value : 1 / any.value;
    case 4:
      return below(2) ? 0.0 : -0.0;
    default:
      return below(1000000) * power;
  }
}

static char* add_conversion(char* to, unsigned long long** slot) {
  static const char letters[] = "ddiuxXocsfeEgGfegfFpan%";
  static const char* const lengths[] = {"", "l", "ll", "h", "hh", "z", "I64", "j"};
  static const char* const texts[] = {"", "a", "some words", "sixteen letters!", NULL};
  static long long stored;
  const char letter = letters[below((int)sizeof letters - 1)];
  *to++ = '%';
  if (letter == '%') {
    *to++ = letter;
    return to;
  }
  /* Where libmingwex errs, ISO C holds: see crt/streams/format.h. */
  const int flags = letter == 'o' ? 4 : 5, first = letter == 'u';
  for (int i = below(3); i > 0; --i) *to++ = " -0+#"[first + below(flags - first)];
  if (letter != 'g' && letter != 'G' && below(2)) {
    if (below(3) == 0) {
      *to++ = '*';
      *(*slot)++ = (unsigned)(below(60) - 20);
    } else {
      to += sprintf(to, "%d", below(20) == 0 ? below(900) : below(30));
    }
  }
  if (below(2)) {
    if (below(3) == 0) {
      strcpy(to, ".*");
      to += 2;
      *(*slot)++ = (unsigned)(below(25) - 5);
    } else {
      to += sprintf(to, below(8) ? ".%d" : ".", below(20) == 0 ? below(400) : below(20));
    }
  }
  if (strchr("diuxXon", letter)) to += sprintf(to, "%s", lengths[below(8)]);
  *to++ = letter;
  double number = random_double();
  switch (letter) {
    case 'c':
      **slot = (unsigned)(1 + below(255));
      break;
    case 's':
      **slot = (unsigned long long)texts[below(5)];
      break;
    case 'n':
      **slot = (unsigned long long)&stored;
      break;
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
    case 'p':
      **slot = random_bits() >> below(64);
      if (below(10) == 0) **slot = 0;
      break;
    default:
      memcpy(*slot, &number, sizeof number);
  }
  ++*slot;
  return to;
}

static char right[20000], ours[20000];

int main(void) {
  int different = 0;
  long size = 0;
  char* const all = malloc(100000000);
  FILE* file = fopen("formats.tmp", "w+b");
  for (int round = 0; round < ROUNDS && different < 10; ++round) {
    char format[400], *end = format;
    unsigned long long slots[20], *slot = slots;
    for (int i = 1 + below(3); i > 0; --i) {
      end += sprintf(end, "%.*s", below(20), below(9) ? "text: " : "a longer text \n of two lines");
      end = add_conversion(end, &slot);
    }
    *end = 0;
    /* An argument takes eight bytes, whatever its type. */
    const int wanted = __mingw_pformat(0, right, sizeof right, format, (va_list)slots);
    const int room = below(3) ? (int)sizeof ours : 1 + below(100);
    memset(ours, '#', sizeof ours);
    const int length = vsnprintf(ours, room, format, (va_list)slots);
    const int there = length < room ? length : room - 1;
    if (length != wanted || memcmp(ours, right, there) != 0 || ours[there] != 0 ||
        (room < 1000 && ours[room] != '#')) {
      ++different;
      printf("%s: [%.*s] %d, not [%.*s] %d\n", format, there, ours, length, wanted, right, wanted);
    }
    if (vfprintf(file, format, (va_list)slots) != wanted) ++different;
    memcpy(all + size, right, wanted);
    size += wanted;
    /* Numbers from text are the same whoever converts them: zeros make one too long. */
    const unsigned long long digits = random_bits() >> below(64);
    const int power = below(64) - 32;
    snprintf(ours, sizeof ours, "%llue%d", digits, power);
    snprintf(right, sizeof right, "%llu.%030de%d", digits, 0, power);
    if (strtod(ours, NULL) != strtod(right, NULL)) {
      ++different;
      printf("%s: %.17g, not %.17g\n", ours, strtod(ours, NULL), strtod(right, NULL));
    }
  }
  rewind(file);
  char* const read = malloc(size + 1);
  const int same = fread(read, 1, size + 1, file) == (size_t)size && memcmp(read, all, size) == 0;
  fclose(file);
  remove("formats.tmp");
  printf("%d different, the file %s\n", different, same ? "the same" : "differs");
  return 0;
}
