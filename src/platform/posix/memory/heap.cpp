// The heap of the global memory service. The system's page services are in
// virtual_memory.cpp.
//
// All blocks lie in one reservation of address space, in units of 64 kB. A unit
// holds small blocks of one size, or the beginning of a large block, which has
// whole units. The records of blocks are kept apart from them, so that a
// program that writes outside a block damages no more than its own data:
//   marks   a byte for every 16 bytes of the reservation. Not 0: a block that is
//           allocated begins here, and of which size. So one look tells for
//           certain whether an address is that of a block: the same block freed
//           twice, its inside, and any foreign address are refused.
//   units   a record for each unit: its free blocks, or its run of units.
// A thread takes and frees small blocks in its own stores, without a lock; the
// stores are filled from the units and emptied into them by halves. The fast paths are
// short chains: what a routine reads has not just been written by the other one.
//
// With the address sanitizer the heap is the sanitizer's (heap_checked.cpp).

#include <pthread.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kGlobalZeroFill = 0x40;

using Address = std::uintptr_t;

// ---- Sizes --------------------------------------------------------------------

// Sizes of small blocks: steps of 16 bytes up to 128, then four per doubling.
constexpr std::uint64_t kGrain = 16;
constexpr std::uint32_t kEvenSizes = 8;
constexpr std::uint32_t kSizes = kEvenSizes + 4 * 8;
constexpr std::uint64_t kLargestSmall = 32 * 1024;

constexpr std::uint32_t size_index(std::uint64_t size) {
  const std::uint64_t last = size - (size != 0);
  if (last < kEvenSizes * kGrain) return static_cast<std::uint32_t>(last / kGrain);
  const auto doubling = static_cast<std::uint32_t>(63 - __builtin_clzll(last));
  return kEvenSizes + (doubling - 7) * 4 + static_cast<std::uint32_t>(last >> (doubling - 2) & 3);
}

constexpr std::uint32_t size_at(std::uint32_t index) {
  if (index < kEvenSizes) return (index + 1) * kGrain;
  const std::uint32_t step = index - kEvenSizes;
  return (5 + step % 4) << (5 + step / 4);
}

static_assert(size_index(128) == 7 && size_index(129) == 8 && size_at(8) == 160);
static_assert(size_index(kLargestSmall) == kSizes - 1 && size_at(kSizes - 1) == kLargestSmall);

using Mark = std::uint8_t;  // small block: the index of its size, plus 1
constexpr Mark kLargeMark = kSizes + 1;

// For the sizes that most blocks have, by grains.
constexpr std::uint64_t kLargestTabled = 1024;
struct SizeTable {
  Mark mark[kLargestTabled / kGrain + 1];
};
constexpr SizeTable kSizeTable = [] {
  SizeTable table{};
  for (std::uint64_t grains = 0; grains <= kLargestTabled / kGrain; ++grains) {
    table.mark[grains] = static_cast<Mark>(size_index(grains * kGrain) + 1);
  }
  return table;
}();

// ---- Units ----------------------------------------------------------------------

constexpr std::uint64_t kUnit = 64 * 1024;
constexpr std::uint64_t kUnitGrains = kUnit / kGrain;
constexpr std::uint64_t kWords = kUnitGrains / 64;

enum class Use : std::uint8_t { kNone, kSmall, kLarge, kFree };

// Runs of units are described by their first record, free runs by their last
// too. Links are numbers of units; unit 0 is not used, so that 0 is none.
struct Unit {
  Use use;
  bool clean;  // free: all zero, as the system gave it
  std::uint8_t index;
  std::uint16_t blocks, free_blocks;
  std::uint16_t begin;  // large: the offset of the block in its first unit
  std::uint32_t run;
  std::uint32_t next, previous;
  std::uint64_t bytes;  // large: what was asked for, in whole grains
  std::uint64_t free_bits[kWords];
};

