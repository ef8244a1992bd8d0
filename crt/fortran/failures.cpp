// The ends of a Fortran program that fails. The messages are those of the compiler's
// Fortran library: of its archive, three members are linked as copies whose output and
// ends are renamed to the routines here (CMakeLists.txt). What it writes is held back
// if it begins an error, and heads the report when it ends the program; the report's
// first frame is the statement's, not the Fortran library's.
#include <io.h>
#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "../crt.h"
#include "../process/signals.h"

extern "C" {
// Appends the frame of `context` to `text` as a report has it, and steps to the caller.
// 0: it was the last one.
int trace_back_once(void* process, char* text,
                    CONTEXT* context) __asm__("tarn_suite_trace_back_once");
// Raises a run-time error with that text as if by a call at context->Rip, with its stack
// and registers.
[[noreturn]] void raise_at(const CONTEXT* context, const char* text) __asm__("tarn_raise_at");
[[noreturn]] void suite_text_error(const char* format, ...) __asm__("tarn_suite_text_error");

extern IMAGE_DOS_HEADER __ImageBase;
void close_units(void) __asm__("_gfortrani_close_units");
void tarn_fortran_close_units(void);
extern void* unit_lock __asm__("_gfortrani_unit_lock");
int pthread_mutex_trylock(void** mutex);
int pthread_mutex_unlock(void** mutex);
}

namespace {

constexpr int kLongestWalk = 64, kReportedFrames = 10;
constexpr size_t kTraceSize = 8192;

constexpr const char* kErrorBeginnings[] = {
    "At line ",         "Fortran runtime error: ",  "In file '",
    "Internal Error: ", "Operating system error: ", "ERROR STOP",
};
constexpr char kWarning[] = "Fortran runtime warning: ";

char held[2048];
size_t held_size, last_piece;

void release_held() {
  const size_t size = held_size;
  held_size = 0;
  _write(_fileno(stderr), held, static_cast<unsigned>(size));
}

bool begins_error(const char* text, size_t size) {
  for (const char* const beginning : kErrorBeginnings) {
    if (size >= strlen(beginning) && memcmp(text, beginning, strlen(beginning)) == 0) return true;
  }
  return false;
}

// The held lines. "At line 7 of file heat.f90" comes before the message; in a report it
// ends the message's first line.
const char* held_text() {
  static char text[sizeof held + 16];
  held[held_size] = '\0';
  char* place = nullptr;
  char* to = text;
  for (char* line = strtok(held, "\r\n"); line; line = strtok(nullptr, "\r\n")) {
    if (to == text && !place && memcmp(line, "At line ", 8) == 0) {
      place = line;
      continue;
    }
    to += sprintf(to, "%s%s", to == text ? "" : "\n", line);
    if (place) to += sprintf(to, ", at%s", place + 2);
    place = nullptr;
  }
  return text;
}

// Steps to the frame of the statement: the first with a line, since the Fortran library
// has none. Its place is then that of the call, one byte before the instruction after it,
// which may be of another line or even of another routine. False, with `context` as it
// was, if there is none.
bool find_statement(CONTEXT* context) {
  const CONTEXT start = *context;
  static char text[kTraceSize];
  for (int step = 0; step < kLongestWalk; ++step) {
    context->Rip -= 1;
    const CONTEXT frame = *context;
    const bool more = trace_back_once(GetCurrentProcess(), text, context) != 0;
    if (strstr(text, " in line ")) {
      *context = frame;
      return true;
    }
    if (!more) break;
  }
  *context = start;
  return false;
}

[[noreturn]] void fail(const char* text) {
  static CONTEXT context;
  RtlCaptureContext(&context);
  if (find_statement(&context)) raise_at(&context, text);
  suite_text_error("%s", text);
}

void print_frames() {
  static CONTEXT context;
  static char trace[kTraceSize], path[MAX_PATH];
  RtlCaptureContext(&context);
  if (!find_statement(&context)) return;
  GetModuleFileNameA(reinterpret_cast<HMODULE>(&__ImageBase), path, sizeof path);
  const char* const name = strrchr(path, '\\');
  fprintf(stderr, "\nWithin file %s\n", name ? name + 1 : path);
  for (int step = 0; step < kReportedFrames; ++step) {
    const bool more = trace_back_once(GetCurrentProcess(), trace, &context) != 0;
    fputs(trace, stderr);
    if (!more) break;
  }
}

// What the last statements wrote comes out before a report. Not if the failure is in the
// table of units itself, or if closing one fails.
void write_units() {
  static bool closing;
  static DWORD thread;
  static jmp_buf closing_failed;
  if (closing) {
    if (thread == GetCurrentThreadId()) longjmp(closing_failed, 1);
    return;
  }
  if (pthread_mutex_trylock(&unit_lock) != 0) return;
  pthread_mutex_unlock(&unit_lock);
  closing = true;
  thread = GetCurrentThreadId();
  if (_setjmp(closing_failed, nullptr) == 0) tarn_fortran_close_units();
}

__attribute__((constructor)) void watch_failures() { crt::before_report(write_units); }

// Words as the library takes them: in upper or lower case, between blanks, commas and semicolons.
bool wants_trace_of_stop() {
  constexpr char kSeparators[] = " ,;";
  constexpr const char* kNoTraceOfStop[] = {"quiet_stop", "no_traceback", "kill_dialogbox"};
  const char* word = getenv("TARNENVAR");
  while (word && *word) {
    const size_t length = strcspn(word, kSeparators);
    for (const char* const name : kNoTraceOfStop) {
      if (length == strlen(name) && _strnicmp(word, name, length) == 0) return false;
    }
    word += length + strspn(word + length, kSeparators);
  }
  return true;
}

}  // namespace

CRT_API int tarn_fortran_write(int file, const void* bytes, unsigned size) {
  if (held_size == 0 && !begins_error(static_cast<const char*>(bytes), size)) {
    return _write(file, bytes, size);
  }
  const size_t room = sizeof held - 1 - held_size;
  last_piece = held_size;
  memcpy(held + held_size, bytes, size < room ? size : room);
  held_size += size < room ? size : room;
  held[held_size] = '\0';
  if (held[held_size - 1] == '\n' && strstr(held, kWarning)) release_held();
  return static_cast<int>(size);
}

// After a message.
CRT_API void tarn_fortran_exit(int status) {
  if (held_size == 0) exit(status);
  fail(held_text());
}

// ERROR STOP: its code is the program's status, so the trace is all of the report.
CRT_API void tarn_fortran_error_stop(int status) {
  const bool has_message = held_size != 0;  // not with QUIET
  write_units();
  release_held();
  if (has_message && wants_trace_of_stop()) print_frames();
  exit(status);
}

CRT_API void tarn_fortran_abort(void) {
  crt::deliver_abort();
  fail("Abnormal end: abort was called");
}

// The Fortran library frees its table of units each time, so at its end not once more.
CRT_API void tarn_fortran_close_units(void) {
  static bool closed;
  if (closed) return;
  closed = true;
  close_units();
}

// In place of the traces of the Fortran library. The line that announces one goes.
CRT_API void _gfortrani_show_backtrace(bool) {
  if (held_size != 0) held_size = last_piece;
}

CRT_API void _gfortran_backtrace(void) { print_frames(); }
