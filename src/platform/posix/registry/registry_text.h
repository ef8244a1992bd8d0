// The text of the registry file. A line "[Key\Path]" begins a key, and the
// lines "name=value" after it are its values: what comes after the '=', up to
// the end of the line, without spaces at both ends. A value without a name
// ("=value") is the key's default value. Keys and names are matched without
// case. Other lines count as comments, and the first of two equal names counts.
// Nothing is read outside the text, whatever it holds.
#pragma once

#include <cstddef>

namespace tarn::platform {

struct RegistryText {
  const char* begin;
  std::size_t size;
};

// True if there is such a key, or one below it.
bool has_registry_key(RegistryText text, const char* key);

// The value of that name under exactly that key, as a part of the text.
bool find_registry_value(RegistryText text, const char* key, const char* name, RegistryText* value);

}  // namespace tarn::platform
