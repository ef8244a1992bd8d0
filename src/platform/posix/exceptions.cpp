// Signals as the platform's exceptions: a fault's siginfo and ucontext become
// an exception record and a context record, the vectored handlers are asked in
// order, and a context that one of them changed is put back. If all pass the
// exception on, the signal has the effect it had before the first handler was
// added.

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

#include "platform/posix/system.h"

namespace tarn::platform {
namespace {

// ---- Handlers ---------------------------------------------------------------

// The platform's list, as two tables: handlers called first, newest to oldest,
// then handlers called last, oldest to newest. They are only added to; readers
// take no lock.
constexpr int kMaxHandlers = 32;
VectoredHandler first_handlers[kMaxHandlers];
VectoredHandler last_handlers[kMaxHandlers];
bool table_held;

void hold_table() {
  while (__atomic_test_and_set(&table_held, __ATOMIC_ACQUIRE)) sched_yield();
}

void release_table() { __atomic_clear(&table_held, __ATOMIC_RELEASE); }

std::int32_t ask_handlers(ExceptionPointers* exception) {
  for (int i = 0; i < 2 * kMaxHandlers; ++i) {
    VectoredHandler* const slot =
        i < kMaxHandlers ? &first_handlers[kMaxHandlers - 1 - i] : &last_handlers[i - kMaxHandlers];
    const VectoredHandler handler = __atomic_load_n(slot, __ATOMIC_ACQUIRE);
    if (handler && handler(exception) == kContinueExecution) return kContinueExecution;
  }
  return kContinueSearch;
}

// ---- Context record ---------------------------------------------------------

// Control, integer, segment and floating-point parts are valid.
constexpr std::uint32_t kContextFlags = 0x0010000F;
constexpr std::size_t kFxSaveSize = 512;
constexpr std::size_t kFxSaveMxcsr = 24;
constexpr std::uint32_t kTrapFlag = 0x100;

constexpr struct {
  int linux_register;
  std::uint64_t AMD_CONTEXT::*cell;
} kRegisters[] = {
    {REG_RAX, &AMD_CONTEXT::Rax}, {REG_RCX, &AMD_CONTEXT::Rcx}, {REG_RDX, &AMD_CONTEXT::Rdx},
    {REG_RBX, &AMD_CONTEXT::Rbx}, {REG_RSP, &AMD_CONTEXT::Rsp}, {REG_RBP, &AMD_CONTEXT::Rbp},
    {REG_RSI, &AMD_CONTEXT::Rsi}, {REG_RDI, &AMD_CONTEXT::Rdi}, {REG_R8, &AMD_CONTEXT::R8},
    {REG_R9, &AMD_CONTEXT::R9},   {REG_R10, &AMD_CONTEXT::R10}, {REG_R11, &AMD_CONTEXT::R11},
    {REG_R12, &AMD_CONTEXT::R12}, {REG_R13, &AMD_CONTEXT::R13}, {REG_R14, &AMD_CONTEXT::R14},
    {REG_R15, &AMD_CONTEXT::R15}, {REG_RIP, &AMD_CONTEXT::Rip},
};

void copy_bytes(void* to, const void* from, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    static_cast<std::uint8_t*>(to)[i] = static_cast<const std::uint8_t*>(from)[i];
  }
}

void take_context(const ucontext_t& from, AMD_CONTEXT* to) {
  const greg_t* const registers = from.uc_mcontext.gregs;
  to->ContextFlags = kContextFlags;
  for (const auto& [linux_register, cell] : kRegisters) {
    to->*cell = static_cast<std::uint64_t>(registers[linux_register]);
  }
  to->EFlags = static_cast<std::uint32_t>(registers[REG_EFL]);
  // cs, gs, fs and ss share one word, 16 bits each.
  const auto segments = static_cast<std::uint64_t>(registers[REG_CSGSFS]);
  to->SegCs = static_cast<std::uint16_t>(segments);
  to->SegGs = static_cast<std::uint16_t>(segments >> 16);
  to->SegFs = static_cast<std::uint16_t>(segments >> 32);
  to->SegSs = static_cast<std::uint16_t>(segments >> 48);
  asm("mov %%ds, %0" : "=r"(to->SegDs));
  asm("mov %%es, %0" : "=r"(to->SegEs));
  if (from.uc_mcontext.fpregs) {
    copy_bytes(to->FxSaveArea, from.uc_mcontext.fpregs, kFxSaveSize);
    copy_bytes(&to->MxCsr, to->FxSaveArea + kFxSaveMxcsr, sizeof to->MxCsr);
  }
}

// What a user-mode program may set of the flags: the arithmetic flags, trap,
// direction and alignment check.
constexpr std::uint32_t kSettableFlags = 0x00240DD5;
constexpr std::uint32_t kSettableMxcsr = 0x0000FFFF;
// The kernel's own words at the end of the floating-point image stay.
constexpr std::size_t kFxSaveUserSize = 416;

void put_context(const AMD_CONTEXT& from, ucontext_t* to) {
  greg_t* const registers = to->uc_mcontext.gregs;
  for (const auto& [linux_register, cell] : kRegisters) {
    registers[linux_register] = static_cast<greg_t>(from.*cell);
  }
  const auto old_flags = static_cast<std::uint32_t>(registers[REG_EFL]);
  registers[REG_EFL] = (from.EFlags & kSettableFlags) | (old_flags & ~kSettableFlags);
  if (to->uc_mcontext.fpregs) {
    auto* const image = reinterpret_cast<std::uint8_t*>(to->uc_mcontext.fpregs);
    copy_bytes(image, from.FxSaveArea, kFxSaveUserSize);
    // MxCsr stands twice in the record; the system takes the first.
    const std::uint32_t mxcsr = from.MxCsr & kSettableMxcsr;
    copy_bytes(image + kFxSaveMxcsr, &mxcsr, sizeof mxcsr);
  }
}

// ---- From signals to exceptions ---------------------------------------------

// The processor's vector numbers, as the kernel puts them in REG_TRAPNO.
enum Vector : std::int64_t {
  kDivideError = 0,
  kDebug = 1,
  kBreakpoint = 3,
  kOverflow = 4,
  kBoundRange = 5,
  kInvalidOpcode = 6,
  kStackSegment = 12,
  kGeneralProtection = 13,
  kPageFault = 14,
  kX87Error = 16,
  kAlignmentCheck = 17,
  kSimdError = 19,
};

enum Code : std::uint32_t {
  kBreakpointReached = 0x80000003,
  kSingleStep = 0x80000004,
  kInPageError = 0xC0000006,
  kStackOverflow = 0xC00000FD,
  kIllegalInstruction = 0xC000001D,
  kArrayBoundsExceeded = 0xC000008C,
  kDenormalOperand = 0xC000008D,
  kFloatDivideByZero = 0xC000008E,
  kInexactResult = 0xC000008F,
  kInvalidOperation = 0xC0000090,
  kFloatOverflow = 0xC0000091,
  kFloatStackCheck = 0xC0000092,
  kFloatUnderflow = 0xC0000093,
  kIntegerDivideByZero = 0xC0000094,
  kIntegerOverflow = 0xC0000095,
  kPrivilegedInstruction = 0xC0000096,
};

// In both the MXCSR and the x87 status word, bits 0 to 5, in the order in
// which the processor looks at them.
constexpr struct {
  std::uint32_t flag;
  Code code;
} kFloatFlags[] = {
    {0x01, kInvalidOperation}, {0x02, kDenormalOperand}, {0x04, kFloatDivideByZero},
    {0x08, kFloatOverflow},    {0x10, kFloatUnderflow},  {0x20, kInexactResult},
};
constexpr std::uint32_t kX87StackFault = 0x41;  // invalid operation by the register stack
constexpr int kMxcsrMaskShift = 7;

std::uint32_t float_code(std::uint32_t raised) {
  for (const auto& [flag, code] : kFloatFlags) {
    if (raised & flag) return code;
  }
  return kInvalidOperation;
}

// Instructions that user mode may not execute: hlt, cli, sti, in and out in
// their forms, and of the two-byte ones lgdt..lmsw/invlpg, clts, wbinvd, mov
// to and from control and debug registers, wrmsr, rdmsr.
bool is_privileged(std::uint64_t address) {
  std::uint8_t code[2];
  std::uint64_t copied = 0;
  if (!ReadProcessMemory(invalid_handle(), reinterpret_cast<const void*>(address), code,
                         sizeof code, &copied)) {
    return false;
  }
  switch (code[0]) {
    case 0xF4:
    case 0xFA:
    case 0xFB:
    case 0x6C:
    case 0x6D:
    case 0x6E:
    case 0x6F:
    case 0xE4:
    case 0xE5:
    case 0xE6:
    case 0xE7:
    case 0xEC:
    case 0xED:
    case 0xEE:
    case 0xEF:
      return true;
    case 0x0F:
      switch (code[1]) {
        case 0x01:
        case 0x06:
        case 0x08:
        case 0x09:
        case 0x20:
        case 0x21:
        case 0x22:
        case 0x23:
        case 0x30:
        case 0x32:
          return true;
        default:
          return false;
      }
    default:
      return false;
  }
}

void access_violation(ExceptionRecord* record, std::uint64_t kind, std::uint64_t address) {
  record->code = kExceptionAccessViolation;
  record->parameter_count = 2;
  record->parameters[0] = kind;
  record->parameters[1] = address;
}

// The pages below the first thread's stack, or the program's: touching them is
// the stack's overflow.
std::uint64_t stack_low;
constexpr std::uint64_t kStackGuardSpan = std::uint64_t{1} << 20;  // the kernel's gap

void page_fault(const ucontext_t& signal, int number, ExceptionRecord* record) {
  const auto error = static_cast<std::uint64_t>(signal.uc_mcontext.gregs[REG_ERR]);
  const auto address = static_cast<std::uint64_t>(signal.uc_mcontext.gregs[REG_CR2]);
  const std::uint64_t kind = error & 0x10 ? 8 : error & 0x02 ? 1 : 0;  // execute, write, read
  access_violation(record, kind, address);
  if (number == SIGBUS) record->code = kInPageError;  // a mapped file ended
  if (address < stack_low && stack_low - address <= kStackGuardSpan) {
    record->code = kStackOverflow;
  }
}

// The system tells no address of a protection fault: read at all bits set.
void protection_fault(const AMD_CONTEXT& context, ExceptionRecord* record) {
  if (is_privileged(context.Rip)) {
    record->code = kPrivilegedInstruction;
  } else {
    access_violation(record, 0, ~std::uint64_t{0});
  }
}

// Fills code and parameters; false for what is no fault of this thread's.
bool describe(int number, const siginfo_t& info, const ucontext_t& signal, AMD_CONTEXT* context,
              ExceptionRecord* record) {
  if (info.si_code <= 0) return false;  // sent by kill and the like
  switch (signal.uc_mcontext.gregs[REG_TRAPNO]) {
    case kDivideError:
      record->code = kIntegerDivideByZero;
      break;
    case kDebug:
      record->code = kSingleStep;
      context->EFlags &= ~kTrapFlag;  // one step only, unless a handler asks for more
      break;
    case kBreakpoint:
      record->code = kBreakpointReached;
      record->parameter_count = 1;
      context->Rip -= 1;  // on the instruction, as for faults
      break;
    case kOverflow:
      record->code = kIntegerOverflow;
      break;
    case kBoundRange:
      record->code = kArrayBoundsExceeded;
      break;
    case kInvalidOpcode:
      record->code = kIllegalInstruction;
      break;
    case kStackSegment:
    case kGeneralProtection:
      protection_fault(*context, record);
      break;
    case kPageFault:
      page_fault(signal, number, record);
      break;
    case kX87Error: {
      const std::uint32_t control = context->FxSaveArea[0];
      const std::uint32_t status = context->FxSaveArea[2];
      record->code = (status & kX87StackFault) == kX87StackFault ? kFloatStackCheck
                                                                 : float_code(status & ~control);
      break;
    }
    case kSimdError:
      record->code = float_code(context->MxCsr & ~(context->MxCsr >> kMxcsrMaskShift));
      break;
    default:
      return false;
  }
  return true;
}

constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP};
constexpr int kFaultSignalCount = sizeof kFaultSignals / sizeof kFaultSignals[0];
struct sigaction earlier_actions[kFaultSignalCount];

