// Reads of a process's memory that cannot fault.

#include <errno.h>
#include <sys/uio.h>
#include <unistd.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

// For a kernel that refuses process_vm_readv even to the process itself: a
// write to a pipe takes what is readable and reports the rest.
std::uint64_t copy_through_pipe(const void* source, void* destination, std::uint64_t size) {
  constexpr std::uint64_t kPipePiece = 4096;  // a pipe takes at least this much in one piece
  int ends[2];
  if (pipe(ends) != 0) return 0;
  std::uint64_t done = 0;
  while (done < size) {
    // To the end of the page at most, so that a piece is either readable or
    // not.
    const std::uint64_t from = reinterpret_cast<std::uint64_t>(source) + done;
    std::uint64_t piece = kPipePiece - from % kPipePiece;
    if (piece > size - done) piece = size - done;
    const ssize_t taken = write(ends[1], reinterpret_cast<const void*>(from), piece);
    if (taken <= 0 || read(ends[0], static_cast<char*>(destination) + done,
                           static_cast<std::size_t>(taken)) != taken) {
      break;
    }
    done += static_cast<std::uint64_t>(taken);
  }
  close(ends[0]);
  close(ends[1]);
  return done;
}

}  // namespace

Bool ReadProcessMemory(Handle process, const void* source, void* destination, std::uint64_t size,
                       std::uint64_t* copied) {
  if (copied) *copied = 0;
  if (process != invalid_handle() && process != GetCurrentProcess()) {
    SetLastError(kErrorInvalidHandle);
    return 0;
  }
  std::uint64_t done = 0;
  if (size > 0) {
    const iovec local{destination, size};
    const iovec remote{const_cast<void*>(source), size};
    const ssize_t taken = process_vm_readv(getpid(), &local, 1, &remote, 1, 0);
    if (taken > 0) {
      done = static_cast<std::uint64_t>(taken);
    } else if (taken < 0 && (errno == EPERM || errno == ENOSYS)) {
      done = copy_through_pipe(source, destination, size);
    }
  }
  if (copied) *copied = done;
  if (done == size) return 1;
  SetLastError(kErrorPartialCopy);
  return 0;
}

}  // namespace tarn::platform