struct Heap {
  Address base;
  std::uint64_t size, grains;  // 0 until there is one
  Mark* marks;
  Mark* unit_marks;  // those of the blocks in each unit
  Unit* units;
  std::uint32_t top, committed, limit;  // units ever used, writable, in all
  std::uint32_t with_free[kSizes];      // units that have free blocks
  std::uint32_t free_runs[32];          // by the logarithm of their length
  std::uint32_t large_blocks;           // that were ever taken
};

Heap heap;
pthread_mutex_t heap_lock = PTHREAD_MUTEX_INITIALIZER;

class HeapLock {
 public:
  HeapLock() {
    // A stack that overflows does so here, not with the lock held.
    volatile char room[8192];
    room[0] = 0;
    static_cast<void>(room[0]);
    pthread_mutex_lock(&heap_lock);
  }
  ~HeapLock() { pthread_mutex_unlock(&heap_lock); }

 private:
  Unsuspended unsuspended_;
};

constexpr std::uint64_t kHugePage = std::uint64_t{2} << 20;
constexpr std::uint64_t kSmallestReservation = std::uint64_t{64} << 20;

void* map(std::uint64_t size, int rights, int flags) {
  void* const memory = mmap(nullptr, size, rights, MAP_PRIVATE | MAP_ANONYMOUS | flags, -1, 0);
  return memory == MAP_FAILED ? nullptr : memory;
}

// Only what is touched costs memory. Four times the machine's memory is never
// used up, whatever is lost between blocks; less is accepted where the system
// grants no more.
bool reserve() {
  const std::uint64_t memory = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
                               static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  std::uint64_t size = std::uint64_t{16} << 30;
  while (size < 4 * memory && size < std::uint64_t{16} << 40) size *= 2;
  for (; size >= kSmallestReservation; size /= 2) {
    const std::uint64_t marks_size = size / kGrain + size / kUnit;
    const std::uint64_t units_size = size / kUnit * sizeof(Unit);
    void* const space = map(size + kHugePage, PROT_NONE, 0);
    void* const records = map(marks_size + units_size, PROT_READ | PROT_WRITE, MAP_NORESERVE);
    if (space && records) {
      madvise(records, marks_size + units_size, MADV_NOHUGEPAGE);
      heap.base = (reinterpret_cast<Address>(space) + kHugePage - 1) / kHugePage * kHugePage;
      heap.marks = static_cast<Mark*>(records);
      heap.unit_marks = heap.marks + size / kGrain;
      heap.units = reinterpret_cast<Unit*>(heap.marks + marks_size);
      heap.limit = static_cast<std::uint32_t>(size / kUnit);
      heap.top = heap.committed = 1;
      heap.size = size;
      __atomic_store_n(&heap.grains, size / kGrain, __ATOMIC_RELEASE);
      return true;
    }
    if (space) munmap(space, size + kHugePage);
    if (records) munmap(records, marks_size + units_size);
  }
  return false;
}

char* start_of(std::uint32_t unit) { return reinterpret_cast<char*>(heap.base + unit * kUnit); }

std::uint32_t unit_of(const void* address) {
  return static_cast<std::uint32_t>((reinterpret_cast<Address>(address) - heap.base) / kUnit);
}

void link(std::uint32_t* first, std::uint32_t unit) {
  heap.units[unit].next = *first;
  heap.units[unit].previous = 0;
  if (*first) heap.units[*first].previous = unit;
  *first = unit;
}

void unlink(std::uint32_t* first, std::uint32_t unit) {
  const Unit& record = heap.units[unit];
  (record.previous ? heap.units[record.previous].next : *first) = record.next;
  if (record.next) heap.units[record.next].previous = record.previous;
}

// ---- Runs of units ----------------------------------------------------------------

constexpr std::uint32_t kCommitUnits = 16;  // at a time; more in a heap of some size:
constexpr std::uint32_t kHugeUnits = kHugePage / kUnit;
constexpr std::uint32_t kHugeFrom = 256;     // the first unit of such pages
constexpr std::uint32_t kReturnUnits = 512;  // freed at once, they go back to the system
constexpr int kFitTries = 16;

std::uint32_t* runs_of(std::uint32_t length) { return &heap.free_runs[31 - __builtin_clz(length)]; }

