// The worst night's scenarios, and what a case, a process that goes through one
// of them, shares with the test that started it.
#pragma once

#include <string>
#include <vector>

#include "tests/unit/host/failing_platform.h"

namespace tarn::test {

inline constexpr char kJournal[] = "journal";
inline constexpr char kListing[] = "listing.LIS";
inline constexpr char kListingInNeed[] = "listing.LI$";  // where it is if it could not be written
inline constexpr int kListingLines = 60;
inline constexpr char kStray[] = "stray";  // made by a slave that takes itself for a master
inline constexpr char kLibraryName[] = "night.dll";  // a library of this executable's own

std::string journal_line(int number);
const std::string& listing();

// In memory that both processes see.
struct Night {
  Injection injection;
  bool finished;           // came to the scenario's end
  std::uint32_t fault;     // code of the last exception; 0: none
  bool raised;             // it was a run-time error
  std::uint64_t fault_at;  // instruction
  int confirmed;           // lines of kJournal
  char broken[200];        // the first claim that did not hold
};
extern Night* night;

extern std::string start_folder;  // where the test was started
extern std::string victim;  // a program in the case's folder: it sleeps the seconds it is given

enum Place { kDescriptors, kTerminal };
enum Armed { kFromStart, kAfterStart };  // operations of the library's start fail too, or do not
inline constexpr char kAnyFault[] = "*";

struct Scenario {
  const char* name;
  void (*run)();
  Place place;
  Armed armed;
  const char* faults;  // operation whose failure ends in a real fault; kAnyFault: any
  bool slow = false;   // left out but for TARN_EVERY_FAILURE
};
extern const std::vector<Scenario> scenarios;

}  // namespace tarn::test
