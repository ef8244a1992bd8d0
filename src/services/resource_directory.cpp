#include "services/resource_directory.h"

#include "platform/pe_format.h"
#include "streams/format.h"

namespace tarn {
namespace {

using pe::kResourceHighBit;
using pe::ResourceData;
using pe::ResourceDirectory;
using pe::ResourceEntry;

struct Walk {
  ResourceSection section;
  int depth;
  std::uint32_t entries_left;

  // False if not all of it is in the section.
  template <class T>
  bool read(std::uint64_t offset, T* record) const {
    if (offset > section.length || section.length - offset < sizeof *record) return false;
    __builtin_memcpy(record, section.bytes + offset, sizeof *record);
    return true;
  }
};

// The low bytes of a name's characters, as far as they are in the section.
// Valid until the next call.
const char* get_name(const Walk& walk, std::uint32_t offset) {
  static char name[kNameBuffer];
  std::uint64_t at = offset & ~kResourceHighBit;
  std::uint16_t count = 0, character;
  std::uint32_t length = 0;
  walk.read(at, &count);
  while (length < count && length < kNameBuffer - 1 && walk.read(at += 2, &character)) {
    name[length++] = static_cast<char>(character);
  }
  name[length] = '\0';
  return name;
}

void display_resource_directory(Walk* walk, std::uint32_t directory, const char* label);

void display_target(Walk* walk, std::uint32_t target) {
  const std::uint32_t offset = target & ~kResourceHighBit;
  ResourceData data;
  ResourceDirectory header;
  if (!(target & kResourceHighBit)) {
    if (walk->read(offset, &data)) {
      printf("actual resource at rel position 0x%x, length 0x%x\n",
             data.image_offset - walk->section.image_offset, data.size);
    } else {
      printf("data entry 0x%x, which is not in the section\n", offset);
    }
  } else if (!walk->read(offset, &header)) {
    printf("directory 0x%x, which is not in the section\n", offset);
  } else if (walk->depth == kDeepestDirectory) {
    printf("directory 0x%x, which lies too deep\n", offset);
  } else {
    display_resource_directory(walk, offset, "sub");
  }
}

void display_resource_directory(Walk* walk, std::uint32_t directory, const char* label) {
  printf("Directory %s at 0%x\n", label, directory);
  ResourceDirectory header;
  if (!walk->read(directory, &header)) {
    printf("Not in the section\n");
    return;
  }
  if (header.characteristics || header.time_stamp || header.major || header.minor) {
    printf("Probable corruption - zero directory fields contain data\n");
  }
  ++walk->depth;
  const std::uint32_t entries = std::uint32_t{header.named_count} + header.numbered_count;
  std::uint64_t at = std::uint64_t{directory} + sizeof header;
  for (std::uint32_t i = 0; i < entries; ++i, at += sizeof(ResourceEntry)) {
    ResourceEntry entry;
    if (walk->entries_left == 0 || !walk->read(at, &entry)) {
      printf("More entries than the section has room for\n");
      break;
    }
    --walk->entries_left;
    const bool in_named = i < header.named_count, has_name = (entry.id & kResourceHighBit) != 0;
    if (in_named && has_name) {
      printf("Name pointer(%s) from %x to ", get_name(*walk, entry.id), directory);
    } else if (in_named) {
      printf("Unexpected ID 0%x pointer from 0x%x to ", entry.id, directory);
    } else if (has_name) {
      printf("Unexpected name pointer(%s) from 0x%x to ", get_name(*walk, entry.id), directory);
    } else {
      printf("ID 0%x pointer from 0x%x to ", entry.id, directory);
    }
    display_target(walk, entry.target);
  }
  --walk->depth;
}

}  // namespace

void display_resource_tree(const ResourceSection& section, const char* label) {
  Walk walk = {section, 0, section.length / static_cast<std::uint32_t>(sizeof(ResourceEntry))};
  display_resource_directory(&walk, 0, label);
}

}  // namespace tarn
