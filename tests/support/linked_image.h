// A small program or DLL as the linker would leave it, made in memory: for
// tests of what reads images, on machines that have no linker for them.
//
// Sections of one page each: .text, .data, .tarnimg, .debug_line, .reloc.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "platform/pe_format.h"

namespace tarn::test {

using ImageBytes = std::vector<std::uint8_t>;

template <class T>
void append(ImageBytes& bytes, const T& value) {
  const auto* const from = reinterpret_cast<const std::uint8_t*>(&value);
  bytes.insert(bytes.end(), from, from + sizeof value);
}

struct LinkedImage {
  static constexpr std::uint64_t kBase = 0x140000000;
  static constexpr std::uint32_t kPage = 0x1000, kText = 0x1000, kData = 0x2000, kNotes = 0x3000,
                                 kDebugLine = 0x4000, kRelocations = 0x5000;
  static constexpr std::uint32_t kScriptWord = kData + 0x80, kScriptArea = kData + 0xE8;
  // Routines: the interpreter, main with a small frame, one with a large frame,
  // an initialiser without a frame.
  static constexpr std::uint32_t kStart = kText, kMain = kText + 0x40, kLarge = kText + 0x60,
                                 kInitialiser = kText + 0x80;
  static constexpr std::uint16_t kFunction = 0x20;

  struct Symbol {
    std::string name;
    std::int16_t section;  // from 1
    std::uint32_t value;   // within the section
    std::uint16_t type;
    std::uint8_t storage;
  };

  pe::NtHeaders headers{};
  ImageBytes text, data, notes, debug_line;
  std::vector<Symbol> symbols;
  std::vector<std::uint32_t> relocations;  // image offsets of cells, ascending by page

  explicit LinkedImage(bool dll = false) {
    headers.magic = pe::kPeMagic;
    headers.file.machine = pe::kMachineAmd64;
    headers.file.optional_header_size = sizeof(pe::OptionalHeader);
    headers.file.characteristics = 0x0022 | (dll ? pe::kFileDll : 0);
    pe::OptionalHeader& optional = headers.optional;
    optional.magic = pe::kOptionalMagic64;
    optional.entry_point = kStart;
    optional.image_base = kBase;
    optional.section_alignment = kPage;
    optional.file_alignment = 0x200;
    optional.directory_count = pe::kDirectoryCount;

    text.resize(0x100, 0x90);
    data.resize(0x100);
    const auto code = [this](std::uint32_t at, std::initializer_list<int> bytes) {
      std::size_t i = at - kText;
      for (const int byte : bytes) text[i++] = static_cast<std::uint8_t>(byte);
    };
    code(kStart, {0x48, 0x83, 0xEC, 0x28, 0x48, 0x8D, 0x3D, 0, 0, 0, 0, 0x48, 0x8B, 0x35});
    const std::uint32_t distance = kScriptWord - (kStart + 0x12);
    std::memcpy(text.data() + 0x0E, &distance, sizeof distance);
    code(kMain, {0x48, 0x83, 0xEC, 0x38});
    code(kLarge, {0xB8, 0x34, 0x12, 0x00, 0x00, 0xE8, 0, 0, 0, 0, 0x48, 0x29, 0xC4});

    symbols = {{"__BrackenStartup", 1, 0, kFunction, 2},
               {"main", 1, kMain - kText, kFunction, 2},
               {"large", 1, kLarge - kText, kFunction, 3},
               {"initialiser", 1, kInitialiser - kText, kFunction, 3},
               {"tarn_first_cell", 2, 0, 0, 2},
               {"tarn_script_word", 2, kScriptWord - kData, 0, 2},
               {"__runtime_slots", 2, kScriptWord - kData + 8, 0, 2},
               {"tarn_script_area", 2, kScriptArea - kData, 0, 2},
               {"tarn_script_area_end", 2, kScriptArea - kData, 0, 2}};
  }

  // A cell in .data: a number, or an address that the loader would relocate.
  std::uint32_t number(std::uint64_t value) {
    const auto offset = kData + static_cast<std::uint32_t>(data.size());
    append(data, value);
    return offset;
  }
  std::uint32_t address(std::uint32_t target) {
    relocations.push_back(number(kBase + target));
    return relocations.back();
  }
  std::uint32_t literal(const std::string& value) {
    const auto offset = kData + static_cast<std::uint32_t>(data.size());
    data.insert(data.end(), value.c_str(), value.c_str() + value.size() + 1);
    while (data.size() % 8 != 0) data.push_back(0);
    return offset;
  }

