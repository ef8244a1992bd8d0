// The start-up script: what an image asks of it, its bytes, and its text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "image.h"

namespace finisher {

enum Opcode : std::uint8_t {
  kClose = 5,
  kRelocate = 6,
  kAllocateBlock = 7,
  kDeclareBlock = 8,
  kRelocateToBlock = 9,
  kCallInitialiser = 10,
  kMainSetup = 11,
  kSetNameCursor = 12,
  kUndefinedFill = 13,
  kRequireAvx = 14,
  kRecordProfile = 15,
  kBindRoutine = 16,
  kMarkImage = 17,
};

struct CommonBlock {
  std::string name;
  std::uint64_t size = 0;
  bool is_described = false;  // by a note with its size
  bool is_declared = false;   // it is in the image, at `offset`
  std::uint32_t offset = 0;
  std::vector<std::uint32_t> pointers;  // cells that get its address
};

struct Binding {
  std::uint32_t slot;
  std::string library, routine;
};

// All that a script says. Offsets are image offsets.
struct Script {
  std::vector<std::uint32_t> relocations;
  bool undefined_fill = false;
  std::vector<CommonBlock> blocks;
  bool require_avx = false;
  std::vector<std::uint32_t> profiles;
  std::vector<Binding> bindings;
  bool is_program = false;  // brings the library up before the initialisers
  std::vector<std::uint32_t> initialisers;
  bool mark_image = false;
  std::uint32_t main = 0;  // 0 in a DLL
};

// The script's bytes with the pool of block names after them. `offset`: where
// in the image they will be; `data_section`: from where slots are counted.
Bytes build_script(const Script& script, std::uint32_t offset, std::uint32_t data_section);

// The script of a finished image, one line an instruction.
std::string list_script(Image& image);

}  // namespace finisher
