// The pending dialog and the choice of its renderer.

#include "paneview/dialog.h"

#include "paneview/paneview.h"
#include "paneview/text.h"
#include "platform/windows_ui.h"

namespace paneview {
namespace {

namespace platform = tarn::platform;

Dialog* pending;

constexpr char kReportEnding[] = ".txt";

// On a terminal: asks for a line; an empty one means the default.
std::int32_t ask_on_terminal(const char* title, char* buffer, const FileNameRecord* record) {
  const auto limit = static_cast<std::uint32_t>(record->size);
  const std::uint32_t length = text_length(record->default_path, limit);
  const bool has_default = length > 0 && length + sizeof kReportEnding - 1 <= limit;
  write_output(title, text_length(title, kDialogFormatSize));
  if (has_default) {
    write_output(" [", 2);
    write_output(record->default_path, length);
    write_output(kReportEnding, sizeof kReportEnding - 1);
    write_output("]", 1);
  }
  write_output(": ", 2);

  if (!read_line(buffer, limit + 1)) {
    buffer[0] = 0;
    return 0;
  }
  if (buffer[0] != 0) return 1;
  if (!has_default) return 0;
  copy_bytes(buffer, record->default_path, length);
  copy_bytes(buffer + length, kReportEnding, sizeof kReportEnding);
  return 1;
}

// 1 or 0, as get_filename returns; -1 if there can be no window.
std::int32_t ask_in_window(void* owner, const char* title, char* buffer,
                           const FileNameRecord* record) {
  const platform::WindowServices* const services = platform::DesktopWindows();
  if (services == nullptr) return -1;
  const auto limit = static_cast<std::uint32_t>(record->size);
  char path[kDefaultPathSize + sizeof kReportEnding];
  const std::uint32_t length =
      text_length(record->default_path, limit < kDefaultPathSize ? limit : kDefaultPathSize);
  copy_bytes(path, record->default_path, length);
  copy_bytes(path + length, kReportEnding, length > 0 ? sizeof kReportEnding : 0);
  if (length == 0) path[0] = 0;
  const platform::SaveFileQuestion question = {title, path, "txt", owner};
  return services->ask_save_file(&question, buffer, limit + 1);
}

}  // namespace

void* new_pages(std::uint64_t size) {
  return platform::VirtualAlloc(nullptr, size, platform::kMemCommit | platform::kMemReserve,
                                platform::kPageReadWrite);
}

void free_pages(void* pages) { platform::VirtualFree(pages, 0, platform::kMemRelease); }

std::int32_t __winio(const char* format, ...) {
  TARN_SLOTS_BEHIND(arguments, format);
  if (pending == nullptr) pending = static_cast<Dialog*>(new_pages(sizeof(Dialog)));
  if (pending == nullptr) return 0;
  if (add_dialog_format(pending, format, arguments) == FormatEnd::kMore) return 0;

  Dialog* dialog = pending;
  pending = nullptr;  // callbacks may build their own
  std::int32_t button;
  if (!show_window_dialog(dialog, &button)) button = show_text_dialog(dialog);
  free_pages(dialog);
  return button;
}

void __close_all_windows() {
  if (pending != nullptr) free_pages(pending);
  pending = nullptr;
  // Text on a terminal is not removed.
  if (const platform::WindowServices* services = platform::DesktopWindows()) services->close_all();
}

std::int32_t get_filename(void* owner, const char* title, std::int64_t, char* buffer,
                          const FileNameRecord* record) {
  buffer[0] = 0;
  if (record->size <= 0) return 0;
  const std::int32_t answer = ask_in_window(owner, title, buffer, record);
  if (answer >= 0) return answer;
  return on_terminal() ? ask_on_terminal(title, buffer, record) : 0;
}

}  // namespace paneview
