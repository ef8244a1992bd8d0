// What C++ programs do with their run-time, by name:
//
//   cpp_work throws|uncaught|sort|map|regex|lines COUNT
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Guard {
  int* count;
  ~Guard() { ++*count; }
};

[[gnu::noipa]] int descend(int depth, int* left) {
  const Guard guard{left};
  if (depth == 0) throw std::runtime_error("at the bottom");
  return descend(depth - 1, left) + 1;
}

void throws(int count) {
  int caught = 0, left = 0;
  for (int i = 0; i < count; ++i) {
    try {
      descend(9, &left);
    } catch (const std::exception&) {
      ++caught;
    }
  }
  if (caught != count || left != 10 * count) std::abort();
}

void uncaught(int depth) {
  int left = 0;
  descend(depth, &left);
}

void sort(int count) {
  std::mt19937_64 random(1);
  std::vector<double> numbers(static_cast<std::size_t>(count));
  for (double& number : numbers) number = static_cast<double>(random());
  std::sort(numbers.begin(), numbers.end());
  if (!std::is_sorted(numbers.begin(), numbers.end())) std::abort();
}

void map(int count) {
  std::mt19937 random(1);
  std::map<unsigned, std::string> kept;
  for (int i = 0; i < count; ++i) {
    const unsigned key = random() % 20000;
    if (random() % 2) {
      kept[key] = "value of the key";
    } else {
      kept.erase(key);
    }
  }
}

void regex(int count) {
  const std::regex pattern(R"((\w+)@(\w+)\.org)");
  const std::string line = "a line of text, with an address@example.org somewhere near its end\n";
  long found = 0;
  for (int i = 0; i < count; ++i) found += std::regex_search(line, pattern);
  if (found != count) std::abort();
}

void lines(int count) {
  for (int i = 0; i < count; ++i) std::cout << "line " << i << ' ' << i * 0.5 << '\n';
}

constexpr struct {
  const char* name;
  void (*act)(int count);
} kActs[] = {{"throws", throws}, {"uncaught", uncaught}, {"sort", sort},
             {"map", map},       {"regex", regex},       {"lines", lines}};

}  // namespace

int main(int argc, char** arguments) {
  if (argc != 3) return 2;
  for (const auto& row : kActs) {
    if (std::strcmp(row.name, arguments[1]) == 0) row.act(std::atoi(arguments[2]));
  }
}
