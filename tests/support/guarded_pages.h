// Readable and writable pages with one before them and one after that cannot be read: a
// routine that reads outside its data faults. Starts as zeros.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "platform/platform.h"

namespace tarn::test {

class GuardedPages {
 public:
  static constexpr std::size_t kPage = 4096;

  // `size` bytes, in whole pages, one at least.
  explicit GuardedPages(std::size_t size)
      : size_(size == 0 ? kPage : (size + kPage - 1) / kPage * kPage),
        reserved_(static_cast<std::uint8_t*>(platform::VirtualAlloc(
            nullptr, size_ + 2 * kPage, platform::kMemReserve, platform::kPageNoAccess))) {
    if (!reserved_ ||
        !platform::VirtualAlloc(data(), size_, platform::kMemCommit, platform::kPageReadWrite)) {
      std::abort();
    }
  }
  GuardedPages(GuardedPages&& other) noexcept : size_(other.size_), reserved_(other.reserved_) {
    other.reserved_ = nullptr;
  }
  ~GuardedPages() {
    if (reserved_) platform::VirtualFree(reserved_, 0, platform::kMemRelease);
  }
  GuardedPages(const GuardedPages&) = delete;
  GuardedPages& operator=(const GuardedPages&) = delete;
  GuardedPages& operator=(GuardedPages&&) = delete;

  std::uint8_t* data() const { return reserved_ + kPage; }
  std::uint8_t* end() const { return data() + size_; }
  std::size_t size() const { return size_; }

 private:
  std::size_t size_;
  std::uint8_t* reserved_;
};

}  // namespace tarn::test
