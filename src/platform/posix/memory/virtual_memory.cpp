// Address space by pages. A reservation is an inaccessible private mapping,
// which the host does not count as memory; committing makes pages accessible,
// and the host then counts them, so that an impossible commit fails at once and
// not at the first touch. One bit per page says whether it is committed; the
// bits lie in memory of their own, of which only the touched part costs
// anything.

#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#include <algorithm>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/memory/memory.h"

namespace tarn::platform {
namespace {

constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kGranularity = 65536;
constexpr std::uint64_t kAddressLimit = 0x7FFFFFFF0000;

struct Reservation {
  Reservation* next;
  std::uint64_t base, size;  // whole pages
  std::uint64_t* committed;  // one bit per page
};

Reservation* reservations;
pthread_mutex_t reservations_lock = PTHREAD_MUTEX_INITIALIZER;

struct PageRange {
  std::uint64_t begin, end;  // addresses of pages
};

void* address_of(std::uint64_t value) { return reinterpret_cast<void*>(value); }

// All pages that have a byte of the range; false for a range that no process has.
bool pages_of(const void* address, std::uint64_t size, PageRange* range) {
  const auto begin = reinterpret_cast<std::uint64_t>(address);
  if (begin >= kAddressLimit || size > kAddressLimit - begin) return false;
  range->begin = begin & ~(kPage - 1);
  range->end = (begin + size + kPage - 1) & ~(kPage - 1);
  return true;
}

// ---- Protection -------------------------------------------------------------

constexpr std::uint32_t kPageWriteCopy = 0x08;
constexpr std::uint32_t kPageExecute = 0x10;
constexpr std::uint32_t kPageExecuteWriteCopy = 0x80;

// The first row of a host protection is the one it is reported as.
constexpr struct {
  std::uint32_t windows;
  int host;
} kProtections[] = {
    {kPageNoAccess, PROT_NONE},
    {kPageReadOnly, PROT_READ},
    {kPageReadWrite, PROT_READ | PROT_WRITE},
    {kPageExecuteRead, PROT_READ | PROT_EXEC},
    {kPageExecuteReadWrite, PROT_READ | PROT_WRITE | PROT_EXEC},
    {kPageExecute, PROT_EXEC},
    {kPageWriteCopy, PROT_READ | PROT_WRITE},
    {kPageExecuteWriteCopy, PROT_READ | PROT_WRITE | PROT_EXEC},
};

constexpr int kNoProtection = -1;

int host_protection(std::uint32_t windows) {
  for (const auto& row : kProtections) {
    if (row.windows == windows) return row.host;
  }
  return kNoProtection;
}

std::uint32_t windows_protection(int host) {
  for (const auto& row : kProtections) {
    if (row.host == host) return row.windows;
  }
  return kPageReadWrite;  // written, but not read: the processor allows both
}

struct Mapping {
  std::uint64_t begin, end;
  std::uint32_t protection;
};

// What the host tells of the mapping at `address`. If there is none: the gap there, its
// protection 0.
Mapping mapping_at(std::uint64_t address) {
  Mapping found = {0, kAddressLimit, 0};
  FILE* const maps = fopen("/proc/self/maps", "re");
  if (maps == nullptr) return found;
  char* line = nullptr;
  std::size_t room = 0;
  while (getline(&line, &room, maps) > 0) {
    unsigned long long begin, end;
    char rights[5];
    if (sscanf(line, "%llx-%llx %4s", &begin, &end, rights) != 3) continue;
    if (address >= end) {
      found.begin = end;
      continue;
    }
    if (address < begin) {
      found.end = begin;
      break;
    }
    found = {begin, end,
             windows_protection((rights[0] == 'r' ? PROT_READ : 0) |
                                (rights[1] == 'w' ? PROT_WRITE : 0) |
                                (rights[2] == 'x' ? PROT_EXEC : 0))};
    break;
  }
  free(line);
  fclose(maps);
  return found;
}

// The rights of an image's pages, a byte each. The start of a program changes
// them several times, and the host would be asked for longer than all else takes.
struct ImageRights {
  ImageRights* next;
  PageRange range;

