// Image files made in memory, for tests on machines that have no linker for
// them: sections of one page each, laid out one behind the other.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "platform/pe_format.h"

namespace tarn::test {

using ImageBytes = std::vector<std::uint8_t>;

inline constexpr std::uint32_t kImagePage = 0x1000, kImageSector = 0x200;
inline constexpr std::uint32_t kImagePeOffset = 0x80, kImageHeadersSize = 0x400;

template <class T>
void append(ImageBytes& bytes, const T& value) {
  const auto* const from = reinterpret_cast<const std::uint8_t*>(&value);
  bytes.insert(bytes.end(), from, from + sizeof value);
}

inline void append_text(ImageBytes& bytes, const std::string& value) {
  bytes.insert(bytes.end(), value.c_str(), value.c_str() + value.size() + 1);
}

inline std::uint32_t size_of(const ImageBytes& bytes) {
  return static_cast<std::uint32_t>(bytes.size());
}

inline pe::NtHeaders image_headers(bool dll, std::uint64_t base) {
  pe::NtHeaders headers{};
  headers.magic = pe::kPeMagic;
  headers.file.machine = pe::kMachineAmd64;
  headers.file.optional_header_size = sizeof(pe::OptionalHeader);
  headers.file.characteristics =
      static_cast<std::uint16_t>(pe::kFileExecutable | 0x20 | (dll ? pe::kFileDll : 0));
  pe::OptionalHeader& optional = headers.optional;
  optional.magic = pe::kOptionalMagic64;
  optional.image_base = base;
  optional.section_alignment = kImagePage;
  optional.file_alignment = kImageSector;
  optional.headers_size = kImageHeadersSize;
  optional.directory_count = pe::kDirectoryCount;
  return headers;
}

struct ImageSection {
  std::string name;
  std::uint32_t start;
  const ImageBytes& bytes;  // without any: eight zeroes, which the file does not have
  std::uint32_t characteristics;
};

// The file, with a place behind the sections for symbols if there are
// `symbol_count`. The headers' count of sections and size of the image are filled
// in where they are 0.
inline ImageBytes image_file(pe::NtHeaders headers, std::span<const ImageSection> sections,
                             std::uint32_t symbol_count = 0) {
  if (headers.file.section_count == 0) {
    headers.file.section_count = static_cast<std::uint16_t>(sections.size());
  }
  if (headers.optional.image_size == 0) {
    headers.optional.image_size = sections.back().start + kImagePage;
  }
  ImageBytes table, contents;
  for (const ImageSection& section : sections) {
    pe::SectionHeader header{};
    std::memcpy(header.name, section.name.data(), section.name.size());
    header.virtual_address = section.start;
    header.virtual_size = section.bytes.empty() ? 8 : size_of(section.bytes);
    header.raw_size = (size_of(section.bytes) + kImageSector - 1) / kImageSector * kImageSector;
    header.raw_offset = header.raw_size == 0 ? 0 : kImageHeadersSize + size_of(contents);
    header.characteristics = section.characteristics;
    append(table, header);
    contents.insert(contents.end(), section.bytes.begin(), section.bytes.end());
    contents.resize((contents.size() + kImageSector - 1) / kImageSector * kImageSector);
  }
  headers.file.symbol_table = symbol_count == 0 ? 0 : kImageHeadersSize + size_of(contents);
  headers.file.symbol_count = symbol_count;

  ImageBytes file(kImagePeOffset);
  const pe::DosHeader dos{pe::kDosMagic, {}, kImagePeOffset};
  std::memcpy(file.data(), &dos, sizeof dos);
  append(file, headers);
  file.insert(file.end(), table.begin(), table.end());
  file.resize(kImageHeadersSize);
  file.insert(file.end(), contents.begin(), contents.end());
  return file;
}

}  // namespace tarn::test
