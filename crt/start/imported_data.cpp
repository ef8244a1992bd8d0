// Data of other DLLs that the sources of this image do not declare as imported, such as the
// virtual tables of a class of a shared library that was written for another system.
#include "../crt.h"

namespace {

// The linker has added the address of an import pointer to each cell where that of the data
// is wanted, and lists the cells. finish_image has looked at the list's head and at each record.
struct ListHead {
  uint32_t none[2], version;
};
struct WantedAddress {
  uint32_t pointer, cell, bits;  // the first two are image offsets
};

}  // namespace

extern "C" {
extern char image_base[] __asm__("__ImageBase");
extern const ListHead list_head __asm__("__RUNTIME_PSEUDO_RELOC_LIST__");
extern const WantedAddress list_end[] __asm__("__RUNTIME_PSEUDO_RELOC_LIST_END__");
}

// The linker asks for it by this name where there is such data. The script calls it before the
// constructors, while read-only sections are writable.
CRT_API void _pei386_runtime_relocator(void) {
  auto* wanted = reinterpret_cast<const WantedAddress*>(&list_head + 1);
  for (; wanted < list_end; ++wanted) {
    const auto pointer = reinterpret_cast<const uintptr_t*>(image_base + wanted->pointer);
    *reinterpret_cast<uintptr_t*>(image_base + wanted->cell) +=
        *pointer - reinterpret_cast<uintptr_t>(pointer);
  }
}
