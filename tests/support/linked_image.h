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

#include "tests/support/image_bytes.h"

namespace tarn::test {

struct LinkedImage {
  static constexpr std::uint64_t kBase = 0x140000000;
  static constexpr std::uint32_t kPage = kImagePage, kText = 0x1000, kData = 0x2000,
                                 kNotes = 0x3000, kDebugLine = 0x4000, kRelocations = 0x5000;
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

  pe::NtHeaders headers;
  ImageBytes text, data, notes, debug_line;
  std::vector<Symbol> symbols;
  std::vector<std::uint32_t> relocations;  // image offsets of cells, ascending by page

  explicit LinkedImage(bool dll = false) : headers(image_headers(dll, kBase)) {
    headers.optional.entry_point = kStart;
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
    append_text(data, value);
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
      append_text(texts, name);
      return at;
    };
    const ImageBytes blocks = relocation_blocks();
    const std::string debug_name = "/" + std::to_string(long_name(".debug_line"));
    const ImageSection sections[] = {
        {".text", kText, text, pe::kSectionCode | pe::kSectionExecute | pe::kSectionRead},
        {".data", kData, data, pe::kSectionInitialised | pe::kSectionRead | pe::kSectionWrite},
        {".tarnimg", kNotes, notes, pe::kSectionInitialised | pe::kSectionRead},
        {debug_name, kDebugLine, debug_line, pe::kSectionInitialised | pe::kSectionRead},
        {".reloc", kRelocations, blocks, pe::kSectionInitialised | pe::kSectionRead},
    };

    pe::NtHeaders nt = headers;
    if (!blocks.empty()) {
      nt.optional.directories[pe::kRelocationDirectory] = {
          kRelocations, static_cast<std::uint32_t>(blocks.size())};
    }
    ImageBytes file = image_file(nt, sections, static_cast<std::uint32_t>(symbols.size()));
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
