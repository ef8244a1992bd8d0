// _findfirst and kin, on which opendir and readdir of libmingwex stand.
#include <io.h>
#include <string.h>

#include "../strings/utf8.h"
#include "../time/time.h"

using namespace crt;

namespace {

// Of a time that `Time` does not hold, -1.
template <class Time>
void set_time(Time* time, const FILETIME& found) {
  const long long seconds = seconds_of(found);
  *time = static_cast<Time>(seconds);
  if (*time != seconds) *time = -1;
}

template <class Data>
void set_facts(const WIN32_FIND_DATAA& found, Data* data) {
  data->attrib = found.dwFileAttributes & ~DWORD{FILE_ATTRIBUTE_NORMAL};
  set_time(&data->time_create, found.ftCreationTime);
  set_time(&data->time_access, found.ftLastAccessTime);
  set_time(&data->time_write, found.ftLastWriteTime);
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

// Those with times of 64 bits and sizes of 32 are libmingwex's, over the first.
#define FIND(Data, WideData, first_name, next_name, wide_first_name, wide_next_name)       \
  CRT_API intptr_t first_name(const char* pattern, struct Data* data) {                    \
    return first(pattern, data);                                                           \
  }                                                                                        \
  CRT_API int next_name(intptr_t handle, struct Data* data) { return next(handle, data); } \
  CRT_API intptr_t wide_first_name(const wchar_t* pattern, struct WideData* data) {        \
    const NarrowPath narrow(pattern);                                                      \
    return narrow.valid() ? first(narrow, data) : -1;                                      \
  }                                                                                        \
  CRT_API int wide_next_name(intptr_t handle, struct WideData* data) { return next(handle, data); }
FIND(__finddata64_t, _wfinddata64_t, _findfirst64, _findnext64, _wfindfirst64, _wfindnext64)
FIND(_finddata32_t, _wfinddata32_t, _findfirst32, _findnext32, _wfindfirst32, _wfindnext32)
FIND(_finddata32i64_t, _wfinddata32i64_t, _findfirst32i64, _findnext32i64, _wfindfirst32i64,
     _wfindnext32i64)
CRT_API int _findclose(intptr_t handle) {
  return FindClose(reinterpret_cast<HANDLE>(handle)) ? 0 : fail();
}
