// Dialog windows: the system's own dialog class without a template's controls,
// filled by create calls, so that the keyboard works as in every dialog.

#include "platform/byte_block.h"
#include "platform/windows/window_libraries.h"
#include "platform/windows_ui.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kFirstButton = 100;  // control ids; below are the system's
constexpr std::uint32_t kFirstKey = 300;
static_assert(kFirstButton + kWindowButtons <= kFirstKey);
constexpr std::uint32_t kBoxLimit = 32;  // boxes whose selection can be copied
constexpr std::uint64_t kBoxTextLimit = 1 << 20;

struct Box {
  HWND control;
  bool framed;
  DWORD start, end;  // selection before the first wait
};

}  // namespace

struct DialogWindow {
  DialogWindow* outer;
  HWND window, owner, help;
  bool owner_was_enabled;
  HFONT font;
  HBRUSH background;  // null: the system's
  COLORREF background_colour, text_colour;
  HACCEL accelerators;
  HWND default_button;
  std::uint32_t button_count, key_count, box_count;
  WindowKey keys[kWindowKeys];
  Box boxes[kBoxLimit];

  bool selections_marked;
  bool waiting, has_event;
  WindowEvent event;
};

namespace {

const WindowLibraries* ui;
DialogWindow* innermost;
WNDPROC box_procedure;  // the system's own, of every box

LRESULT send(HWND window, UINT message, WPARAM w, LPARAM l) {
  return ui->SendMessageA(window, message, w, l);
}

DialogWindow* record_of(HWND window) {
  return reinterpret_cast<DialogWindow*>(ui->GetWindowLongPtrA(window, GWLP_USERDATA));
}

HWND owner_for(Handle owner) {
  if (owner != nullptr) return static_cast<HWND>(owner);
  return innermost == nullptr ? nullptr : innermost->window;
}

// ---- Messages -----------------------------------------------------------------

void note_event(DialogWindow* dialog, WindowEventKind kind, std::uint32_t number) {
  if (!dialog->waiting || dialog->has_event) return;
  dialog->event = {kind, number};
  dialog->has_event = true;
}

void take_command(DialogWindow* dialog, std::uint32_t id, std::uint32_t code) {
  if (id >= kFirstKey && id < kFirstKey + dialog->key_count) {
    note_event(dialog, WindowEventKind::kKey, id - kFirstKey);
  } else if (id >= kFirstButton && id < kFirstButton + dialog->button_count && code == BN_CLICKED) {
    note_event(dialog, WindowEventKind::kButton, id - kFirstButton);
  } else if (id == IDCANCEL || id == IDOK) {  // Esc; Enter where there is no button
    note_event(dialog, WindowEventKind::kClose, 0);
  }
}

void open_menu(DialogWindow* dialog, LPARAM place) {
  const HMENU menu = ui->CreatePopupMenu();
  if (menu == nullptr) return;
  bool any = false;
  for (std::uint32_t i = 0; i < dialog->key_count; ++i) {
    if (dialog->keys[i].menu_name == nullptr) continue;
    ui->AppendMenuA(menu, MF_STRING, kFirstKey + i, dialog->keys[i].menu_name);
    any = true;
  }
  POINT point = {static_cast<short>(LOWORD(place)), static_cast<short>(HIWORD(place))};
  if (place == -1) ui->GetCursorPos(&point);  // asked for by the keyboard
  if (any) ui->TrackPopupMenu(menu, TPM_RIGHTBUTTON, point.x, point.y, 0, dialog->window, nullptr);
  ui->DestroyMenu(menu);
}

bool is_framed_box(const DialogWindow* dialog, HWND control) {
  for (std::uint32_t i = 0; i < dialog->box_count; ++i) {
    if (dialog->boxes[i].control == control) return dialog->boxes[i].framed;
  }
  return false;
}

// The brush for a control's background; null: the system's.
HBRUSH paint_control(const DialogWindow* dialog, HDC context, HWND control) {
  if (is_framed_box(dialog, control)) {
    ui->SetBkColor(context, ui->GetSysColor(COLOR_WINDOW));
    ui->SetTextColor(context, ui->GetSysColor(COLOR_WINDOWTEXT));
    return ui->GetSysColorBrush(COLOR_WINDOW);
  }
  if (dialog->background == nullptr) return nullptr;
  ui->SetBkColor(context, dialog->background_colour);
  ui->SetTextColor(context, dialog->text_colour);
  return dialog->background;
}

INT_PTR CALLBACK dialog_procedure(HWND window, UINT message, WPARAM w, LPARAM l) {
  DialogWindow* const dialog = record_of(window);
  if (dialog == nullptr) return FALSE;
  switch (message) {
    case WM_COMMAND:
      take_command(dialog, LOWORD(w), HIWORD(w));
      return TRUE;
    case WM_CLOSE:
      note_event(dialog, WindowEventKind::kClose, 0);
      return TRUE;
    case WM_CONTEXTMENU:
      open_menu(dialog, l);
      return TRUE;
    case WM_CTLCOLORDLG:
    case WM_CTLCOLORSTATIC:  // read-only boxes too
    case WM_CTLCOLORBTN:
      return reinterpret_cast<INT_PTR>(
          paint_control(dialog, reinterpret_cast<HDC>(w), reinterpret_cast<HWND>(l)));
    case WM_DESTROY:
      dialog->window = nullptr;
      return TRUE;
    default:
      return FALSE;
  }
}

// A box leaves all keys but the arrows and Ctrl+A to the dialog: it is
// read-only. It isn't selected when it gets the focus, which would scroll it to
// its end. Its menu is the dialog's.
LRESULT CALLBACK read_box_procedure(HWND box, UINT message, WPARAM w, LPARAM l) {
  constexpr WPARAM kControlA = 1;
  switch (message) {
    case WM_GETDLGCODE:
      return DLGC_WANTARROWS |
             (l != 0 && reinterpret_cast<MSG*>(l)->wParam == kControlA ? DLGC_WANTCHARS : 0);
    case WM_CHAR:
      if (w == kControlA) return send(box, EM_SETSEL, 0, -1);
      break;
    case WM_CONTEXTMENU:
      if (innermost != nullptr) return send(innermost->window, message, w, l);
      break;
    default:
      break;
  }
  return ui->CallWindowProcA(box_procedure, box, message, w, l);
}

// ---- Making a window ---------------------------------------------------------------

bool same_start(const char* text, const char* start) {
  while (*start != 0 && *text == *start) ++text, ++start;
  return *start == 0;
}

HFONT make_font(const char* face) {
  NONCLIENTMETRICSA system = {};
  system.cbSize = sizeof system;
  ui->SystemParametersInfoA(SPI_GETNONCLIENTMETRICS, sizeof system, &system, 0);
  LOGFONTA font = system.lfMessageFont;
  if (face != nullptr) {
    ::lstrcpynA(font.lfFaceName, face, sizeof font.lfFaceName);
    // Where the font is missing, its substitute must keep the columns.
    const bool columns = same_start(face, "Courier") || same_start(face, "Consolas");
    font.lfPitchAndFamily = columns ? FIXED_PITCH | FF_MODERN : DEFAULT_PITCH | FF_DONTCARE;
  }
  return ui->CreateFontIndirectA(&font);
}

LPSTR system_icon(char icon) { return icon == '!' ? IDI_WARNING : IDI_ERROR; }

// Black or white, whichever is read more easily: the eye's weights of red,
// green and blue, out of 256.
COLORREF readable_on(COLORREF colour) {
  const unsigned brightness =
      (GetRValue(colour) * 77u + GetGValue(colour) * 150u + GetBValue(colour) * 29u) / 256;
  return brightness >= 128 ? RGB(0, 0, 0) : RGB(255, 255, 255);
}

HWND make_window(DialogWindow* dialog, const WindowLook* look) {
  struct {
    DLGTEMPLATE head;
    WORD menu, window_class, title;
  } form = {};
  form.head.style = WS_POPUP | WS_CAPTION | WS_SYSMENU;
  form.head.dwExtendedStyle = WS_EX_CONTROLPARENT;
  if (look->topmost) form.head.dwExtendedStyle |= WS_EX_TOPMOST;
  if (dialog->owner == nullptr) form.head.dwExtendedStyle |= WS_EX_APPWINDOW;
  const HWND window = ui->CreateDialogIndirectParamA(::GetModuleHandleA(nullptr), &form.head,
                                                     dialog->owner, dialog_procedure, 0);
  if (window == nullptr) return nullptr;
  ui->SetWindowLongPtrA(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(dialog));
  ui->SetWindowTextA(window, look->title);
  if (look->icon != 0) {
    send(window, WM_SETICON, ICON_SMALL,
         reinterpret_cast<LPARAM>(ui->LoadIconA(nullptr, system_icon(look->icon))));
  }
  return window;
}

// A record in pages of its own: the heap may be what the dialog reports.
TARNAPI DialogWindow* open_window(const WindowLook* look) {
  auto* dialog = static_cast<DialogWindow*>(
      ::VirtualAlloc(nullptr, sizeof(DialogWindow), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
  if (dialog == nullptr) return nullptr;
  dialog->owner = owner_for(look->owner);
  dialog->window = make_window(dialog, look);
  if (dialog->window == nullptr) {
    ::VirtualFree(dialog, 0, MEM_RELEASE);
    return nullptr;
  }
  dialog->font = make_font(look->font);
  if (look->has_colour) {
    dialog->background_colour = look->colour & 0xFFFFFF;
    dialog->text_colour = readable_on(dialog->background_colour);
    dialog->background = ui->CreateSolidBrush(dialog->background_colour);
  }
  dialog->outer = innermost;
  innermost = dialog;
  return dialog;
}

// ---- Measures ----------------------------------------------------------------------

HDC begin_measuring(const DialogWindow* dialog, HGDIOBJ* old) {
  const HDC context = ui->GetDC(dialog->window);
  *old = ui->SelectObject(context, dialog->font);
  return context;
}

void end_measuring(const DialogWindow* dialog, HDC context, HGDIOBJ old) {
  ui->SelectObject(context, old);
  ui->ReleaseDC(dialog->window, context);
}

TARNAPI void get_metrics(DialogWindow* dialog, WindowMetrics* metrics) {
  HGDIOBJ old;
  const HDC context = begin_measuring(dialog, &old);
  TEXTMETRICA font = {};
  ui->GetTextMetricsA(context, &font);
  end_measuring(dialog, context, old);

  RECT area = {0, 0, 800, 600};
  ui->SystemParametersInfoA(SPI_GETWORKAREA, 0, &area, 0);
  metrics->character_width = font.tmAveCharWidth > 0 ? font.tmAveCharWidth : 8;
  metrics->line_height = font.tmHeight > 0 ? font.tmHeight : 16;
  metrics->scroll_bar_width = ui->GetSystemMetrics(SM_CXVSCROLL);
  metrics->icon_size = ui->GetSystemMetrics(SM_CXICON);
  // The rest is for the frame, and for seeing that it is a window.
  metrics->width_limit = (area.right - area.left) * 9 / 10;
  metrics->height_limit = (area.bottom - area.top) * 9 / 10 - ui->GetSystemMetrics(SM_CYCAPTION);
}

TARNAPI std::int32_t text_width(DialogWindow* dialog, const char* text, std::uint32_t length) {
  HGDIOBJ old;
  const HDC context = begin_measuring(dialog, &old);
  const DWORD extent =
      ui->GetTabbedTextExtentA(context, text, static_cast<int>(length), 0, nullptr);
  end_measuring(dialog, context, old);
  return LOWORD(extent);
}

// ---- Controls -----------------------------------------------------------------------

struct ControlStyle {
  const char* window_class;
  DWORD style, extended;
};

ControlStyle style_of(const WindowControl* control) {
  switch (control->kind) {
    case ControlKind::kIcon:
      return {"STATIC", SS_ICON, 0};
    case ControlKind::kBox:
      return {"EDIT",
              ES_MULTILINE | ES_READONLY | ES_AUTOVSCROLL | WS_TABSTOP |
                  (control->scrolled ? WS_VSCROLL : 0u),
              control->framed ? WS_EX_CLIENTEDGE : 0u};
    case ControlKind::kButton:
      return {"BUTTON", WS_TABSTOP | (control->is_default ? BS_DEFPUSHBUTTON : BS_PUSHBUTTON + 0u),
              0};
    case ControlKind::kText:
      break;
  }
  return {"STATIC", SS_LEFTNOWORDWRAP | SS_NOPREFIX, 0};
}

// A copy that ends with NUL, in pages of its own, with CR LF for every line end.
char* control_text(const WindowControl* control) {
  std::uint64_t length = 0;
  while (length < control->length && length < kBoxTextLimit && control->text[length] != 0) {
    ++length;
  }
  auto* copy = static_cast<char*>(
      ::VirtualAlloc(nullptr, 2 * length + 1, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
  if (copy == nullptr) return nullptr;
  char* end = copy;
  for (std::uint64_t i = 0; i < length; ++i) {
    const char c = control->text[i];
    if (c == '\n' && (i == 0 || control->text[i - 1] != '\r')) *end++ = '\r';
    *end++ = c;
  }
  return copy;
}

void add_help(DialogWindow* dialog, HWND control, const char* help) {
  if (dialog->help == nullptr) {
    const auto start =
        late_service<decltype(&::InitCommonControls)>("COMCTL32.DLL", "InitCommonControls");
    if (start == nullptr) return;
    start();
    dialog->help =
        ui->CreateWindowExA(WS_EX_TOPMOST, TOOLTIPS_CLASSA, nullptr, WS_POPUP | TTS_ALWAYSTIP, 0, 0,
                            0, 0, dialog->window, nullptr, nullptr, nullptr);
    if (dialog->help == nullptr) return;
  }
  TTTOOLINFOA tool = {};
  tool.cbSize = offsetof(TTTOOLINFOA, lpReserved);  // what every version of the library takes
  tool.uFlags = TTF_SUBCLASS | TTF_IDISHWND;
  tool.hwnd = dialog->window;
  tool.uId = reinterpret_cast<UINT_PTR>(control);
  tool.lpszText = const_cast<char*>(help);
  send(dialog->help, TTM_ADDTOOLA, 0, reinterpret_cast<LPARAM>(&tool));
}

void finish_control(DialogWindow* dialog, const WindowControl* control, HWND handle) {
  send(handle, WM_SETFONT, reinterpret_cast<WPARAM>(dialog->font), FALSE);
  if (control->kind == ControlKind::kIcon) {
    send(handle, STM_SETICON,
         reinterpret_cast<WPARAM>(ui->LoadIconA(nullptr, system_icon(control->text[0]))), 0);
  } else if (control->kind == ControlKind::kButton) {
    ++dialog->button_count;
    if (control->is_default) dialog->default_button = handle;
    if (control->help != nullptr) add_help(dialog, handle, control->help);
  } else if (control->kind == ControlKind::kBox) {
    box_procedure = reinterpret_cast<WNDPROC>(ui->SetWindowLongPtrA(
        handle, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&read_box_procedure)));
    if (dialog->box_count < kBoxLimit) {
      dialog->boxes[dialog->box_count++] = {handle, control->framed, 0, 0};
    }
  }
}

TARNAPI Handle add_control(DialogWindow* dialog, const WindowControl* control) {
  const bool button = control->kind == ControlKind::kButton;
  if (button && dialog->button_count == kWindowButtons) return nullptr;
  char* const text = control->kind == ControlKind::kIcon ? nullptr : control_text(control);
  const ControlStyle style = style_of(control);
  const std::uintptr_t id = button ? kFirstButton + dialog->button_count : 0;
  const HWND handle = ui->CreateWindowExA(
      style.extended, style.window_class, text, WS_CHILD | WS_VISIBLE | style.style, control->x,
      control->y, control->width, control->height, dialog->window, reinterpret_cast<HMENU>(id),
      nullptr, nullptr);
  if (text != nullptr) ::VirtualFree(text, 0, MEM_RELEASE);
  if (handle != nullptr) finish_control(dialog, control, handle);
  return handle;
}

TARNAPI Bool add_key(DialogWindow* dialog, const WindowKey* key) {
  if (dialog->key_count == kWindowKeys) return 0;
  dialog->keys[dialog->key_count++] = *key;
  return 1;
}

HACCEL make_accelerators(const DialogWindow* dialog) {
  ACCEL rows[kWindowKeys];
  int count = 0;
  for (std::uint32_t i = 0; i < dialog->key_count; ++i) {
    const WindowKey& key = dialog->keys[i];
    if (key.menu_name != nullptr) continue;
    rows[count++] = {static_cast<BYTE>(FVIRTKEY | key.modifiers), key.code,
                     static_cast<WORD>(kFirstKey + i)};
  }
  return count == 0 ? nullptr : ui->CreateAcceleratorTableA(rows, count);
}
static_assert(kKeyShift == FSHIFT && kKeyControl == FCONTROL && kKeyAlt == FALT);

// ---- Life -----------------------------------------------------------------------------

TARNAPI void show_window(DialogWindow* dialog, std::int32_t width, std::int32_t height) {
  const HWND window = dialog->window;
  RECT frame = {0, 0, width, height};
  ui->AdjustWindowRectEx(&frame, WS_POPUP | WS_CAPTION | WS_SYSMENU, FALSE, 0);
  const int full_width = frame.right - frame.left;
  const int full_height = frame.bottom - frame.top;
  RECT area = {0, 0, 800, 600};
  ui->SystemParametersInfoA(SPI_GETWORKAREA, 0, &area, 0);
  const int x = area.left + (area.right - area.left - full_width) / 2;
  const int y = area.top + (area.bottom - area.top - full_height) / 2;
  ui->SetWindowPos(window, nullptr, x, y < area.top ? area.top : y, full_width, full_height,
                   SWP_NOZORDER | SWP_NOACTIVATE);

  dialog->accelerators = make_accelerators(dialog);
  // The letters of the buttons are shown from the start.
  send(window, WM_CHANGEUISTATE, MAKEWPARAM(UIS_CLEAR, UISF_HIDEACCEL | UISF_HIDEFOCUS), 0);
  if (dialog->owner != nullptr) {
    dialog->owner_was_enabled = ui->EnableWindow(dialog->owner, FALSE) == 0;
  }
  ui->ShowWindow(window, SW_SHOW);
  ui->SetForegroundWindow(window);
  if (dialog->default_button != nullptr) {
    send(window, DM_SETDEFID,
         static_cast<WPARAM>(ui->GetWindowLongPtrA(dialog->default_button, GWLP_ID)), 0);
    ui->SetFocus(dialog->default_button);
  }
}

void mark_selections(DialogWindow* dialog) {
  if (dialog->selections_marked) return;
  dialog->selections_marked = true;
  for (std::uint32_t i = 0; i < dialog->box_count; ++i) {
    Box& box = dialog->boxes[i];
    send(box.control, EM_GETSEL, reinterpret_cast<WPARAM>(&box.start),
         reinterpret_cast<LPARAM>(&box.end));
  }
}

TARNAPI WindowEvent next_event(DialogWindow* dialog) {
  mark_selections(dialog);
  // A window that a callback showed may not have given the keyboard back.
  if (dialog->window != nullptr && ui->GetActiveWindow() != dialog->window) {
    ui->SetForegroundWindow(dialog->window);
  }
  dialog->has_event = false;
  dialog->waiting = true;
  while (!dialog->has_event && dialog->window != nullptr) {
    MSG message;
    const BOOL got = ui->GetMessageA(&message, nullptr, 0, 0);
    if (got <= 0) {  // the program is to end
      if (got == 0) ui->PostQuitMessage(static_cast<int>(message.wParam));
      note_event(dialog, WindowEventKind::kClose, 0);
      break;
    }
    if (dialog->accelerators != nullptr &&
        ui->TranslateAcceleratorA(dialog->window, dialog->accelerators, &message)) {
      continue;
    }
    if (ui->IsDialogMessageA(dialog->window, &message)) continue;
    ui->TranslateMessage(&message);
    ui->DispatchMessageA(&message);
  }
  dialog->waiting = false;
  if (dialog->window == nullptr) return {WindowEventKind::kGone, 0};
  return dialog->event;
}

TARNAPI Bool copy_selection(DialogWindow* dialog) {
  for (std::uint32_t i = 0; i < dialog->box_count; ++i) {
    const Box& box = dialog->boxes[i];
    DWORD start = 0, end = 0;
    send(box.control, EM_GETSEL, reinterpret_cast<WPARAM>(&start), reinterpret_cast<LPARAM>(&end));
    if (start >= end || (start == box.start && end == box.end)) continue;
    send(box.control, WM_COPY, 0, 0);
    return 1;
  }
  return 0;
}

// The block belongs to the clipboard once it is taken.
TARNAPI Bool copy_text(DialogWindow* dialog, const char* text, std::uint64_t length) {
  const HGLOBAL block = ::GlobalAlloc(GMEM_MOVEABLE, length + 1);
  auto* copy = block == nullptr ? nullptr : static_cast<char*>(::GlobalLock(block));
  bool taken = false;
  if (copy != nullptr) {
    copy_bytes(copy, text, length);
    copy[length] = 0;
    ::GlobalUnlock(block);
    if (ui->OpenClipboard(dialog->window)) {
      taken = ui->EmptyClipboard() && ui->SetClipboardData(CF_TEXT, block) != nullptr;
      ui->CloseClipboard();
    }
  }
  if (!taken && block != nullptr) ::GlobalFree(block);
  return taken;
}

// The owner is enabled first, so that it becomes the active window again.
void take_off_screen(DialogWindow* dialog) {
  if (dialog->window == nullptr) return;
  if (dialog->owner != nullptr && dialog->owner_was_enabled) {
    ui->EnableWindow(dialog->owner, TRUE);
  }
  ui->DestroyWindow(dialog->window);
  dialog->window = nullptr;
}

TARNAPI void close_window(DialogWindow* dialog) {
  take_off_screen(dialog);
  if (dialog->accelerators != nullptr) ui->DestroyAcceleratorTable(dialog->accelerators);
  if (dialog->background != nullptr) ui->DeleteObject(dialog->background);
  if (dialog->font != nullptr) ui->DeleteObject(dialog->font);
  innermost = dialog->outer;
  ::VirtualFree(dialog, 0, MEM_RELEASE);
}

TARNAPI void close_all_windows() {
  for (DialogWindow* dialog = innermost; dialog != nullptr; dialog = dialog->outer) {
    take_off_screen(dialog);
  }
}

TARNAPI std::int32_t ask_save_file_service(const SaveFileQuestion* question, char* buffer,
                                           std::uint32_t size) {
  return ask_save_file(owner_for(question->owner), question, buffer, size);
}

constexpr WindowServices kServices = {
    open_window, get_metrics,    text_width, add_control,  add_key,           show_window,
    next_event,  copy_selection, copy_text,  close_window, close_all_windows, ask_save_file_service,
};

// ---- Desktop ----------------------------------------------------------------------------

bool on_visible_station() {
  USEROBJECTFLAGS flags = {};
  return ui->GetUserObjectInformationA(ui->GetProcessWindowStation(), UOI_FLAGS, &flags,
                                       sizeof flags, nullptr) &&
         (flags.dwFlags & WSF_VISIBLE) != 0;
}

// Wine's station is visible even without a display; what fails is a window.
bool can_make_window() {
  const HWND probe = ui->CreateWindowExA(0, "STATIC", nullptr, WS_POPUP, 0, 0, 1, 1, nullptr,
                                         nullptr, nullptr, nullptr);
  if (probe == nullptr) return false;
  ui->DestroyWindow(probe);
  return true;
}

}  // namespace

const WindowServices* DesktopWindows() {
  static bool looked, found;
  if (!looked) {
    looked = true;
    ui = window_libraries();
    found = ui != nullptr && on_visible_station() && can_make_window();
  }
  return found ? &kServices : nullptr;
}

// A program without windows has not loaded USER32, and has no messages.
void HandleWindowMessages() {
  if (::GetModuleHandleA("USER32.DLL") == nullptr) return;
  const WindowLibraries* const libraries = window_libraries();
  if (libraries == nullptr) return;
  MSG message;
  while (libraries->PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      libraries->PostQuitMessage(static_cast<int>(message.wParam));
      return;
    }
    libraries->TranslateMessage(&message);
    libraries->DispatchMessageA(&message);
  }
}

}  // namespace tarn::platform
