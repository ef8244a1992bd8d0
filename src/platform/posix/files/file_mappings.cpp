// Files in memory. A mapping object has the file open by a descriptor of its own; a view
// keeps what it needs when the object is closed. The views are in one list, by which they
// are found again and the file's size is held against cuts.

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/files/files.h"

namespace tarn::platform {
namespace {

constexpr std::uint64_t kGranularity = 65536, kPage = 4096;
constexpr std::uint32_t kPageWriteCopy = 0x08;
constexpr std::uint32_t kViewCopy = 1, kViewWrite = 2, kViewRead = 4;
// SEC_COMMIT, which is the rule, and SEC_RESERVE, which the host has no use for.
constexpr std::uint32_t kCommitted = 0x08000000, kReserved = 0x04000000;

struct View {
  View* next;
  void* base;
  std::uint64_t size;  // whole pages
  std::uint64_t end;   // within the file
  dev_t device;
  ino_t file;
};

View* views;
pthread_mutex_t views_lock = PTHREAD_MUTEX_INITIALIZER;

struct Mapping {
  std::uint64_t size;
  bool writable, copies;
};

std::uint64_t whole_pages(std::uint64_t size) { return (size + kPage - 1) & ~(kPage - 1); }

// A descriptor for the mapping, of the file or of memory; below 0 with errno.
int open_mapped(const OpenObject* file) {
  constexpr int kFirst = static_cast<int>(kStandardHandles);
  if (file != nullptr) return fcntl(file->descriptor, F_DUPFD_CLOEXEC, kFirst);
  return keep_off_standard(memfd_create("mapping", MFD_CLOEXEC));
}

// Memory at a multiple of the granularity, as programs expect; null with errno.
void* map(std::uint64_t size, int rights, int flags, int descriptor, std::uint64_t offset) {
  void* const space =
      mmap(nullptr, size + kGranularity, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (space == MAP_FAILED) return nullptr;
  const auto begin = reinterpret_cast<std::uintptr_t>(space);
  const auto base = (begin + kGranularity - 1) & ~(kGranularity - 1);
  auto* const view = reinterpret_cast<char*>(base);
  if (mmap(view, size, rights, flags | MAP_FIXED, descriptor, static_cast<off_t>(offset)) ==
      MAP_FAILED) {
    const int failure = errno;
    munmap(space, size + kGranularity);
    errno = failure;
    return nullptr;
  }
  if (base > begin) munmap(space, base - begin);
  const std::uint64_t after = begin + kGranularity - base;
  if (after > 0) munmap(view + size, after);
  return view;
}

}  // namespace

Handle CreateFileMappingW(Handle file, const SecurityAttributes*, std::uint32_t protection,
                          std::uint32_t size_high, std::uint32_t size_low, const char16_t* name) {
  std::uint64_t size = std::uint64_t{size_high} << 32 | size_low;
  protection &= ~(kCommitted | kReserved);
  const bool writes = protection == kPageReadWrite;
  if (name != nullptr) return null_for(kErrorNotSupported);
  if (!writes && protection != kPageReadOnly && protection != kPageWriteCopy) {
    return null_for(kErrorInvalidParameter);
  }
  const bool of_file = file != invalid_handle();
  const OpenObject* const object = of_file ? find_handle(file, HandleKind::kFile) : nullptr;
  struct stat facts {};
  if (of_file) {
    if (object == nullptr) return nullptr;
    if (!object->readable || (writes && !object->writable)) {
      return null_for(kErrorAccessDenied);
    }
    if (fstat(object->descriptor, &facts) != 0) return null_for(windows_code(errno));
    if (!S_ISREG(facts.st_mode)) return null_for(kErrorBadExeFormat);
    if (size == 0) size = static_cast<std::uint64_t>(facts.st_size);
    if (size == 0) return null_for(kErrorFileInvalid);
  } else if (size == 0) {
    return null_for(kErrorInvalidParameter);
  }
  const bool grows = size > static_cast<std::uint64_t>(facts.st_size);
  if (grows && of_file && !writes) return null_for(kErrorNotEnoughMemory);
  auto* const mapping = static_cast<Mapping*>(malloc(sizeof(Mapping)));
  if (mapping == nullptr) return null_for(kErrorNotEnoughMemory);
  *mapping = {size, writes, protection == kPageWriteCopy};
  survive_refused_writes();
  const int descriptor = open_mapped(object);
  if (descriptor < 0 || (grows && ftruncate(descriptor, static_cast<off_t>(size)) != 0)) {
    fail_by_errno();
  } else if (const Handle handle =
                 add_handle({HandleKind::kMapping, descriptor, false, false, false, mapping})) {
    SetLastError(0);
    return handle;
  }
  if (descriptor >= 0) close(descriptor);
  free(mapping);
  return nullptr;
}

Handle CreateFileMappingA(Handle file, const SecurityAttributes* security, std::uint32_t protection,
                          std::uint32_t size_high, std::uint32_t size_low, const char* name) {
  if (name != nullptr) return null_for(kErrorNotSupported);
  return CreateFileMappingW(file, security, protection, size_high, size_low, nullptr);
}

Bool close_mapping(Handle handle) {
  const OpenObject object = remove_handle(handle, HandleKind::kMapping);
  if (object.kind == HandleKind::kFree) return 0;
  close(object.descriptor);
  free(object.record);
  return 1;
}

void* MapViewOfFile(Handle handle, std::uint32_t access, std::uint32_t offset_high,
                    std::uint32_t offset_low, std::uint64_t size) {
  const OpenObject* const object = find_handle(handle, HandleKind::kMapping);
  if (object == nullptr) return nullptr;
  const auto& mapping = *static_cast<const Mapping*>(object->record);
  const std::uint64_t offset = std::uint64_t{offset_high} << 32 | offset_low;
  const bool copies = (access & (kViewCopy | kViewWrite | kViewRead)) == kViewCopy;
  const bool writes = (access & kViewWrite) != 0;
  if (offset % kGranularity != 0) return null_for(kErrorMappedAlignment);
  if (offset >= mapping.size || size > mapping.size - offset || (writes && !mapping.writable)) {
    return null_for(kErrorAccessDenied);
  }
  if (size == 0) size = mapping.size - offset;
  struct stat facts {};
  auto* const view = static_cast<View*>(malloc(sizeof(View)));
  if (view == nullptr) return null_for(kErrorNotEnoughMemory);
  const std::uint64_t mapped = whole_pages(size);
  const int rights = writes || copies ? PROT_READ | PROT_WRITE : PROT_READ;
  void* const base = fstat(object->descriptor, &facts) != 0
                         ? nullptr
                         : map(mapped, rights, copies || mapping.copies ? MAP_PRIVATE : MAP_SHARED,
                               object->descriptor, offset);
  if (base == nullptr) {
    fail_by_errno();
    free(view);
    return nullptr;
  }
  const MutexLock lock(views_lock);
  *view = {views, base, mapped, offset + size, facts.st_dev, facts.st_ino};
  views = view;
  return base;
}

Bool UnmapViewOfFile(const void* address) {
  const MutexLock lock(views_lock);
  for (View** link = &views; *link != nullptr; link = &(*link)->next) {
    View* const view = *link;
    const auto distance = static_cast<std::uint64_t>(static_cast<const char*>(address) -
                                                     static_cast<char*>(view->base));
    if (distance >= view->size) continue;
    *link = view->next;
    munmap(view->base, view->size);
    free(view);
    return 1;
  }
  return fail(kErrorInvalidAddress);
}

Bool FlushViewOfFile(const void* address, std::uint64_t size) {
  const MutexLock lock(views_lock);
  for (const View* view = views; view != nullptr; view = view->next) {
    auto* const base = static_cast<char*>(view->base);
    const auto distance = static_cast<std::uint64_t>(static_cast<const char*>(address) - base);
    if (distance >= view->size) continue;
    const std::uint64_t begin = distance & ~(kPage - 1), left = view->size - begin;
    const std::uint64_t length =
        size == 0 || size > left ? left : whole_pages(distance - begin + size);
    return msync(base + begin, length < left ? length : left, MS_SYNC) == 0 ? 1 : fail_by_errno();
  }
  return fail(kErrorInvalidAddress);
}

bool is_mapped_beyond(int descriptor, std::int64_t end) {
  struct stat facts;
  const MutexLock lock(views_lock);
  if (views == nullptr || fstat(descriptor, &facts) != 0) return false;
  for (const View* view = views; view != nullptr; view = view->next) {
    if (view->file == facts.st_ino && view->device == facts.st_dev &&
        view->end > static_cast<std::uint64_t>(end)) {
      return true;
    }
  }
  return false;
}

}  // namespace tarn::platform
