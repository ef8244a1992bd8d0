// The blocks of aligned_alloc, which free and realloc take, in this image alone.
#pragma once

#include "../crt.h"

namespace crt {

constexpr size_t kAlignmentOfMalloc = 16;

// How many there are.
extern unsigned listed_blocks;

inline bool may_be_listed(const void* block) { return listed_blocks != 0 && block; }

// The block of malloc in which a listed one lies, which is forgotten; else `block` itself.
void* block_of_listed(void* block);
// Whether it is one, and its size as it was asked for.
bool is_listed(void* block, size_t* size);

}  // namespace crt
