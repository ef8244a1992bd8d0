// The worst night: whatever one operation of the platform fails, at one call or
// from one on, nothing crashes or hangs, and what was written before, and
// confirmed, is still there.
//
// Each case is a process of its own that runs one scenario. A first run of the
// scenario, in which nothing fails, counts the calls; then one operation fails:
// at its first call, its second, one in the middle, one near the end and its
// last, and from each of them on. A case may end as usual, or with a run-time
// error that is reported.
// TARN_EVERY_FAILURE in the environment: at and from every call.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/loader/loader.h"
#include "process/process_end.h"
#include "startup/initialise.h"
#include "tests/support/terminal_user.h"
#include "tests/unit/host/night_scenarios.h"

namespace {

namespace platform = tarn::platform;
using namespace tarn::test;

constexpr int kTimeLimit = 20'000;  // milliseconds a case; one takes a few
// Processes start slowly under a sanitizer: there only first calls fail.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
constexpr std::uint32_t kAlways = ~std::uint32_t{0};
constexpr std::uint32_t kBreakpoint = 0x80000003;

TARNAPI std::int32_t note_exception(platform::ExceptionPointers* exception) {
  const std::uint64_t rip = exception->context->Rip;
  std::uint16_t bytes = 0;
  if (exception->record->code == platform::kExceptionAccessViolation &&
      exception->record->parameters[1] != rip) {
    std::memcpy(&bytes, reinterpret_cast<const void*>(rip), sizeof bytes);
  }
  if (exception->record->code == kBreakpoint) {  // as a debugger, behind it
    exception->context->Rip += 1;
    return platform::kContinueExecution;
  }
  night->fault = exception->record->code;
  night->fault_at = rip;
  night->raised = bytes == 0x09CD;
  return platform::kContinueSearch;
}

// ---- Running a case ---------------------------------------------------------------

class Nights : public ::testing::Test {
 protected:
  void SetUp() override {
    night = static_cast<Night*>(
        mmap(nullptr, sizeof(Night), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(night, MAP_FAILED);
    char name[] = "/tmp/tarn_night_XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    folder_ = name;
    std::ofstream(folder_ + "/input", std::ios::binary) << "first\r\nsecond\r\nthird\r\n";
    std::filesystem::create_directory(folder_ + "/tarnley");
    std::ofstream(folder_ + "/tarnley/registry") << "[Software\\Night]\nTold=by the registry\n";
    start_folder = std::filesystem::current_path();
    victim = std::string("victim") + std::strrchr(name, '_');
    std::filesystem::copy_file("/bin/sleep", folder_ + "/" + victim);
    setenv("TERM", "xterm", 1);
    setenv("XDG_CONFIG_HOME", folder_.c_str(), 1);
    static constexpr platform::NativeLibrary kLibrary = {
        kLibraryName, [](const char*) -> void* { return nullptr; }};
    platform::offer_native_libraries(&kLibrary, 1);
  }
  void TearDown() override {
    std::filesystem::remove_all(folder_);
    munmap(night, sizeof(Night));
  }

  // What went wrong, or empty.
  std::string run(const Scenario& scenario, int operation, std::uint32_t first,
                  std::uint32_t last) {
    *night = {};
    night->injection.operation = operation;
    night->injection.first = first;
    night->injection.last = last;
    for (const char* const made : {kJournal, kStray, kListingInNeed, "new"}) {
      std::filesystem::remove_all(folder_ + "/" + made);
    }
    if (contents(kListing) != listing()) {
      std::ofstream(folder_ + "/" + kListing, std::ios::binary) << listing();
    }

    std::optional<PseudoTerminal> terminal;
    if (scenario.place == kTerminal) terminal.emplace(80, 24);
    const PseudoTerminal* const seat = terminal ? &*terminal : nullptr;
    const termios before = seat ? seat->mode() : termios{};
    const pid_t child = fork();
    if (child == 0) child_runs(scenario, seat);
    const int status = attend(child, seat, kTimeLimit);
    const std::string result = verdict(scenario, operation, status);
    if (result.empty() && seat && WIFEXITED(status) && !seat->has_mode(before)) {
      return "the terminal's mode was left changed";
    }
    return result;
  }

 private:
  [[noreturn]] void child_runs(const Scenario& scenario, const PseudoTerminal* terminal) const {
    if (chdir(folder_.c_str()) != 0) _exit(99);
    if (terminal) {
      terminal->lead_session();
    } else {
      setsid();
      dup2(open("input", O_RDONLY), 0);
      dup2(open("output", O_WRONLY | O_CREAT, 0600), 1);
      dup2(1, 2);
    }
    injection = &night->injection;
    platform::AddVectoredExceptionHandler(1, &note_exception);
    night->injection.armed = scenario.armed == kFromStart;
    tarn::__initialise_cpplib();
    night->injection.armed = true;
    scenario.run();
    night->finished = true;
    tarn::exit(0);
  }

  std::string verdict(const Scenario& scenario, int operation, int status) const {
    char text[300] = "";
    const std::string faults = scenario.faults;
    const std::string failing = operation < 0 ? "" : platform_operations[operation].name;
    const bool may_fault = faults == kAnyFault || (operation >= 0 && faults == failing);
    const bool may_go_unreported = failing == "AddVectoredExceptionHandler";
    if (status == kHangs) return "it hangs";
    if (night->broken[0]) return night->broken;
    if (WIFSIGNALED(status) && !(may_go_unreported && night->fault)) {
      std::snprintf(text, sizeof text, "ended by signal %d, exception %x at %llx", WTERMSIG(status),
                    night->fault, static_cast<unsigned long long>(night->fault_at));
    } else if (WIFEXITED(status) && WEXITSTATUS(status) > 1) {
      std::snprintf(text, sizeof text, "ended with code %d", WEXITSTATUS(status));
    } else if (!night->finished && night->fault && !night->raised && !may_fault) {
      std::snprintf(text, sizeof text, "faulted, exception %x at %llx", night->fault,
                    static_cast<unsigned long long>(night->fault_at));
    } else if (!night->finished && !night->fault) {
      return "ended early, without a word";
    }
    if (text[0]) return text;
    return what_is_lost();
  }

  std::string what_is_lost() const {
    std::string wanted;
    for (int i = 0; i < night->confirmed; ++i) wanted += journal_line(i);
    std::string found = contents(kJournal);
    std::erase(found, '\r');  // of a text stream
    if (!found.starts_with(wanted)) return "confirmed lines are not in the file";
    if (std::filesystem::exists(folder_ + "/" + kStray)) return "a slave became a master";
    const bool kept = has_listing(contents(kListing)) || has_listing(contents(kListingInNeed));
    return kept ? "" : "a listing lost its lines";
  }

  // Each line of it, with a count behind it or not.
  static bool has_listing(const std::string& text) {
    bool found = true;
    for (int i = 1; i <= kListingLines; ++i) {
      char start[30];
      std::snprintf(start, sizeof start, " %04d  a line of the listing", i);
      found = found && text.find(start) != std::string::npos;
    }
    return found;
  }

  std::string contents(const char* name) const {
    std::ifstream file(folder_ + "/" + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  std::string folder_;
};

// The calls of so many at which an operation fails, or from which on.
std::set<std::uint32_t> calls_to_fail(std::uint32_t calls, bool every_call) {
  if (kSanitized && !every_call) return {1};
  std::set<std::uint32_t> chosen = {1, std::min(calls, 2u), (calls + 1) / 2, calls - calls / 4,
                                    calls};
  for (std::uint32_t n = 1; every_call && n < calls; ++n) chosen.insert(n);
  return chosen;
}

TEST_F(Nights, AnyOperationMayFailAtAnyCall) {
  const bool every_call = std::getenv("TARN_EVERY_FAILURE") != nullptr;
  int cases = 0;
  bool reached[kPlatformOperations] = {};
  for (const Scenario& scenario : scenarios) {
    if (scenario.slow && !every_call) continue;
    EXPECT_EQ(run(scenario, -1, 0, 0), "") << scenario.name << ", nothing fails";
    const Injection counted = night->injection;
    for (int i = 0; i < kPlatformOperations; ++i) {
      const std::uint32_t calls = counted.calls[i];
      if (calls == 0) continue;
      reached[i] = true;
      for (const std::uint32_t first : calls_to_fail(calls, every_call)) {
        for (const std::uint32_t last : {first, kAlways}) {
          if (last == kAlways && kSanitized) continue;
          ++cases;
          EXPECT_EQ(run(scenario, i, first, last), "")
              << scenario.name << ": " << platform_operations[i].name << " fails "
              << (last == kAlways ? "from" : "at") << " call " << first << " of " << calls;
        }
      }
    }
  }
  std::printf("%d cases\n", cases);
  for (int i = 0; i < kPlatformOperations; ++i) {
    EXPECT_EQ(reached[i], platform_operations[i].on_host)
        << platform_operations[i].name << (reached[i] ? " is" : " is not")
        << " called by a scenario: platform_operations.inc says otherwise";
  }
}

// The table is complete: what the header declares stands in it, in that order.
TEST(PlatformOperations, AreAllInTheTable) {
  std::ifstream header(TARN_SOURCE_DIR "/src/platform/platform.h");
  std::ifstream table(TARN_SOURCE_DIR "/tests/unit/host/platform_operations.inc");
  std::vector<std::string> declared, rows;
  for (std::string line; std::getline(header, line);) {
    if (!line.starts_with("TARNAPI ") && !line.starts_with("[[noreturn]] TARNAPI ")) continue;
    const std::size_t end = line.find('(');
    const std::size_t name = line.find_last_of(" *", end) + 1;
    declared.push_back(line.substr(name, end - name));
  }
  for (std::string line; std::getline(table, line);) {
    if (line.starts_with("//")) continue;
    const std::size_t name = line.find('(') + 1;
    rows.push_back(line.substr(name, line.find_first_of(",)", name) - name));
  }
  EXPECT_EQ(declared, rows);
}

}  // namespace
