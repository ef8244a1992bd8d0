// Classes and exceptions across the border of program and DLL, and exceptions across
// frames of the library, of a signal, of a trap routine and in a parallel task.
#include <tarn/parallel.h>
#include <tarn/traps.h>
#include <windows.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <thread>
#include <typeinfo>

#include "borders.h"

namespace {

using Compare = int (*)(const void*, const void*);
using Sort = void (*)(void*, std::size_t, std::size_t, Compare);

int compared;

int refuse(const void* a, const void* b) {
  if (++compared == 5) throw std::runtime_error("not comparable");
  return *static_cast<const int*>(a) - *static_cast<const int*>(b);
}

struct Guard {
  const char* name;
  ~Guard() { std::printf("left %s\n", name); }
};

// Values in registers that the routines between keep for their callers.
[[gnu::noipa]] double sort_with(Sort sort, double a, double b, double c) {
  int numbers[] = {5, 3, 9, 1, 7, 8, 2};
  const double x = a * b, y = b * c, z = a * c;
  compared = 0;
  try {
    Guard guard{"sort"};
    sort(numbers, 7, sizeof numbers[0], refuse);
  } catch (const std::runtime_error& error) {
    std::printf("%s after %d\n", error.what(), compared);
  }
  return x + 10 * y + 100 * z;
}

template <class Routine>
Routine of_library(const char* name) {
  return reinterpret_cast<Routine>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("TARNLIBC64.DLL"), name)));
}

void on_signal(int number) {
  std::signal(number, on_signal);
  throw number;
}

[[gnu::noipa]] int divide(int a, int b) { return a / b; }
[[gnu::noipa]] int load(const volatile int* from) { return *from; }

[[gnu::noipa]] int try_both(int divisor, const volatile int* from) {
  int caught = 0;
  try {
    Guard guard{"division"};
    caught += divide(7, divisor);
  } catch (int number) {
    caught += number == SIGFPE ? 100 : 0;
  }
  try {
    caught += load(from);
  } catch (int number) {
    caught += number == SIGSEGV ? 1000 : 0;
  }
  return caught;
}

int TARNAPI throw_trapped(tarn_context*, tarn_exception* exception, int) {
  throw static_cast<long>(exception->code & 0xFF);
}

void trap() {
  constexpr int kType = TARN_TRAP_ACCESS;
  TRAP_EXCEPTION(&kType, throw_trapped);
  int sum = 1;
  try {
    sum += load(nullptr);
  } catch (long code) {
    std::printf("trapped %lx, %d\n", code, sum);
  }
  TRAP_EXCEPTION(&kType, nullptr);
}

// The second task ends by an exception; the first misses it.
[[noreturn]] void meet() {
  if (GetParallelTaskID(1) == 1) take(Urgent(), 3);
  TASKSYNCHRONISE();
  std::abort();
}

void throw_timed() { throw 42; }

int act(int value) {
  if (value == 1) throw std::domain_error("domain");
  if (value == 2) throw Refused("by act");
  return value;
}

const int* const limit = &limits[1];
const int limit_at_start = *limit;

void with_part() {
  try {
    take(Urgent(), limit_at_start);
  } catch (const Refused& refused) {
    std::printf("caught %s\n", refused.what());
  }
  std::printf("%d\n", call(act, 1));
  try {
    call(act, 2);
  } catch (const std::exception& error) {
    std::printf("caught %s %s\n", error.what(), typeid(error).name());
  }
  std::printf("%d %d uncaught\n", std::uncaught_exceptions(), uncaught_in_part());
  const std::unique_ptr<Order> order(make());
  std::printf("%d %d\n", dynamic_cast<Urgent*>(order.get()) != nullptr, is_urgent(order.get()));
}

}  // namespace

int main() {
  if (IsSlaveProcess()) meet();
  errno = 5;
  run_in_thread([] { errno = 7; });
  std::printf("errno %d\n", errno);
  std::printf("%g\n", sort_with(std::qsort, 2, 3, 4));
  std::printf("%g\n", sort_with(of_library<Sort>("qsort"), 2, 3, 4));
  try {
    of_library<double (*)(void (*)())>("PERFORM_TIMING")(throw_timed);
  } catch (int number) {
    std::printf("timed %d\n", number);
  }
  std::signal(SIGFPE, on_signal);
  std::signal(SIGSEGV, on_signal);
  for (int i = 0; i < 2; ++i) std::printf("%d\n", try_both(0, nullptr));
  const int one = 1;
  std::printf("%d\n", try_both(7, &one));
  trap();
  with_part();
  std::thread([] {
    keep(5);
    std::puts("thread");
  }).join();
  std::puts("the team");
  std::fflush(stdout);
  meet();
}