// Lets the signal have its earlier effect. A fault meets it again on return,
// at the same instruction; what would not happen again is sent.
void pass_on(int number, bool fault) {
  restore_terminal();  // most often the process ends here
  for (int i = 0; i < kFaultSignalCount; ++i) {
    if (kFaultSignals[i] == number) sigaction(number, &earlier_actions[i], nullptr);
  }
  if (!fault || number == SIGTRAP) {
    syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), number);
  }
}

thread_local sigjmp_buf* fault_escape;

// A program that turned alignment checks on loses them at the first fault and
// goes on, as the system it was compiled for lets it. The flag is still set
// here, so that it goes before anything else is done.
bool drop_alignment_checks(ucontext_t* signal) {
  asm volatile(
      "lea -128(%%rsp), %%rsp\n\t"  // keeps clear of the red zone
      "pushfq\n\tandl $0xFFFBFFFF, (%%rsp)\n\tpopfq\n\t"
      "lea 128(%%rsp), %%rsp"
      :
      :
      : "memory", "cc");
  greg_t* const registers = signal->uc_mcontext.gregs;
  if (registers[REG_TRAPNO] != kAlignmentCheck) return false;
  registers[REG_EFL] &= ~greg_t{0x40000};
  return true;
}

void on_signal(int number, siginfo_t* info, void* machine_state) {
  if (drop_alignment_checks(static_cast<ucontext_t*>(machine_state))) return;
  if (fault_escape) siglongjmp(*fault_escape, 1);
  const int kept_errno = errno;
  auto* const signal = static_cast<ucontext_t*>(machine_state);
  // The kernel starts a handler with masked floating-point traps.
  AMD_CONTEXT context{};
  ExceptionRecord record{};
  take_context(*signal, &context);
  const bool fault = describe(number, *info, *signal, &context, &record);
  record.address = reinterpret_cast<void*>(context.Rip);
  ExceptionPointers exception{&record, &context};
  if (fault && ask_handlers(&exception) == kContinueExecution) {
    put_context(context, signal);
  } else {
    pass_on(number, fault);
  }
  errno = kept_errno;
}

