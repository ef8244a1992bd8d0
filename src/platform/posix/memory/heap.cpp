// The heap of the global memory service. The system's page services are in
// virtual_memory.cpp.
//
// All blocks lie in one reservation of address space, in units of 64 kB. A unit
// holds small blocks, or the beginning of a large block, which has whole units.
// The records of blocks are kept apart from them, so that a program that writes
// outside a block damages no more than its own data:
//   marks   a byte for every 16 bytes of the reservation: a block that is
//           allocated begins here, or a free one of a unit, and of which size. So
//           one look tells for certain whether an address is that of a block: the
//           same block freed twice, its inside, and any foreign address are refused.
//   units   a record for each unit: its free blocks, or its run of units.
// A thread takes and frees small blocks in its own stores, without a lock; the
// stores are emptied into the units by halves, and filled from what is free there.
// If nothing is, a thread cuts new blocks from a unit of its own in the order in
// which it asks for them, whatever their sizes: programs use together what they
// allocate together, and a heap that keeps sizes apart makes them wait for memory.
//
// With the address sanitizer the heap is the sanitizer's (heap_checked.cpp).

#include <pthread.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"
#include "platform/posix/memory/memory.h"

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
constexpr Mark kFreeMark = 0x80;  // added to a free block's in a unit
static_assert(kLargeMark < kFreeMark);

// Only blocks of these sizes share units: of larger ones a unit would lose too much at its end.
constexpr std::uint32_t kSharingSizes = size_index(1024) + 1;

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

// Numbers of units. Unit 0 is not used, so that 0 is none.
struct Links {
  std::uint32_t next, previous;
};

// Runs of units are described by their first record, free runs by their last too.
struct Unit {
  Use use;
  bool clean;           // free: all zero, as the system gave it
  std::uint16_t begin;  // large: the offset of the block in its first unit
  std::uint32_t run;
  std::uint64_t bytes;  // large: what was asked for, in whole grains

  // Small blocks, in all (0 while a thread cuts the unit) and free.
  std::uint16_t blocks, free_blocks;
  std::uint16_t free_of[kSharingSizes];  // of the sizes that share a unit; else [0]
  std::uint64_t free_bits[kWords];       // by grains

  Links links[kSharingSizes];  // as free_of; those of free runs are [0]
};

// Where a unit keeps what it has of a size.
constexpr std::uint32_t place_of(std::uint32_t index) { return index < kSharingSizes ? index : 0; }

struct Heap {
  Address base;
  std::uint64_t size, grains;  // 0 until there is one
  Mark* marks;
  Unit* units;
  std::uint32_t top, committed, limit;  // units ever used, writable, in all
  std::uint32_t with_free[kSizes];      // units that have free blocks
  std::uint32_t free_runs[32];          // by the logarithm of their length
  std::uint32_t large_blocks;           // that were ever taken
};

