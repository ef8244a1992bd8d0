#include "script.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "routine_table.h"
#include "tools/terminal_text.h"

namespace finisher {
namespace {

constexpr std::uint32_t kPageSize = 4096;
// The interpreter's code loads its base and then the script word:
//   lea rdi, [rip + base]    48 8D 3D offset
//   mov rsi, [rip + word]    48 8B 35 offset
constexpr std::uint8_t kLoadBase[] = {0x48, 0x8D, 0x3D};
constexpr std::uint8_t kLoadScriptWord[] = {0x48, 0x8B, 0x35};
constexpr std::size_t kLoadSize = 7;

void append_text(Bytes& bytes, const std::string& text) {
  bytes.insert(bytes.end(), text.begin(), text.end());
  bytes.push_back(0);
}

void instruction(Bytes& bytes, Opcode opcode) { bytes.push_back(opcode); }

void instruction(Bytes& bytes, Opcode opcode, std::uint64_t operand) {
  bytes.push_back(opcode);
  append_u64(bytes, operand);
}

void append_block(Bytes& bytes, const CommonBlock& block) {
  if (block.is_declared) {
    instruction(bytes, kDeclareBlock, block.offset);
    append_u64(bytes, block.size);
  } else {
    instruction(bytes, kAllocateBlock, block.size);
  }
  // A block of no size does not become the current one.
  if (block.size == 0) return;
  for (const std::uint32_t cell : block.pointers) instruction(bytes, kRelocateToBlock, cell);
}

struct Lister {
  Image& image;
  std::vector<Routine> routines;
  const Section* section = nullptr;
  std::size_t at = 0;
  std::uint64_t name_cursor = 0;
  std::uint32_t data_section = 0;
  std::string text = {};

  std::uint64_t operand(std::size_t size) {
    if (at > section->bytes.size() || size > section->bytes.size() - at) {
      refuse("the script runs out of its section");
    }
    std::uint64_t value = 0;
    std::memcpy(&value, section->bytes.data() + at, size);
    at += size;
    return value;
  }

  std::string operand_text() {
    std::string result = read_text(image, section->start() + at, "a routine or library name");
    at += result.size() + 1;
    return result;
  }

  std::string target(std::uint64_t offset) const {
    char number[24];
    std::snprintf(number, sizeof number, "0x%llx", static_cast<unsigned long long>(offset));
    std::string name = describe(image, offset);
    for (const Routine& routine : routines) {
      if (name.empty() && routine.start == offset) name = routine.name;
    }
    return name.empty() ? number : number + (" " + name);
  }

  std::string block_name() {
    std::string name = read_text(image, name_cursor, "a block's name");
    name_cursor += name.size() + 1;
    return " \"" + name + "\"";
  }

