// The console against its model: any calls, on a screen whose width is any. The
// screen is a pseudo terminal that a thread empties.
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>

#include "startup/initialise.h"
#include "tests/support/console_model.h"
#include "tests/support/pseudo_terminal.h"

namespace {

using tarn::test::BlindTerminal;

constexpr int kRows = 12;

const BlindTerminal& terminal() {
  static const BlindTerminal instance(80, kRows);
  return instance;
}

// In place of standard input and output.
bool sit_down() {
  setenv("TERM", "xterm", 1);
  const int side = open(terminal().path().c_str(), O_RDWR | O_NOCTTY);
  for (const int handle : {0, 1}) dup2(side, handle);
  tarn::__initialise_cpplib();
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  [[maybe_unused]] static const bool seated = sit_down();
  if (size < 2) return 0;
  terminal().set_size(2 + (data[0] | (data[1] & 1) << 8), kRows);
  raise(SIGWINCH);  // it is no controlling terminal
  const std::string found = tarn::test::compare_with_model(data + 2, size - 2, [](int count) {
    terminal().type(std::string(static_cast<std::size_t>(count), 'k'));
  });
  if (found.empty()) return 0;
  std::fprintf(stderr, "%s\n", found.c_str());
  abort();
}
