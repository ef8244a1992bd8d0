// In place of the start of the GNU C library in a static program, version 2.36, which asks the
// processor forty times what it can do and how large its caches are. In a virtual machine each of
// these is a trap of 5 us, together a third of what a short run takes. It does all else that the
// library's own does, in its order, but prepare for a pthread_exit of the first thread, which
// nothing here calls. Without the answers the library takes the string routines that every x86-64
// processor has, and the sizes below; images have their own.
//
// The build takes this file where it is known to work (CMakeLists.txt), else the library's start.

#include <elf.h>
#include <features.h>
#include <stdint.h>
#include <stdlib.h>

#if !defined __GLIBC__ || __GLIBC__ != 2 || __GLIBC_MINOR__ != 36
#error "Another version may begin in another way: configure with -DTARN_SHORT_START=OFF."
#endif

extern "C" {

using Initialiser = void (*)(int, char**, char**);
using Finisher = void (*)();

// Of the C library, without a header.
extern void* __libc_stack_end;
extern char** __environ;
extern int __libc_enable_secure;
extern const uintptr_t* _dl_random;
void _dl_aux_init(Elf64_auxv_t* vector);
void __tunables_init(char** environment);
void _dl_relocate_static_pie();
void __libc_setup_tls();
void __libc_early_init(bool is_only);
void __libc_init_first(int count, char** arguments, char** environment);
void __libc_check_standard_fds();
void* _dl_debug_initialize(uintptr_t base, long space);
int __cxa_atexit(void (*routine)(void*), void* argument, void* object);

// Of the linker and of the compiler's start files.
extern const Elf64_Rela __rela_iplt_start[] __attribute__((weak));
extern const Elf64_Rela __rela_iplt_end[] __attribute__((weak));
extern const Initialiser __preinit_array_start[], __preinit_array_end[];
extern const Initialiser __init_array_start[], __init_array_end[];
extern const Finisher __fini_array_start[], __fini_array_end[];
void _init();
void _fini();

// What memcpy and memset go by, in bytes: the library's own values for an unknown processor, whose
// caches have 32 kB for each core and 1 MB for all. From three quarters of that on, what is
// written passes them by.
long __x86_data_cache_size = 32 << 10, __x86_data_cache_size_half = 16 << 10;
long __x86_shared_cache_size = 1 << 20, __x86_shared_cache_size_half = 1 << 19;
long __x86_shared_non_temporal_threshold = 3 << 18;
long __x86_rep_movsb_threshold = 2048, __x86_rep_movsb_stop_threshold = 3 << 18;
long __x86_rep_stosb_threshold = 2048;
int __x86_string_control = 0;
}

namespace {

void initialise(const Initialiser* begin, const Initialiser* end, int count, char** arguments) {
  for (; begin < end; ++begin) (*begin)(count, arguments, __environ);
}

void finish(void*) {
  for (const Finisher* next = __fini_array_end; next > __fini_array_start;) (*--next)();
  _fini();
}

}  // namespace

// Sets up what a stack protector compares.
extern "C" [[noreturn, gnu::no_stack_protector]] void __libc_start_main(
    int (*program)(int, char**, char**), int count, char** arguments, void (*)(), void (*)(),
    void (*)(), void* stack_end) {
  __environ = arguments + count + 1;
  __libc_stack_end = stack_end;
  char** end = __environ;
  while (*end) ++end;
  _dl_aux_init(reinterpret_cast<Elf64_auxv_t*>(end + 1));
  __tunables_init(__environ);
  _dl_relocate_static_pie();
  for (const Elf64_Rela* cell = __rela_iplt_start; cell < __rela_iplt_end; ++cell) {
    const auto choose = reinterpret_cast<uintptr_t (*)()>(cell->r_addend);
    *reinterpret_cast<uintptr_t*>(cell->r_offset) = choose();
  }
  __libc_setup_tls();
  // In the thread's record: the stack protector's value, which begins with a zero byte so that no
  // string can forge it, and what the library mixes into the code addresses that it keeps.
  asm volatile("mov %0, %%fs:0x28" : : "r"(_dl_random[0] & ~uintptr_t{0xFF}));
  asm volatile("mov %0, %%fs:0x30" : : "r"(_dl_random[1]));
  __libc_early_init(true);
  __libc_init_first(count, arguments, __environ);
  __cxa_atexit(&finish, nullptr, nullptr);
  if (__libc_enable_secure) __libc_check_standard_fds();
  initialise(__preinit_array_start, __preinit_array_end, count, arguments);
  _init();
  initialise(__init_array_start, __init_array_end, count, arguments);
  _dl_debug_initialize(0, 0);
  exit(program(count, arguments, __environ));
}
