// The scenarios of the worst night. They call the library's own routines, as a
// program does.
#include "tests/unit/host/night_scenarios.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <thread>

#include "exports/export_headers.h"
#include "paneview/paneview.h"
#include "startup/start_up.h"

extern "C" {
extern char __executable_start[];
extern std::uint64_t tarn_script_word;
}

namespace tarn::test {

Night* night;
std::string start_folder, victim;

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

namespace {

void claim(bool holds, const char* what) {
  if (holds || night->broken[0]) return;
  std::snprintf(night->broken, sizeof night->broken, "%s", what);
}

void start_up() {
  std::int32_t count = 0;
  tarn::tarn_split_command_line("program one 'two three' /four", &count);
  char name[400];
  tarn::GET_PROGRAM_NAME_at(name, sizeof name);
  tarn::THIS_MODULE_NAME(name);
  tarn::ReadRegAndEnv("Software\\Night", "Told");
  tarn::read_config_key("HOME");
  tarn::GetDllVersion(kLibraryName);
  tarn::ProcessDynt("no routine", kLibraryName);
  tarn::GetPhysicalMemorySize();
  tarn::__GetNtWindowsMode();
  tarn::nt_error_message(2);
  tarn::exists("journal");
}

// The image's mark and the end of its script.
void walk_a_script() {
  static std::uint8_t script[16] = {17, 5};
  tarn_script_word =
      static_cast<std::uint64_t>(reinterpret_cast<char*>(script) - __executable_start);
  tarn::__BrackenStartup();
  claim(std::memcmp(__executable_start, "NOTE", 4) == 0, "the image is not marked");
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
  void* const array = tarn::ALLOCATE(1 << 20, &status, 0);
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
  tarn::ScreenWidth();
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
  if (tarn::FILE* const file = tarn::open_file_path(".\\new\\folders\\file", "w")) {
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
  tarn::_spawns(tarn::kSpawnAndGoOn, victim.c_str(), "1");
  tarn::KillSlaves(victim.c_str());
  const platform::Handle window = nullptr;
  tarn::DESCRIBE_WINDOW_at(&window, "none", 4);
}

constexpr char kStrayVariable[] = "TARN_NIGHT_STRAY";  // path of kStray

// The master's watch waits on a thread of its own. A night on which nothing fails
// lasts until that wait is counted.
void await_watch() {
  const auto* const end = platform_operations + kPlatformOperations;
  const auto* const wait = std::find_if(platform_operations, end, [](const auto& operation) {
    return std::string_view(operation.name) == "WaitForMultipleObjects";
  });
  const std::uint32_t* const calls = &night->injection.calls[wait - platform_operations];
  for (int patience = 5000; patience > 0 && night->injection.operation < 0; --patience) {
    if (__atomic_load_n(calls, __ATOMIC_RELAXED) > 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// The master starts this executable again. Where the watch failed nobody tells it
// of a slave that did not come: it waits until the run is stopped.
void parallel_tasks() {
  setenv(kStrayVariable, std::filesystem::absolute(kStray).c_str(), 1);
  if (chdir(start_folder.c_str()) != 0) _exit(98);  // the command line may name it from there
  std::thread([] {
    constexpr int kPatience = 300, kStep = 10, kLimit = 15'000;  // milliseconds
    int waited = 0;
    while (waited < (night->injection.failures > 0 ? kPatience : kLimit)) {
      std::this_thread::sleep_for(std::chrono::milliseconds(kStep));
      waited += kStep;
    }
    claim(night->injection.failures > 0, "the slave did not come");
    night->finished = true;
    tarn::TerminateParallelProcessing();
  }).detach();
  claim(tarn::GetParallelTaskID(1) == 0, "the master took itself for a slave");
  await_watch();
}

// What the executable does when it is a slave.
const bool was_slave = [] {
  const char* const stray = std::getenv(kStrayVariable);
  if (stray == nullptr) return false;
  if (!tarn::IsSlaveProcess()) std::fclose(std::fopen(stray, "w"));  // and it starts slaves
  tarn::GetParallelTaskID(0);
  _exit(0);
}();

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
  tarn::report_edit_control = &context;
  tarn::start_window();
  const auto here = reinterpret_cast<std::uint64_t>(&write_the_report);
  tarn::local_SymGetModuleBase64(platform::GetCurrentProcess(), here);
  tarn::local_SymFunctionTableAccess64(platform::GetCurrentProcess(), here);
}

// A debugger takes each answer at the breakpoint behind it.
void answer_a_debugger() {
  tarn::__debugger_stub_get_last_error();
  tarn::__debugger_stub_get_cursor();
  tarn::__debugger_stub_get_focus();
}

void set_a_break_routine() {
  const std::int32_t break_type = 0;
  tarn::SET_TRAP_at([]() TARNAPI -> std::int32_t { return 1; }, &break_type);
}

void end_the_thread() {
  night->finished = true;
  tarn::__close_thread();
}

// Where a real fault is the documented end: of no operation, of one, of any.
constexpr char kNone[] = "";
constexpr char kVirtualAlloc[] = "VirtualAlloc";
constexpr char kVirtualProtect[] = "VirtualProtect";

}  // namespace

const std::vector<Scenario> scenarios = {
    {"start-up", start_up, kDescriptors, kFromStart, kVirtualAlloc},
    {"start-up on a terminal", start_up, kTerminal, kFromStart, kVirtualAlloc},
    {"script", walk_a_script, kDescriptors, kAfterStart, kVirtualProtect},
    {"streams", streams, kDescriptors, kAfterStart, kNone},
    {"standard output", standard_output, kDescriptors, kAfterStart, kNone},
    {"heap", heap, kDescriptors, kAfterStart, kNone},
    {"secondary stack", secondary_stack, kDescriptors, kAfterStart, kVirtualAlloc},
    {"regions", regions, kDescriptors, kAfterStart, kNone},
    {"console, redirected", console, kDescriptors, kAfterStart, kNone},
    {"console on a terminal", console, kTerminal, kAfterStart, kNone},
    {"progress", progress, kDescriptors, kAfterStart, kNone},
    {"progress on a terminal", progress, kTerminal, kAfterStart, kNone},
    {"slow progress on a terminal", slow_progress, kTerminal, kAfterStart, kNone, true},
    {"compression", compression, kDescriptors, kAfterStart, kNone},
    {"files", files, kDescriptors, kAfterStart, kNone},
    {"children", children, kDescriptors, kAfterStart, kNone},
    {"parallel tasks", parallel_tasks, kDescriptors, kAfterStart, kNone},
    {"profile", profile, kDescriptors, kAfterStart, kNone},
    {"break routine", set_a_break_routine, kDescriptors, kAfterStart, kNone},
    {"debugger", answer_a_debugger, kDescriptors, kAfterStart, kNone},
    {"thread's end", end_the_thread, kDescriptors, kAfterStart, kNone},
    {"report of a fault", report_a_fault, kDescriptors, kFromStart, kAnyFault},
    {"report on a terminal", report_a_fault, kTerminal, kAfterStart, kAnyFault},
    {"report of a run-time error", report_an_error, kDescriptors, kAfterStart, kNone},
    {"report in a file", write_the_report, kDescriptors, kAfterStart, kNone},
};

}  // namespace tarn::test
