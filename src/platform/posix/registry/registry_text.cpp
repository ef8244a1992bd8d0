#include "platform/posix/registry/registry_text.h"

#include <string.h>
#include <strings.h>

namespace tarn::platform {
namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

RegistryText trimmed(RegistryText text) {
  while (text.size > 0 && is_blank(text.begin[0])) {
    ++text.begin;
    --text.size;
  }
  while (text.size > 0 && is_blank(text.begin[text.size - 1])) --text.size;
  return text;
}

// Takes the next line off the text; false at its end.
bool take_line(RegistryText* text, RegistryText* line) {
  if (text->size == 0) return false;
  const void* const end = memchr(text->begin, '\n', text->size);
  const std::size_t length =
      end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - text->begin)
                     : text->size;
  *line = trimmed({text->begin, length});
  const std::size_t taken = end != nullptr ? length + 1 : length;
  text->begin += taken;
  text->size -= taken;
  return true;
}

bool same(RegistryText text, const char* name) {
  return strlen(name) == text.size && strncasecmp(text.begin, name, text.size) == 0;
}

// True if the line begins a key, whose path is then stored.
bool is_key(RegistryText line, RegistryText* path) {
  if (line.size < 2 || line.begin[0] != '[' || line.begin[line.size - 1] != ']') return false;
  *path = {line.begin + 1, line.size - 2};
  return true;
}

}  // namespace

bool has_registry_key(RegistryText text, const char* key) {
  const std::size_t length = strlen(key);
  RegistryText line, path;
  while (take_line(&text, &line)) {
    if (!is_key(line, &path) || path.size < length) continue;
    const bool below = path.size == length || length == 0 || path.begin[length] == '\\';
    if (below && strncasecmp(path.begin, key, length) == 0) return true;
  }
  return false;
}

bool find_registry_value(RegistryText text, const char* key, const char* name,
                         RegistryText* value) {
  bool in_key = false;
  RegistryText line, path;
  while (take_line(&text, &line)) {
    if (is_key(line, &path)) {
      in_key = same(path, key);
      continue;
    }
    const void* const equals = in_key ? memchr(line.begin, '=', line.size) : nullptr;
    if (equals == nullptr) continue;
    const auto split = static_cast<std::size_t>(static_cast<const char*>(equals) - line.begin);
    if (!same(trimmed({line.begin, split}), name)) continue;
    *value = trimmed({line.begin + split + 1, line.size - split - 1});
    return true;
  }
  return false;
}

}  // namespace tarn::platform
