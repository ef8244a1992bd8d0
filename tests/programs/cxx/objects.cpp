// C++ of today's kind: what the compiler calls of itself is there, static
// objects are destroyed at the end in the program and then in its DLL, and each
// thread's objects are at hand in both.
#include <stdio.h>

#include "objects.h"

namespace {

struct Abstract {
  virtual int value() const = 0;
  virtual ~Abstract() {}
};

struct Concrete : Abstract {
  explicit Concrete(int number) : number_(number) {}
  ~Concrete() override { printf("~Concrete %d\n", number_); }
  int value() const override { return number_; }
  int number_;
};

struct alignas(64) Wide {
  char bytes[100];
};

struct Large {
  Large() { printf("made of nothing\n"); }
  ~Large() {}
  char bytes[1 << 20];
};

Speaker global("program");
thread_local Speaker of_thread("thread of the program");
thread_local int counter = 41;

const Speaker& local() {
  static Speaker speaker("local");
  return speaker;
}

__attribute__((destructor)) void last() { printf("attribute\n"); }

}  // namespace

int main(int count, char**) {
  Speaker* const pair = new Speaker[2]{Speaker("first"), Speaker("second")};
  delete[] pair;
  Abstract* const object = new Concrete(7);
  printf("%d\n", object->value());
  delete object;
  Wide* const wide = new Wide;
  printf("aligned: %d\n", reinterpret_cast<unsigned long long>(wide) % 64 == 0);
  delete wide;
  printf("none: %d\n", new Large[static_cast<unsigned long long>(count) << 40] == nullptr);
  unsigned __int128 large = static_cast<unsigned __int128>(count) << 100;
  printf("%u\n", static_cast<unsigned>(large / 1000000007u >> 64));
  printf("%s, %s, %s\n", local().name, of_thread.name, part_local());
  printf("%d %d\n", ++counter, part_counter());
  return 9;
}
