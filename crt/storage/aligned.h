// Aligned blocks, and the list of those of aligned_alloc, which free and realloc take, in this
// image alone.
#pragma once

#include "../crt.h"

namespace crt {

constexpr size_t kAlignmentOfMalloc = 16;

struct AlignedHeader {
  void* block;  // of malloc
  size_t size;
  AlignedHeader* following;  // in its list
  void* unused;              // keeps malloc's alignment
};

// The block need not be where a pointer may be: what is aligned may lie within it.
inline AlignedHeader* header_of(void* aligned) {
  const auto address = reinterpret_cast<uintptr_t>(aligned) & -alignof(AlignedHeader);
  return reinterpret_cast<AlignedHeader*>(address) - 1;
}

// How many are listed.
extern unsigned listed_blocks;

inline bool may_be_listed(const void* block) { return listed_blocks != 0 && block; }

void list_block(void* aligned);
// The block of malloc in which a listed one lies, which is forgotten; else `block` itself.
void* block_of_listed(void* block);
// Whether it is one, and its size as it was asked for.
bool is_listed(void* block, size_t* size);

}  // namespace crt
