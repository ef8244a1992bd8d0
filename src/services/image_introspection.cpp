#include "services/image_introspection.h"

#include "platform/pe_format.h"
#include "services/resource_directory.h"
#include "services/sort.h"
#include "storage/heap.h"
#include "streams/file_stream.h"
#include "streams/format.h"

namespace tarn {
namespace {

constexpr std::uint64_t kPageSize = 4096;
constexpr std::int64_t kDescriptionSize = 128;

struct ResourcePointers {
  const std::uint8_t* image_base;
  const std::uint8_t* pe_location;
  const std::uint8_t* resource_location;
  std::uint32_t resource_section_length;
};

std::uint32_t low_bits(const void* address) {
  return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(address));
}

// How many of the bytes can be read, by whole pages.
std::uint32_t readable_length(const std::uint8_t* bytes, std::uint32_t length) {
  const std::uint64_t first = kPageSize - reinterpret_cast<std::uintptr_t>(bytes) % kPageSize;
  for (std::uint64_t at = 0; at < length; at += at == 0 ? first : kPageSize) {
    std::uint8_t byte;
    std::uint64_t copied = 0;
    if (!platform::ReadProcessMemory(platform::GetCurrentProcess(), bytes + at, &byte, 1,
                                     &copied)) {
      return static_cast<std::uint32_t>(at);
    }
  }
  return length;
}

ResourcePointers setup_resource_pointers() {
  ResourcePointers pointers{};  // no section, if the system does not find the program's image
  pointers.image_base = static_cast<const std::uint8_t*>(platform::GetModuleHandleA(nullptr));
  if (!pointers.image_base) return pointers;
  const auto* const dos = reinterpret_cast<const pe::DosHeader*>(pointers.image_base);
  pointers.pe_location = pointers.image_base + dos->pe_offset;
  const auto* const headers = reinterpret_cast<const pe::NtHeaders*>(pointers.pe_location);
  const pe::DataDirectory& section = headers->optional.directories[pe::kResourceDirectory];
  pointers.resource_location = pointers.image_base + section.offset;
  const std::uint32_t image_size = headers->optional.image_size;
  const std::uint32_t room = section.offset < image_size ? image_size - section.offset : 0;
  pointers.resource_section_length =
      readable_length(pointers.resource_location, section.size < room ? section.size : room);
  return pointers;
}

}  // namespace

// ---- Common blocks -------------------------------------------------------------

tarn_block_record* __get_common_info() { return common_block_list; }

tarn_block_record* __dbgget_common_info() {
  tarn_block_record* head = __get_common_info();
  asm volatile("int3" : "+a"(head));
  return head;
}

void __display_common_info() {
  const auto count = static_cast<std::uint64_t>(common_block_count);
  auto* const blocks = static_cast<tarn_block_record**>(malloc(count * sizeof(void*)));
  std::uint64_t filled = 0;
  for (tarn_block_record* each = common_block_list; blocks && each && filled < count;
       each = each->next) {
    blocks[filled++] = each;
  }
  qsort(blocks, filled, sizeof(void*), &compare);
  printf("Block name                 Address                        Size     Module\n\n");
  for (std::uint64_t i = 0; i < filled; ++i) {
    const tarn_block_record& block = *blocks[i];
    printf("%-25s  %16.16llx  %16llx     %s\n", block.name, block.address, block.size,
           block.module ? block.module : "");
  }
  free(blocks);
}

// ---- Resources -------------------------------------------------------------------

void __dump_resource_section() {
  const ResourcePointers pointers = setup_resource_pointers();
  printf("image_base=%x  pe location=%x   resource_location=%x resource_section_length=%x\n",
         low_bits(pointers.image_base), low_bits(pointers.pe_location),
         low_bits(pointers.resource_location), pointers.resource_section_length);
  if (pointers.resource_section_length == 0) {
    printf("No resource data to dump\n");
    return;
  }
  char name[64];
  sprintf(name, "bracken_resource_block_%x",
          static_cast<std::uint32_t>(pointers.resource_location - pointers.image_base));
  printf("Creating file %s\n", name);
  FILE* const stream = fopen(name, "wb");
  fwrite(pointers.resource_location, 1, pointers.resource_section_length, stream);
  fclose(stream);
}

void __display_resource_data() {
  const ResourcePointers pointers = setup_resource_pointers();
  printf("\nResource information based at %x\n", low_bits(pointers.resource_location));
  display_resource_tree(
      {pointers.resource_location, pointers.resource_section_length,
       static_cast<std::uint32_t>(pointers.resource_location - pointers.image_base)},
      "Root");
}

// ---- Windows ------------------------------------------------------------------------

void DESCRIBE_WINDOW(void* const* window, const char* text, std::int64_t length) {
  char copy[kDescriptionSize], message[2 * kDescriptionSize];
  std::int64_t taken = 0;
  for (; taken < length && taken < kDescriptionSize - 1; ++taken) copy[taken] = text[taken];
  copy[taken] = '\0';
  const char* const state = platform::IsWindowEnabled(*window) ? "Enabled" : "Disabled";
  sprintf(message, "Window %X %s (%s)", low_bits(*window), state, copy);
  platform::MessageBoxA(nullptr, message, "Information", 0);
}

}  // namespace tarn
