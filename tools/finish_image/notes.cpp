#include "notes.h"

#include <algorithm>

namespace finisher {
namespace {

constexpr std::uint64_t kNoteMark = 0x4E524154;  // the upper half of a note's kind
constexpr std::uint32_t kNoteSize = 40;
constexpr std::uint8_t kCountedLine = 18;             // a note's kind that is no opcode
constexpr std::uint64_t kNoCode = ~std::uint64_t{0};  // counter of a line that nothing counts

struct Note {
  std::uint8_t opcode;
  std::uint32_t target;
  std::string name, routine;
  std::uint64_t size;
};

struct NoteReader {
  Image& image;
  std::set<std::uint32_t>& relocations;

  // The image offset in an address cell; 0 if the cell is null.
  std::uint32_t target(std::uint32_t cell) {
    const std::uint64_t value = read_u64(image, cell, "a note");
    if (relocations.erase(cell) == 0) {
      if (value != 0) refuse("a note in .tarnimg holds a number in place of an address");
      return 0;
    }
    const std::uint64_t offset = value - image.headers.optional.image_base;
    if (offset >= next_section_offset(image)) refuse("a note points outside the image");
    return static_cast<std::uint32_t>(offset);
  }

  std::string text(std::uint32_t cell) {
    const std::uint32_t offset = target(cell);
    return offset == 0 ? std::string() : read_text(image, offset, "a note's name");
  }

  Note note(std::uint32_t at) {
    Note result;
    const std::uint64_t kind = read_u64(image, at, "a note");
    if (kind >> 32 != kNoteMark || (kind & 0xFFFFFFFF) > kCountedLine) {
      refuse("section .tarnimg holds something that is not a note");
    }
    result.opcode = static_cast<std::uint8_t>(kind);
    result.target = target(at + 8);
    result.name = text(at + 16);
    result.routine = text(at + 24);
    result.size = read_u64(image, at + 32, "a note");
    return result;
  }
};

CommonBlock& block_named(Script& script, const std::string& name) {
  if (name.empty()) refuse("a common block has no name");
  for (CommonBlock& block : script.blocks) {
    if (block.name == name) return block;
  }
  script.blocks.push_back({});
  script.blocks.back().name = name;
  return script.blocks.back();
}

void require_target(const Note& note) {
  if (note.target == 0) refuse("a note of kind %u has no target", note.opcode);
}

// `counted_lines`: the counters of lines that their sources count.
void apply(Image& image, const Note& note, Script& script,
           std::vector<std::uint32_t>& counted_lines) {
  switch (note.opcode) {
    case kAllocateBlock: {
      require_target(note);
      CommonBlock& block = block_named(script, note.name);
      block.is_described = true;
      block.pointers.push_back(note.target);
      if (block.is_declared && note.size > block.size) {
        refuse("common block %s is used with %llu bytes, but its object has %llu",
               note.name.c_str(), static_cast<unsigned long long>(note.size),
               static_cast<unsigned long long>(block.size));
      }
      block.size = std::max(block.size, note.size);
      break;
    }
    case kDeclareBlock: {
      require_target(note);
      CommonBlock& block = block_named(script, note.name);
      if (block.is_declared) {
        refuse("common block %s has two objects", note.name.c_str());
      }
      if (note.size < block.size) {
        refuse("common block %s is used with %llu bytes, but its object has %llu",
               note.name.c_str(), static_cast<unsigned long long>(block.size),
               static_cast<unsigned long long>(note.size));
      }
      const Section* home = section_at(image, note.target);
      if (home == nullptr || note.size > home->end() - note.target) {
        refuse("the object of common block %s ends outside its section", note.name.c_str());
      }
      block.is_described = block.is_declared = true;
      block.offset = note.target;
      block.size = note.size;
      break;
    }
    case kRelocateToBlock:
      require_target(note);
      block_named(script, note.name).pointers.push_back(note.target);
      break;
    case kCallInitialiser:
      require_target(note);
      script.initialisers.push_back(note.target);
      break;
    case kUndefinedFill:
      script.undefined_fill = true;
      break;
    case kRequireAvx:
      script.require_avx = true;
      break;
    case kRecordProfile:
      require_target(note);
      script.profiles.push_back(note.target);
      for (std::uint64_t line = 1; line <= note.size; ++line) {
        write_u64(image, note.target + 8 * line, kNoCode, "a profile block");
      }
      break;
    case kCountedLine:
      require_target(note);
      counted_lines.push_back(note.target);
      break;
    case kBindRoutine:
      require_target(note);
      if (note.name.empty() || note.routine.empty()) {
        refuse("a bound routine needs the names of its library and of itself");
      }
      script.bindings.push_back({note.target, note.name, note.routine});
      break;
    case kMarkImage:
      script.mark_image = true;
      break;
    default:
      refuse("a note of kind %u is not known", note.opcode);
  }
}

}  // namespace

void read_notes(Image& image, std::set<std::uint32_t>& relocations, Script& script) {
  Section* section = find_section(image, ".tarnimg");
  if (section == nullptr) return;
  NoteReader reader{image, relocations};
  const std::uint64_t size = std::min<std::uint64_t>(section->memory_size(), section->bytes.size());
  std::vector<std::uint32_t> counted_lines;
  // Zeroes between notes are the padding of one object's part of the section.
  for (std::uint64_t at = 0; at + 8 <= size;) {
    const std::uint32_t cell = section->start() + static_cast<std::uint32_t>(at);
    if (read_u64(image, cell, "a note") == 0) {
      at += 8;
      continue;
    }
    apply(image, reader.note(cell), script, counted_lines);
    at += kNoteSize;
  }
  for (const std::uint32_t counter : counted_lines) {
    write_u64(image, counter, 0, "a line's counter");
  }
  section->removed = true;
}

}  // namespace finisher
