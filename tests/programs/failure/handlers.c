// Exceptions of the program's own, and routines that handle them: the compilers'
// run-times stand on the same routines of the system.
#include <stdio.h>
#include <windows.h>

#define CODE 0x20000042

// Calls its argument. An exception in it runs finish(), the inner part's; the result
// is 8 if choose() takes it, else 7.
int guarded(void (*act)(void));
__asm__(
    ".text\n.globl guarded\n.def guarded; .scl 2; .type 32; .endef\n.seh_proc guarded\n"
    "guarded:\n\tpush %rbx\n\t.seh_pushreg %rbx\n\tsub $32, %rsp\n\t.seh_stackalloc 32\n"
    "\t.seh_endprologue\n\t.seh_handler __C_specific_handler, @except, @unwind\n"
    "\t.seh_handlerdata\n\t.long 2\n\t.rva 1f, 2f, finish\n\t.long 0\n\t.rva 1f, 2f, choose, 3f\n"
    "\t.text\n\tmov $7, %ebx\n1:\tcall *%rcx\n\tnop\n2:\txor %eax, %eax\n\tjmp 4f\n"
    "3:\tmov $1, %eax\n4:\tadd %ebx, %eax\n\tadd $32, %rsp\n\tpop %rbx\n\tret\n\t.seh_endproc\n");

__attribute__((used)) static void finish(BOOLEAN abnormal, void* frame) {
  printf("  finish, %s\n", abnormal && frame ? "abnormal" : "?");
}

static LONG answer;
__attribute__((used)) static LONG choose(EXCEPTION_POINTERS* exception, void* frame) {
  const EXCEPTION_RECORD* const record = exception->ExceptionRecord;
  printf("  choose %lx with %lu parameters, the last %llu\n", record->ExceptionCode,
         record->NumberParameters, record->ExceptionInformation[record->NumberParameters - 1]);
  return frame ? answer : 0;
}

static void act(void) {
  const ULONG_PTR parameters[] = {1, 20};
  RaiseException(CODE, 0, 2, parameters);
  puts("  went on");
}
static void act_inside(void) {
  answer = EXCEPTION_CONTINUE_SEARCH;  // the outer one is asked first
  guarded(act);
}
static LONG WINAPI take_at_last(EXCEPTION_POINTERS* exception) {
  printf("  filter %lx\n", exception->ExceptionRecord->ExceptionCode);
  return EXCEPTION_CONTINUE_EXECUTION;
}

// The routines on the stack, by the unwind data.
__attribute__((noinline)) static int walk(void* const* wanted, int count) {
  CONTEXT context;
  RtlCaptureContext(&context);
  for (int i = 0; i < count; ++i) {
    DWORD64 base, frame;
    void* data;
    RUNTIME_FUNCTION* const entry = RtlLookupFunctionEntry(context.Rip, &base, NULL);
    if (!entry || (void*)(base + entry->BeginAddress) != wanted[i]) return i;
    RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, entry, &context, &data, &frame, NULL);
  }
  return count;
}

int main(void) {
  answer = EXCEPTION_EXECUTE_HANDLER;
  puts("taken");
  printf("%x\n", guarded(act));
  answer = EXCEPTION_CONTINUE_EXECUTION;
  puts("continued");
  printf("%x\n", guarded(act));
  puts("by nobody");
  SetUnhandledExceptionFilter(take_at_last);
  guarded(act_inside);
  void* const routines[] = {(void*)walk, (void*)main};
  printf("%d\n", walk(routines, 2));
}