void add_free_run(std::uint32_t first, std::uint32_t length, bool clean) {
  Unit& record = heap.units[first];
  record.use = heap.units[first + length - 1].use = Use::kFree;
  record.run = heap.units[first + length - 1].run = length;
  record.clean = clean;
  link(runs_of(length), first);
}

void remove_free_run(std::uint32_t first) {
  const std::uint32_t length = heap.units[first].run;
  unlink(runs_of(length), first);
  heap.units[first].use = heap.units[first + length - 1].use = Use::kNone;
}

// A free run of at least `length` units, or 0: the first that fits in its own
// class, of which not all are tried, else the first of a longer class.
std::uint32_t find_free_run(std::uint32_t length) {
  std::uint32_t* const end = heap.free_runs + 32;
  std::uint32_t* kind = runs_of(length);
  int tries = kFitTries;
  for (std::uint32_t run = *kind; run && tries > 0; run = heap.units[run].next, --tries) {
    if (heap.units[run].run >= length) return run;
  }
  for (++kind; kind < end; ++kind) {
    if (*kind) return *kind;
  }
  return 0;
}

bool make_writable(std::uint32_t end) {
  if (end > heap.limit) return false;
  const std::uint64_t size = (end - heap.committed) * kUnit;
  if (mprotect(start_of(heap.committed), size, PROT_READ | PROT_WRITE) != 0) return false;
  // A program that walks through much memory in small pages waits for the translation of
  // addresses. Where there are no huge pages, nothing changes.
  if (heap.committed <= kHugeFrom && end > kHugeFrom) {
    madvise(start_of(kHugeFrom), (heap.limit - kHugeFrom) * kUnit, MADV_HUGEPAGE);
  }
  heap.committed = end;
  return true;
}

bool make_steps_writable(std::uint32_t end) {
  const std::uint32_t step = end <= kHugeFrom ? kCommitUnits : kHugeUnits;
  return make_writable((end + step - 1) / step * step) || make_writable(end);
}

// 0 on failure; `clean`: the run is all zero.
std::uint32_t take_run(std::uint32_t length, bool* clean) {
  if (const std::uint32_t run = find_free_run(length)) {
    const std::uint32_t found = heap.units[run].run;
    *clean = heap.units[run].clean;
    remove_free_run(run);
    if (found > length) add_free_run(run + length, found - length, *clean);
    return run;
  }
  if (length > heap.limit - heap.top) return 0;
  const std::uint32_t run = heap.top;
  if (run + length > heap.committed && !make_steps_writable(run + length)) return 0;
  heap.top += length;
  *clean = true;
  return run;
}

void give_run(std::uint32_t first, std::uint32_t length) {
  bool clean =
      length >= kReturnUnits && madvise(start_of(first), length * kUnit, MADV_DONTNEED) == 0;
  heap.units[first].use = Use::kNone;
  if (heap.units[first - 1].use == Use::kFree) {
    const std::uint32_t before = heap.units[first - 1].run;
    clean &= heap.units[first - before].clean;
    remove_free_run(first - before);
    first -= before;
    length += before;
  }
  const std::uint32_t behind = first + length;
  if (behind < heap.top && heap.units[behind].use == Use::kFree) {
    clean &= heap.units[behind].clean;
    length += heap.units[behind].run;
    remove_free_run(behind);
  }
  add_free_run(first, length, clean);
}

// ---- Small blocks -------------------------------------------------------------------

// A unit with a free block of the size, or 0.
std::uint32_t unit_with_free(std::uint32_t index) {
  if (heap.with_free[index]) return heap.with_free[index];
  bool clean;
  const std::uint32_t unit = take_run(1, &clean);
  if (!unit) return 0;
  Unit& record = heap.units[unit];
  record.use = Use::kSmall;
  record.index = static_cast<std::uint8_t>(index);
  heap.unit_marks[unit] = static_cast<Mark>(index + 1);
  record.blocks = record.free_blocks = static_cast<std::uint16_t>(kUnit / size_at(index));
  for (std::uint32_t word = 0, left = record.blocks; word < kWords; ++word) {
    const std::uint32_t here = left < 64 ? left : 64;
    record.free_bits[word] = here == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << here) - 1;
    left -= here;
  }
  link(&heap.with_free[index], unit);
  return unit;
}

