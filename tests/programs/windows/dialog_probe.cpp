// What a script can't see of a desktop: dialog_probe TITLE tells the place of each control of the
// window whose title has these words, "at x y class text", where its middle is; dialog_probe alone
// prints what is in the clipboard.
#include <windows.h>

#include <cstdio>
#include <cstring>

namespace {

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

BOOL CALLBACK tell_window(HWND window, LPARAM title) {
  char text[200];
  GetWindowTextA(window, text, sizeof text);
  if (std::strstr(text, reinterpret_cast<const char*>(title))) {
    EnumChildWindows(window, tell_place, 0);
  }
  return TRUE;
}

}  // namespace

int main(int count, char** arguments) {
  if (count > 1) {
    EnumWindows(tell_window, reinterpret_cast<LPARAM>(arguments[1]));
  } else if (OpenClipboard(nullptr)) {
    if (HANDLE block = GetClipboardData(CF_TEXT)) {
      std::puts(static_cast<const char*>(GlobalLock(block)));
      GlobalUnlock(block);
    }
    CloseClipboard();
  }
}
