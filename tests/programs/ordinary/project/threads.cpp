// Exceptions that are caught, and one that is not, in threads of a C++ program.
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

template <class Number>
struct Exceeded : std::runtime_error {
  using std::runtime_error::runtime_error;
};

[[gnu::noinline]] void check(int number) {
  if (number > 2) throw Exceeded<std::string>("no more than 2");
}
[[gnu::noinline]] void quiet(int number) noexcept { check(number); }

int main(int, char** arguments) {
  try {
    check(3);
  } catch (const std::exception& error) {
    std::printf("caught: %s\n", error.what());
    std::fflush(stdout);
  }
  if (std::strcmp(arguments[1], "quiet") == 0) quiet(3);
  std::thread([] { check(2); }).join();
  std::thread([] { check(3); }).join();
}
