// Offsets of AMD_CONTEXT, for assembly.
#pragma once

#define CONTEXT_FLAGS 0x30
#define MXCSR 0x34
#define SEGMENTS 0x38  // cs, ds, es, fs, gs, ss, 16 bits each
#define FLAGS 0x44
#define RAX 0x78
#define RCX 0x80
#define RDX 0x88
#define RBX 0x90
#define RSP 0x98
#define RBP 0xA0
#define RSI 0xA8
#define RDI 0xB0
#define R8 0xB8
#define R9 0xC0
#define R10 0xC8
#define R11 0xD0
#define R12 0xD8
#define R13 0xE0
#define R14 0xE8
#define R15 0xF0
#define RIP 0xF8
#define X87_CONTROL 0x100
#define FX_MXCSR 0x118
#define XMM(n) (0x1A0 + 16 * n)
