// _findfirst and kin, on which opendir and readdir of libmingwex stand.
#include <io.h>
#include <string.h>

#include "../strings/utf8.h"
#include "../time/time.h"

using namespace crt;

namespace {

template <class Data>
void set_facts(const WIN32_FIND_DATAA& found, Data* data) {
  data->attrib = found.dwFileAttributes & ~DWORD{FILE_ATTRIBUTE_NORMAL};
  data->time_create = seconds_of(found.ftCreationTime);
  data->time_access = seconds_of(found.ftLastAccessTime);
  data->time_write = seconds_of(found.ftLastWriteTime);
  data->size = static_cast<decltype(data->size)>(
      static_cast<unsigned long long>(found.nFileSizeHigh) << 32 | found.nFileSizeLow);
}
template <class Data>
bool set(const WIN32_FIND_DATAA& found, Data* data) {
  set_facts(found, data);
  if constexpr (sizeof data->name[0] == 1) {
    strcpy(data->name, found.cFileName);
    return true;
  } else {
    return to_wide(found.cFileName, data->name, sizeof data->name / sizeof data->name[0]);
  }
}

template <class Data>
intptr_t first(const char* pattern, Data* data) {
  WIN32_FIND_DATAA found;
  const HANDLE handle = FindFirstFileA(pattern, &found);
  if (handle == INVALID_HANDLE_VALUE) return fail();
  if (set(found, data)) return reinterpret_cast<intptr_t>(handle);
  FindClose(handle);
  return -1;
}

// What has no wide name is passed over.
template <class Data>
int next(intptr_t handle, Data* data) {
  WIN32_FIND_DATAA found;
  do {
    if (!FindNextFileA(reinterpret_cast<HANDLE>(handle), &found)) return fail();
  } while (!set(found, data));
  return 0;
}

}  // namespace

// The forms with sizes of 32 bits are libmingwex's, over these.
CRT_API intptr_t _findfirst64(const char* pattern, struct __finddata64_t* data) {
  return first(pattern, data);
}
CRT_API int _findnext64(intptr_t handle, struct __finddata64_t* data) { return next(handle, data); }
CRT_API intptr_t _wfindfirst64(const wchar_t* pattern, struct _wfinddata64_t* data) {
  const NarrowPath narrow(pattern);
  return narrow.valid() ? first(narrow, data) : -1;
}
CRT_API int _wfindnext64(intptr_t handle, struct _wfinddata64_t* data) {
  return next(handle, data);
}
CRT_API int _findclose(intptr_t handle) {
  return FindClose(reinterpret_cast<HANDLE>(handle)) ? 0 : fail();
}
