// The list of aligned_alloc's blocks: free asks it in every program, so it is apart from what
// makes them.
#include "aligned.h"

#include "../images/lock.h"

namespace crt {

unsigned listed_blocks;

namespace {

constexpr size_t kLists = 1024;
AlignedHeader* lists[kLists];
Lock lists_lock;

AlignedHeader** list_of(const void* aligned) {
  const auto address = reinterpret_cast<uintptr_t>(aligned);
  return &lists[(address / kAlignmentOfMalloc * 0x9E3779B97F4A7C15u) >> 54];
}

}  // namespace

void list_block(void* aligned) {
  const Locked locked(lists_lock);
  AlignedHeader** const list = list_of(aligned);
  header_of(aligned)->following = *list;
  *list = header_of(aligned);
  ++listed_blocks;
}

void* block_of_listed(void* aligned) {
  const Locked locked(lists_lock);
  for (AlignedHeader** link = list_of(aligned); *link; link = &(*link)->following) {
    if (*link != header_of(aligned)) continue;
    *link = (*link)->following;
    --listed_blocks;
    return header_of(aligned)->block;
  }
  return aligned;
}

bool is_listed(void* aligned, size_t* size) {
  const Locked locked(lists_lock);
  for (const AlignedHeader* header = *list_of(aligned); header; header = header->following) {
    if (header != header_of(aligned)) continue;
    *size = header->size;
    return true;
  }
  return false;
}

}  // namespace crt
