// What the C++ compiler calls on its own, under its own names, by way of the
// library's storage and failures. Linked into an image that needs it.

#include <tarn/errors.h>

namespace {

using Size = unsigned long long;

}  // namespace

// A jump, so that a report shows the caller.
#define ENTRY(name) ".globl " name "\n.def " name "; .scl 2; .type 32; .endef\n" name ":\n"
#define SAME_AS(name, target) __asm__(ENTRY(name) "  jmp \"" target "\"\n")
#define LIBRARY_NEW "operator\304new(unsigned\304long\304long)"
#define LIBRARY_DELETE \
  "operator\304"       \
  "delete(<ptr>void)"

__asm__(".text\n");
SAME_AS("_Znwy", LIBRARY_NEW);       // new
SAME_AS("_Znay", LIBRARY_NEW);       // new[]
SAME_AS("_ZdlPv", LIBRARY_DELETE);   // delete
SAME_AS("_ZdaPv", LIBRARY_DELETE);   // delete[]
SAME_AS("_ZdlPvy", LIBRARY_DELETE);  // delete, sized
SAME_AS("_ZdaPvy", LIBRARY_DELETE);  // delete[], sized

// An array whose size is beyond all storage.
extern "C" [[noreturn]] void __cxa_throw_bad_array_new_length() {
  __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
}

// Storage for types that want more than the 16 bytes to which every block is
// aligned: the block's own address is stored before it.
namespace std {
enum class align_val_t : Size {};
}

void* operator new(Size size, std::align_val_t alignment) {
  const Size room = static_cast<Size>(alignment) + sizeof(void*);
  if (size > ~Size{0} - room) return nullptr;
  char* const block = static_cast<char*>(operator new(size + room));
  if (!block) return nullptr;
  const Size first = reinterpret_cast<Size>(block) + room;
  void** const storage = reinterpret_cast<void**>(first & ~(static_cast<Size>(alignment) - 1));
  storage[-1] = block;
  return storage;
}

void operator delete(void* storage, std::align_val_t) noexcept {
  if (storage) operator delete(static_cast<void**>(storage)[-1]);
}

void* operator new[](Size size, std::align_val_t alignment) {
  return operator new(size, alignment);
}
void operator delete[](void* storage, std::align_val_t alignment) noexcept {
  operator delete(storage, alignment);
}
void operator delete(void* storage, Size, std::align_val_t alignment) noexcept {
  operator delete(storage, alignment);
}
void operator delete[](void* storage, Size, std::align_val_t alignment) noexcept {
  operator delete(storage, alignment);
}

// Local statics of code that was compiled with -fthreadsafe-statics. The first
// byte is the compiler's: the object exists. The second: a thread is making it.
extern "C" {

int __cxa_guard_acquire(unsigned char* guard) {
  while (__atomic_exchange_n(&guard[1], 1, __ATOMIC_ACQUIRE) != 0) {
    while (__atomic_load_n(&guard[1], __ATOMIC_RELAXED) != 0) __builtin_ia32_pause();
  }
  if (guard[0] == 0) return 1;
  __atomic_store_n(&guard[1], 0, __ATOMIC_RELEASE);
  return 0;
}

void __cxa_guard_release(unsigned char* guard) {
  __atomic_store_n(&guard[0], 1, __ATOMIC_RELEASE);
  __atomic_store_n(&guard[1], 0, __ATOMIC_RELEASE);
}

void __cxa_guard_abort(unsigned char* guard) { __atomic_store_n(&guard[1], 0, __ATOMIC_RELEASE); }
}
