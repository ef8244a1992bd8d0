// The system's codes of exceptions.
#pragma once

#include <cstdint>

namespace tarn::platform {

inline constexpr std::uint32_t kExceptionDataAlignment = 0x80000002;
inline constexpr std::uint32_t kExceptionBreakpoint = 0x80000003;
inline constexpr std::uint32_t kExceptionSingleStep = 0x80000004;
inline constexpr std::uint32_t kExceptionAccessViolation = 0xC0000005;
inline constexpr std::uint32_t kExceptionInPageError = 0xC0000006;
inline constexpr std::uint32_t kExceptionIllegalInstruction = 0xC000001D;
inline constexpr std::uint32_t kExceptionInvalidDisposition = 0xC0000026;
inline constexpr std::uint32_t kExceptionArrayBounds = 0xC000008C;
inline constexpr std::uint32_t kExceptionDenormalOperand = 0xC000008D;
inline constexpr std::uint32_t kExceptionFloatDivideByZero = 0xC000008E;
inline constexpr std::uint32_t kExceptionInexactResult = 0xC000008F;
inline constexpr std::uint32_t kExceptionInvalidOperation = 0xC0000090;
inline constexpr std::uint32_t kExceptionFloatOverflow = 0xC0000091;
inline constexpr std::uint32_t kExceptionFloatStackCheck = 0xC0000092;
inline constexpr std::uint32_t kExceptionFloatUnderflow = 0xC0000093;
inline constexpr std::uint32_t kExceptionIntegerDivideByZero = 0xC0000094;
inline constexpr std::uint32_t kExceptionIntegerOverflow = 0xC0000095;
inline constexpr std::uint32_t kExceptionPrivilegedInstruction = 0xC0000096;
inline constexpr std::uint32_t kExceptionStackOverflow = 0xC00000FD;
inline constexpr std::uint32_t kExceptionControlC = 0xC000013A;

}  // namespace tarn::platform
