/* What a program finds when main is called, and the ways to fail from there. */
#include <stdio.h>
#include <string.h>
#include <tarn/image.h>

#include "part.h"

typedef int doubler(int value);
TARN_BIND(bound, doubler, "script_part.dll", "twice")
TARN_BIND(no_routine, doubler, "script_part.dll", "no_such_routine")
TARN_BIND(no_library, doubler, "no_such_library.dll", "twice")
TARN_NOTE_IMAGE
TARN_REQUIRE_AVX

extern unsigned char __ImageBase[];
extern unsigned long long tarn_script_word;
int __BrackenStartup(void);

static int runs;
static void initialise(void) {
  printf("initialiser: the library is up\n");
  ++runs;
}
TARN_INITIALISER(initialise)

static unsigned control(void) {
  unsigned value;
  __asm__ volatile("stmxcsr %0" : "=m"(value));
  return value;
}

/* Relocated, and constant afterwards. */
static const char* const program_texts[] = {"first", "second"};

static void replace_script(int opcode) {
  static unsigned char script[1];
  script[0] = (unsigned char)opcode;
  tarn_script_word = (unsigned long long)(script - __ImageBase);
  __BrackenStartup();
}

int main(int argc, char** argv) {
  volatile double zero = 0, tiny = 1e-300, denormal;
  const char* what = argc > 1 ? argv[1] : "";
  *(volatile unsigned long long*)&denormal = 1;
  if (strcmp(what, "routine") == 0) no_routine(1);
  if (strcmp(what, "library") == 0) no_library(1);
  if (strcmp(what, "constant") == 0) *(const char* volatile*)program_texts = what;
  if (strcmp(what, "dll_constant") == 0) *texts_of_part() = what;
  if (strcmp(what, "divide") == 0) printf("%g\n", 1 / zero);
  if (what[0] >= '0' && what[0] <= '9') {
    int opcode = 0;
    for (; *what; ++what) opcode = 10 * opcode + *what - '0';
    replace_script(opcode);
  }
  if (argc > 1) printf("survived\n");

  printf("the DLL's script again: %d, its text \"%s\"\n", walk_again(), *texts_of_part());
  printf("initialiser ran %d time, the DLL's %d, its constructor %d\n", runs, initialiser_runs(),
         constructor_runs());
  printf("a bound routine: %d\n", bound(21));
  printf("the others are bound too: %d\n", no_routine && no_library && no_routine == no_library);
  early_region()[0] = 1; /* it grows once the library is up */
  printf("an early region of %d page\n", early_region()[4095] + 1);
  printf("the image begins with %.4s\n", (const char*)__ImageBase);
  printf("unmasked, flushing: %x\n", control() & 0xFFC0);
  printf("underflow gives %d, a denormal reads as %d\n", tiny * tiny == 0, denormal * 2 == 0);
  return 0;
}
