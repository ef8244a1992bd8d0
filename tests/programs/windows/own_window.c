// An ordinary program that fails each time its window gets a message of its timer.
#include <windows.h>

static int* volatile place;

static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_TIMER) *place = 3;
  return DefWindowProcA(window, message, first, second);
}

int WINAPI WinMain(HINSTANCE instance, HINSTANCE none, LPSTR line, int show) {
  (void)none, (void)line, (void)show;
  WNDCLASSA class = {0};
  class.lpfnWndProc = on_message;
  class.hInstance = instance;
  class.lpszClassName = "own";
  RegisterClassA(&class);
  SetTimer(CreateWindowA("own", "", WS_VISIBLE, 10, 10, 200, 100, 0, 0, instance, 0), 1, 100, 0);
  MSG message;
  while (GetMessageA(&message, 0, 0, 0) > 0) DispatchMessageA(&message);
  return 0;
}
