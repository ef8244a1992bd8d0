// stat and kin with sizes or times of 32 bits. What passes them is EOVERFLOW.
#include <sys/stat.h>

#include "../strings/utf8.h"

using namespace crt;

namespace {

template <class From, class To>
bool set(To* to, From from) {
  *to = static_cast<To>(from);
  return *to == from;
}

template <class Facts>
int shortened(int result, const struct _stat64& facts, Facts* to) {
  if (result != 0) return result;
  *to = {};
  to->st_dev = facts.st_dev;
  to->st_ino = facts.st_ino;
  to->st_mode = facts.st_mode;
  to->st_nlink = facts.st_nlink;
  to->st_rdev = facts.st_rdev;
  const bool whole = set(&to->st_size, facts.st_size) & set(&to->st_atime, facts.st_atime) &
                     set(&to->st_mtime, facts.st_mtime) & set(&to->st_ctime, facts.st_ctime);
  return whole ? 0 : fail_with(EOVERFLOW);
}

}  // namespace

#define SHORT_FACTS(Facts, of_path, of_wide_path, of_number)            \
  CRT_API int of_path(const char* path, struct Facts* result) {         \
    struct _stat64 facts;                                               \
    return shortened(_stat64(path, &facts), facts, result);             \
  }                                                                     \
  CRT_API int of_wide_path(const wchar_t* path, struct Facts* result) { \
    struct _stat64 facts;                                               \
    return shortened(_wstat64(path, &facts), facts, result);            \
  }                                                                     \
  CRT_API int of_number(int number, struct Facts* result) {             \
    struct _stat64 facts;                                               \
    return shortened(_fstat64(number, &facts), facts, result);          \
  }
SHORT_FACTS(_stat32, _stat32, _wstat32, _fstat32)
SHORT_FACTS(_stat32i64, _stat32i64, _wstat32i64, _fstat32i64)
