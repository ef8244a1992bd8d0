#include "failure/trap_routines.h"

#include <xmmintrin.h>

#include "failure/floating_point_traps.h"

namespace tarn {
namespace {

constexpr std::uint32_t kContextFloatingPoint = 0x8;
constexpr std::uint32_t kMxcsrFlags = 0x3F;
constexpr int kMxcsrMaskShift = 7;

std::uint16_t x87_control() {
  std::uint16_t control;
  asm volatile("fnstcw %0" : "=m"(control));
  return control;
}

// Empties the x87 stack first: an exception that waits there would trap again.
void load_float_control(std::uint32_t mxcsr, std::uint16_t x87_control) {
  asm volatile("fninit\n\tfldcw %0" : : "m"(x87_control));
  _mm_setcsr(mxcsr);
}

// The flag of what has just trapped is not the program's any more: the next trap
// would be taken for it.
void load_program_control(const platform::AMD_CONTEXT& context) {
  if (!(context.ContextFlags & kContextFloatingPoint)) return;
  std::uint16_t control;
  __builtin_memcpy(&control, context.FxSaveArea, sizeof control);
  const std::uint32_t mxcsr = context.MxCsr;
  load_float_control(mxcsr & ~(kMxcsrFlags & ~(mxcsr >> kMxcsrMaskShift)), control);
}

struct RunningRoutine {
  std::uint32_t thread;  // 0: a free place
  std::uint32_t code;    // of the exception that it was called for
  TrapRoutine routine;
  std::uint64_t caller;  // its caller's frame: its own frames are below
};

// With no place left a routine runs without its guard.
constexpr int kMostRunning = 64;
RunningRoutine running[kMostRunning];
std::int32_t running_count;

RunningRoutine* enter(const RunningRoutine& entry) {
  for (RunningRoutine& place : running) {
    std::uint32_t free = 0;
    if (!__atomic_compare_exchange_n(&place.thread, &free, entry.thread, false, __ATOMIC_ACQUIRE,
                                     __ATOMIC_RELAXED)) {
      continue;
    }
    place.code = entry.code;
    place.routine = entry.routine;
    place.caller = entry.caller;
    __atomic_add_fetch(&running_count, 1, __ATOMIC_RELAXED);
    return &place;
  }
  return nullptr;
}

void give_back(RunningRoutine* place) {
  __atomic_store_n(&place->thread, 0, __ATOMIC_RELEASE);
  __atomic_sub_fetch(&running_count, 1, __ATOMIC_RELAXED);
}

void leave(RunningRoutine* place) {
  const std::uint32_t code = place->code;
  give_back(place);
  if (code == platform::kExceptionStackOverflow) platform::RestoreStackGuard();
}

}  // namespace

MaskedTraps::MaskedTraps() : mxcsr_(_mm_getcsr()), x87_control_(x87_control()) {
  constexpr std::uint16_t kX87Masked = 0x37F;
  load_float_control(kTrapsMasked, kX87Masked);
}

MaskedTraps::~MaskedTraps() { load_float_control(mxcsr_, x87_control_); }

std::int32_t call_trap_routine(TrapRoutine routine, platform::ExceptionPointers* exception) {
  platform::AMD_CONTEXT* const context = exception->context;
  const auto frame = reinterpret_cast<std::uint64_t>(__builtin_frame_address(0));
  const std::uint32_t thread = platform::GetCurrentThreadId();
  leave_trap_routines(frame, context->Rsp);  // what was left in other ways than by a jump
  for (const RunningRoutine& place : running) {
    if (place.thread == thread && place.routine == routine) return TARN_REPORT;
  }
  RunningRoutine* const place = enter({thread, exception->record->code, routine, frame});
  std::int32_t answer;
  {
    const MaskedTraps own;
    load_program_control(*context);
    answer = routine(context, exception->record, 0);
  }
  if (place) leave(place);
  return answer;
}

void leave_trap_routines(std::uint64_t from, std::uint64_t to) {
  if (__atomic_load_n(&running_count, __ATOMIC_RELAXED) == 0) return;
  const std::uint32_t thread = platform::GetCurrentThreadId();
  for (RunningRoutine& place : running) {
    // Frames that live and lie between the two are the routine's.
    const bool stays = from <= to && to < place.caller;
    if (place.thread == thread && !stays) leave(&place);
  }
}

void end_trap_routines() {
  const std::uint32_t thread = platform::GetCurrentThreadId();
  for (RunningRoutine& place : running) {
    if (place.thread == thread) give_back(&place);
  }
}

}  // namespace tarn
