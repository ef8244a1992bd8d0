#define OBJECTS_PART
#include "objects.h"

namespace {
// Made before the library is up, so it says nothing then.
struct Quiet {
  ~Quiet() { printf("-DLL\n"); }
} global;
thread_local int counter = 1;
}  // namespace

const char* part_local() {
  static Speaker speaker("local of the DLL");
  return speaker.name;
}

int part_counter() { return ++counter; }
