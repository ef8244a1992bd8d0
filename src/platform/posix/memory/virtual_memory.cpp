// Address space by pages. A reservation is an inaccessible private mapping,
// which the host does not count as memory; committing makes pages accessible,
// and the host then counts them, so that an impossible commit fails at once and
// not at the first touch.

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

struct PageRange {
  std::uint64_t begin, end;  // addresses of pages
};

void* address_of(std::uint64_t value) { return reinterpret_cast<void*>(value); }

// Pages whose rights are known here: to ask the host takes the longer, the more mappings
// the process has, and a program may change the rights of each block that it allocates.
enum class Kind { kReservation, kImage, kHeap };

// Of a page whose rights nobody has set: in a reservation it is not committed, in an image its
// rights are not known, and in the heap it is as the heap makes its memory.
constexpr std::uint8_t kNotSet = 0;

struct Region {
  Region* next;
  PageRange range;
  Kind kind;
  // One for each page: kNotSet, or the host's plus 1. Those of many pages lie in memory of
  // their own, of which only the touched part costs anything.
  std::uint8_t* rights;
  bool differs;  // somewhere, since a change failed half way

  std::uint8_t* of(std::uint64_t address) { return rights + (address - range.begin) / kPage; }
};

Region* regions;
pthread_mutex_t regions_lock = PTHREAD_MUTEX_INITIALIZER;

std::uint64_t pages_in(const PageRange& range) { return (range.end - range.begin) / kPage; }

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

// ---- Regions ----------------------------------------------------------------

// The routines of this section: with the lock held.

Region* region_around(const PageRange& range) {
  for (Region* region = regions; region != nullptr; region = region->next) {
    if (range.begin >= region->range.begin && range.end <= region->range.end) return region;
  }
  return nullptr;
}

Region* reservation_around(const PageRange& range) {
  Region* const region = region_around(range);
  return region != nullptr && region->kind == Kind::kReservation ? region : nullptr;
}

bool touches_reservation(const PageRange& range) {
  for (const Region* region = regions; region != nullptr; region = region->next) {
    if (region->kind == Kind::kReservation && range.begin < region->range.end &&
        range.end > region->range.begin) {
      return true;
    }
  }
  return false;
}

bool has_rights_inside(const PageRange& range) { return pages_in(range) < kPage; }

