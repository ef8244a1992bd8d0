// The pages of images.
#pragma once

#include <cstdint>

namespace tarn::platform {

// VirtualProtect knows the old rights of an image's pages without asking the
// system, which is slow. Where memory for that is short it asks.
void note_image(const void* base, std::uint64_t size);
void forget_image(const void* base);

// mprotect of whole pages; false with errno.
bool protect_image_pages(const void* address, std::uint64_t size, int host);

}  // namespace tarn::platform
