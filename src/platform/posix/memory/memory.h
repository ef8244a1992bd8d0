// The pages of images and of the heap.
#pragma once

#include <cstdint>

namespace tarn::platform {

// VirtualProtect knows the rights of these pages without asking the system, which is slow.
// Where memory for that is short it asks. `host`: what they are now, as for mprotect.
void note_image(const void* base, std::uint64_t size, int host);
void forget_image(const void* base);

// All pages that the heap has or may yet have; false if there are none.
bool heap_pages(std::uint64_t* begin, std::uint64_t* end);

// mprotect of whole pages; false with errno.
bool protect_image_pages(const void* address, std::uint64_t size, int host);

}  // namespace tarn::platform
