#include "beside_image.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "messages.h"
#include "tools/finish_image/executable.h"

#ifdef _WIN32
#include <process.h>
#define getpid _getpid
#else
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

struct File {
  FILE* stream;
  File(const fs::path& path, const char* mode) : stream(std::fopen(path.string().c_str(), mode)) {}
  ~File() {
    if (stream) std::fclose(stream);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool close() {
    FILE* const closing = stream;
    stream = nullptr;
    return std::fclose(closing) == 0;
  }
};

bool have_same_bytes(const fs::path& one, const fs::path& other) {
  File a(one, "rb"), b(other, "rb");
  if (!a.stream || !b.stream) return false;
  char from_a[65536], from_b[sizeof from_a];
  for (;;) {
    const std::size_t got = std::fread(from_a, 1, sizeof from_a, a.stream);
    if (std::fread(from_b, 1, sizeof from_b, b.stream) != got) return false;
    if (got == 0) return !std::ferror(a.stream) && !std::ferror(b.stream);
    if (std::memcmp(from_a, from_b, got) != 0) return false;
  }
}

// False with errno set.
bool copy_bytes(const fs::path& from, const fs::path& to) {
  File source(from, "rb");
  if (!source.stream) return false;
  File copy(to, "wbx");
  if (!copy.stream) return false;
  char part[65536];
  for (std::size_t got; (got = std::fread(part, 1, sizeof part, source.stream)) > 0;) {
    if (std::fwrite(part, 1, got, copy.stream) != got) return false;
  }
  return !std::ferror(source.stream) && copy.close();
}

// The unfinished file gets the name of the whole one, or is removed.
int put_into_place(const fs::path& unfinished, const fs::path& there, std::error_code error) {
  std::error_code ignored;
  if (!error) fs::rename(unfinished, there, error);
  if (!error) return kDone;
  fs::remove(unfinished, ignored);
  return refuse("cannot put " + there.filename().string() +
                " beside the image: " + error.message());
}

fs::path unfinished_name(const fs::path& there) {
  fs::path unfinished = there;
  unfinished += "." + std::to_string(getpid()) + ".tmp";
  std::error_code ignored;
  fs::remove(unfinished, ignored);
  return unfinished;
}

}  // namespace

int write_program(const fs::path& file, const void* bytes, std::size_t size) {
  const fs::path unfinished = unfinished_name(file);
  std::error_code error;
  File program(unfinished, "wbx");
  if (!program.stream || std::fwrite(bytes, 1, size, program.stream) != size || !program.close()) {
    error.assign(errno, std::generic_category());
  }
  if (!error) finisher::make_executable(unfinished, error);
  return put_into_place(unfinished, file, error);
}

int put_beside_image(const fs::path& file, const fs::path& folder) {
  const fs::path there = folder / file.filename();
  if (have_same_bytes(file, there)) return kDone;
  const fs::path unfinished = unfinished_name(there);
  std::error_code error;
  if (!copy_bytes(file, unfinished)) error.assign(errno, std::generic_category());
  return put_into_place(unfinished, there, error);
}
