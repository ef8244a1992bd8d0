// Program images and DLLs in memory: PE32+ files that finish_image has
// finished. Each step checks what it reads, so that the bytes may be anything;
// nothing of an image runs here.
//
//   read_image_file   the file's beginning
//   check_image       what the headers say, or why the file is refused
//   map_image         headers and sections, at the preferred base if it is free
//   bind_imports      addresses of what it imports
//   protect_image     from now on each section has its own protection, but constants,
//                     which the image itself protects when it has relocated them
//
// The operating-system relocation table of a finished image is empty, as its
// start-up script relocates it wherever it lies. An image with a table is
// refused: its cells would be relocated twice. So is one with thread-local
// storage, since FS and GS belong to the host.
//
// Limits: files and images of 1 GB; 96 sections; 256 imported libraries and
// 65,536 imports; names of 2,047 bytes; 1 TB of stack.
#pragma once

#include "platform/pe_format.h"
#include "platform/posix/loader/loader.h"

namespace tarn::platform {

// A file that is open has its beginning in memory; the rest is read into its place.
struct FileBytes {
  const std::uint8_t* bytes = nullptr;
  std::uint64_t size = 0;
  std::uint64_t held = size;  // bytes in memory
  int descriptor = -1;
};

// Its first bytes go to `first`, which lives as long as `file` is used.
inline constexpr std::size_t kFirstBytes = 8192;  // 96 sections' headers are half of them
bool read_image_file(const char* host_path, std::uint8_t (&first)[kFirstBytes], FileBytes* file,
                     LoadError* error);
void close_image_file(FileBytes* file);

inline constexpr std::uint32_t kMostSections = 96;  // Windows takes no more
inline constexpr std::uint64_t kLargestImage = std::uint64_t{1} << 30;
inline constexpr std::uint64_t kLargestStack = std::uint64_t{1} << 40;

struct ImageSection {
  std::uint32_t start, end;            // whole pages
  std::uint32_t raw_offset, raw_size;  // what the file has of it
  std::uint32_t characteristics;
};

// All offsets lie within `size`.
struct Image {
  std::uint8_t* base;  // null until it is mapped; a multiple of 64 kB
  std::uint64_t preferred_base;
  std::uint32_t size, headers_size;
  std::uint32_t entry;  // in an executable section
  bool is_dll;
  std::uint64_t stack_reserve;
  pe::DataDirectory exports, imports, exceptions;
  std::uint32_t section_count;
  ImageSection sections[kMostSections];
};

bool check_image(const FileBytes& file, Image* image, LoadError* error);
bool map_image(const FileBytes& file, Image* image, LoadError* error);
void unmap_image(Image* image);

// Finds the libraries that an image imports from. `open` returns a token for a
// library, or null and the reason. `find` returns the address of its routine
// `name`, or, if that is null, of its `ordinal`; null if there is none.
struct ImportSource {
  void* context;
  const void* (*open)(void* context, const char* library, LoadError* error);
  void* (*find)(const void* library, const char* name, std::uint32_t ordinal);
};

bool bind_imports(const Image& image, const ImportSource& source, LoadError* error);
bool protect_image(const Image& image, LoadError* error);

// The address that a mapped image exports under exactly `name`, or as
// `ordinal`. Null if there is none or if it is forwarded to another library.
void* find_image_export(const Image& image, const char* name);
void* find_image_export(const Image& image, std::uint32_t ordinal);

}  // namespace tarn::platform
