#include "failure/report.h"

#include <xmmintrin.h>

#include "failure/decoder/decoder.h"
#include "failure/error_message.h"
#include "failure/exception_handler.h"
#include "failure/exception_table.h"
#include "failure/floating_point_traps.h"
#include "failure/report_details.h"
#include "failure/safe_memory.h"
#include "failure/saved_reports.h"
#include "failure/trap_routines.h"
#include "paneview/paneview.h"
#include "process/missing_routines.h"
#include "services/parallel_tasks.h"
#include "streams/file_stream.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr std::uint64_t kTitleColour = 0xC8C8C8;
constexpr std::uint64_t kDetailsColour = 0xC0FFC0;
constexpr std::uint32_t kSetSelection = 0xB1;  // EM_SETSEL
constexpr std::int32_t kFileNameSize = 1024;
constexpr std::uint32_t kProgramPathSize = 10'000;
constexpr std::uint64_t kReportSize = 100'000;
constexpr std::uint64_t kShownNameSize = 100;
constexpr std::uint64_t kDateSize = 32;
constexpr std::uint64_t kDetailsSize = 16'384;
constexpr std::uint64_t kDetailsWidth = 100;  // columns of the dialog, which wraps longer lines

using platform::AMD_CONTEXT;

constexpr struct {
  const char* format;
  std::uint64_t AMD_CONTEXT::*registers[4];
} kRegisterLines[] = {
    {"RAX = %16.16llx   RBX = %16.16llx   RCX = %16.16llx   RDX = %16.16llx\n",
     {&AMD_CONTEXT::Rax, &AMD_CONTEXT::Rbx, &AMD_CONTEXT::Rcx, &AMD_CONTEXT::Rdx}},
    {"RBP = %16.16llx   RSI = %16.16llx   RDI = %16.16llx   RSP = %16.16llx\n",
     {&AMD_CONTEXT::Rbp, &AMD_CONTEXT::Rsi, &AMD_CONTEXT::Rdi, &AMD_CONTEXT::Rsp}},
    {"R8  = %16.16llx   R9  = %16.16llx   R10 = %16.16llx   R11 = %16.16llx\n",
     {&AMD_CONTEXT::R8, &AMD_CONTEXT::R9, &AMD_CONTEXT::R10, &AMD_CONTEXT::R11}},
    {"R12 = %16.16llx   R13 = %16.16llx   R14 = %16.16llx   R15 = %16.16llx\n\n",
     {&AMD_CONTEXT::R12, &AMD_CONTEXT::R13, &AMD_CONTEXT::R14, &AMD_CONTEXT::R15}},
};

// Large buffers are static: the faulting stack may have little room left, and
// a process shows one report.
char details_text[kDetailsSize];
char report_text[kReportSize];
char saved_path[kSavedPathSize];  // empty: the report was not saved
char program_path[kProgramPathSize];
struct {
  std::int32_t size;
  char default_path[kProgramPathSize];
} file_name_record;

// By a stream of its own, since the program may have damaged the heap.
bool write_report(const char* path, std::uint32_t creation) {
  FILE file{kFileMagic,
            platform::CreateFileA(path, platform::kGenericWrite, 0, nullptr, creation,
                                  platform::kOpenReparsePoint, nullptr),
            0, 0};
  if (file.handle == platform::invalid_handle()) return false;
  fprintf(&file, "%s\n%s", report_text, details_text);
  const bool written = !ferror(&file);
  const std::uint32_t code = platform::GetLastError();
  platform::CloseHandle(file.handle);
  if (!written) platform::DeleteFileA(path);
  platform::SetLastError(code);
  return written;
}

void compose_details(std::uint64_t width) {
  platform::ExceptionRecord record = *exception_record;
  const bool is_number = is_raised_number({&record, exception_context});
  const Failure failure{exception_record, is_number, reported_frames, reported_frame_count};
  describe_details(failure, width, details_text, sizeof details_text);
}

// The date is the sibling library's.
void compose_report() {
  char date[kDateSize] = "";
  program_path[0] = '\0';
  platform::GetModuleFileNameA(nullptr, program_path, kProgramPathSize);
  program_path[kProgramPathSize - 1] = '\0';
  const double now = paneview::time(nullptr);
  strncpy(date, paneview::ctime(&now), kDateSize - 1);
  sprintf(report_text,
          "Brackenmoor 64-bit exception report on %s  %s\n\n%s at address %llx\n\n%s\n\n",
          program_path, date, exception_name, exception_context->Rip, traceback_text);
  prepare_register_details(report_text + strlen(report_text));
  compose_details(0);
}

const char* shown_name(const char* path) {
  if (strlen(path) <= kShownNameSize) return path;
  const char* const tail = strrchr(path, '\\');
  return tail ? tail : path;
}

void tell_outcome(bool written, const char* path) {
  const bool is_link = platform::GetLastError() == platform::kErrorStoppedOnLink;
  char text[kFileNameSize + 64];
  sprintf(text,
          written ? "Full details of exception written to file %s"
                  : "The details could not be written to file %s%s",
          shown_name(path), is_link ? ", which is a link" : "");
  platform::MessageBoxA(nullptr, text, written ? "Details written to file" : "Nothing written", 0);
}

void dump_bytes(std::uint64_t start, std::int32_t count) {
  constexpr std::uint64_t kRow = 16;
  constexpr int kHalfRow = 7;
  for (std::uint64_t row = start & ~(kRow - 1); count > 0; row += kRow) {
    char shown[kRow + 1];
    printf("%s) ", segment_offset(row, 1));
    for (std::uint64_t column = 0; column < kRow; ++column) {
      shown[column] = ' ';
      if (row + column < start) {
        printf("   ");
      } else {
        const auto byte = static_cast<std::uint8_t>(safe_core1(row + column));
        printf("%1.1X%1.1X ", byte >> 4, byte & 15);
        shown[column] = byte < 0x20 ? '?' : static_cast<char>(byte);
        --count;
      }
      if (column == kHalfRow) printf("- ");
    }
    shown[kRow] = '\0';
    printf("  %s\n", shown);
  }
}

}  // namespace

