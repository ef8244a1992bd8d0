#include "messages.h"

#include <cstdio>

int refuse(const std::string& text) {
  std::fprintf(stderr, "tarncc: %s\n", printable(text).c_str());
  return kRefused;
}

int usage_error(const std::string& text) {
  std::fprintf(stderr, "tarncc: %s (try --help)\n", printable(text).c_str());
  return kWrongUsage;
}
