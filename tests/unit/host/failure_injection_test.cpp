// The worst night: whatever one operation of the platform fails, at its first
// call, a later one, or from then on, nothing crashes or hangs, and what was
// written before, and confirmed, is still there.
//
// Each case is a process of its own that runs one scenario. A first run of the
// scenario, in which nothing fails, counts the calls; then one operation fails.
// A case may end as usual, or with a run-time error that is reported.
// TARN_EVERY_FAILURE in the environment: every call of every operation, not the
// first and last alone.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>

#include "exports/export_headers.h"
#include "paneview/paneview.h"
#include "platform/platform.h"
#include "tests/support/terminal_user.h"
#include "tests/unit/host/failing_platform.h"

namespace {

namespace platform = tarn::platform;
using tarn::test::Injection;
using tarn::test::kPlatformOperations;
using tarn::test::platform_operations;
using tarn::test::PseudoTerminal;

constexpr int kTimeLimit = 20'000;  // milliseconds a case; one takes a few
// Processes start slowly under a sanitizer: there only first calls fail.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
constexpr std::uint32_t kAlways = ~std::uint32_t{0};

// ---- What a case tells its parent -------------------------------------------------

struct Night {
  Injection injection;
  bool finished;           // came to the scenario's end
  std::uint32_t fault;     // code of the last exception; 0: none
  bool raised;             // it was a run-time error
  std::int64_t number;     // its number
  std::uint64_t fault_at;  // instruction
  int confirmed;           // lines of kJournal
  char broken[200];        // the first claim that did not hold
};
Night* night;

constexpr char kJournal[] = "journal";
constexpr char kListing[] = "listing.LIS";
constexpr int kListingLines = 60;

std::string journal_line(int number) {
  return "line " + std::to_string(number) + " of the night\n";
}

const std::string& listing() {
  static std::string text;
  if (!text.empty()) return text;
  for (int i = 1; i <= kListingLines; ++i) {
    char line[80];
    std::snprintf(line, sizeof line, " %04d  a line of the listing, as the compiler wrote it\n", i);
    text += line;
  }
  return text;
}

void claim(bool holds, const char* what) {
  if (holds || night->broken[0]) return;
  std::snprintf(night->broken, sizeof night->broken, "%s", what);
}

TARNAPI std::int32_t note_exception(platform::ExceptionPointers* exception) {
  const std::uint64_t rip = exception->context->Rip;
  std::uint16_t bytes = 0;
  if (exception->record->code == platform::kExceptionAccessViolation &&
      exception->record->parameters[1] != rip) {
    std::memcpy(&bytes, reinterpret_cast<const void*>(rip), sizeof bytes);
  }
  night->fault = exception->record->code;
  night->fault_at = rip;
  night->raised = bytes == 0x09CD;
  night->number = static_cast<std::int64_t>(exception->context->Rax);
  return platform::kContinueSearch;
}

// ---- Scenarios --------------------------------------------------------------------
// Only the library's own routines, as a program has them.

void start_up() {
  std::int32_t count = 0;
  tarn::tarn_split_command_line("program one 'two three' /four", &count);
  char name[400];
  tarn::GET_PROGRAM_NAME_at(name, sizeof name);
  tarn::THIS_MODULE_NAME(name);
  tarn::ReadRegAndEnv("Software\\Night", "HOME");
  tarn::read_config_key("Night");
  tarn::GetDllVersion("comctl32.dll");
  tarn::ProcessDynt("DllGetVersion", "tarnlibc64.dll");
  tarn::GetPhysicalMemorySize();
  tarn::__GetNtWindowsMode();
  tarn::nt_error_message(2);
  tarn::exists("journal");
}

void write_lines(tarn::FILE* file, int count) {
  for (int i = 0; i < count; ++i) {
    if (tarn::fputs(journal_line(night->confirmed).c_str(), file) != 0) return;
    ++night->confirmed;
  }
}

void streams() {
  if (tarn::FILE* const file = tarn::fopen(kJournal, "wb")) {
    write_lines(file, 6);
    tarn::fflush(file);
    tarn::ftell(file);
    tarn::fclose(file);
  }
  if (tarn::FILE* const file = tarn::fopen(kJournal, "ab")) {
    write_lines(file, 3);
    tarn::fclose(file);
  }
  std::string wanted;
  for (int i = 0; i < night->confirmed; ++i) wanted += journal_line(i);
  if (tarn::FILE* const file = tarn::fopen(kJournal, "r+b")) {
    char block[4096];
    const std::uint64_t taken = tarn::fread(block, 1, wanted.size(), file);
    claim(std::memcmp(block, wanted.data(), taken) == 0, "a read gave other bytes");
    tarn::rewind(file);
    char line[80];
    if (tarn::fgets(line, sizeof line, file)) {
      // A failed read counts as the end.
      claim(journal_line(0).starts_with(line), "fgets gave another line");
    }
    std::int32_t number = 0;
    tarn::fseek(file, 0, 0);
    tarn::fgetc(file);
    tarn::fscanf(file, "ine %d", &number);
    std::uint64_t position = 0;
    tarn::fgetpos(file, &position);
    tarn::fsetpos(file, &position);
    if (tarn::fseek(file, 0, 2) == 0 && tarn::ftell(file) >= static_cast<int>(wanted.size())) {
      tarn::fprintf(file, "%s %d %g\n", "behind", 5, 2.5);
    }
    tarn::fclose(file);
  }
}

void standard_output() {
  const std::string text(9000, 'x');
  tarn::printf("%s\n%d %s\n", text.c_str(), 5, "five");
  tarn::puts("a line\n");
  tarn::putchar('c');
  tarn::__cou("text");
  tarn::__newline();
  tarn::__errcoua("error");
  tarn::write(1, "w", 1);
  char line[256];
  tarn::gets(line);
  tarn::getchar();
}

void heap() {
  auto* block = static_cast<std::uint8_t*>(tarn::malloc(100));
  if (block) {
    std::memset(block, 7, 100);
    for (const std::uint64_t size : {1000u, 100'000u, 5000u}) {
      auto* const moved = static_cast<std::uint8_t*>(tarn::realloc(block, size));
      if (!moved) continue;
      block = moved;
      for (int i = 0; i < 100; ++i) claim(block[i] == 7, "realloc lost the contents");
    }
    tarn::free(block);
  }
  if (char* const copy = tarn::strdup("a text")) {
    claim(std::strcmp(copy, "a text") == 0, "strdup");
    tarn::free(copy);
  }
  if (auto* const cleared = static_cast<char*>(tarn::calloc(10, 10))) {
    claim(cleared[99] == 0, "calloc");
    tarn::free(cleared);
  }
  std::int32_t status = 0;
  void* const array = tarn::ALLOCATE$(1 << 20, &status, 0);
  claim((array == nullptr) == (status != 0), "ALLOCATE's status");
  tarn::UnlockStorage(array);
  tarn::operator_delete(tarn::operator_new(50));
  tarn::__add_array_destruct_info(8, 80, &status);
  tarn::discard_int_stack(tarn::new_int_stack());
  tarn::free(tarn::vmalloc(10));
}

void secondary_stack() {
  void* const pointer = tarn::__return_pseudo_stack_ptr();
  for (const int size : {100, 100'000, 1 << 20}) {
    std::memset(tarn::__alloc_pseudo_stack(size), 1, static_cast<std::size_t>(size));
    tarn::__alloc_pseudo_stack1(size);
    tarn::__alloc_quasi_stack_str(size);
  }
  tarn::__set_pseudo_stack_ptr(pointer);
  tarn::__free_quasi_stack();
  tarn::PRINT_SECONDARY_STACK_STATISTICS();
}

void regions() {
  for (int i = 0; i < 2; ++i) {
    auto* const region = static_cast<char*>(tarn::setup_expanding_region("night", 1 << 20));
    for (int at = 0; at < 1 << 20; at += 50'000) region[at] = 'r';
    if (i == 0) tarn::remove_virtual_region(region, 0x4000);
    tarn::remove_virtual_region(region, 0x8000);
  }
}

void console() {
  tarn::ConsolePauseMode(1);
  for (int i = 0; i < 30; ++i) tarn::ConsolePrintf("row %d of the night\n", i);
  tarn::ConsolePauseMode(0);
  tarn::SetConsoleColour(12);
  tarn::PushConsoleColour(3);
  tarn::ConsolePrintfC("in the middle\n");
  tarn::PopConsoleColour();
  tarn::ConsoleBoxPrint(2, 1, 15, "a box\nof two lines");
  tarn::ConsoleWrite("collected");
  tarn::ClearToCursorPos();
  tarn::ClearCurrentLine();
  std::int32_t x = 0, y = 0, key = 0, length = 0;
  tarn::GetCursorPos(&x, &y);
  tarn::SetConsoleCursorPos(3, 2);
  tarn::SetConsoleCursorSize(50);
  tarn::CursorControl(0);
  tarn::CursorControl(1);
  tarn::HIDE_CURSOR_at();
  tarn::RESTORE_CURSOR_at();
  tarn::get_key(&key);
  char line[100];
  tarn::ConsoleRead(line, sizeof line, &length);
  tarn::__ConsolePrintf("to the screen itself %d\n", 1);
  const std::string text(10'000, 'l');
  tarn::ConsolePrintf("%s\n", text.c_str());
  tarn::FreeConsoleInstance();
  tarn::RedirectConsoleOutput(tarn::kNoHandle);
  tarn::ConsolePrintf("nowhere\n");
  tarn::FlushConsole();
}

void progress() {
  tarn::DisplayProgress(10);
  tarn::DisplayProgress(-1);
  tarn::MakeProgressThread(100);
  tarn::UpdateProgressValue(30);
  tarn::CloseProgressThread();
  tarn::StartProgressDialog(100, "night", "a long job");
  tarn::UpdateProgressDialog(30);
  tarn::CloseProgressDialog();
}

// Half a second later both are on the screen.
void slow_progress() {
  tarn::MakeProgressThread(100);
  tarn::StartProgressDialog(100, "night", "a long job");
  tarn::UpdateProgressDialog(30);
  platform::Sleep(800);
  tarn::CloseProgressThread();
  tarn::CloseProgressDialog();
}

void compression() {
  std::int32_t packed = 0, length = 0;
  void* const block = tarn::__tarn_compress(kListing, &packed);
  if (!block) return;
  if (void* const data = tarn::__tarn_decompress(block, packed, &length)) {
    const std::string& wanted = listing();
    claim(static_cast<std::size_t>(length) == wanted.size() &&
              std::memcmp(data, wanted.data(), wanted.size()) == 0,
          "compression lost something and told nobody");
    tarn::free(data);
  }
  tarn::free(block);
}

void files() {
  for (int i = 0; i < 4; ++i) {
    if (!tarn::log_event(journal_line(night->confirmed).c_str(), kJournal)) break;
    ++night->confirmed;
  }
  const std::string& wanted = listing();
  if (void* const whole = tarn::__read_file(kListing)) {
    claim(std::memcmp(whole, wanted.data(), wanted.size()) == 0, "__read_file");
    tarn::free(whole);
  }
  std::uint32_t sums[2];
  tarn::file_checksum(kListing, sums);
  std::int32_t date = 0, time = 0;
  if (tarn::get_file_date_time(kListing, &date, &time)) {
    tarn::set_file_date_time(kListing, date, time);
  }
  char date_text[20], time_text[20], folder[300];
  if (tarn::get_file_date_time_text(kListing, date_text, time_text)) {
    tarn::set_file_date_time_text(kListing, date_text, time_text);
  }
  tarn::get_now_file_date_time(&date, &time);
  tarn::disk_is_remote('Z');
  if (tarn::FILE* const file = tarn::open_file_path("new\\folders\\file", "w")) {
    tarn::fputs("text", file);
    tarn::fclose(file);
    tarn::_unlink("new\\folders\\file");
  }
  tarn::getcwd(folder, sizeof folder);
  tarn::_chdir(folder);
  tarn::getdrive();
  tarn::get_file_size(kListing);
  tarn::_access(kListing, 6);
  paneview::FindRecord found;
  paneview::findfirst("new\\*", &found, 0);
}

void children() {
  tarn::_spawns(tarn::kSpawnAndWait, "/bin/true", "");
  claim(tarn::system("exit 3") != 0, "a child's code was lost");
  tarn::__start_process_and_wait("/bin/true", "", 5);
  std::int32_t cores = 0, logical = 0;
  tarn::GETPROCESSORCOUNTS_at(&cores, &logical);
  tarn::GetParallelTaskStatus(&cores, &logical);
  tarn::KillSlaves("no such program");
  const platform::Handle window = nullptr;
  tarn::DESCRIBE_WINDOW_at(&window, "none", 4);
}

// A count for each line of the listing, which is written again with them.
void profile() {
  static struct {
    std::int64_t lines;
    std::int64_t counters[kListingLines];
    char path[20];
  } block = {kListingLines, {5, 7}, "listing.for"};
  tarn::__record_profile_address(&block);
  tarn::__use_profile_data();
}

void report_a_fault() {
  if (tarn::FILE* const file = tarn::fopen(kJournal, "wb")) write_lines(file, 3);
  tarn::printf("before the fault\n");
  asm volatile("movl $1, (%0)" : : "r"(std::uint64_t{64}) : "memory");
}

void report_an_error() { tarn::text_error("the night ends with %d", 5); }

void write_the_report() {
  platform::AMD_CONTEXT context{};
  tarn::exception_context = &context;
  tarn::exception_name = "a fault";
  tarn::traceback_text = "";
  tarn::write_exception();
  tarn::details_box();
}

// Where a real fault is the documented end: of no operation, of one, of any.
constexpr char kNone[] = "", kAny[] = "*", kVirtualAlloc[] = "VirtualAlloc";

constexpr struct Scenario {
  const char* name;
  void (*run)();
  bool on_terminal;
  bool from_start;  // operations of the start-up fail too
  const char* faults;
  bool slow = false;  // left out but for TARN_EVERY_FAILURE
} kScenarios[] = {
    {"start-up", start_up, false, true, kVirtualAlloc},
    {"start-up on a terminal", start_up, true, true, kVirtualAlloc},
    {"streams", streams, false, false, kNone},
    {"standard output", standard_output, false, false, kNone},
    {"heap", heap, false, false, kNone},
    {"secondary stack", secondary_stack, false, false, kVirtualAlloc},
    {"regions", regions, false, false, kNone},
    {"console, redirected", console, false, false, kNone},
    {"console on a terminal", console, true, false, kNone},
    {"progress", progress, false, false, kNone},
    {"progress on a terminal", progress, true, false, kNone},
    {"slow progress on a terminal", slow_progress, true, false, kNone, true},
    {"compression", compression, false, false, kNone},
    {"files", files, false, false, kNone},
    {"children", children, false, false, kNone},
    {"profile", profile, false, false, kNone},
    {"report of a fault", report_a_fault, false, true, kAny},
    {"report on a terminal", report_a_fault, true, false, kAny},
    {"report of a run-time error", report_an_error, false, false, kNone},
    {"report in a file", write_the_report, false, false, kNone},
};

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
    setenv("TERM", "xterm", 1);
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
    std::filesystem::remove(folder_ + "/" + kJournal);
    if (contents(kListing) != listing()) {
      std::ofstream(folder_ + "/" + kListing, std::ios::binary) << listing();
    }

    std::optional<PseudoTerminal> terminal;
    if (scenario.on_terminal) terminal.emplace(80, 24);
    const PseudoTerminal* const seat = terminal ? &*terminal : nullptr;
    const termios before = seat ? seat->mode() : termios{};
    const pid_t child = fork();
    if (child == 0) child_runs(scenario, seat);
    const int status = tarn::test::attend(child, seat, kTimeLimit);
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
    tarn::test::injection = &night->injection;
    platform::AddVectoredExceptionHandler(1, &note_exception);
    night->injection.armed = scenario.from_start;
    tarn::__initialise_cpplib();
    night->injection.armed = true;
    scenario.run();
    night->finished = true;
    tarn::exit(0);
  }

  std::string verdict(const Scenario& scenario, int operation, int status) const {
    char text[300] = "";
    const std::string faults = scenario.faults;
    const char* const failing = operation < 0 ? "" : platform_operations[operation].name;
    const bool may_fault = faults == kAny || (operation >= 0 && faults == failing);
    const bool may_go_unreported = std::strcmp(failing, "AddVectoredExceptionHandler") == 0;
    if (status == tarn::test::kHangs) return "it hangs";
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
    // Each line of the listing is still there, with a count behind it or not.
    found = contents(kListing);
    if (found == listing()) return "";
    for (int i = 1; i <= kListingLines; ++i) {
      char start[30];
      std::snprintf(start, sizeof start, " %04d  a line of the listing", i);
      if (found.find(start) == std::string::npos) return "a listing lost its lines";
    }
    return "";
  }

  std::string contents(const char* name) const {
    std::ifstream file(folder_ + "/" + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  std::string folder_;
};

TEST_F(Nights, AnyOperationMayFailAtAnyCall) {
  const bool every_call = std::getenv("TARN_EVERY_FAILURE") != nullptr;
  std::uint32_t cases = 0;
  std::set<int> operations;
  for (const Scenario& scenario : kScenarios) {
    if (scenario.slow && !every_call) continue;
    const std::string usual = run(scenario, -1, 0, 0);
    EXPECT_EQ(usual, "") << scenario.name << ", nothing fails";
    Injection counted = night->injection;
    for (int i = 0; i < kPlatformOperations; ++i) {
      const std::uint32_t calls = counted.calls[i];
      if (calls == 0) continue;
      operations.insert(i);
      std::set<std::uint32_t> tried = {1, calls};
      for (std::uint32_t n = 2; every_call && n < calls; ++n) tried.insert(n);
      if (kSanitized && !every_call) tried = {1};
      for (const std::uint32_t first : tried) {
        for (const std::uint32_t last : {first, kAlways}) {
          if (last == kAlways && (first != 1 || calls == 1 || kSanitized)) continue;
          ++cases;
          const std::string wrong = run(scenario, i, first, last);
          EXPECT_EQ(wrong, "") << scenario.name << ": " << platform_operations[i].name << " fails "
                               << (last == kAlways ? "from" : "at") << " call " << first << " of "
                               << calls;
        }
      }
    }
  }
  RecordProperty("cases", static_cast<int>(cases));
  std::string untried;
  for (int i = 0; i < kPlatformOperations; ++i) {
    if (!operations.contains(i)) untried += std::string(" ") + platform_operations[i].name;
  }
  std::printf("%u cases. No scenario calls:%s\n", cases, untried.c_str());
}

// The table is complete: what the header declares stands in it.
TEST(PlatformOperations, AreAllInTheTable) {
  std::ifstream header(TARN_SOURCE_DIR "/src/platform/platform.h");
  std::ifstream table(TARN_SOURCE_DIR "/tests/unit/host/platform_operations.inc");
  const std::string rows(std::istreambuf_iterator<char>(table), {});
  int found = 0;
  for (std::string line; std::getline(header, line);) {
    const std::size_t start = line.find("TARNAPI ");
    const std::size_t end = line.find('(', start == std::string::npos ? 0 : start + 8);
    if (start == std::string::npos || line[0] == ' ' || line[0] == '/' || line[0] == 'u' ||
        end == std::string::npos) {
      continue;
    }
    const std::size_t name = line.find_last_of(" *", end) + 1;
    ++found;
    const std::string row = "(" + line.substr(name, end - name);
    EXPECT_TRUE(rows.find(row + ",") != std::string::npos ||
                rows.find(row + ")") != std::string::npos)
        << line;
  }
  EXPECT_GT(found, 100);
}

}  // namespace
