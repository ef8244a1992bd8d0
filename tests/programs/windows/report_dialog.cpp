// Shows the dialogs of the library on a desktop, for the test that operates
// them: the same formats and callbacks as the failure report's, with fixed
// contents. Each callback leaves a line on standard output, the report's start
// also one for each control: "at x y class text", where its middle is. At the
// end stands what is in the clipboard.
//
//   report_dialog report    the report; WRITE asks for a file and writes it
//   report_dialog slave     the report of a parallel process, without a box
//   report_dialog notice    the notice about underflows
//   report_dialog long      a text that doesn't fit on the screen

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "paneview/paneview.h"

namespace {

using namespace paneview;

constexpr std::uint64_t kBoxSize = 50000;
char traceback[kBoxSize] =
    "Within file divide.exe\nin average in line 12, at address 1f\nin main in line 25, at address "
    "4a\nWithin file KERNEL32.DLL\nIn  BaseThreadInitThunk at address 0000000000000014\n";
char registers[] =
    "RAX = 0000000000000000   RBX = 0000000000000001   RCX = 00007ffffe2fe9c0   "
    "RDX = 0000000000000000\nRBP = 0000000000000000   RSI = 0000000000000000   "
    "RDI = 0000000000000000   RSP = 000000000021fd40\nR8  = 0000000000000000   "
    "R9  = 0000000000000000   R10 = 0000000000000000   R11 = 0000000000000246\nR12 = "
    "0000000000000000   R13 = 0000000000000000   R14 = 0000000000000000   R15 = "
    "0000000000000000\n\n140001469) divsd     XMM0,XMM1";
HWND edit_control;

void say(const char* text) {
  std::puts(text);
  std::fflush(stdout);
}

TARNAPI std::int32_t write_file() {
  struct {
    std::int32_t size;
    char path[1024];
  } record = {1023, ""};
  GetModuleFileNameA(nullptr, record.path, sizeof record.path);
  char name[1024];
  if (get_filename(nullptr, "Exception dump file", 0, name,
                   reinterpret_cast<FileNameRecord*>(&record)) != 1) {
    say("declined");
    return 1;
  }
  std::FILE* file = std::fopen(name, "w");
  if (file != nullptr) {
    std::fprintf(file, "%s\n", traceback);
    std::fclose(file);
  }
  say(file == nullptr ? "can't write" : "written");
  MessageBoxA(nullptr, "Full details of exception written to file", "Details written to file", 0);
  say("told");
  return 1;
}

TARNAPI std::int32_t show_details() {
  say("details");
  __winio(
      "%ex%fn[Courier New]%ca[Program details at point of exception]%bg%ws"
      "\f"
      "\n%cn%bt[OK]",
      std::uint64_t{0xC0FFC0}, registers);
  say("details closed");
  return 1;
}

TARNAPI std::int32_t quit() {
  say("quit");
  return 0;
}

BOOL CALLBACK tell_place(HWND control, LPARAM) {
  RECT place;
  char name[32], text[32];
  GetWindowRect(control, &place);
  GetClassNameA(control, name, sizeof name);
  GetWindowTextA(control, text, sizeof text);
  text[std::strcspn(text, "\r")] = 0;
  std::printf("at %ld %ld %s %s\n", (place.left + place.right) / 2, (place.top + place.bottom) / 2,
              name, text);
  return TRUE;
}

TARNAPI std::int32_t start() {
  if (edit_control != nullptr) EnumChildWindows(GetParent(edit_control), tell_place, 0);
  SendMessageA(edit_control, EM_SETSEL, 7, 5);
  say(edit_control == nullptr ? "no edit control" : "started");
  return 1;
}

void show_report(bool slave) {
  std::int32_t id = 7;
  __winio("%ex%ca@%bg&", "Brackenmoor exception report on divide.exe", std::uint64_t{0xC8C8C8});
  __winio("%ac[Ctrl+C]&", "COPY");
  __winio("%pm[Copy]&", "COPY");
  __winio("%si#%ws at address %ws\n\n&", "Floating point divide by zero (c000008e)", "140001469");
  if (slave) __winio("Slave process #%3`rd\n\n&", &id);
  __winio(
      "%50.10eb[read_only,vscrollbar]%lc%sc"
      "\f"
      "%hw&",
      traceback, kBoxSize, &edit_control, &start, nullptr);
  __winio("\n\n%cn%?^8bt[WRITE][Write all details of exception to file]     &", &write_file);
  __winio("%?^8bt[DETAILS][Register contents]     %^8bt[QUIT]&", &show_details, &quit);
  std::printf("closed by button %d\n", static_cast<int>(__winio("")));
}

void show_notice() {
  static const char kText[] =
      "In 64-bit mode underflows are normally handled by the hardware, \nand cannot therefore be "
      "counted. To use the \nUNDERFLOW_COUNT$ function you should first turn on software "
      "\nunderflow handling by calling \nSET_SOFTWARE_UNDERFLOWS$(1). \nSince this is an "
      "expensive way to handle underflows, it may not \nbe appropriate in production code";
  __winio("%ex%ca[Information]%ww[topmost]%bg%50.7eb[read_only,no_frame]%ff\n%cn %bt[OK]",
          std::uint64_t{0xBEFFBE}, kText, std::uint64_t{sizeof kText});
}

void show_long() {
  std::string text;
  for (int i = 0; i < 200; ++i) text += "line " + std::to_string(i) + " of a long text\n";
  __winio("%ca[A long text]%si!%ws\n%cn%bt[&Close]", text.c_str());
}

void clear_clipboard() {
  if (!OpenClipboard(nullptr)) return;
  EmptyClipboard();
  CloseClipboard();
}

void show_clipboard() {
  if (!OpenClipboard(nullptr)) return;
  if (HANDLE block = GetClipboardData(CF_TEXT)) {
    std::printf("clipboard:\n%s\n", static_cast<const char*>(GlobalLock(block)));
    GlobalUnlock(block);
  }
  CloseClipboard();
}

}  // namespace

int main(int count, char** arguments) {
  const char* const which = count > 1 ? arguments[1] : "";
  clear_clipboard();
  if (std::strcmp(which, "report") == 0 || std::strcmp(which, "slave") == 0) {
    show_report(which[0] == 's');
  } else if (std::strcmp(which, "notice") == 0) {
    show_notice();
  } else if (std::strcmp(which, "long") == 0) {
    show_long();
  } else {
    return 2;
  }
  __close_all_windows();
  show_clipboard();
  say("end");
}
