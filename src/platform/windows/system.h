// What every file of this back end includes: the system's header, and the
// declarations that these files implement by forwarding to it.
#pragma once

#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include "platform/platform.h"

namespace tarn::platform {

// A service of a library that is not loaded from the start: the first call
// loads it, from the system's folder alone. Null if the library or the service is missing.
template <class Service>
Service late_service(const char* library, const char* name) {
  const HMODULE module = ::LoadLibraryExA(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  return module ? reinterpret_cast<Service>(reinterpret_cast<void*>(::GetProcAddress(module, name)))
                : nullptr;
}

inline SECURITY_ATTRIBUTES* native(const SecurityAttributes* security) {
  return reinterpret_cast<SECURITY_ATTRIBUTES*>(const_cast<SecurityAttributes*>(security));
}

}  // namespace tarn::platform
