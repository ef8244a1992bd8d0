#define PART
#include "borders.h"

#include <cstdio>
#include <exception>
#include <thread>

const int limits[2] = {9, 5};
Refused::~Refused() = default;

int take(const Order& order, int limit) {
  if (order.cost() > limit) throw Refused("cost " + std::to_string(order.cost()));
  return order.cost();
}

int call(int (*act)(int), int value) {
  struct Guard {
    ~Guard() { std::printf("part left, %d uncaught\n", std::uncaught_exceptions()); }
  } guard;
  try {
    return act(value);
  } catch (const std::logic_error& error) {
    std::printf("part caught %s\n", error.what());
    return -1;
  }
}

int uncaught_in_part() { return std::uncaught_exceptions(); }

namespace {
thread_local struct Kept {
  int value = 0;
  ~Kept() { std::printf("part ends %d\n", value); }
} kept;
}  // namespace
void run_in_thread(void (*routine)()) { std::thread(routine).join(); }
void keep(int value) { kept.value = value; }

Order* make() { return new Urgent; }
bool is_urgent(const Order* order) { return dynamic_cast<const Urgent*>(order) != nullptr; }
