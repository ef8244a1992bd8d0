// The resource section of an image, read by the published layout of the PE
// format and printed as a tree.
//
// Untrusted data: nothing is read outside the section. At most
// kDeepestDirectory directories are within each other, and no more entries are
// printed than the section has room for, so that a tree that leads into itself
// ends; each damage has its own line in the output. State: the buffer of
// get_name; for one thread at a time.
#pragma once

#include "platform/abi.h"

namespace tarn {

inline constexpr int kDeepestDirectory = 16;       // a sound tree has 3: type, name, language
inline constexpr std::uint32_t kNameBuffer = 104;  // longer names are cut

struct ResourceSection {
  const std::uint8_t* bytes;
  std::uint32_t length;
  std::uint32_t image_offset;  // of its first byte, to which positions are relative
};

// Prints the tree whose directory `label` is at the section's start.
void display_resource_tree(const ResourceSection& section, const char* label);

}  // namespace tarn
