// Failures of C++ programs that nobody handles, each by its name.
#include <cstring>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace shop {

struct Closed : std::runtime_error {
  [[gnu::noipa]] explicit Closed(const std::string& day) : std::runtime_error("closed on " + day) {}
};
template <class Ware>
struct Shelf {
  std::map<std::string, std::vector<Ware>> wares;
  [[gnu::noipa]] const Ware& find(const std::string& name) { return wares.at(name).front(); }
};

}  // namespace shop

namespace {

int work = 1;

[[gnu::noipa]] void uncaught() { throw shop::Closed("Sunday"); }

[[gnu::noipa]] void number() { throw work + 41; }

[[gnu::noipa]] void text() { throw std::string("a string"); }

[[gnu::noipa]] void lost() {
  shop::Shelf<std::unique_ptr<int>> shelf;
  shelf.find("spade");
  ++work;
}

[[gnu::noipa]] void promised() noexcept {
  uncaught();
  ++work;
}

struct Shape {
  [[gnu::noipa]] virtual ~Shape() { draw_itself(); }
  virtual void draw() = 0;
  [[gnu::noipa]] void draw_itself() {
    draw();
    ++work;
  }
};
struct Circle : Shape {
  [[gnu::noipa]] void draw() override { ++work; }
};
struct Square : Shape {
  [[gnu::noipa]] void draw() override { work += 2; }
};
[[gnu::noipa]] void pure() {
  const std::unique_ptr<Shape> shape(work == 1 ? static_cast<Shape*>(new Circle) : new Square);
}

[[gnu::noipa]] void terminated() { std::terminate(); }

[[gnu::noipa]] void again() {
  try {
    number();
  } catch (...) {
    throw;
  }
}

[[gnu::noipa]] void threaded() { std::thread(uncaught).join(); }

constexpr struct {
  const char* name;
  void (*routine)();
} kFailures[] = {
    {"uncaught", uncaught},
    {"number", number},
    {"text", text},
    {"lost", lost},
    {"promised", promised},
    {"pure", pure},
    {"terminated", terminated},
    {"again", again},
    {"threaded", threaded},
};

}  // namespace

int main(int, char** arguments) {
  for (const auto& failure : kFailures) {
    if (std::strcmp(failure.name, arguments[1]) == 0) failure.routine();
  }
  return work;
}