// ---- Installation -----------------------------------------------------------

// Room for a handler that composes a report with its buffers.
constexpr std::size_t kSignalStackSize = 512 * 1024;

// The first thread's handlers run on a stack of their own, so that a fault is
// reported even when the stack is used up.
void give_signal_stack() {
  stack_t current{};
  if (sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE) &&
      current.ss_size >= kSignalStackSize) {
    return;
  }
  void* const memory = mmap(nullptr, kSignalStackSize, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
  if (memory == MAP_FAILED) return;  // then they run on the thread's stack
  stack_t stack{};
  stack.ss_sp = memory;
  stack.ss_size = kSignalStackSize;
  sigaltstack(&stack, nullptr);
}

void find_first_stack() {
  pthread_attr_t attributes;
  if (stack_low != 0 || pthread_getattr_np(pthread_self(), &attributes) != 0) return;
  void* low = nullptr;
  std::size_t size = 0;
  if (pthread_attr_getstack(&attributes, &low, &size) == 0) set_stack_low(low);
  pthread_attr_destroy(&attributes);
}

bool signals_installed;

bool install_signals() {
  if (signals_installed) return true;
  give_signal_stack();
  find_first_stack();
  struct sigaction action {};
  action.sa_sigaction = &on_signal;
  // A handler's own fault must reach the handlers again.
  action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  for (int i = 0; i < kFaultSignalCount; ++i) {
    if (sigaction(kFaultSignals[i], &action, &earlier_actions[i]) != 0) return false;
  }
  signals_installed = true;
  return true;
}

