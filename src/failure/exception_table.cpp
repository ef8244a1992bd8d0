#include "failure/exception_table.h"

#include "failure/floating_point_traps.h"

namespace tarn {
namespace {

constexpr std::uint64_t kFloat = kFloatingPointException;

enum TrapType : std::int32_t { kCatchAll = 12, kFloatAll = 13, kTrapTypes = 16 };

// The exception of each type; 0: none.
constexpr std::uint32_t kTypeCodes[kTrapTypes] = {
    0xC0000005, 0xC0000090, 0xC000008D, 0xC000008E, 0xC0000091, 0xC0000093, 0xC000008F, 0xC0000092,
    0,          0x80000003, 0x80000004, 0xC0000096, 0,          0,          0xC0000094, 0,
};

TrapRoutine exchange(TrapRoutine* cell, TrapRoutine routine) {
  const TrapRoutine before = *cell;
  *cell = routine;
  return before;
}

}  // namespace

// clang-format off
exception_row exception_table[kExceptionRows + 1] = {
    {0xC0000005, "Access violation", 0, nullptr},
    {0x80000002, "Data alignment", 0, nullptr},
    {0x80000003, "Breakpoint", 0, nullptr},
    {0x80000004, "Single step", 0, nullptr},
    {0xC000008C, "Array bounds violation", 0, nullptr},
    {0xC000008D, "Denormalised operand", kFloat, nullptr},
    {0xC000008E, "Floating point divide by zero", kFloat, nullptr},
    {0xC000008F, "Loss of precision", kFloat, nullptr},
    {0xC0000090, "Invalid floating point operation", kFloat, nullptr},
    {0xC0000091, "Floating point overflow", kFloat, nullptr},
    {0xC0000092, "Floating point stack fault", kFloat, nullptr},
    {0xC0000093, "Floating point underflow", kFloat, &underflow_handler},
    {0xC0000094, "Integer divide by zero", 0, nullptr},
    {0xC0000095, "Integer overflow", 0, nullptr},
    {0xC0000096, "Attempt to execute privileged instruction", 0, nullptr},
    {0xC0000006, "Exception in page error", 0, nullptr},
    {0xC000013A, "Control-C exit", 0, nullptr},
    {0xC000001D, "Attempt to execute illegal instruction", 0, nullptr},
    {0xC00000FD, "Stack overflow", 0, nullptr},
    {0xC0000026, "Invalid disposition exception", 0, nullptr},
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

TrapRoutine TRAP_EXCEPTION_at(const std::int32_t* type, TrapRoutine routine) {
  if (*type == kCatchAll) return exchange(&catch_all_trap, routine);
  if (*type == kFloatAll) return exchange(&float_trap, routine);
  if (*type < 0 || *type >= kTrapTypes || !kTypeCodes[*type]) return nullptr;
  exception_row* const row = find_exception(kTypeCodes[*type]);
  return row ? exchange(&row->handler, routine) : nullptr;
}

void RESTORE_DEFAULT_HANDLER_at(const void*) {
  for (exception_row* row = exception_table; row->code; ++row) row->handler = nullptr;
  find_exception(kUnderflow)->handler = &underflow_handler;
}

}  // namespace tarn
