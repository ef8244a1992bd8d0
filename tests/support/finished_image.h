// A small finished program or DLL, made in memory: for tests of what loads
// images, on machines that have no linker for them.
//
// Sections of one page each: .text, .data, .idata, .edata.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/image_bytes.h"

namespace tarn::test {

struct FinishedImage {
  using Bytes = ImageBytes;

  static constexpr std::uint32_t kPage = kImagePage, kText = 0x1000, kData = 0x2000,
                                 kImports = 0x3000, kExports = 0x4000;
  static constexpr std::uint32_t kHeadersSize = kImageHeadersSize, kPeOffset = kImagePeOffset;
  // How often the entry of a DLL ran: its first cell.
  static constexpr std::uint32_t kStarts = kData;

  bool dll;
  pe::NtHeaders headers;
  Bytes text, data = Bytes(0x20);
  // Libraries and what is imported of them, in the order of the address cells.
  // A name that begins with '#' is an ordinal.
  std::vector<std::pair<std::string, std::vector<std::string>>> imports;
  std::vector<std::pair<std::string, std::uint32_t>> exports;  // sorted; name, image offset
  bool marked = true;

  // At a base that is free also under a sanitizer.
  explicit FinishedImage(bool is_dll) : dll(is_dll), headers(image_headers(dll, 0x200000000000)) {
    headers.optional.entry_point = kText;
    headers.optional.subsystem = 3;
    headers.optional.stack_reserve = 0x200000;
    if (dll)
      code({0xFF, 0x05, 0xFA, 0x0F, 0, 0,  // inc dword ptr [rip + kStarts]
            0xB8, 1, 0, 0, 0, 0xC3});      // mov eax, 1; ret
  }

  void code(std::initializer_list<int> bytes) {
    for (const int byte : bytes) text.push_back(static_cast<std::uint8_t>(byte));
  }

  // Where the address of the import is put.
  std::uint32_t address_cell(std::size_t library, std::size_t index) const {
    std::uint32_t at = kImports + descriptors_size();
    for (std::size_t i = 0; i < library; ++i) at += 2 * table_size(i);
    return at + table_size(library) + 8 * static_cast<std::uint32_t>(index);
  }

  Bytes file() const {
    pe::NtHeaders nt = headers;
    const Bytes import_bytes = import_section(), export_bytes = export_section();
    nt.optional.directories[pe::kImportDirectory] = {kImports, descriptors_size()};
    if (!exports.empty()) {
      nt.optional.directories[pe::kExportDirectory] = {
          kExports, static_cast<std::uint32_t>(export_bytes.size())};
    }
    for (std::size_t i = 0; i < pe::kDirectoryCount; ++i) {
      if (headers.optional.directories[i].size != 0) {
        nt.optional.directories[i] = headers.optional.directories[i];
      }
    }
    const ImageSection sections[] = {
        {".text", kText, text, pe::kSectionCode | pe::kSectionExecute | pe::kSectionRead},
        {".data", kData, data, pe::kSectionInitialised | pe::kSectionRead | pe::kSectionWrite},
        {".idata", kImports, import_bytes, pe::kSectionInitialised | pe::kSectionRead},
        {".edata", kExports, export_bytes, pe::kSectionInitialised | pe::kSectionRead},
    };
    Bytes all = image_file(nt, sections);
    if (marked) {
      std::memcpy(all.data() + pe::kImageMarkOffset, pe::kImageMark, pe::kImageMarkLength);
    }
    return all;
  }

 private:
  std::uint32_t descriptors_size() const {
    return static_cast<std::uint32_t>((imports.size() + 1) * sizeof(pe::ImportDescriptor) + 7) &
           ~7u;
  }
  // Of a library's look-ups, and of its addresses.
  std::uint32_t table_size(std::size_t library) const {
    return static_cast<std::uint32_t>(imports[library].second.size() + 1) * 8;
  }

  Bytes import_section() const {
    Bytes descriptors, tables, texts;
    std::uint32_t text_start = kImports + descriptors_size();
    for (std::size_t i = 0; i < imports.size(); ++i) text_start += 2 * table_size(i);
    for (std::size_t i = 0; i < imports.size(); ++i) {
      const auto& [library, names] = imports[i];
      const std::uint32_t addresses = address_cell(i, 0);
      append(descriptors, pe::ImportDescriptor{addresses - table_size(i), 0, 0,
                                               text_start + size_of(texts), addresses});
      append_text(texts, library);
      Bytes lookups;
      for (const std::string& name : names) {
        if (name[0] == '#') {
          append(lookups, pe::kImportByOrdinal | std::stoull(name.substr(1)));
          continue;
        }
        append(lookups, std::uint64_t{text_start} + size_of(texts));
        append(texts, std::uint16_t{0});
        append_text(texts, name);
      }
      append(lookups, std::uint64_t{0});
      tables.insert(tables.end(), lookups.begin(), lookups.end());
      tables.insert(tables.end(), lookups.begin(), lookups.end());
    }
    descriptors.resize(descriptors_size());
    descriptors.insert(descriptors.end(), tables.begin(), tables.end());
    descriptors.insert(descriptors.end(), texts.begin(), texts.end());
    return descriptors;
  }

  Bytes export_section() const {
    if (exports.empty()) return {};
    const auto count = static_cast<std::uint32_t>(exports.size());
    const std::uint32_t addresses = kExports + sizeof(pe::ExportDirectoryTable);
    const std::uint32_t names = addresses + 4 * count, ordinals = names + 4 * count;
    Bytes bytes, texts;
    append(bytes,
           pe::ExportDirectoryTable{0, 0, 0, 0, 0, 1, count, count, addresses, names, ordinals});
    for (const auto& [name, offset] : exports) append(bytes, offset);
    for (const auto& [name, offset] : exports) {
      append(bytes, ordinals + 2 * count + size_of(texts));
      append_text(texts, name);
    }
    for (std::uint32_t i = 0; i < count; ++i) append(bytes, static_cast<std::uint16_t>(i));
    bytes.insert(bytes.end(), texts.begin(), texts.end());
    return bytes;
  }
};

}  // namespace tarn::test