  std::uint8_t* of(std::uint64_t address) {
    return reinterpret_cast<std::uint8_t*>(this + 1) + (address - range.begin) / kPage;
  }
};

constexpr std::uint8_t kUnknownRights = 0xFF;

ImageRights* image_rights;

std::uint32_t protection_at(std::uint64_t address) {
  for (ImageRights* image = image_rights; image != nullptr; image = image->next) {
    if (address < image->range.begin || address >= image->range.end) continue;
    if (*image->of(address) != kUnknownRights) return windows_protection(*image->of(address));
  }
  const std::uint32_t protection = mapping_at(address).protection;
  return protection == 0 ? std::uint32_t{kPageNoAccess} : protection;
}

// mprotect, noted for images. With the lock held.
bool set_rights(const PageRange& range, int host) {
  const bool done = mprotect(address_of(range.begin), range.end - range.begin, host) == 0;
  const auto noted = done ? static_cast<std::uint8_t>(host) : kUnknownRights;
  for (ImageRights* image = image_rights; image != nullptr; image = image->next) {
    const std::uint64_t begin = std::max(range.begin, image->range.begin);
    const std::uint64_t end = std::min(range.end, image->range.end);
    if (begin < end) memset(image->of(begin), noted, (end - begin) / kPage);
  }
  return done;
}

// ---- Reservations -----------------------------------------------------------

Reservation* reservation_around(const PageRange& range) {
  for (Reservation* r = reservations; r != nullptr; r = r->next) {
    if (range.begin >= r->base && range.end <= r->base + r->size) return r;
  }
  return nullptr;
}

bool touches_reservation(const PageRange& range) {
  for (const Reservation* r = reservations; r != nullptr; r = r->next) {
    if (range.begin < r->base + r->size && range.end > r->base) return true;
  }
  return false;
}

// Bytes of a reservation's bits, in whole pages.
std::uint64_t bits_size(std::uint64_t size) { return (size / kPage / 8 + kPage) & ~(kPage - 1); }

void mark_committed(Reservation* r, const PageRange& range, bool committed) {
  constexpr std::uint64_t kPagesPerPageOfBits = kPage * 8;
  const std::uint64_t end = (range.end - r->base) / kPage;
  for (std::uint64_t page = (range.begin - r->base) / kPage; page < end;) {
    if (!committed && page % kPagesPerPageOfBits == 0 && end - page >= kPagesPerPageOfBits) {
      // Whole pages of bits are released: even reading them costs memory.
      const std::uint64_t whole = (end - page) / kPagesPerPageOfBits * kPagesPerPageOfBits;
      madvise(&r->committed[page / 64], whole / 8, MADV_DONTNEED);
      page += whole;
      continue;
    }
    const bool whole_word = page % 64 == 0 && end - page >= 64;
    std::uint64_t& word = r->committed[page / 64];
    const std::uint64_t mask = whole_word ? ~std::uint64_t{0} : std::uint64_t{1} << page % 64;
    // Compared first: clearing what is already clear would cost memory.
    const std::uint64_t marked = committed ? word | mask : word & ~mask;
    if (marked != word) word = marked;
    page += whole_word ? 64 : 1;
  }
}

bool all_committed(const Reservation& r, const PageRange& range) {
  for (std::uint64_t at = range.begin; at < range.end; at += kPage) {
    const std::uint64_t page = (at - r.base) / kPage;
    if ((r.committed[page / 64] >> page % 64 & 1) == 0) return false;
  }
  return true;
}

// An inaccessible mapping of the host's at a multiple of kGranularity; 0, with
// errno, if there is none. `wanted` 0: anywhere.
std::uint64_t map_space(std::uint64_t wanted, std::uint64_t size) {
  constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS;
  if (wanted != 0) {
    void* const space =
        mmap(address_of(wanted), size, PROT_NONE, kFlags | MAP_FIXED_NOREPLACE, -1, 0);
    return space == MAP_FAILED ? 0 : reinterpret_cast<std::uint64_t>(space);
  }
  void* const space = mmap(nullptr, size + kGranularity, PROT_NONE, kFlags, -1, 0);
  if (space == MAP_FAILED) return 0;
  const auto begin = reinterpret_cast<std::uint64_t>(space);
  const std::uint64_t base = (begin + kGranularity - 1) & ~(kGranularity - 1);
  if (base > begin) munmap(space, base - begin);
  const std::uint64_t behind = begin + size + kGranularity - (base + size);
  if (behind > 0) munmap(address_of(base + size), behind);
  return base;
}

Reservation* fail_reserving(std::uint32_t code) {
  SetLastError(code);
  return nullptr;
}

Reservation* reserve(const void* address, std::uint64_t size) {
  const std::uint64_t wanted = reinterpret_cast<std::uint64_t>(address) & ~(kGranularity - 1);
  PageRange range;
  if (!pages_of(address, size, &range) || (address != nullptr && wanted == 0)) {
    return fail_reserving(kErrorInvalidParameter);
  }
  if (address != nullptr) range.begin = wanted;
  size = range.end - range.begin;
  auto* const r = static_cast<Reservation*>(malloc(sizeof(Reservation)));
  if (r == nullptr) return fail_reserving(kErrorNotEnoughMemory);
  void* const bits = mmap(nullptr, bits_size(size), PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  const std::uint64_t base = bits == MAP_FAILED ? 0 : map_space(wanted, size);
  if (base == 0) {
    const bool in_use = bits != MAP_FAILED && wanted != 0;
    if (bits != MAP_FAILED) munmap(bits, bits_size(size));
    free(r);
    return fail_reserving(in_use ? kErrorInvalidAddress : kErrorNotEnoughMemory);
  }
  *r = {reservations, base, size, static_cast<std::uint64_t*>(bits)};
  reservations = r;
  return r;
}

void release(Reservation* r) {
  for (Reservation** link = &reservations; *link != nullptr; link = &(*link)->next) {
    if (*link != r) continue;
    *link = r->next;
    break;
  }
  munmap(address_of(r->base), r->size);
  munmap(r->committed, bits_size(r->size));
  free(r);
}

bool commit(Reservation* r, const PageRange& range, int protection) {
  if (!set_rights(range, protection)) {
    SetLastError(kErrorNotEnoughMemory);
    return false;
  }
  mark_committed(r, range, true);
  return true;
}

// A fresh mapping in place of the old one: the memory is released, and no
// longer counted.
Bool decommit(Reservation* r, const PageRange& range) {
  if (mmap(address_of(range.begin), range.end - range.begin, PROT_NONE,
           MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == MAP_FAILED) {
    return fail(kErrorNotEnoughMemory);
  }
  mark_committed(r, range, false);
  return 1;
}

void* fail_allocation(std::uint32_t code) {
  SetLastError(code);
  return nullptr;
}

}  // namespace

void* VirtualAlloc(void* address, std::uint64_t size, std::uint32_t type,
                   std::uint32_t protection) {
  constexpr std::uint32_t kKnownTypes = kMemCommit | kMemReserve;
  const int host = host_protection(protection);
  if (size == 0 || (type & kKnownTypes) == 0 || (type & ~kKnownTypes) != 0 ||
      host == kNoProtection) {
    return fail_allocation(kErrorInvalidParameter);
  }
  const MutexLock lock(reservations_lock);
  const bool reserves = (type & kMemReserve) != 0 || address == nullptr;
  if (reserves) {
    Reservation* const r = reserve(address, size);
    if (r == nullptr) return nullptr;
    if ((type & kMemCommit) != 0 && !commit(r, {r->base, r->base + r->size}, host)) {
      release(r);
      return nullptr;
    }
    return address_of(r->base);
  }
  PageRange range;
  if (!pages_of(address, size, &range)) return fail_allocation(kErrorInvalidParameter);
  Reservation* const r = reservation_around(range);
  if (r == nullptr) return fail_allocation(kErrorInvalidAddress);
  return commit(r, range, host) ? address_of(range.begin) : nullptr;
}

Bool VirtualFree(void* address, std::uint64_t size, std::uint32_t type) {
  PageRange range;
  if ((type != kMemDecommit && type != kMemRelease) || (type == kMemRelease && size != 0) ||
      !pages_of(address, size, &range)) {
    return fail(kErrorInvalidParameter);
  }
  if (size == 0) range.end = range.begin + kPage;
  const MutexLock lock(reservations_lock);
  Reservation* const r = reservation_around(range);
  // Windows reports this for an address that it never reserved.
  if (r == nullptr) return fail(size == 0 ? kErrorInvalidParameter : kErrorInvalidAddress);
  if (size == 0 && r->base != range.begin) return fail(kErrorInvalidAddress);
  if (type == kMemDecommit) {
    return decommit(r, size == 0 ? PageRange{r->base, r->base + r->size} : range);
  }
  release(r);
  return 1;
}

void note_image(const void* base, std::uint64_t size) {
  PageRange range;
  if (!pages_of(base, size, &range)) return;
  const std::uint64_t pages = (range.end - range.begin) / kPage;
  auto* const image = static_cast<ImageRights*>(malloc(sizeof(ImageRights) + pages));
  if (image == nullptr) return;
  const MutexLock lock(reservations_lock);
  *image = {image_rights, range};
  memset(image->of(range.begin), kUnknownRights, pages);
  image_rights = image;
}

void forget_image(const void* base) {
  const MutexLock lock(reservations_lock);
  for (ImageRights** link = &image_rights; *link != nullptr; link = &(*link)->next) {
    ImageRights* const image = *link;
    if (address_of(image->range.begin) != base) continue;
    *link = image->next;
    free(image);
    return;
  }
}

bool protect_image_pages(const void* address, std::uint64_t size, int host) {
  PageRange range;
  if (!pages_of(address, size, &range)) return false;
  const MutexLock lock(reservations_lock);
  return set_rights(range, host);
}

Bool VirtualProtect(void* address, std::uint64_t size, std::uint32_t protection,
                    std::uint32_t* old_protection) {
  const int host = host_protection(protection);
  PageRange range;
  if (host == kNoProtection) return fail(kErrorInvalidParameter);
  if (old_protection == nullptr) return fail(kErrorNoAccess);
  if (size == 0 || !pages_of(address, size, &range)) return fail(kErrorInvalidAddress);
  const MutexLock lock(reservations_lock);
  // Memory from elsewhere, such as an image, counts as committed.
  const Reservation* const r = reservation_around(range);
  if (r == nullptr ? touches_reservation(range) : !all_committed(*r, range)) {
    return fail(kErrorInvalidAddress);
  }
  const std::uint32_t old = protection_at(range.begin);
  if (!set_rights(range, host)) {
    return fail(errno == ENOMEM ? kErrorInvalidAddress : windows_code(errno));
  }
  *old_protection = old;
  return 1;
}

// Memory from elsewhere is committed; it is one allocation of its own.
std::uint64_t VirtualQuery(const void* address, MemoryInformation* information,
                           std::uint64_t size) {
  constexpr std::uint32_t kMemFree = 0x10000, kMemPrivate = 0x20000;
  PageRange page;
  if (size < sizeof *information) return static_cast<std::uint64_t>(fail(kErrorBadLength));
  if (!pages_of(address, 1, &page)) return static_cast<std::uint64_t>(fail(kErrorInvalidParameter));
  const MutexLock lock(reservations_lock);
  Mapping mapping = mapping_at(page.begin);
  *information = {};
  information->base = address_of(page.begin);
  if (mapping.protection == 0) {
    information->state = kMemFree;
    information->protection = kPageNoAccess;
  } else if (const Reservation* const r = reservation_around(page)) {
    if (mapping.end > r->base + r->size) mapping.end = r->base + r->size;
    const bool committed = all_committed(*r, page);
    information->allocation_base = address_of(r->base);
    information->state = committed ? kMemCommit : kMemReserve;
    information->protection = committed ? mapping.protection : 0;
    for (PageRange next = page; next.end < mapping.end;) {
      next = {next.end, next.end + kPage};
      if (all_committed(*r, next) != committed) mapping.end = next.begin;
    }
  } else {
    information->allocation_base = address_of(mapping.begin);
    information->state = kMemCommit;
    information->protection = mapping.protection;
  }
  if (information->state != kMemFree) {
    information->type = kMemPrivate;
    information->allocation_protection = kPageReadWrite;
  }
  information->size = mapping.end - page.begin;
  return sizeof *information;
}

}  // namespace tarn::platform
