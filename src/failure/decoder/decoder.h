// Overview of the decoder module: machine code to one line of text. The failure
// report shows it, and the traceback finds a routine's frame by the routine's
// first instructions.
//
//   encodings.inc, encodings.h  patterns of code bits, first match wins
//   mnemonics.inc, mnemonics.h  the mnemonics, with the width of their operands
//
//   48 89 9c 24 d0 01 00 00    mov_q       [1d0+RSP],RBX
//   48 8b 85 58 45 06 00       mov_q       RAX,[64558]$
//   62 f1 7c 48 58 c1          db     62,f1,7c,48,58
//
// The names are those of the suite's own assembler: a suffix of the mnemonic
// says an operation's width (_b, _h, none, _q for 8, 16, 32, 64 bits) and a
// register has its 64-bit name, whatever the width. Seven spaces come before
// the operands, numbers are hexadecimal, the operand that is changed comes
// first. "]$" marks an address relative to rbp, which holds the image base in
// compiled code. Operands that the instruction implies are not shown.
//
// What is not in the table (encodings.inc) is shown as five bytes, and the
// address moves on by one of them. So is code that cannot be read, and an
// instruction of which not all can be.
//
// Not re-entrant: the process, the last immediate and the string of
// segment_offset are kept here. For one thread at a time.
#pragma once

#include "platform/platform.h"

namespace tarn {

// Bytes of the longest instruction text, its NUL included.
inline constexpr std::uint32_t kInstructionTextSize = 128;

// Writes the instruction at `address` to `text`, which has room for
// kInstructionTextSize bytes, and moves the address past it. Result: `text`.
// Never faults, whatever the address.
TARNAPI char* decode_instruction(char* text, std::uint64_t& address);

// The same in the memory of `process`.
TARNAPI char* decode_remote_instruction(platform::Handle process, char* text,
                                        std::uint64_t& address);

// The immediate operand of the last instruction decoded, with its sign
// extended to 64 bits; 0 if there was none.
TARNAPI std::int64_t get_idecode_immediate_value();

// The two halves of an address, in hexadecimal with a colon between, the upper
// one with leading zeros if `pad` is not 0. The string is overwritten by the
// next call.
TARNAPI char* segment_offset(std::uint64_t address, std::int32_t pad);

}  // namespace tarn