// Takes up to `wanted` blocks of a size. Result: how many there were.
std::uint32_t take_small(std::uint32_t index, void** blocks, std::uint32_t wanted) {
  std::uint32_t taken = 0;
  while (taken < wanted) {
    const std::uint32_t unit = unit_with_free(index);
    if (!unit) break;
    Unit& record = heap.units[unit];
    for (std::uint32_t word = 0; word < kWords && taken < wanted; ++word) {
      std::uint64_t& bits = record.free_bits[word];
      for (; bits && taken < wanted; bits &= bits - 1) {
        const auto number = word * 64 + static_cast<std::uint32_t>(__builtin_ctzll(bits));
        blocks[taken++] = start_of(unit) + number * size_at(index);
        --record.free_blocks;
      }
    }
    if (record.free_blocks == 0) unlink(&heap.with_free[index], unit);
  }
  return taken;
}

void give_small(std::uint32_t index, void** blocks, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t unit = unit_of(blocks[i]);
    Unit& record = heap.units[unit];
    const auto offset = static_cast<std::uint32_t>(static_cast<char*>(blocks[i]) - start_of(unit));
    const std::uint32_t number = offset / size_at(index);
    record.free_bits[number / 64] |= std::uint64_t{1} << number % 64;
    if (record.free_blocks++ == 0) link(&heap.with_free[index], unit);
    const bool only_one = heap.with_free[index] == unit && !record.next;
    if (record.free_blocks == record.blocks && !only_one) {
      unlink(&heap.with_free[index], unit);
      give_run(unit, 1);
    }
  }
}

// ---- A thread's stores ---------------------------------------------------------------

constexpr std::uint32_t kStore = 64;              // most blocks of one size
constexpr std::uint32_t kStoreBytes = 32 * 1024;  // most bytes of one size, but
constexpr std::uint32_t kSmallestStore = 4;       // at least this many blocks

// A stack of blocks in bottom[1] to bottom[n], `top` at the last one. The last one itself
// is in `block`: whoever takes it need not wait for `top`.
struct Store {
  void* block;  // null: empty
  void** top;
  void** limit;
  void** bottom;  // bottom[0] is null

  std::uint32_t count() const { return static_cast<std::uint32_t>(top - bottom); }
  std::uint32_t most() const { return static_cast<std::uint32_t>(limit - bottom); }
  void set_count(std::uint32_t count) {
    top = bottom + count;
    block = *top;
  }
  bool push(void* one) {
    void** const at = top;
    if (at == limit) return false;
    *at = block;
    block = one;
    top = at + 1;
    return true;
  }
  void* pop() {
    void* const one = block;
    if (one) [[likely]]
      block = *--top;
    return one;
  }
};

// By mark. Nothing comes out of the stores of 0 and kLargeMark, and nothing fits in.
struct Stores {
  Store of[kLargeMark + 1];
  void* blocks[kSizes][kStore + 1];
  Stores* next;  // of those without a thread
};

// All but `kept` blocks go back to their units. With the lock held.
void empty_store(Store& store, std::uint32_t index, std::uint32_t kept) {
  if (store.bottom == nullptr) return;
  *store.top = store.block;
  give_small(index, store.bottom + kept + 1, store.count() - kept);
  store.set_count(kept);
}

// A thread's stores until its first block, all like these two.
Stores no_stores;
__thread Stores* own_stores = &no_stores;

Stores* unowned_stores;
pthread_key_t stores_key;
bool key_made;

void leave_stores(void* of_thread) {
  auto* const stores = static_cast<Stores*>(of_thread);
  own_stores = &no_stores;
  const HeapLock lock;
  for (std::uint32_t index = 0; index < kSizes; ++index) {
    empty_store(stores->of[index + 1], index, 0);
  }
  stores->next = unowned_stores;
  unowned_stores = stores;
}

