// The names in a path, for both back ends and for the modules above them.
#pragma once

namespace tarn::platform {

inline bool is_separator(char c) { return c == '\\' || c == '/'; }

inline bool has_drive(const char* path) {
  const char letter = static_cast<char>(path[0] | 0x20);
  return letter >= 'a' && letter <= 'z' && path[1] == ':';
}

// What comes after the last separator, or after the drive if there is none.
inline const char* base_name(const char* path) {
  const char* base = has_drive(path) ? path + 2 : path;
  for (const char* at = base; *at != '\0'; ++at) {
    if (is_separator(*at)) base = at + 1;
  }
  return base;
}

}  // namespace tarn::platform
