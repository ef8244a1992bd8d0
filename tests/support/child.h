// Child processes that are this executable and run one of its disabled tests.
#pragma once

#include <cstdlib>
#include <string>

#include "platform/platform.h"

namespace tarn::test {

// In quotes.
inline std::string own_program() {
  char program[1024];
  platform::GetModuleFileNameA(nullptr, program, sizeof program);
  return "\"" + std::string(program) + "\"";
}

// What such a child is given: DISABLED_test of whatever suite. Behind these three
// arguments there may be more.
inline std::string child_options(const std::string& test) {
  return "--gtest_also_run_disabled_tests --gtest_brief=1 --gtest_filter=*.DISABLED_" + test;
}

inline std::string child_line(const std::string& test) {
  return own_program() + " " + child_options(test);
}

}  // namespace tarn::test
