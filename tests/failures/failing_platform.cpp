// A platform of which one operation can be made to fail, by trampolines.py: a call of an operation
// is counted, and passed on or given what a failure returns. Nothing but the result and the
// thread's error code tells of a failure: cells that the call would have filled stay as they are.
//
// TARN_FAILURES in the environment: a file of kSlots numbers of 32 bits, the number of calls of
// each operation. A further one holds the failures. TARN_FAIL: the operation that fails and the
// first and the last of its calls that do. TARN_FAIL=names lists the operations.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

namespace {

constexpr std::uint32_t kSlots = 256;

extern "C" const struct {
  std::uint64_t result;
  char name[40];
} tarn_test_operations[];
extern "C" const std::uint32_t tarn_test_operation_count;

std::uint32_t* counts;
std::uint32_t failing = kSlots, first_call, last_call;

[[gnu::constructor(101)]] void read_environment() {
  const char* const path = getenv("TARN_FAILURES");
  const char* const wanted = getenv("TARN_FAIL");
  if (wanted && strcmp(wanted, "names") == 0) {
    for (std::uint32_t i = 0; i < tarn_test_operation_count; ++i) {
      puts(tarn_test_operations[i].name);
    }
    fflush(stdout);
    _exit(tarn_test_operation_count < kSlots ? 0 : 1);
  }
  const int file = path ? open(path, O_RDWR) : -1;
  if (file < 0) return;
  void* const memory =
      mmap(nullptr, (kSlots + 1) * sizeof *counts, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (memory == MAP_FAILED) abort();
  if (wanted) sscanf(wanted, "%u %u %u", &failing, &first_call, &last_call);
  counts = static_cast<std::uint32_t*>(memory);
}

}  // namespace

// Called by the trampolines: 1 if this call fails, with what it returns.
extern "C" TARNAPI std::uint64_t tarn_test_call_fails(std::uint32_t operation,
                                                      std::uint64_t* result) {
  if (!counts) return 0;
  const std::uint32_t call = __atomic_add_fetch(&counts[operation], 1, __ATOMIC_RELAXED);
  if (operation != failing || call < first_call || call > last_call) return 0;
  __atomic_add_fetch(&counts[kSlots], 1, __ATOMIC_RELAXED);
  tarn::platform::SetLastError(tarn::platform::kErrorAccessDenied);
  *result = tarn_test_operations[operation].result;
  return 1;
}
