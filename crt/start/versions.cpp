// The system's version, as data and by routines.
#include <stdlib.h>

#include "../crt.h"

#undef _osplatform
#undef _osver
#undef _winver
#undef _winmajor
#undef _winminor

extern "C" {
unsigned _osplatform, _osver, _winver, _winmajor, _winminor;
}

__attribute__((constructor(101))) static void set_versions() {
  OSVERSIONINFOA info = {};
  info.dwOSVersionInfoSize = sizeof info;
  if (!GetVersionExA(&info)) return;
  _osplatform = info.dwPlatformId;
  _osver = info.dwBuildNumber & 0x7FFF;
  _winmajor = info.dwMajorVersion;
  _winminor = info.dwMinorVersion;
  _winver = _winmajor << 8 | _winminor;
}

#define GETTER(name, value)                \
  CRT_API errno_t name(unsigned* result) { \
    if (!result) return errno = EINVAL;    \
    *result = value;                       \
    return 0;                              \
  }
GETTER(_get_osplatform, _osplatform)
GETTER(_get_osver, _osver)
GETTER(_get_winver, _winver)
GETTER(_get_winmajor, _winmajor)
GETTER(_get_winminor, _winminor)
