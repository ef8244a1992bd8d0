#include "failure/exception_table.h"

#include "failure/floating_point_traps.h"

namespace tarn {
namespace {

constexpr std::uint64_t kFloat = kFloatingPointException;

constexpr std::int32_t kTrapTypes = 16;

// The exception of each type; 0: none.
constexpr std::uint32_t kTypeCodes[kTrapTypes] = {
    platform::kExceptionAccessViolation,
    platform::kExceptionInvalidOperation,
    platform::kExceptionDenormalOperand,
    platform::kExceptionFloatDivideByZero,
    platform::kExceptionFloatOverflow,
    platform::kExceptionFloatUnderflow,
    platform::kExceptionInexactResult,
    platform::kExceptionFloatStackCheck,
    0,
    platform::kExceptionBreakpoint,
    platform::kExceptionSingleStep,
    platform::kExceptionPrivilegedInstruction,
    0,
    0,
    platform::kExceptionIntegerDivideByZero,
    0,
};

TrapRoutine exchange(TrapRoutine* cell, TrapRoutine routine) {
  const TrapRoutine before = *cell;
  *cell = routine;
  return before;
}

}  // namespace

// clang-format off
exception_row exception_table[kExceptionRows + 1] = {
    {platform::kExceptionAccessViolation, "Access violation", 0, nullptr},
    {platform::kExceptionDataAlignment, "Data alignment", 0, nullptr},
    {platform::kExceptionBreakpoint, "Breakpoint", 0, nullptr},
    {platform::kExceptionSingleStep, "Single step", 0, nullptr},
    {platform::kExceptionArrayBounds, "Array bounds violation", 0, nullptr},
    {platform::kExceptionDenormalOperand, "Denormalised operand", kFloat, nullptr},
    {platform::kExceptionFloatDivideByZero, "Floating point divide by zero", kFloat, nullptr},
    {platform::kExceptionInexactResult, "Loss of precision", kFloat, nullptr},
    {platform::kExceptionInvalidOperation, "Invalid floating point operation", kFloat, nullptr},
    {platform::kExceptionFloatOverflow, "Floating point overflow", kFloat, nullptr},
    {platform::kExceptionFloatStackCheck, "Floating point stack fault", kFloat, nullptr},
    {platform::kExceptionFloatUnderflow, "Floating point underflow", kFloat, &underflow_handler},
    {platform::kExceptionIntegerDivideByZero, "Integer divide by zero", 0, nullptr},
    {platform::kExceptionIntegerOverflow, "Integer overflow", 0, nullptr},
    {platform::kExceptionPrivilegedInstruction, "Attempt to execute privileged instruction", 0, nullptr},
    {platform::kExceptionInPageError, "Exception in page error", 0, nullptr},
    {platform::kExceptionControlC, "Control-C exit", 0, nullptr},
    {platform::kExceptionIllegalInstruction, "Attempt to execute illegal instruction", 0, nullptr},
    {platform::kExceptionStackOverflow, "Stack overflow", 0, nullptr},
    {platform::kExceptionInvalidDisposition, "Invalid disposition exception", 0, nullptr},
    {0xE06D7363, "IME Kludge", 0, &ime_kludge_handler},
    {0, nullptr, 0, nullptr},
};
// clang-format on

TrapRoutine catch_all_trap;
TrapRoutine float_trap;
platform::Handle current_process_handle = reinterpret_cast<platform::Handle>(~std::uintptr_t{0});

exception_row* find_exception(std::uint32_t code) {
  for (exception_row* row = exception_table; row->code; ++row) {
    if (row->code == code) return row;
  }
  return nullptr;
}

TrapRoutine TRAP_EXCEPTION(const std::int32_t* type, TrapRoutine routine) {
  if (*type == TARN_TRAP_ALL) return exchange(&catch_all_trap, routine);
  if (*type == TARN_TRAP_ALL_FLOAT) return exchange(&float_trap, routine);
  if (*type < 0 || *type >= kTrapTypes || !kTypeCodes[*type]) return nullptr;
  exception_row* const row = find_exception(kTypeCodes[*type]);
  return row ? exchange(&row->handler, routine) : nullptr;
}

void RESTORE_DEFAULT_HANDLER(const void*) {
  for (exception_row* row = exception_table; row->code; ++row) row->handler = nullptr;
  find_exception(platform::kExceptionFloatUnderflow)->handler = &underflow_handler;
}

}  // namespace tarn
