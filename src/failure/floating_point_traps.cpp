#include "failure/floating_point_traps.h"

#include <xmmintrin.h>

#include "failure/decoder/decoder.h"
#include "failure/safe_memory.h"
#include "paneview/paneview.h"

namespace tarn {
namespace {

// Bits of the MXCSR.
constexpr std::uint32_t kDenormalsAreZero = 0x40;
constexpr std::uint32_t kMaskInvalid = 0x80;
constexpr std::uint32_t kMaskZeroDivide = 0x200;
constexpr std::uint32_t kMaskOverflow = 0x400;
constexpr std::uint32_t kMaskUnderflow = 0x800;
constexpr std::uint32_t kFlushToZero = 0x8000;
constexpr std::uint32_t kNothingSaved = 0xFFFFFFFF;

constexpr std::size_t kFxSaveXmm = 160;  // XMM0's place in the FXSAVE image
constexpr std::size_t kXmmSize = 16;
constexpr std::uint64_t kLongestInstruction = 15;

enum UnderflowMode : std::int32_t { kHardware = 0, kCount = 1, kReport = 2 };

std::int32_t underflow_mode;
std::int32_t underflow_count;
std::int32_t underflow_notice_pending = 1;
std::uint32_t saved_mxcsr = kNothingSaved;
BreakRoutine break_routine;

// A scalar or packed SSE instruction: mandatory prefix, REX, 0F, opcode, ModRM.
struct SseInstruction {
  std::uint8_t opcode;
  int destination;  // number of the XMM register
};

bool read_sse_instruction(std::uint64_t address, SseInstruction* instruction) {
  std::uint8_t code[8];
  safe_memory_read(address, code, sizeof code);
  int i = 0;
  if (code[0] == 0xF2 || code[0] == 0xF3 || code[0] == 0x66) ++i;
  int high = 0;
  if ((code[i] & 0xF0) == 0x40) {
    high = (code[i] & 4) << 1;  // REX.R
    ++i;
  }
  if (code[i] != 0x0F) return false;
  instruction->opcode = code[i + 1];
  instruction->destination = (code[i + 2] >> 3 & 7) + high;
  return true;
}

// Addition, multiplication, subtraction and division take the destination as an
// operand; with zero in it their result is zero when they run again.
bool depends_on_destination(std::uint8_t opcode) {
  return opcode == 0x58 || opcode == 0x59 || opcode == 0x5C || opcode == 0x5E;
}

// True if the register was zero before.
bool clear_register(platform::AMD_CONTEXT* context, int number) {
  std::uint8_t* const bytes =
      context->FxSaveArea + kFxSaveXmm + kXmmSize * static_cast<std::size_t>(number);
  bool was_zero = true;
  for (std::size_t i = 0; i < kXmmSize; ++i) {
    was_zero &= bytes[i] == 0;
    bytes[i] = 0;
  }
  return was_zero;
}

// Moves Rip past its instruction; false if the decoder does not know it.
bool step_over(platform::AMD_CONTEXT* context) {
  char text[kInstructionTextSize];
  std::uint64_t next = context->Rip;
  decode_remote_instruction(current_process_handle, text, next);
  const bool known = !(text[0] == 'd' && text[1] == 'b');
  if (!known || next - context->Rip > kLongestInstruction) return false;
  context->Rip = next;
  return true;
}

}  // namespace

void __set_software_underflows(std::int32_t mode) {
  if (mode < kHardware || mode > kReport) return;
  _mm_setcsr(mode == kHardware ? _mm_getcsr() | kMaskUnderflow : _mm_getcsr() & ~kMaskUnderflow);
  underflow_mode = mode;
}

void SET_SOFTWARE_UNDERFLOWS(const std::int32_t* mode) { __set_software_underflows(*mode); }

void PERMIT_UNDERFLOW(const std::int16_t* permitted) {
  __set_software_underflows(*permitted ? kHardware : kReport);
}

void CLEAR_FLT_UNDERFLOW() {}

void UNDERFLOW_COUNT(std::int32_t* count) {
  constexpr std::uint64_t kNoticeColour = 0xBEFFBE;
  static char notice[] =
      "In 64-bit mode underflows are normally handled by the hardware, \n"
      "and cannot therefore be counted. To use the \n"
      "UNDERFLOW_COUNT$ function you should first turn on software \n"
      "underflow handling by calling \n"
      "SET_SOFTWARE_UNDERFLOWS$(1). \n"
      "Since this is an expensive way to handle underflows, it may not \n"
      "be appropriate in production code";
  if (underflow_mode == kHardware && underflow_notice_pending) {
    underflow_notice_pending = 0;
    paneview::__winio(
        "%ex%ca[Information]%ww[topmost]%bg%50.7eb[read_only,no_frame]%ff\n%cn %bt[OK]",
        kNoticeColour, notice, static_cast<std::uint64_t>(sizeof notice));
  }
  *count = underflow_count;
}

std::int64_t EXCEPTION_ADDRESS() { return 0; }

void mask_all_fp_errors(std::int32_t on) {
  if (saved_mxcsr == kNothingSaved) saved_mxcsr = _mm_getcsr();
  _mm_setcsr(on ? _mm_getcsr() | kMaskUnderflow | kMaskOverflow | kMaskInvalid | kMaskZeroDivide |
                      kFlushToZero | kDenormalsAreZero
                : saved_mxcsr);
}

std::int32_t underflow_handler(platform::AMD_CONTEXT* context, platform::ExceptionRecord*,
                               std::int32_t) {
  ++underflow_count;
  SseInstruction instruction;
  if (!read_sse_instruction(context->Rip, &instruction)) return TARN_REPORT;
  const bool was_zero = clear_register(context, instruction.destination);
  if (underflow_mode == kReport) return TARN_REPORT;
  if (was_zero || !depends_on_destination(instruction.opcode)) {
    return step_over(context) ? TARN_RESUME : TARN_REPORT;
  }
  return TARN_RESUME;
}

std::int32_t ime_kludge_handler(platform::AMD_CONTEXT*, platform::ExceptionRecord*, std::int32_t) {
  return TARN_NOT_AN_ERROR;
}

BreakRoutine SET_TRAP(BreakRoutine routine, const std::int32_t* type) {
  if (*type != 0) return nullptr;
  platform::SetConsoleCtrlHandler(&intermediate_break_handler, 1);
  const BreakRoutine before = break_routine;
  break_routine = routine;
  return before;
}

std::int32_t intermediate_break_handler(std::uint32_t event) {
  if (event != platform::kConsoleCtrlC && event != platform::kConsoleCtrlBreak) return 0;
  const BreakRoutine routine = break_routine;
  return routine ? routine() : 0;
}

}  // namespace tarn
