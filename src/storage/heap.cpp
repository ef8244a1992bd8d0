#include "storage/heap.h"

#include "platform/byte_block.h"
#include "platform/platform.h"
#include "process/raising.h"

namespace tarn {
namespace {

// What ALLOCATE returns.
constexpr std::int32_t kStatusNoStorage = 1;
constexpr std::int32_t kStatusAlreadyAllocated = 2;
constexpr std::uint64_t kAllocateExtra = 4;  // so that 0 bytes are a block too

struct ArrayDestructRecord {
  ArrayDestructRecord* next;
  void* address;
  std::int32_t element_size;
  std::int32_t count;
};

tarn_new_handler new_handler;
ArrayDestructRecord* array_list;

// The link that leads to the record of `address`, or to null.
ArrayDestructRecord** find_array(const void* address) {
  ArrayDestructRecord** link = &array_list;
  while (*link && (*link)->address != address) link = &(*link)->next;
  return link;
}

void* refused(std::int32_t* status, std::int32_t value, std::int32_t error) {
  if (!status) __RuntimeError(error);
  *status = value;
  return nullptr;
}

// Raises an error if the memory service refused the block because it is none.
TARNAPI void give_back_refused(const void* block, std::int32_t error) {
  if (platform::GetLastError() != platform::kErrorInvalidHandle) return;
  __RuntimeError(platform::IsInsideHeapBlock(block) ? TARN_ERROR_PART_FREED : error);
}

void give_back(void* block, std::int32_t error) {
  platform::FreeBlock(block, error, give_back_refused);
}

}  // namespace

void* malloc(std::uint64_t size) { return platform::AllocateBlock(size); }

void free(void* block) { give_back(block, TARN_ERROR_UNALLOCATED_FREED); }

void* calloc(std::uint64_t count, std::uint64_t size) {
  const std::uint64_t bytes = count * size;
  void* const block = malloc(bytes);
  if (block) fill_bytes(block, 0, bytes);
  return block;
}

void* realloc(void* block, std::uint64_t size) {
  if (!block) return malloc(size);
  if (size == 0) return platform::GlobalFree(block);
  void* const larger = malloc(size);
  if (!larger) return nullptr;
  const std::uint64_t old_size = platform::GlobalSize(block);
  copy_bytes(larger, block, old_size < size ? old_size : size);
  free(block);
  return larger;
}

void* vmalloc(std::int32_t size) {
  void* const block = malloc(static_cast<std::uint64_t>(std::int64_t{size}));
  if (!block) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  return block;
}

void* operator_new(std::uint64_t size) {
  if (size == 0) size = 1;
  void* block = malloc(size);
  if (!block && new_handler) {
    new_handler();
    block = malloc(size);
  }
  return block;
}

void operator_delete(void* block) { give_back(block, TARN_ERROR_UNALLOCATED_DELETED); }

tarn_new_handler set_new_handler(tarn_new_handler handler) {
  const tarn_new_handler previous = new_handler;
  new_handler = handler;
  return previous;
}

void* LockStorage(std::uint64_t size) { return malloc(size); }

void* LockStorageChar(std::uint64_t size) { return malloc(size); }

void UnlockStorage(void* block) { give_back(block, TARN_ERROR_UNALLOCATED_FREED); }

void* ALLOCATE(std::int64_t size, std::int32_t* status, std::int64_t already) {
  if (already) return refused(status, kStatusAlreadyAllocated, TARN_ERROR_ALREADY_ALLOCATED);
  const std::uint64_t bytes = static_cast<std::uint64_t>(size < 0 ? 0 : size) + kAllocateExtra;
  void* const block =
      platform::HeapAlloc(platform::GetProcessHeap(), platform::kHeapZeroMemory, bytes);
  return block ? block : refused(status, kStatusNoStorage, TARN_ERROR_ALLOCATE_STORAGE);
}

void __add_array_destruct_info(std::int32_t element_size, std::int32_t total_bytes, void* address) {
  if (element_size == 0) __RuntimeError(TARN_ERROR_ARRAY_LENGTH_UNKNOWN);
  ArrayDestructRecord* record = *find_array(address);
  if (!record) {
    record = static_cast<ArrayDestructRecord*>(operator_new(sizeof(ArrayDestructRecord)));
    if (!record) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
    record->next = array_list;
    array_list = record;
  }
  record->address = address;
  record->element_size = element_size;
  record->count = static_cast<std::int32_t>(std::int64_t{total_bytes} / element_size);
}

// For __get_destruct_array_info: the end address, the two others by reference.
extern "C" TARNAPI void* tarn_take_array(void* address, std::int64_t* count,
                                         std::int64_t* element_size) {
  ArrayDestructRecord** const link = find_array(address);
  ArrayDestructRecord* const record = *link;
  if (!record) __RuntimeError(TARN_ERROR_ARRAY_LENGTH_UNKNOWN);
  *count = record->count;
  *element_size = record->element_size;
  *link = record->next;
  operator_delete(record);
  // The product has 32 bits.
  return static_cast<char*>(address) + static_cast<std::int32_t>(*count * *element_size);
}

}  // namespace tarn