  // A note as the macros of include/tarn/image.h leave it.
  void note(std::uint32_t opcode, std::uint32_t target = 0, const std::string& name = "",
            const std::string& routine = "", std::uint64_t size = 0) {
    append(notes, std::uint64_t{0x4E52415400000000} | opcode);
    for (const std::uint32_t each :
         {target, name.empty() ? 0 : literal(name), routine.empty() ? 0 : literal(routine)}) {
      if (each != 0) relocations.push_back(kNotes + static_cast<std::uint32_t>(notes.size()));
      append(notes, each == 0 ? std::uint64_t{0} : kBase + each);
    }
    append(notes, size);
  }

  // The file. Sections that hold nothing have eight zero bytes.
  ImageBytes file() const {
    ImageBytes texts;  // the string table, without its length
    const auto long_name = [&texts](const std::string& name) {
      const auto at = static_cast<std::uint32_t>(texts.size() + 4);
      texts.insert(texts.end(), name.c_str(), name.c_str() + name.size() + 1);
      return at;
    };
    const ImageBytes blocks = relocation_blocks();
    const std::string debug_name = "/" + std::to_string(long_name(".debug_line"));
    const struct {
      std::string name;
      std::uint32_t start;
      const ImageBytes& bytes;
      std::uint32_t characteristics;
    } sections[] = {
        {".text", kText, text, pe::kSectionCode | pe::kSectionExecute | pe::kSectionRead},
        {".data", kData, data, pe::kSectionInitialised | pe::kSectionRead | pe::kSectionWrite},
        {".tarnimg", kNotes, notes, pe::kSectionInitialised | pe::kSectionRead},
        {debug_name, kDebugLine, debug_line, pe::kSectionInitialised | pe::kSectionRead},
        {".reloc", kRelocations, blocks, pe::kSectionInitialised | pe::kSectionRead},
    };

    pe::NtHeaders nt = headers;
    nt.file.section_count = std::size(sections);
    nt.optional.image_size = kRelocations + kPage;
    nt.optional.headers_size = 0x400;
    if (!blocks.empty()) {
      nt.optional.directories[pe::kRelocationDirectory] = {
          kRelocations, static_cast<std::uint32_t>(blocks.size())};
    }
    ImageBytes contents, table;
    for (const auto& section : sections) {
      pe::SectionHeader header{};
      std::memcpy(header.name, section.name.data(), section.name.size());
      header.virtual_address = section.start;
      header.virtual_size =
          static_cast<std::uint32_t>(section.bytes.empty() ? 8 : section.bytes.size());
      header.raw_offset = 0x400 + static_cast<std::uint32_t>(contents.size());
      header.characteristics = section.characteristics;
      contents.insert(contents.end(), section.bytes.begin(), section.bytes.end());
      contents.resize((contents.size() + 0x1FF) / 0x200 * 0x200);
      header.raw_size = 0x400 + static_cast<std::uint32_t>(contents.size()) - header.raw_offset;
      if (header.raw_size == 0) header.raw_offset = 0;
      append(table, header);
    }
    nt.file.symbol_table = 0x400 + static_cast<std::uint32_t>(contents.size());
    nt.file.symbol_count = static_cast<std::uint32_t>(symbols.size());

    ImageBytes file(0x80);
    pe::DosHeader dos{pe::kDosMagic, {}, 0x80};
    std::memcpy(file.data(), &dos, sizeof dos);
    append(file, nt);
    file.insert(file.end(), table.begin(), table.end());
    file.resize(0x400);
    file.insert(file.end(), contents.begin(), contents.end());
    for (const Symbol& symbol : symbols) {
      append(file, std::uint32_t{0});
      append(file, long_name(symbol.name));
      append(file, symbol.value);
      append(file, symbol.section);
      append(file, symbol.type);
      append(file, symbol.storage);
      append(file, std::uint8_t{0});
    }
    append(file, static_cast<std::uint32_t>(texts.size() + 4));
    file.insert(file.end(), texts.begin(), texts.end());
    return file;
  }

 private:
  ImageBytes relocation_blocks() const {
    ImageBytes blocks;
    for (std::uint32_t page = kText; page <= kNotes; page += kPage) {
      ImageBytes entries;
      for (const std::uint32_t cell : relocations) {
        if (cell / kPage * kPage != page) continue;
        append(entries, static_cast<std::uint16_t>(pe::kRelocDir64 << 12 | cell % kPage));
      }
      if (entries.empty()) continue;
      if (entries.size() % 4 != 0) append(entries, std::uint16_t{0});
      append(blocks, pe::RelocationBlock{page, static_cast<std::uint32_t>(8 + entries.size())});
      blocks.insert(blocks.end(), entries.begin(), entries.end());
    }
    return blocks;
  }
};

}  // namespace tarn::test
