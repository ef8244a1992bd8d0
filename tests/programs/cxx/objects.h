#include <stdio.h>

struct Speaker {
  explicit Speaker(const char* called) : name(called) { printf("+%s\n", name); }
  ~Speaker() { printf("-%s\n", name); }
  const char* name;
};

#ifdef OBJECTS_PART
#define PART __declspec(dllexport)
#else
#define PART __declspec(dllimport)
#endif
PART const char* part_local();
PART int part_counter();
