#include "storage/secondary_stack.h"

#include "paneview/paneview.h"
#include "platform/byte_block.h"
#include "platform/platform.h"
#include "process/processor.h"
#include "process/raising.h"
#include "process/system_facts.h"

namespace tarn {
namespace {

constexpr std::uint64_t kFirstReservation = 0x200000000;  // 8 GiB
constexpr int kReservationAttempts = 8;
constexpr std::uint64_t kStackPage = 4096;
constexpr std::int64_t kLeastProgramStorage = 4096;
constexpr std::uint64_t kBlockStep = 16;
constexpr std::uint8_t kUndefinedByte = 0x80;

constexpr std::uint64_t round_down(std::uint64_t value, std::uint64_t step) {
  return value & ~(step - 1);
}
constexpr std::uint64_t round_up(std::uint64_t value, std::uint64_t step) {
  return round_down(value + step - 1, step);
}

Slot& pseudo_pointer() { return runtime_cell(kCellPseudoStack); }

void* address(std::uint64_t value) { return reinterpret_cast<void*>(value); }

void commit(std::uint64_t from, std::uint64_t to) {
  platform::VirtualAlloc(address(from), to - from, platform::kMemCommit, platform::kPageReadWrite);
}

[[noreturn]] void stop_without_reservation() {
  asm volatile("movl %0, (%1)" : : "a"(platform::GetLastError()), "r"(nullptr) : "memory");
  __builtin_trap();
}

std::uint64_t reserve() {
  std::uint64_t& size = secondary_stack.reservation;
  for (int attempt = 0; attempt < kReservationAttempts; ++attempt) {
    void* const area =
        platform::VirtualAlloc(nullptr, size, platform::kMemReserve, platform::kPageNoAccess);
    if (area) return reinterpret_cast<std::uint64_t>(area);
    size /= 2;
  }
  stop_without_reservation();
}

std::int64_t default_size() {
  std::uint64_t size = secondary_stack.reservation;
  const std::uint64_t memory = ask_physical_memory();
  if (memory > 0 && memory / 2 < size) size = memory / 2;
  const std::int64_t storage = program_storage;
  return static_cast<std::int64_t>(size) -
         (storage < kLeastProgramStorage ? kLeastProgramStorage : storage);
}

[[noreturn]] TARNAPI void stack_exhausted() { __RuntimeError(TARN_ERROR_VIRTUAL_STACK); }

[[gnu::noinline]] TARNAPI void* extend_quasi(std::uint64_t size) {
  const std::uint64_t pointer = secondary_stack.quasi_pointer;
  const std::uint64_t limit = secondary_stack.quasi_committed;
  const std::uint64_t excess = round_up(pointer + size - limit, kStackPage);
  const std::uint64_t ceiling = secondary_stack.pseudo_committed;
  if (ceiling < limit || excess > ceiling - limit) stack_exhausted();
  commit(limit, limit + excess);
  secondary_stack.quasi_committed = limit + excess;
  secondary_stack.quasi_pointer = pointer + size;
  return address(pointer);
}

}  // namespace

SecondaryStack secondary_stack = {kFirstReservation, 0, 0, 0, 0, 0, 0, 0};

void __init_pseudo_stack() {
  secondary_stack.base = round_up(reserve(), kStackPage);
  secondary_stack.quasi_pointer = secondary_stack.base;
  secondary_stack.quasi_committed = secondary_stack.base;
  __set_stack_size(default_size());
  paneview::__init_paneview64(tarn_avx_supported);
}

void __set_stack_size(std::int64_t bytes) {
  const std::uint64_t reserved = secondary_stack.base ? secondary_stack.reservation : 0;
  const std::uint64_t wanted = bytes < 0 ? 0 : static_cast<std::uint64_t>(bytes);
  secondary_stack.size = round_down(wanted < reserved ? wanted : reserved, kStackPage);
  secondary_stack.top = secondary_stack.base + secondary_stack.size;
  secondary_stack.pseudo_committed = secondary_stack.top;
  pseudo_pointer() = secondary_stack.top;
}

void* extend_pseudo_stack(std::uint64_t bytes) {
  const std::uint64_t pointer = pseudo_pointer();
  const std::uint64_t floor = secondary_stack.quasi_committed;
  if (secondary_stack.pseudo_failure || pointer < floor || bytes > pointer - floor) {
    stack_exhausted();
  }
  const std::uint64_t low = round_down(pointer - bytes, kStackPage);
  commit(low, secondary_stack.pseudo_committed);
  secondary_stack.pseudo_committed = low;
  pseudo_pointer() = pointer - bytes;
  return address(pointer - bytes);
}

void* __alloc_pseudo_stack1(std::int64_t size) {
  void* const block = __alloc_pseudo_stack(size);
  if (size > 0) fill_bytes(block, kUndefinedByte, static_cast<std::uint64_t>(size));
  return block;
}

void* __alloc_quasi_stack(std::int64_t size) {
  const std::uint64_t bytes =
      size <= 0 ? kBlockStep : round_up(static_cast<std::uint64_t>(size), kBlockStep);
  const std::uint64_t pointer = secondary_stack.quasi_pointer;
  if (bytes > secondary_stack.quasi_committed - pointer) return extend_quasi(bytes);
  secondary_stack.quasi_pointer = pointer + bytes;
  return address(pointer);
}

void* __alloc_quasi_stack_str(std::int64_t size) {
  void* const block = __alloc_quasi_stack(size);
  if (size > 0) fill_bytes(block, ' ', static_cast<std::uint64_t>(size));
  return block;
}

void __free_quasi_stack() { secondary_stack.quasi_pointer = secondary_stack.base; }

}  // namespace tarn
