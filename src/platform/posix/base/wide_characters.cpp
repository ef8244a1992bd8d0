// Bytes to and from UTF-16. The process's own code page is UTF-8, as images ask for in
// their manifest; other code pages are not served.

#include <stdlib.h>
#include <string.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kOwn = 0, kOem = 1, kThreads = 3;
constexpr std::uint32_t kRefuseInvalid = 0x08;      // MB_ERR_INVALID_CHARS
constexpr std::uint32_t kRefuseInvalidWide = 0x80;  // WC_ERR_INVALID_CHARS
constexpr std::uint32_t kReplacement = 0xFFFD;

bool is_utf8(std::uint32_t page) {
  return page == kOwn || page == kOem || page == kThreads || page == kUtf8;
}

bool is_high(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool is_low(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// What is written if there is room, and counted in any case.
template <class Unit>
struct Output {
  Unit* to;
  std::size_t room, length = 0;
  void add(Unit unit) {
    if (length < room) to[length] = unit;
    ++length;
  }
};

void add_utf8(Output<char>* out, std::uint32_t code) {
  if (code < 0x80) return out->add(static_cast<char>(code));
  const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  out->add(static_cast<char>(0xF00 >> (more + 1) | code >> (6 * more)));
  for (int i = more - 1; i >= 0; --i) out->add(static_cast<char>(0x80 | (code >> (6 * i) & 0x3F)));
}

template <class Unit>
std::int32_t result_of(const Output<Unit>& out, std::int32_t size) {
  if (size == 0 || out.length <= static_cast<std::size_t>(size)) {
    return static_cast<std::int32_t>(out.length);
  }
  return static_cast<std::int32_t>(fail(kErrorInsufficientBuffer));
}

}  // namespace

std::int32_t MultiByteToWideChar(std::uint32_t page, std::uint32_t flags, const char* bytes,
                                 std::int32_t length, char16_t* wide, std::int32_t size) {
  if (bytes == nullptr || length == 0 || length < -1 || size < 0) {
    return static_cast<std::int32_t>(fail(kErrorInvalidParameter));
  }
  if (!is_utf8(page)) return static_cast<std::int32_t>(fail(kErrorInvalidParameter));
  const auto* at = reinterpret_cast<const std::uint8_t*>(bytes);
  const auto* const end =
      at + (length == -1 ? strlen(bytes) + 1 : static_cast<std::size_t>(length));
  Output<char16_t> out = {wide, static_cast<std::size_t>(size)};
  while (at < end) {
    std::uint32_t code = *at;
    int taken = 1;
    if (code >= 0x80) {
      taken = take_utf8(at, static_cast<std::size_t>(end - at), &code);
      if (taken <= 0 && (flags & kRefuseInvalid) != 0) {
        return static_cast<std::int32_t>(fail(kErrorNoUnicodeTranslation));
      }
      if (taken <= 0) {
        code = kReplacement;
        taken = 1;
      }
    }
    at += taken;
    if (code >= 0x10000) {
      out.add(static_cast<char16_t>(0xD7C0 + (code >> 10)));
      code = 0xDC00 | (code & 0x3FF);
    }
    out.add(static_cast<char16_t>(code));
  }
  return result_of(out, size);
}

std::int32_t WideCharToMultiByte(std::uint32_t page, std::uint32_t flags, const char16_t* wide,
                                 std::int32_t length, char* bytes, std::int32_t size,
                                 const char* substitute, Bool* substituted) {
  if (wide == nullptr || length == 0 || length < -1 || size < 0 || !is_utf8(page) ||
      (page == kUtf8 && (substitute != nullptr || substituted != nullptr))) {
    return static_cast<std::int32_t>(fail(kErrorInvalidParameter));
  }
  const char16_t* end = wide + (length == -1 ? 0 : length);
  if (length == -1) {
    while (*end != 0) ++end;
    ++end;
  }
  if (substituted != nullptr) *substituted = 0;
  Output<char> out = {bytes, static_cast<std::size_t>(size)};
  for (const char16_t* at = wide; at < end; ++at) {
    std::uint32_t code = *at;
    if (is_high(*at) && at + 1 < end && is_low(at[1])) {
      code = 0x10000 + ((code & 0x3FF) << 10) + (*++at & 0x3FFu);
    } else if (is_high(*at) || is_low(*at)) {
      if ((flags & kRefuseInvalidWide) != 0) {
        return static_cast<std::int32_t>(fail(kErrorNoUnicodeTranslation));
      }
      code = kReplacement;
    }
    add_utf8(&out, code);
  }
  return result_of(out, size);
}

Bool IsDBCSLeadByteEx(std::uint32_t, std::uint8_t) { return 0; }

std::uint32_t GetACP() { return kUtf8; }

Bool GetCPInfo(std::uint32_t page, CodePageFacts* facts) {
  if (facts == nullptr || !is_utf8(page)) return fail(kErrorInvalidParameter);
  *facts = {4, {'?', 0}, {}};
  return 1;
}

Bool AreFileApisANSI() { return 1; }

bool to_narrow(const char16_t* wide, char (&bytes)[kPathSize]) {
  bytes[0] = '\0';
  if (wide == nullptr ||
      WideCharToMultiByte(kUtf8, 0, wide, -1, bytes, kPathSize, nullptr, nullptr) > 0) {
    return true;
  }
  fail(kErrorFileNameTooLong);
  return false;
}

char* narrow_copy(const char16_t* wide) {
  if (wide == nullptr) return nullptr;
  const std::int32_t size = WideCharToMultiByte(kUtf8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
  auto* const bytes = static_cast<char*>(malloc(static_cast<std::size_t>(size)));
  if (bytes == nullptr) return static_cast<char*>(null_for(kErrorNotEnoughMemory));
  WideCharToMultiByte(kUtf8, 0, wide, -1, bytes, size, nullptr, nullptr);
  return bytes;
}

std::uint32_t put_wide(const char* bytes, char16_t* wide, std::uint32_t size) {
  const auto needed =
      static_cast<std::uint32_t>(MultiByteToWideChar(kUtf8, 0, bytes, -1, nullptr, 0));
  if (needed > size || wide == nullptr) return needed;
  MultiByteToWideChar(kUtf8, 0, bytes, -1, wide, static_cast<std::int32_t>(size));
  return needed - 1;
}

}  // namespace tarn::platform
