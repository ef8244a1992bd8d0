// The barrier of two tasks on two cores, against two processes that pass one
// shared byte to and fro and do nothing else. Both are one round trip between
// the cores.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "bench/rows.h"
#include "services/parallel_tasks.h"

namespace {

constexpr int kRounds = 200;  // between two looks at the command
constexpr int kPasses = 1000;
constexpr double kLimit = 3;

enum Command : std::int32_t { kBarriers, kBytes };

// What the two tasks share. The byte has a cache line of its own.
struct Shared {
  alignas(64) std::int32_t command;
  alignas(64) volatile std::uint8_t byte;
};
Shared* shared;

void barriers() {
  for (int i = 0; i < kRounds; ++i) tarn::TASKSYNCHRONISE();
}

void bytes() {
  for (int i = 0; i < kRounds; ++i) {
    shared->byte = 1;
    while (shared->byte != 0) {
    }
  }
}

// Nanoseconds for one round.
double measure(Command command, void (*rounds)()) {
  shared->command = command;
  tarn::TASKSYNCHRONISE();
  const auto start = std::chrono::steady_clock::now();
  rounds();
  const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
  return elapsed.count() / kRounds;
}

// Of the passes in which nothing else took a processor away.
double undisturbed(std::vector<double>* passes) {
  const auto tenth = passes->begin() + static_cast<std::ptrdiff_t>(passes->size() / 10);
  std::nth_element(passes->begin(), tenth, passes->end());
  return *tenth;
}

// The slave does its part until the master stops the run at a barrier.
[[noreturn]] void serve() {
  for (;;) {
    tarn::TASKSYNCHRONISE();
    if (shared->command == kBarriers) {
      barriers();
      continue;
    }
    for (int i = 0; i < kRounds; ++i) {
      while (shared->byte != 1) {
      }
      shared->byte = 0;
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  bench::initialise(argc, argv);
  constexpr const char* kRow = "barrier of two tasks, round";
  if (!bench::wanted(kRow)) return 0;
  if (tarn::RecommendedProcessorCount(0) < 2) {
    std::fprintf(stderr, "Left out: %s (there is one processor)\n", kRow);
    return 0;
  }
  const std::int32_t task = tarn::GetParallelTaskID(1);
  shared = static_cast<Shared*>(tarn::allocate_auto_shared_memory(sizeof(Shared)));
  if (task > 0) serve();
  std::vector<double> ours, theirs;
  for (int i = 0; i < kPasses; ++i) {
    ours.push_back(measure(kBarriers, &barriers));
    theirs.push_back(measure(kBytes, &bytes));
  }
  bench::print_row(kRow, "one shared byte", undisturbed(&ours), undisturbed(&theirs), kLimit);
  tarn::TerminateParallelProcessing();
  return 0;
}