  std::string decoded(std::uint8_t opcode);
};

std::string bytes_text(std::uint64_t size) { return std::to_string(size) + " bytes"; }

std::string Lister::decoded(std::uint8_t opcode) {
  switch (opcode) {
    case kClose: {
      const std::uint64_t main = operand(8);
      return main == 0 ? "close, return to the loader" : "close, call " + target(main);
    }
    case kRelocate:
      return "relocate " + target(operand(8));
    case kAllocateBlock: {
      const std::uint64_t size = operand(8);
      return "allocate block" + (size == 0 ? "" : block_name()) + ", " + bytes_text(size);
    }
    case kDeclareBlock: {
      const std::uint64_t block = operand(8), size = operand(8);
      return "declare block" + (size == 0 ? "" : block_name()) + " at " + target(block) + ", " +
             bytes_text(size);
    }
    case kRelocateToBlock:
      return "relocate to the block " + target(operand(8));
    case kCallInitialiser:
      return "initialise " + target(operand(8));
    case kMainSetup:
      return "set up the library";
    case kSetNameCursor:
      name_cursor = operand(4);
      return "block names at " + target(name_cursor);
    case kUndefinedFill:
      return "fill later blocks with 0x80";
    case kRequireAvx:
      return "require AVX";
    case kRecordProfile:
      return "profile block " + target(operand(8));
    case kBindRoutine: {
      const std::string slot = target(data_section + operand(4));
      const std::string library = operand_text();
      return "bind " + slot + " to \"" + operand_text() + "\" of \"" + library + "\"";
    }
    case kMarkImage:
      return "overwrite the image's first bytes with NOTE";
    default:
      refuse("opcode %u at offset 0x%x of the script is not known", opcode,
             static_cast<unsigned>(at - 1));
  }
}

// The offset that an instruction of the interpreter reaches, or 0. The interpreter is the
// image's first code; a hosted DLL's entry point is elsewhere.
std::uint64_t script_word_offset(Image& image) {
  const std::uint32_t entry = image.headers.optional.entry_point;
  const Section* section = section_at(image, entry);
  if (section == nullptr) return 0;
  for (std::size_t at = 0; at + 2 * kLoadSize <= section->bytes.size(); ++at) {
    const std::uint8_t* code = section->bytes.data() + at;
    if (std::memcmp(code, kLoadBase, sizeof kLoadBase) != 0 ||
        std::memcmp(code + kLoadSize, kLoadScriptWord, sizeof kLoadScriptWord) != 0) {
      continue;
    }
    std::int32_t distance;
    std::memcpy(&distance, code + kLoadSize + sizeof kLoadScriptWord, sizeof distance);
    return std::uint64_t{section->start()} + at + 2 * kLoadSize +
           static_cast<std::uint64_t>(std::int64_t{distance});
  }
  return 0;
}

}  // namespace

Bytes build_script(const Script& script, std::uint32_t offset, std::uint32_t data_section) {
  const bool has_names = std::any_of(script.blocks.begin(), script.blocks.end(),
                                     [](const CommonBlock& block) { return block.size != 0; });
  Bytes bytes, pool;
  if (has_names) {
    instruction(bytes, kSetNameCursor);
    append_u32(bytes, 0);  // filled in below
  }
  for (const std::uint32_t cell : script.relocations) instruction(bytes, kRelocate, cell);
  if (script.undefined_fill) instruction(bytes, kUndefinedFill);
  for (const CommonBlock& block : script.blocks) {
    append_block(bytes, block);
    if (block.size != 0) append_text(pool, block.name);
  }
  if (script.require_avx) instruction(bytes, kRequireAvx);
  for (const std::uint32_t profile : script.profiles) {
    instruction(bytes, kRecordProfile, profile);
  }
  for (const Binding& binding : script.bindings) {
    instruction(bytes, kBindRoutine);
    append_u32(bytes, binding.slot - data_section);
    append_text(bytes, binding.library);
    append_text(bytes, binding.routine);
  }
  if (script.is_program) instruction(bytes, kMainSetup);
  for (const std::uint32_t routine : script.initialisers) {
    instruction(bytes, kCallInitialiser, routine);
  }
  // Last, since system services may look for an intact image before.
  if (script.mark_image) instruction(bytes, kMarkImage);
  instruction(bytes, kClose, script.main);
  if (has_names) {
    const std::uint32_t names = offset + static_cast<std::uint32_t>(bytes.size());
    std::memcpy(bytes.data() + 1, &names, sizeof names);
    bytes.insert(bytes.end(), pool.begin(), pool.end());
  }
  return bytes;
}

std::string list_script(Image& image) {
  if (!image.is_finished()) refuse("not a finished image");
  const std::uint64_t word = script_word_offset(image);
  const Section* data = section_at(image, word);
  if (data == nullptr) refuse("the entry point is not the start-up script interpreter");
  const std::uint64_t script = read_u64(image, word, "the script word");
  Lister lister{image, read_routine_table(image)};
  lister.section = section_at(image, script);
  if (lister.section == nullptr) refuse("the script lies outside the image");
  lister.at = script - lister.section->start();
  lister.data_section = static_cast<std::uint32_t>(word & ~std::uint64_t{kPageSize - 1});
  for (;;) {
    const std::size_t start = lister.at;
    const auto opcode = static_cast<std::uint8_t>(lister.operand(1));
    const std::string line = lister.decoded(opcode);
    char prefix[40];
    std::snprintf(prefix, sizeof prefix, "%08zx  %2u  ", lister.section->start() + start, opcode);
    lister.text += printable(prefix + line) + "\n";
    if (opcode == kClose) return lister.text;
  }
}

}  // namespace finisher
