// The console's OEM code page, 437, as Unicode.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::platform {

// The glyph that a console draws for each byte; 1 to 31 and 127 have one too,
// that of 0 is a space.
extern const std::uint16_t kCodePage437[256];

// The byte with this glyph or control code; '?' if there is none. Code points
// below 128 are themselves.
std::uint8_t to_code_page(std::uint32_t code_point);

// Stores the glyph's UTF-8 bytes, at most 3. Result: how many.
std::size_t put_glyph(std::uint8_t character, char* to);

}  // namespace tarn::platform
