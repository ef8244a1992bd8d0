/* Composes the text of a failure report over and over, as the handler does:
 * the description's place is known, ten frames are walked, the registers and
 * the instruction are shown.
 *
 *   report_time COUNT
 *
 * A fault ten calls deep is trapped; its context is walked COUNT times. */
#include <stdio.h>
#include <stdlib.h>
#include <tarn/traps.h>

char* decode_remote_instruction(void* process, char* text, unsigned long long* address);
int trace_back_once(void* process, char* text, struct tarn_context* context);

static char text[50000], details[2048];
static int count, frames;

static int walk(struct tarn_context* context, struct tarn_exception* exception, int zero) {
  (void)exception, (void)zero;
  static struct tarn_context copy;
  for (int round = 0; round < count; ++round) {
    char* end = text;
    copy = *context;
    frames = 0;
    while (frames < 10 && trace_back_once((void*)-1, end, &copy)) {
      while (*end) ++end;
      ++frames;
    }
    unsigned long long address = context->rip;
    int length =
        sprintf(details, "%16.16llx %16.16llx\n%llx) ", context->rax, context->rcx, address);
    decode_remote_instruction((void*)-1, details + length, &address);
  }
  context->rip += 2; /* after ud2 */
  return TARN_RESUME;
}

static int deeper(int depth);
static int (*volatile go_on)(int) = deeper;

static int deeper(int depth) {
  if (depth > 0) return 1 + go_on(depth - 1);
  __asm__ volatile("ud2");
  return 0;
}

int main(int argc, char** argv) {
  const int all = TARN_TRAP_ALL;
  count = argc > 1 ? atoi(argv[1]) : 1;
  TRAP_EXCEPTION(&all, walk);
  deeper(12);
  if (count == 1) printf("%s", text);
  return count > 0 && frames != 10;
}