// ---- Memory -----------------------------------------------------------------

constexpr std::uint32_t kErrorPartialCopy = 299;

// Where the kernel does not grant process_vm_readv, even to the process
// itself: a pipe takes what is readable and reports the rest.
std::uint64_t copy_through_pipe(const void* source, void* destination, std::uint64_t size) {
  constexpr std::uint64_t kPipePiece = 4096;  // a pipe takes at least this whole
  int ends[2];
  if (pipe(ends) != 0) return 0;
  std::uint64_t done = 0;
  while (done < size) {
    // To the end of the page at most, so that a piece is readable or not.
    const std::uint64_t from = reinterpret_cast<std::uint64_t>(source) + done;
    std::uint64_t piece = kPipePiece - from % kPipePiece;
    if (piece > size - done) piece = size - done;
    const ssize_t taken = write(ends[1], reinterpret_cast<const void*>(from), piece);
    if (taken <= 0 || read(ends[0], static_cast<char*>(destination) + done,
                           static_cast<std::size_t>(taken)) != taken) {
      break;
    }
    done += static_cast<std::uint64_t>(taken);
  }
  close(ends[0]);
  close(ends[1]);
  return done;
}

}  // namespace

void set_fault_escape(sigjmp_buf* escape) {
  if (!signals_installed) {
    hold_table();
    install_signals();
    release_table();
  }
  fault_escape = escape;
}

void set_stack_low(const void* low) { stack_low = reinterpret_cast<std::uint64_t>(low); }

void* AddVectoredExceptionHandler(std::uint32_t first, VectoredHandler handler) {
  if (!handler) return nullptr;
  hold_table();
  VectoredHandler* place = nullptr;
  if (install_signals()) {
    VectoredHandler* const table = first ? first_handlers : last_handlers;
    int used = 0;
    while (used < kMaxHandlers && table[used]) ++used;
    if (used < kMaxHandlers) {
      place = &table[used];
      __atomic_store_n(place, handler, __ATOMIC_RELEASE);
    }
  }
  release_table();
  if (!place) SetLastError(kErrorNotEnoughMemory);
  return place;
}

Status ReadProcessMemory(Handle process, const void* source, void* destination, std::uint64_t size,
                         std::uint64_t* copied) {
  if (copied) *copied = 0;
  if (process != invalid_handle() && process != GetCurrentProcess()) {
    SetLastError(kErrorInvalidHandle);
    return 0;
  }
  std::uint64_t done = 0;
  if (size > 0) {
    const iovec local{destination, size};
    const iovec remote{const_cast<void*>(source), size};
    const ssize_t taken = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    if (taken > 0) {
      done = static_cast<std::uint64_t>(taken);
    } else if (taken < 0 && (errno == EPERM || errno == ENOSYS)) {
      done = copy_through_pipe(source, destination, size);
    }
  }
  if (copied) *copied = done;
  if (done == size) return 1;
  SetLastError(kErrorPartialCopy);
  return 0;
}

}  // namespace tarn::platform