Heap heap;
// Held for a microsecond or two, less than a thread takes to fall asleep.
pthread_mutex_t heap_lock = PTHREAD_ADAPTIVE_MUTEX_INITIALIZER_NP;

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
    const std::uint64_t marks_size = size / kGrain;
    const std::uint64_t units_size = size / kUnit * sizeof(Unit);
    void* const space = map(size + kHugePage, PROT_NONE, 0);
    void* const records = map(marks_size + units_size, PROT_READ | PROT_WRITE, MAP_NORESERVE);
    if (space && records) {
      madvise(records, marks_size + units_size, MADV_NOHUGEPAGE);
      heap.base = (reinterpret_cast<Address>(space) + kHugePage - 1) / kHugePage * kHugePage;
      heap.marks = static_cast<Mark*>(records);
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

// Threads look at the first of a list without the lock, to see whether there is one.
void set_first(std::uint32_t* first, std::uint32_t unit) {
  __atomic_store_n(first, unit, __ATOMIC_RELAXED);
}

void link(std::uint32_t* first, std::uint32_t unit, std::uint32_t place = 0) {
  heap.units[unit].links[place] = {*first, 0};
  if (*first) heap.units[*first].links[place].previous = unit;
  set_first(first, unit);
}

void unlink(std::uint32_t* first, std::uint32_t unit, std::uint32_t place = 0) {
  const auto [next, previous] = heap.units[unit].links[place];
  if (previous) {
    heap.units[previous].links[place].next = next;
  } else {
    set_first(first, next);
  }
  if (next) heap.units[next].links[place].previous = previous;
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
  for (std::uint32_t run = *kind; run && tries > 0; run = heap.units[run].links[0].next, --tries) {
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

Mark* mark_of(const void* block) {
  return &heap.marks[(reinterpret_cast<Address>(block) - heap.base) / kGrain];
}

// For small blocks, none yet; 0 if there is no memory.
std::uint32_t take_unit() {
  bool clean;
  const std::uint32_t unit = take_run(1, &clean);
  if (!unit) return 0;
  Unit& record = heap.units[unit];
  record.use = Use::kSmall;
  record.blocks = record.free_blocks = 0;
  memset(record.free_of, 0, sizeof record.free_of);
  memset(record.free_bits, 0, sizeof record.free_bits);
  return unit;
}

void add_free_block(std::uint32_t unit, std::uint32_t grain, std::uint32_t index) {
  Unit& record = heap.units[unit];
  record.free_bits[grain / 64] |= std::uint64_t{1} << grain % 64;
  heap.marks[unit * kUnitGrains + grain] = static_cast<Mark>(kFreeMark | (index + 1));
  ++record.free_blocks;
  const std::uint32_t place = place_of(index);
  if (record.free_of[place]++ == 0) link(&heap.with_free[index], unit, place);
}

// A unit with blocks of one size.
bool add_unit(std::uint32_t index) {
  const std::uint32_t unit = take_unit();
  if (!unit) return false;
  const auto grains = static_cast<std::uint32_t>(size_at(index) / kGrain);
  const auto blocks = static_cast<std::uint16_t>(kUnitGrains / grains);
  for (std::uint32_t i = 0; i < blocks; ++i) add_free_block(unit, i * grains, index);
  heap.units[unit].blocks = blocks;
  return true;
}

// Moves free blocks of the size from the unit, at most `wanted`. Result: how many.
std::uint32_t take_from(std::uint32_t unit, std::uint32_t index, void** blocks,
                        std::uint32_t wanted) {
  Unit& record = heap.units[unit];
  Mark* const marks = heap.marks + unit * kUnitGrains;
  std::uint16_t& left = record.free_of[place_of(index)];
  std::uint32_t taken = 0;
  for (std::uint32_t word = 0; left && taken < wanted && word < kWords; ++word) {
    for (std::uint64_t bits = record.free_bits[word]; bits && taken < wanted; bits &= bits - 1) {
      const auto grain = word * 64 + static_cast<std::uint32_t>(__builtin_ctzll(bits));
      if (marks[grain] != (kFreeMark | (index + 1))) continue;
      marks[grain] = 0;
      record.free_bits[word] &= ~(bits & -bits);
      blocks[taken++] = start_of(unit) + grain * kGrain;
      --left;
    }
  }
  record.free_blocks = static_cast<std::uint16_t>(record.free_blocks - taken);
  if (left == 0) unlink(&heap.with_free[index], unit, place_of(index));
  return taken;
}

// Takes up to `wanted` free blocks of a size. Result: how many there were.
std::uint32_t take_small(std::uint32_t index, void** blocks, std::uint32_t wanted) {
  std::uint32_t taken = 0;
  while (taken < wanted && heap.with_free[index]) {
    taken += take_from(heap.with_free[index], index, blocks + taken, wanted - taken);
  }
  return taken;
}

// One whose blocks are all free.
void give_unit(std::uint32_t unit) {
  const Unit& record = heap.units[unit];
  Mark* const marks = heap.marks + unit * kUnitGrains;
  for (std::uint32_t word = 0; word < kWords; ++word) {
    for (std::uint64_t bits = record.free_bits[word]; bits; bits &= bits - 1) {
      Mark& mark = marks[word * 64 + static_cast<std::uint32_t>(__builtin_ctzll(bits))];
      const std::uint32_t index = (mark ^ kFreeMark) - 1u, place = place_of(index);
      if (--heap.units[unit].free_of[place] == 0) unlink(&heap.with_free[index], unit, place);
      mark = 0;
    }
  }
  give_run(unit, 1);
}

void give_small(std::uint32_t index, void** blocks, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t unit = unit_of(blocks[i]);
    const auto offset = static_cast<std::uint64_t>(static_cast<char*>(blocks[i]) - start_of(unit));
    add_free_block(unit, static_cast<std::uint32_t>(offset / kGrain), index);
    const Unit& record = heap.units[unit];
    const bool only_one = heap.with_free[index] == unit && !record.links[place_of(index)].next;
    if (record.free_blocks == record.blocks && !only_one) give_unit(unit);
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

struct Stores {
  Stores* next;  // of those without a thread

  // The block that was allocated last. Freed at once, it goes back to where it came from,
  // without waiting until its mark, which has just been written, can be read.
  void* last;
  std::uint32_t last_mark;

  // The unit from which new blocks are cut, 0 if there is none yet.
  std::uint32_t unit;
  std::uint16_t cut;  // so many
  char* rest;
  char* end;

  // By mark. Nothing comes out of the stores of 0 and kLargeMark, and nothing fits in.
  Store of[kLargeMark + 1];
};

struct RoomyStores : Stores {
  void* blocks[kSizes][kStore + 1];
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

// Those of the first thread that has any: for most programs there are no others.
RoomyStores first_stores;
bool first_taken;

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

void set_limits(RoomyStores* stores) {
  for (std::uint32_t index = 0; index < kSizes; ++index) {
    const std::uint32_t fit = kStoreBytes / size_at(index);
    Store& store = stores->of[index + 1];
    store.top = store.bottom = stores->blocks[index];
    store.limit = store.bottom + (fit < kSmallestStore ? kSmallestStore
                                  : fit < kStore       ? fit
                                                       : kStore);
  }
}

// With the lock held. Null if there is no memory for them.
Stores* take_stores() {
  if (!first_taken) {
    first_taken = true;
    set_limits(&first_stores);
    return &first_stores;
  }
  if (Stores* const stores = unowned_stores) {
    unowned_stores = stores->next;
    return stores;
  }
  auto* const stores =
      static_cast<RoomyStores*>(map(sizeof(RoomyStores), PROT_READ | PROT_WRITE, 0));
  if (stores) set_limits(stores);
  return stores;
}

// With the lock held. If there is no memory for stores, the thread goes on
// without.
void find_stores() {
  if (!key_made && pthread_key_create(&stores_key, &leave_stores) != 0) return;
  key_made = true;
  Stores* const stores = take_stores();
  if (!stores) return;
  pthread_setspecific(stores_key, stores);
  own_stores = stores;
}

// ---- New blocks -----------------------------------------------------------------------

// One from the thread's unit, if the unit has room and no free block of the size is known.
void* cut(Stores* stores, std::uint32_t index) {
  const std::uint32_t size = size_at(index);
  if (index >= kSharingSizes || stores->end - stores->rest < size) return nullptr;
  if (__atomic_load_n(&heap.with_free[index], __ATOMIC_RELAXED)) return nullptr;
  char* const block = stores->rest;
  stores->rest += size;
  ++stores->cut;
  *mark_of(block) = static_cast<Mark>(index + 1);
  return block;
}

// Gives the thread another unit to cut. With the lock held.
void begin_unit(Stores* stores) {
  const std::uint32_t unit = take_unit();
  if (!unit) return;
  if (const std::uint32_t done = stores->unit) {
    heap.units[done].blocks = stores->cut;
    if (heap.units[done].free_blocks == stores->cut) give_unit(done);
  }
  stores->unit = unit;
  stores->cut = 0;
  stores->rest = start_of(unit);
  stores->end = stores->rest + kUnit;
}

// A block of the units, or a new one. With the lock held.
void* take_one(std::uint32_t index) {
  Stores* const stores = own_stores;
  if (stores == &no_stores) {
    void* block = nullptr;
    if (heap.with_free[index] || add_unit(index)) take_small(index, &block, 1);
    return block;
  }
  Store& store = stores->of[index + 1];
  if (!store.block) {
    if (!heap.with_free[index]) {
      if (void* const block = cut(stores, index)) return block;
      if (index < kSharingSizes) {
        begin_unit(stores);
        return cut(stores, index);
      }
      add_unit(index);
    }
    store.set_count(take_small(index, store.bottom + 1, store.most() / 2));
  }
  return store.pop();
}

// ---- Blocks -------------------------------------------------------------------------

// The number of the grain at the address; not less than heap.grains if no block can
// begin there. Rotated, the bits of an address within a grain are the high ones.
std::uint64_t grain_at(const void* address) {
  const std::uint64_t offset = reinterpret_cast<Address>(address) - heap.base;
  static_assert(kGrain == 16);
  return offset >> 4 | offset << 60;
}

// The mark of the allocated block that begins at the address; 0 if there is none.
Mark find_mark(const void* block) {
  const std::uint64_t grain = grain_at(block);
  return grain < heap.grains && heap.marks[grain] < kFreeMark ? heap.marks[grain] : Mark{0};
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
  *mark_of(block) = kLargeMark;
  return block;
}

// Separate functions, so that the fast path saves no registers.
[[gnu::noinline]] TARNAPI void* cleared(void* block, std::uint64_t size) {
  return memset(block, 0, size);
}

// When there is nothing in the thread's stores.
[[gnu::noinline]] TARNAPI void* allocate_with_lock(std::uint64_t size, bool zero_fill) {
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
    } else if ((block = take_one(size_index(size)))) {
      *mark_of(block) = static_cast<Mark>(size_index(size) + 1);
    }
  }
  if (!block) SetLastError(kErrorNotEnoughMemory);
  if (block && zero_fill && !clean) memset(block, 0, size);
  return block;
}

// When the thread's store is empty or the block is large.
[[gnu::noinline]] TARNAPI void* allocate_slowly(std::uint64_t size, bool zero_fill) {
  void* const block = size <= kLargestTabled ? cut(own_stores, size_index(size)) : nullptr;
  if (!block) return allocate_with_lock(size, zero_fill);
  return zero_fill ? cleared(block, size) : block;
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
  Stores* const stores = own_stores;
  void* const block = stores->of[mark].pop();
  if (!block) [[unlikely]]
    return allocate_slowly(size, zero_fill);
  stores->last = block;
  stores->last_mark = mark;
  *mark_of(block) = static_cast<Mark>(mark);
  return zero_fill ? cleared(block, size) : block;
}

// False: slowly, then.
[[gnu::always_inline]] inline bool into_store(void* block) {
  const std::uint64_t grain = grain_at(block);
  if (grain >= heap.grains) return false;
  const Mark mark = heap.marks[grain];
  Stores* const stores = own_stores;
  Store* store;
  if (block == stores->last) {
    store = &stores->of[stores->last_mark];
    if (mark != stores->last_mark) return false;
  } else {
    if (mark >= kFreeMark) return false;
    store = &stores->of[mark];
  }
  // Nothing fits into the stores of 0 and kLargeMark.
  if (!store->push(block)) return false;
  heap.marks[grain] = 0;
  return true;
}

[[gnu::noinline]] TARNAPI void free_block_slowly(void* block, std::int32_t error,
                                                 BlockRefusal* refused) {
  if (block && free_slowly(block)) refused(block, error);
}

}  // namespace

bool heap_pages(std::uint64_t* begin, std::uint64_t* end) {
  if (__atomic_load_n(&heap.grains, __ATOMIC_ACQUIRE) == 0) return false;
  *begin = heap.base;
  *end = heap.base + heap.size;
  return true;
}

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
  const char* const place = static_cast<const char*>(address);
  if (record.use == Use::kLarge) {
    const auto offset = static_cast<std::uint64_t>(place - start_of(unit));
    return offset > record.begin && offset - record.begin < record.bytes;
  }
  if (record.use != Use::kSmall) return false;
  const Mark* const first = mark_of(start_of(unit));
  const Mark* mark = mark_of(place);
  while (mark > first && *mark == 0) --mark;
  if (*mark == 0 || *mark >= kFreeMark) return false;
  const auto offset = static_cast<std::uint64_t>(place - start_of(unit)) -
                      static_cast<std::uint64_t>(mark - first) * kGrain;
  return offset != 0 && offset < size_at(*mark - 1u);
}

}  // namespace tarn::platform
