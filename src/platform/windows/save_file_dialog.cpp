// The dialog that asks for a file's name. COMDLG32 is large, and loaded when
// first needed.

#include "platform/byte_block.h"
#include "platform/paths.h"
#include "platform/windows/window_libraries.h"
#include "platform/windows_ui.h"

namespace tarn::platform {
namespace {

constexpr char kFilter[] = "Text files (*.txt)\0*.txt\0All files (*.*)\0*.*\0";

// Puts the folder of `path` in `folder` and its name in `name`; what doesn't
// fit is left out.
void split_path(const char* path, char* folder, std::uint32_t folder_size, char* name,
                std::uint32_t name_size) {
  const char* const base = base_name(path);
  const auto name_start = static_cast<std::uint32_t>(base - path);
  folder[0] = name[0] = 0;
  if (name_start < folder_size) {
    copy_bytes(folder, path, name_start);
    folder[name_start] = 0;
  }
  std::uint32_t length = 0;
  while (base[length] != 0) ++length;
  if (length < name_size) copy_bytes(name, base, length + 1);
}

}  // namespace

std::int32_t ask_save_file(HWND owner, const SaveFileQuestion* question, char* buffer,
                           std::uint32_t size) {
  const auto ask = late_service<decltype(&::GetSaveFileNameA)>("COMDLG32.DLL", "GetSaveFileNameA");
  const auto error =
      late_service<decltype(&::CommDlgExtendedError)>("COMDLG32.DLL", "CommDlgExtendedError");
  if (ask == nullptr || error == nullptr) return -1;

  char folder[MAX_PATH];
  split_path(question->default_path, folder, sizeof folder, buffer, size);
  OPENFILENAMEA form = {};
  form.lStructSize = sizeof form;
  form.hwndOwner = owner;
  form.lpstrFilter = kFilter;
  form.lpstrFile = buffer;
  form.nMaxFile = size;
  form.lpstrInitialDir = folder[0] == 0 ? nullptr : folder;
  form.lpstrTitle = question->title;
  form.lpstrDefExt = question->extension;
  // The program's own current folder must stay what it is.
  form.Flags =
      OFN_EXPLORER | OFN_OVERWRITEPROMPT | OFN_PATHMUSTEXIST | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
  if (ask(&form)) return 1;
  buffer[0] = 0;
  return error() == 0 ? 0 : -1;
}

}  // namespace tarn::platform