// With the lock held. If there is no memory for stores, the thread goes on
// without.
void find_stores() {
  if (!key_made && pthread_key_create(&stores_key, &leave_stores) != 0) return;
  key_made = true;
  Stores* stores = unowned_stores;
  if (stores) {
    unowned_stores = stores->next;
  } else {
    stores = static_cast<Stores*>(map(sizeof(Stores), PROT_READ | PROT_WRITE, 0));
    if (!stores) return;
    for (std::uint32_t index = 0; index < kSizes; ++index) {
      const std::uint32_t fit = kStoreBytes / size_at(index);
      Store& store = stores->of[index + 1];
      store.top = store.bottom = stores->blocks[index];
      store.limit = store.bottom + (fit < kSmallestStore ? kSmallestStore
                                    : fit < kStore       ? fit
                                                         : kStore);
    }
  }
  pthread_setspecific(stores_key, stores);
  own_stores = stores;
}

// ---- Blocks -------------------------------------------------------------------------

Mark* mark_of(const void* block) {
  return &heap.marks[(reinterpret_cast<Address>(block) - heap.base) / kGrain];
}

// The number of the grain at the address; not less than heap.grains if no block can
// begin there. Rotated, the bits of an address within a grain are the high ones.
std::uint64_t grain_at(const void* address) {
  const std::uint64_t offset = reinterpret_cast<Address>(address) - heap.base;
  static_assert(kGrain == 16);
  return offset >> 4 | offset << 60;
}

// The mark of the block that begins at the address; 0 if there is none.
Mark find_mark(const void* block) {
  const std::uint64_t grain = grain_at(block);
  return grain < heap.grains ? heap.marks[grain] : Mark{0};
}

// Large blocks begin at different offsets in a page: a loop over several arrays that all
// begin at a unit takes up to twice as long, since the processor mistakes their elements
// for each other's. The pages before the block are of those that the last unit has left;
// blocks of some size get a unit more if it has none.
constexpr std::uint64_t kPage = 4096;
constexpr std::uint64_t kBeginStep = kPage + 1600;
constexpr std::uint32_t kUnitsThatGetMore = 4;

void* take_large(std::uint64_t size, bool* clean) {
  if (size > heap.size) return nullptr;
  auto length = static_cast<std::uint32_t>((size + kUnit - 1) / kUnit);
  std::uint64_t room = (length * kUnit - size) / kPage * kPage;
  if (room == 0 && length >= kUnitsThatGetMore) {
    ++length;
    room = kUnit - kPage;
  }
  const std::uint32_t unit = take_run(length, clean);
  if (!unit) return nullptr;
  Unit& record = heap.units[unit];
  record.use = Use::kLarge;
  record.run = length;
  record.bytes = (size + kGrain - 1) / kGrain * kGrain;
  record.begin = static_cast<std::uint16_t>(room ? heap.large_blocks++ * kBeginStep % room : 0);
  char* const block = start_of(unit) + record.begin;
  heap.unit_marks[unit] = *mark_of(block) = kLargeMark;
  return block;
}

// Separate functions, so that the fast path saves no registers.
[[gnu::noinline]] TARNAPI void* cleared(void* block, std::uint64_t size) {
  return memset(block, 0, size);
}

// When the thread's store is empty or the block is large.
[[gnu::noinline]] TARNAPI void* allocate_slowly(std::uint64_t size, bool zero_fill) {
  void* block = nullptr;
  bool clean = false;
  {
    const HeapLock lock;
    if (heap.size == 0 && !reserve()) {
      SetLastError(kErrorNotEnoughMemory);
      return nullptr;
    }
    if (own_stores == &no_stores) find_stores();
    if (size > kLargestSmall) {
      block = take_large(size, &clean);
    } else {
      const std::uint32_t index = size_index(size);
      Store& store = own_stores->of[index + 1];
      if (store.block == nullptr && store.bottom) {
        store.set_count(take_small(index, store.bottom + 1, store.most() / 2));
      }
      block = store.pop();
      if (!block) take_small(index, &block, 1);
      if (block) *mark_of(block) = static_cast<Mark>(index + 1);
    }
  }
  if (!block) SetLastError(kErrorNotEnoughMemory);
  if (block && zero_fill && !clean) memset(block, 0, size);
  return block;
}

