// _Thread_local and thread_local: the compiler asks here for the address of
// each such object. An image uses one slot of the system, in which each thread
// keeps a table of its objects, made when first used. They stay when the thread
// ends; a hosted program's threads call tarn_end_of_thread.

#include <tarn/errors.h>

extern "C" {

void* malloc(unsigned long long size);
void free(void* block);
unsigned TlsAlloc();
void* TlsGetValue(unsigned slot);
int TlsSetValue(unsigned slot, void* value);

// As the compiler lays it out, one for each object.
struct ThreadObject {
  unsigned long long size, alignment;
  unsigned long long number;  // from 1; 0 before its first use
  const void* value;          // at its start; null for zeros
};

void* __emutls_get_address(ThreadObject* object);
void tarn_end_of_thread();
}

namespace {

using Size = unsigned long long;

constexpr unsigned kNoSlot = 0xFFFFFFFF;

struct Table {
  Size count;
  void* objects[];
};

unsigned char busy;
unsigned slot = kNoSlot;
Size last_number;

void* take(Size size) {
  void* const block = malloc(size);
  if (!block) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  return block;
}

// The object's number. Once it has one, there is a slot.
Size number_of(ThreadObject* object) {
  Size number = __atomic_load_n(&object->number, __ATOMIC_ACQUIRE);
  if (number != 0) return number;
  while (__atomic_exchange_n(&busy, 1, __ATOMIC_ACQUIRE) != 0) __builtin_ia32_pause();
  if (slot == kNoSlot) slot = TlsAlloc();
  const bool has_slot = slot != kNoSlot;
  number = object->number;
  if (number == 0 && has_slot) {
    number = ++last_number;
    __atomic_store_n(&object->number, number, __ATOMIC_RELEASE);
  }
  __atomic_store_n(&busy, 0, __ATOMIC_RELEASE);
  if (!has_slot) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  return number;
}

Table* table_for(Size number) {
  auto* const table = static_cast<Table*>(TlsGetValue(slot));
  if (table && table->count >= number) return table;
  const Size count = (number + 15) & ~Size{15};
  auto* const larger = static_cast<Table*>(take(sizeof(Table) + count * sizeof(void*)));
  larger->count = count;
  for (Size i = 0; i < count; ++i) {
    larger->objects[i] = table && i < table->count ? table->objects[i] : nullptr;
  }
  if (!TlsSetValue(slot, larger)) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  free(table);
  return larger;
}

// Before the object is the address of its block.
void* make(const ThreadObject& object) {
  void* const block = take(object.size + object.alignment + sizeof(void*));
  const Size first = reinterpret_cast<Size>(block) + sizeof(void*);
  auto* const made =
      reinterpret_cast<unsigned char*>((first + object.alignment - 1) & ~(object.alignment - 1));
  reinterpret_cast<void**>(made)[-1] = block;
  const auto* const value = static_cast<const unsigned char*>(object.value);
  for (Size i = 0; i < object.size; ++i) made[i] = value ? value[i] : 0;
  return made;
}

}  // namespace

void* __emutls_get_address(ThreadObject* object) {
  const Size number = number_of(object);
  void** const place = &table_for(number)->objects[number - 1];
  if (!*place) *place = make(*object);
  return *place;
}

// The objects of the calling thread are no more.
void tarn_end_of_thread() {
  if (slot == kNoSlot) return;
  auto* const table = static_cast<Table*>(TlsGetValue(slot));
  if (!table) return;
  for (Size i = 0; i < table->count; ++i) {
    if (table->objects[i]) free(static_cast<void**>(table->objects[i])[-1]);
  }
  TlsSetValue(slot, nullptr);
  free(table);
}
