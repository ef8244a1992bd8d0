// What borders.cpp and its DLL share.
#pragma once

#include <stdexcept>
#include <string>

#ifdef PART
#define PART_API __declspec(dllexport)
#define PART_DATA PART_API
#else
#define PART_API __declspec(dllimport)
#define PART_DATA  // as where all images of a program see each other's names
#endif

extern PART_DATA const int limits[2];
struct PART_DATA Refused : std::runtime_error {
  using std::runtime_error::runtime_error;
  ~Refused() override;
};
struct Order {
  virtual ~Order() = default;
  virtual int cost() const = 0;
};
struct Urgent : Order {
  int cost() const override { return 7; }
};

PART_API int take(const Order& order, int limit);
PART_API int call(int (*act)(int), int value);
PART_API int uncaught_in_part();
PART_API void keep(int value);
PART_API void run_in_thread(void (*routine)());
PART_API Order* make();
PART_API bool is_urgent(const Order* order);