// Null if there is no memory for it.
Region* add_region(const PageRange& range, Kind kind) {
  const bool inside = has_rights_inside(range);
  auto* const region =
      static_cast<Region*>(calloc(1, sizeof(Region) + (inside ? pages_in(range) : 0)));
  if (region == nullptr) return nullptr;
  void* rights = region + 1;
  if (!inside) {
    rights = mmap(nullptr, pages_in(range), PROT_READ | PROT_WRITE,
                  MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (rights == MAP_FAILED) {
      free(region);
      return nullptr;
    }
  }
  *region = {regions, range, kind, static_cast<std::uint8_t*>(rights), false};
  regions = region;
  return region;
}

void remove_region(Region* region) {
  Region** link = &regions;
  while (*link != region) link = &(*link)->next;
  *link = region->next;
  if (!has_rights_inside(region->range)) munmap(region->rights, pages_in(region->range));
  free(region);
}

std::uint32_t protection_at(const PageRange& page) {
  Region* region = region_around(page);
  PageRange heap;
  if (region == nullptr && heap_pages(&heap.begin, &heap.end) && page.begin >= heap.begin &&
      page.end <= heap.end) {
    region = add_region(heap, Kind::kHeap);
  }
  const std::uint8_t rights = region == nullptr ? kNotSet : *region->of(page.begin);
  if (rights != kNotSet) return windows_protection(rights - 1);
  if (region != nullptr && region->kind == Kind::kHeap) return kPageReadWrite;
  const std::uint32_t protection = mapping_at(page.begin).protection;
  return protection == 0 ? std::uint32_t{kPageNoAccess} : protection;
}

bool has_rights(const PageRange& range, int host) {
  Region* const region = region_around(range);
  if (region == nullptr || region->differs) return false;
  if (region->kind == Kind::kHeap) return false;  // it sets its own
  const std::uint8_t* const first = region->of(range.begin);
  return *first == host + 1 && memcmp(first, first + 1, pages_in(range) - 1) == 0;
}

// mprotect, noted. What a failure leaves of an image's rights is not known.
bool set_rights(const PageRange& range, int host) {
  if (has_rights(range, host)) return true;
  const bool done = mprotect(address_of(range.begin), range.end - range.begin, host) == 0;
  for (Region* region = regions; region != nullptr; region = region->next) {
    const PageRange common = {std::max(range.begin, region->range.begin),
                              std::min(range.end, region->range.end)};
    if (common.begin >= common.end) continue;
    region->differs |= !done;
    if (!done && region->kind != Kind::kImage) continue;
    memset(region->of(common.begin), done ? host + 1 : kNotSet, pages_in(common));
  }
  return done;
}

bool all_committed(Region* r, const PageRange& range) {
  return memchr(r->of(range.begin), kNotSet, pages_in(range)) == nullptr;
}

// Whole pages of the record are released.
void forget_rights(Region* r, const PageRange& range) {
  std::uint8_t* const begin = r->of(range.begin);
  std::uint8_t* const end = begin + pages_in(range);
  const auto whole = [](std::uint8_t* at, std::uint64_t up) {
    return reinterpret_cast<std::uint8_t*>((reinterpret_cast<std::uint64_t>(at) + up) &
                                           ~(kPage - 1));
  };
  std::uint8_t* const first = whole(begin, kPage - 1);
  std::uint8_t* const last = whole(end, 0);
  if (first >= last) {
    memset(begin, kNotSet, pages_in(range));
    return;
  }
  memset(begin, kNotSet, static_cast<std::size_t>(first - begin));
  madvise(first, static_cast<std::size_t>(last - first), MADV_DONTNEED);
  memset(last, kNotSet, static_cast<std::size_t>(end - last));
}

// ---- Reservations -----------------------------------------------------------

// An inaccessible mapping of the host's at a multiple of kGranularity; 0, with
// errno, if there is none. `wanted` 0: anywhere.
std::uint64_t map_space(std::uint64_t wanted, std::uint64_t size) {
  constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS;
  if (wanted != 0) {
    void* const space =
        mmap(address_of(wanted), size, PROT_NONE, kFlags | MAP_FIXED_NOREPLACE, -1, 0);
    return space == MAP_FAILED ? 0 : reinterpret_cast<std::uint64_t>(space);
  }
  // By itself much memory often lies at such a multiple.
  void* space = mmap(nullptr, size, PROT_NONE, kFlags, -1, 0);
  if (space == MAP_FAILED) return 0;
  auto begin = reinterpret_cast<std::uint64_t>(space);
  if (begin % kGranularity == 0) return begin;
  munmap(space, size);
  space = mmap(nullptr, size + kGranularity, PROT_NONE, kFlags, -1, 0);
  if (space == MAP_FAILED) return 0;
  begin = reinterpret_cast<std::uint64_t>(space);
  const std::uint64_t base = (begin + kGranularity - 1) & ~(kGranularity - 1);
  if (base > begin) munmap(space, base - begin);
  const std::uint64_t behind = begin + size + kGranularity - (base + size);
  if (behind > 0) munmap(address_of(base + size), behind);
  return base;
}

Region* fail_reserving(std::uint32_t code) {
  SetLastError(code);
  return nullptr;
}

Region* reserve(const void* address, std::uint64_t size) {
  const std::uint64_t wanted = reinterpret_cast<std::uint64_t>(address) & ~(kGranularity - 1);
  PageRange range;
  if (!pages_of(address, size, &range) || (address != nullptr && wanted == 0)) {
    return fail_reserving(kErrorInvalidParameter);
  }
  if (address != nullptr) range.begin = wanted;
  size = range.end - range.begin;
  const std::uint64_t base = map_space(wanted, size);
  if (base == 0) return fail_reserving(wanted != 0 ? kErrorInvalidAddress : kErrorNotEnoughMemory);
  Region* const r = add_region({base, base + size}, Kind::kReservation);
  if (r != nullptr) return r;
  munmap(address_of(base), size);
  return fail_reserving(kErrorNotEnoughMemory);
}

void release(Region* r) {
  munmap(address_of(r->range.begin), r->range.end - r->range.begin);
  remove_region(r);
}

bool commit(const PageRange& range, int protection) {
  if (set_rights(range, protection)) return true;
  SetLastError(kErrorNotEnoughMemory);
  return false;
}

// A fresh mapping in place of the old one: the memory is released, and no
// longer counted.
Bool decommit(Region* r, const PageRange& range) {
  if (mmap(address_of(range.begin), range.end - range.begin, PROT_NONE,
           MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == MAP_FAILED) {
    return fail(kErrorNotEnoughMemory);
  }
  forget_rights(r, range);
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
  const MutexLock lock(regions_lock);
  const bool reserves = (type & kMemReserve) != 0 || address == nullptr;
  if (reserves) {
    Region* const r = reserve(address, size);
    if (r == nullptr) return nullptr;
    if ((type & kMemCommit) != 0 && !commit(r->range, host)) {
      release(r);
      return nullptr;
    }
    return address_of(r->range.begin);
  }
  PageRange range;
  if (!pages_of(address, size, &range)) return fail_allocation(kErrorInvalidParameter);
  if (reservation_around(range) == nullptr) return fail_allocation(kErrorInvalidAddress);
  return commit(range, host) ? address_of(range.begin) : nullptr;
}

Bool VirtualFree(void* address, std::uint64_t size, std::uint32_t type) {
  PageRange range;
  if ((type != kMemDecommit && type != kMemRelease) || (type == kMemRelease && size != 0) ||
      !pages_of(address, size, &range)) {
    return fail(kErrorInvalidParameter);
  }
  if (size == 0) range.end = range.begin + kPage;
  const MutexLock lock(regions_lock);
  Region* const r = reservation_around(range);
  // Windows reports this for an address that it never reserved.
  if (r == nullptr) return fail(size == 0 ? kErrorInvalidParameter : kErrorInvalidAddress);
  if (size == 0 && r->range.begin != range.begin) return fail(kErrorInvalidAddress);
  if (type == kMemDecommit) {
    return decommit(r, size == 0 ? r->range : range);
  }
  release(r);
  return 1;
}

void note_image(const void* base, std::uint64_t size, int host) {
  PageRange range;
  if (!pages_of(base, size, &range)) return;
  const MutexLock lock(regions_lock);
  Region* const region = add_region(range, Kind::kImage);
  if (region != nullptr) memset(region->rights, host + 1, pages_in(range));
}

void forget_image(const void* base) {
  const MutexLock lock(regions_lock);
  for (Region* region = regions; region != nullptr; region = region->next) {
    if (region->kind != Kind::kImage || address_of(region->range.begin) != base) continue;
    return remove_region(region);
  }
}

bool protect_image_pages(const void* address, std::uint64_t size, int host) {
  PageRange range;
  if (!pages_of(address, size, &range)) return false;
  const MutexLock lock(regions_lock);
  return set_rights(range, host);
}

Bool VirtualLock(void* address, std::uint64_t size) {
  return mlock(address, size) == 0 ? 1 : fail_by_errno();
}

Bool VirtualUnlock(void* address, std::uint64_t size) {
  return munlock(address, size) == 0 ? 1 : fail_by_errno();
}

Bool VirtualProtect(void* address, std::uint64_t size, std::uint32_t protection,
                    std::uint32_t* old_protection) {
  const int host = host_protection(protection);
  PageRange range;
  if (host == kNoProtection) return fail(kErrorInvalidParameter);
  if (old_protection == nullptr) return fail(kErrorNoAccess);
  if (size == 0 || !pages_of(address, size, &range)) return fail(kErrorInvalidAddress);
  const MutexLock lock(regions_lock);
  // Memory from elsewhere, such as an image, counts as committed.
  Region* const r = reservation_around(range);
  if (r == nullptr ? touches_reservation(range) : !all_committed(r, range)) {
    return fail(kErrorInvalidAddress);
  }
  const std::uint32_t old = protection_at({range.begin, range.begin + kPage});
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
  const MutexLock lock(regions_lock);
  *information = {};
  information->base = address_of(page.begin);
  std::uint64_t end;
  if (Region* const r = reservation_around(page)) {
    const std::uint8_t rights = *r->of(page.begin);
    for (end = page.end; end < r->range.end && *r->of(end) == rights;) end += kPage;
    information->allocation_base = address_of(r->range.begin);
    information->state = rights != kNotSet ? kMemCommit : kMemReserve;
    information->protection = rights != kNotSet ? windows_protection(rights - 1) : 0;
  } else {
    const Mapping mapping = mapping_at(page.begin);
    const bool is_free = mapping.protection == 0;
    end = mapping.end;
    information->allocation_base = is_free ? nullptr : address_of(mapping.begin);
    information->state = is_free ? kMemFree : kMemCommit;
    information->protection = is_free ? std::uint32_t{kPageNoAccess} : mapping.protection;
  }
  if (information->state != kMemFree) {
    information->type = kMemPrivate;
    information->allocation_protection = kPageReadWrite;
  }
  information->size = end - page.begin;
  return sizeof *information;
}

}  // namespace tarn::platform
