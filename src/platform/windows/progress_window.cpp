// The progress window: a topmost tool window of a class of its own, drawn by its
// own procedure, with the controls library's bar below the text.

#include "platform/windows/window_libraries.h"
// Needs the system's header before it.
#include "platform/progress_window.h"

namespace tarn::platform {
namespace {

constexpr char kWindowClass[] = "MERLE_PROGRESS";
constexpr int kWidth = 257;
constexpr int kFirstHeight = 64;  // until the font is known
constexpr int kMargin = 4;
constexpr int kBarHeight = 16;
constexpr int kBarRoom = 24;                        // of the bar with its margins
constexpr std::uint32_t kSmoothControls = 0x40046;  // 4.70, the first with a smooth bar
constexpr int kBarRange = 100;

const WindowLibraries* ui;
ProgressWindowLook look;
HWND dialog_bar;
HDC dialog_dc;
HFONT dialog_font;
RECT dialog_client, dialog_text_rect;
int dialog_width, dialog_height, dialog_x, dialog_y;

void centre_window() {
  dialog_x = (look.screen_width - dialog_width) / 2;
  dialog_y = (look.screen_height - dialog_height) / 2;
}

bool has_bar() { return look.controls_version != 0 && dialog_bar != nullptr; }

// ---- Messages -----------------------------------------------------------------

void set_up_window(HWND window) {
  dialog_dc = ui->GetDC(window);
  ui->SetBkColor(dialog_dc, ui->GetSysColor(COLOR_BTNFACE));
  dialog_font = static_cast<HFONT>(ui->GetStockObject(ANSI_VAR_FONT));
  ui->SelectObject(dialog_dc, dialog_font);
  const int frame = ui->GetSystemMetrics(SM_CYDLGFRAME);
  const int caption = ui->GetSystemMetrics(SM_CYCAPTION) + frame;
  SIZE text_size = {};
  ui->GetTextExtentPoint32A(dialog_dc, " (99%)", 6, &text_size);
  dialog_height = text_size.cy + kMargin + caption + frame + kBarRoom;
  dialog_width = kWidth;
  centre_window();
  ui->SetWindowPos(window, HWND_TOPMOST, dialog_x, dialog_y, dialog_width, dialog_height,
                   SWP_NOACTIVATE);
  ui->GetClientRect(window, &dialog_client);
  dialog_text_rect = {kMargin, kMargin, dialog_client.right - text_size.cx - kMargin,
                      text_size.cy + kMargin};
}

void paint(HWND window) {
  ProgressPicture picture;
  look.fill_picture(&picture);
  ui->DrawTextA(dialog_dc, picture.text, -1, &dialog_text_rect, DT_END_ELLIPSIS | DT_NOCLIP);
  const UINT alignment = ui->SetTextAlign(dialog_dc, TA_RIGHT);
  ui->TextOutA(dialog_dc, dialog_client.right - kMargin, kMargin, picture.percent_text,
               ::lstrlenA(picture.percent_text));
  ui->SetTextAlign(dialog_dc, alignment);
  if (has_bar()) {
    ui->PostMessageA(dialog_bar, PBM_SETPOS, static_cast<WPARAM>(picture.percent), 0);
  }
  ui->ValidateRect(window, nullptr);
}

void take_down(HWND window) {
  if (dialog_font != nullptr) ui->DeleteObject(dialog_font);
  if (dialog_dc != nullptr) ui->ReleaseDC(window, dialog_dc);
  if (dialog_bar != nullptr) ui->DestroyWindow(dialog_bar);
  dialog_font = nullptr;
  dialog_dc = nullptr;
  dialog_bar = nullptr;
  ui->DestroyWindow(window);
}

LRESULT CALLBACK TheWindowProc(HWND window, UINT message, WPARAM w, LPARAM l) {
  switch (message) {
    case WM_CREATE:
      set_up_window(window);
      return 0;
    case WM_PAINT:
      if (dialog_dc == nullptr || !ui->GetUpdateRect(window, nullptr, FALSE)) break;
      paint(window);
      return 0;
    case WM_SYSCOMMAND:
      // The low four bits are the system's own.
      if ((w & 0xFFF0) != SC_CLOSE) break;
      look.closed_by_user();
      ui->PostMessageA(window, WM_CLOSE, 0, 0);
      return 0;
    case WM_CLOSE:
      take_down(window);
      return 0;
    case WM_DESTROY:
      ui->PostQuitMessage(0);
      return 0;
    default:
      break;
  }
  return ui->DefWindowProcA(window, message, w, l);
}

// ---- Life -----------------------------------------------------------------------

HINSTANCE GetCurrentInstance() { return ::GetModuleHandleA(nullptr); }

// The class stays for the next window; registering it again changes nothing.
void initialise_window() {
  if (const auto init =
          late_service<decltype(&::InitCommonControls)>("COMCTL32.DLL", "InitCommonControls")) {
    init();
  }
  WNDCLASSA window_class = {};
  window_class.style = CS_OWNDC | CS_SAVEBITS;
  window_class.lpfnWndProc = &TheWindowProc;
  window_class.hInstance = GetCurrentInstance();
  // IDC_ARROW's value is no address of a string.
  window_class.hCursor = ui->LoadCursorA(nullptr, MAKEINTRESOURCEA(0x7F00));
  window_class.hbrBackground = reinterpret_cast<HBRUSH>(std::uintptr_t{COLOR_3DFACE + 1});
  window_class.lpszClassName = kWindowClass;
  ui->RegisterClassA(&window_class);
  dialog_width = kWidth;
  dialog_height = kFirstHeight;
  centre_window();
}

bool add_bar(HWND window) {
  const DWORD smooth = look.controls_version >= kSmoothControls ? PBS_SMOOTH : 0;
  dialog_bar = ui->CreateWindowExA(0, PROGRESS_CLASSA, nullptr, WS_CHILD | WS_VISIBLE | smooth,
                                   kMargin, dialog_client.bottom - kBarHeight - kMargin,
                                   dialog_client.right - 2 * kMargin, kBarHeight, window, nullptr,
                                   GetCurrentInstance(), nullptr);
  if (dialog_bar == nullptr) return false;
  ui->PostMessageA(dialog_bar, PBM_SETRANGE, 0, MAKELPARAM(0, kBarRange));
  ui->PostMessageA(dialog_bar, PBM_SETSTEP, 1, 0);
  return true;
}

}  // namespace

Handle OpenProgressWindow(const ProgressWindowLook* wanted) {
  ui = window_libraries();
  if (ui == nullptr) return invalid_handle();
  look = *wanted;
  initialise_window();
  const HWND window = ui->CreateWindowExA(
      WS_EX_TOPMOST | WS_EX_TOOLWINDOW | WS_EX_WINDOWEDGE, kWindowClass, look.title,
      WS_POPUP | WS_CLIPCHILDREN | WS_CAPTION | WS_SYSMENU, dialog_x, dialog_y, dialog_width,
      dialog_height, nullptr, nullptr, GetCurrentInstance(), nullptr);
  if (window == nullptr) return invalid_handle();
  if (look.controls_version != 0 && !add_bar(window)) {
    ui->SendMessageA(window, WM_CLOSE, 0, 0);
    return invalid_handle();
  }
  ui->ShowWindow(window, SW_SHOWNA);
  ui->UpdateWindow(window);
  MSG message;  // looking for one makes the thread's queue
  ui->PeekMessageA(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
  return window;
}

void ServeProgressWindow(Handle) {
  MSG message;
  while (ui->GetMessageA(&message, nullptr, 0, 0) > 0) {
    ui->TranslateMessage(&message);
    ui->DispatchMessageA(&message);
  }
}

void RedrawProgressWindow(Handle window) {
  ui->RedrawWindow(static_cast<HWND>(window), nullptr, nullptr,
                   RDW_INVALIDATE | RDW_NOCHILDREN | RDW_UPDATENOW);
}

void CloseProgressWindow(Handle window) {
  ui->PostMessageA(static_cast<HWND>(window), WM_CLOSE, 0, 0);
}

// The window library may be missing: the text then stays as it is.
Bool OemToCharA(const char* oem, char* ansi) {
  const auto convert = late_service<decltype(&::OemToCharA)>("USER32.DLL", "OemToCharA");
  if (convert != nullptr) return convert(oem, ansi);
  if (ansi != oem) ::lstrcpyA(ansi, oem);
  return 0;
}

}  // namespace tarn::platform
