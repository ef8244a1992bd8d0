#include "messages.h"

#include <cstdio>

std::string printable(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) c = '?';
  }
  return text;
}

int refuse(const std::string& text) {
  std::fprintf(stderr, "tarncc: %s\n", printable(text).c_str());
  return kRefused;
}

int usage_error(const std::string& text) {
  std::fprintf(stderr, "tarncc: %s (try --help)\n", printable(text).c_str());
  return kWrongUsage;
}
