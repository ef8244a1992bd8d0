// The library under test, calls of its routines that survive faults, and
// storage with unreadable pages around it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/guarded_pages.h"

#include "tests/cases/call.h"

namespace tarn::cases {

// Brings the library up: the DLL, or the one linked with the driver.
void open_library();
// The library's export or the driver's own routine of that name, or null.
void* find_routine(const std::string& name);

struct Outcome {
  enum { kReturned, kRaised, kFaulted } kind = kReturned;
  std::int64_t number = 0;  // that was raised
  std::string texts[6];     // of the raised error
  std::uint32_t code = 0;   // of the fault
  std::uint64_t address = 0, instruction = 0;
};
// Calls by `call`, whose results are filled in where the routine returns.
Outcome call_safely(Call* call);

// As much of the memory as can be read, at most `size` bytes.
std::string read_memory(std::uint64_t address, std::size_t size);

// Blocks that end directly before an unreadable page, or begin directly after
// one.
class GuardedMemory {
 public:
  void set_at_end(bool at_end) { at_end_ = at_end; }
  std::uint8_t* take(std::size_t size);
  void release(const std::uint8_t* block);

 private:
  struct Slot {
    test::GuardedPages pages;
    const std::uint8_t* block;  // null: free
  };
  std::vector<Slot> slots_;
  bool at_end_ = true;
};

}  // namespace tarn::cases