// When the thread's store is full, the block is large, or the address is no
// block.
[[gnu::noinline]] TARNAPI void* free_slowly(void* block) {
  const HeapLock lock;
  const Mark mark = find_mark(block);
  if (mark == 0) {
    SetLastError(kErrorInvalidHandle);
    return block;
  }
  *mark_of(block) = 0;
  if (own_stores == &no_stores) find_stores();
  if (mark == kLargeMark) {
    give_run(unit_of(block), heap.units[unit_of(block)].run);
    return nullptr;
  }
  const std::uint32_t index = mark - 1u;
  Store& store = own_stores->of[mark];
  empty_store(store, index, store.count() / 2);
  if (!store.push(block)) give_small(index, &block, 1);
  return nullptr;
}

[[gnu::always_inline]] inline void* allocate(std::uint64_t size, bool zero_fill) {
  std::uint32_t mark;
  if (size <= kLargestTabled) [[likely]] {
    mark = kSizeTable.mark[(size + kGrain - 1) / kGrain];
  } else if (size <= kLargestSmall) {
    mark = size_index(size) + 1;
  } else {
    return allocate_slowly(size, zero_fill);
  }
  void* const block = own_stores->of[mark].pop();
  if (!block) [[unlikely]]
    return allocate_slowly(size, zero_fill);
  *mark_of(block) = static_cast<Mark>(mark);
  return zero_fill ? cleared(block, size) : block;
}

// False: slowly, then.
[[gnu::always_inline]] inline bool into_store(void* block) {
  const std::uint64_t grain = grain_at(block);
  if (grain >= heap.grains || heap.marks[grain] == 0) return false;
  // The unit's mark is the block's, which may just have been written.
  if (!own_stores->of[heap.unit_marks[grain / kUnitGrains]].push(block)) return false;
  heap.marks[grain] = 0;
  return true;
}

[[gnu::noinline]] TARNAPI void free_block_slowly(void* block, std::int32_t error,
                                                 BlockRefusal* refused) {
  if (block && free_slowly(block)) refused(block, error);
}

}  // namespace

void* GlobalAlloc(std::uint32_t flags, std::uint64_t size) {
  return flags & kGlobalZeroFill ? allocate(size, true) : allocate(size, false);
}

void* AllocateBlock(std::uint64_t size) { return allocate(size, false); }

void* GlobalFree(void* block) {
  if (block == nullptr || into_store(block)) return nullptr;
  return free_slowly(block);
}

void FreeBlock(void* block, std::int32_t error, BlockRefusal* refused) {
  if (into_store(block)) return;
  free_block_slowly(block, error, refused);
}

std::uint64_t GlobalSize(void* block) {
  const Mark mark = find_mark(block);
  if (mark == 0) return static_cast<std::uint64_t>(fail(kErrorInvalidHandle));
  return mark == kLargeMark ? heap.units[unit_of(block)].bytes : size_at(mark - 1u);
}

bool IsInsideHeapBlock(const void* address) {
  const HeapLock lock;
  if (reinterpret_cast<Address>(address) - heap.base >= heap.size) return false;
  std::uint32_t unit = unit_of(address);
  while (unit > 0 && heap.units[unit].use == Use::kNone) --unit;
  const Unit& record = heap.units[unit];
  const auto offset =
      static_cast<std::uint64_t>(static_cast<const char*>(address) - start_of(unit));
  if (record.use == Use::kLarge) {
    return offset > record.begin && offset - record.begin < record.bytes;
  }
  if (record.use != Use::kSmall) return false;
  const std::uint32_t size = size_at(record.index);
  return offset % size != 0 && *mark_of(start_of(unit) + offset / size * size) != 0;
}

}  // namespace tarn::platform
