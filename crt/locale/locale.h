#pragma once

namespace crt {

// LC_CTYPE: bytes are UTF-8. Otherwise each byte is the character of its number.
extern bool is_utf8;

}  // namespace crt