std::int32_t dump_busy;
platform::AMD_CONTEXT* exception_context;
const char* exception_name;
const char* traceback_text;
const platform::ExceptionRecord* exception_record;
constinit ShownFrame reported_frames[kTracebackSteps] = {};
int reported_frame_count;
std::int32_t parallel_report;
std::int32_t report_shown;
void* report_edit_control;
void* report_owner_window;

TARN_MACHINERY bool show_report(const char* title, const char* address, char* traceback) {
  using paneview::__winio;
  __winio("%ex%ca@%bg&", title, kTitleColour);
  __winio("%ac[Ctrl+C]&", "COPY");
  __winio("%pm[Copy]&", "COPY");
  __winio("%si#%ws at address %ws\n\n&", exception_name, address);
  std::int32_t task = 0;
  std::int32_t slaves = 0;
  GetParallelTaskStatus(&task, &slaves);
  if (task >= 0) {
    parallel_report = 1;
    if (task == 0) {
      __winio("Master process with %3`rd slaves\n\n&", &slaves);
    } else {
      __winio("Slave process #%3`rd\n\n&", &task);
    }
  }
  __winio("%50.10eb[read_only,vscrollbar]%lc%sc\f%hw&", traceback, kTracebackSize,
          &report_edit_control, &start_window, report_owner_window);
  __winio("\n\n%cn%?^8bt[WRITE][Write all details of exception to file]     &", &write_exception);
  __winio("%?^8bt[DETAILS][Register contents]     %^8bt[QUIT]&", &details_box, &process_quit);
  return __winio("") != paneview::kNobodyAnswered;
}

TARN_MACHINERY void save_report() {
  if (!saves_reports()) return;
  const char* problem = name_saved_report(saved_path);
  if (!problem) {
    compose_report();
    if (write_report(saved_path, platform::kCreateNew)) return;
    problem = saving_problem(platform::GetLastError());
  }
  saved_path[0] = '\0';
  FILE own{kFileMagic, platform::GetStdHandle(platform::kStandardError), 0, 0};
  sprintf(report_text, "The report could not be saved in %s: %s\n", report_folder(), problem);
  hide_control_characters(report_text);
  fputs(report_text, &own);
}

TARN_MACHINERY std::int32_t write_exception() {
  char path[kFileNameSize] = "";
  dump_busy = 1;
  compose_report();
  file_name_record.size = kFileNameSize - 1;
  strcpy(file_name_record.default_path, program_path);
  if (paneview::get_filename(report_owner_window, "Exception dump file", 0, path,
                             reinterpret_cast<paneview::FileNameRecord*>(&file_name_record)) == 1) {
    tell_outcome(write_report(path, platform::kCreateAlways), path);
  }
  dump_busy = 0;
  return 1;
}

TARN_MACHINERY std::int32_t details_box() {
  static char text[kRegisterDetailsSize + kDetailsSize + kSavedPathSize];
  prepare_register_details(text);
  compose_details(kDetailsWidth);
  char* const end = text + strlen(text);
  const int length = sprintf(end, "\n%s", details_text);
  if (saved_path[0]) sprintf(end + length, "Saved in: %s\n", shown_name(saved_path));
  paneview::__winio(
      "%ex%fn[Courier New]%ca[Program details at point of exception]%bg%ws\f\n%cn%bt[OK]",
      kDetailsColour, text);
  return 1;
}

TARN_MACHINERY std::int32_t process_quit() {
  TerminateParallelProcessing();
  return 0;
}

TARN_MACHINERY std::int32_t start_window() {
  report_shown = 1;
  if (report_edit_control) platform::SendMessageA(report_edit_control, kSetSelection, 7, 5);
  return 1;
}

TARN_MACHINERY void prepare_register_details(char* text) {
  _mm_setcsr(kTrapsMasked);
  const AMD_CONTEXT& context = *exception_context;
  for (const auto& line : kRegisterLines) {
    text += sprintf(text, line.format, context.*line.registers[0], context.*line.registers[1],
                    context.*line.registers[2], context.*line.registers[3]);
  }
  text += sprintf(text, "%llx) ", context.Rip);
  std::uint64_t address = context.Rip;
  decode_remote_instruction(current_process_handle, text, address);
}

void dump_local_memory(const void* start, std::int32_t count, std::int32_t unit_size) {
  constexpr std::int32_t kWordSize = 4;
  const auto address = reinterpret_cast<std::uint64_t>(start);
  if (unit_size == 1) dump_bytes(address, count);
  for (std::int32_t i = 0; unit_size == kWordSize && i < count; ++i) {
    const std::uint64_t word = address + static_cast<std::uint64_t>(i) * kWordSize;
    printf("%s)   0x%8.8x\n", segment_offset(word, 0), safe_core4(word));
  }
}

void AmdDumpRegisters() {
  double top = 0;
  double next = 0;
  asm volatile("fstpl %0\n\tfstpl %1" : "=m"(top), "=m"(next));
  using Printer = void(TARNAPI*)(const char*, double, double);
  reinterpret_cast<Printer>(reinterpret_cast<void*>(&printfx))("fr0 = %f   fr1 = %f\n", top, next);
}

void __close_thread() {
  end_trap_routines();
  platform::TerminateThread(platform::GetCurrentThread(), 0);
}

}  // namespace tarn
