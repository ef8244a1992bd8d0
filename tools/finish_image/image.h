// A PE32+ image file in memory: its headers, its sections with their bytes,
// its COFF symbols. Everything is checked as it is read, so that the routines
// below accept any offset; one outside the image is an error.
//
// Offsets are image offsets (from the load base) unless a name says otherwise.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/pe_format.h"

namespace finisher {

namespace pe = tarn::pe;
using Bytes = std::vector<std::uint8_t>;

// Why an image cannot be finished: one line for the user, whatever the names in
// the image are. Thrown.
struct ImageError {
  std::string text;
};
[[noreturn, gnu::format(printf, 1, 2)]] void refuse(const char* format, ...);

struct Section {
  std::string name;
  pe::SectionHeader header;
  Bytes bytes;  // as in the file; what follows up to the virtual size is zero
  bool removed = false;

  std::uint32_t start() const { return header.virtual_address; }
  std::uint32_t memory_size() const {
    return header.virtual_size != 0 ? header.virtual_size : header.raw_size;
  }
  std::uint32_t end() const { return start() + memory_size(); }
  bool is(std::uint32_t characteristic) const {
    return (header.characteristics & characteristic) != 0;
  }
};

struct Symbol {
  std::string name;
  int section = 0;  // index into Image::sections
  std::uint32_t offset = 0;
  bool is_routine = false;  // typed as a function
  bool is_external = false;
  bool is_section = false;  // where one object's part of a section begins
};

struct Image {
  Bytes dos_part;  // the DOS header and stub, up to the PE header
  pe::NtHeaders headers;
  std::vector<Section> sections;
  Bytes symbol_records, symbol_texts;
  std::vector<Symbol> symbols;  // those that are in a section
  bool stripped = false;        // the symbols are not written

  bool is_dll() const { return (headers.file.characteristics & pe::kFileDll) != 0; }
  bool is_finished() const;
  std::uint32_t align(std::uint64_t offset) const;  // up to the section alignment
};

Image read_image(const Bytes& file);

// Lays the file out anew. A removed section's pages are added to the section
// before it, since the sections of an image must follow each other without a
// gap.
Bytes write_image(Image image);

// Removes the debug sections, and the symbols from what is written.
void strip(Image& image);

Section* find_section(Image& image, std::string_view name);
Section* section_at(Image& image, std::uint64_t offset);

// The symbol of that name, or null.
const Symbol* find_symbol(const Image& image, std::string_view name);
// "name" or "name+0x8" of the closest symbol at or before the offset in the
// same section; empty if there is none.
std::string describe(const Image& image, std::uint64_t offset);

// Values in sections. Reading beyond the file's bytes of a section returns
// zeroes; writing there is an error. `what` names the value in the message.
std::uint16_t read_u16(Image& image, std::uint64_t offset, const char* what);
std::uint32_t read_u32(Image& image, std::uint64_t offset, const char* what);
std::uint64_t read_u64(Image& image, std::uint64_t offset, const char* what);
void write_u64(Image& image, std::uint64_t offset, std::uint64_t value, const char* what);
std::string read_text(Image& image, std::uint64_t offset, const char* what);

// Appends a section after the last one that is kept; its image offset.
std::uint32_t append_section(Image& image, const char* name, Bytes bytes,
                             std::uint32_t characteristics);
// Where append_section would put the next section.
std::uint32_t next_section_offset(const Image& image);

// Little-endian values at the end of a byte string.
void append_u32(Bytes& bytes, std::uint32_t value);
void append_u64(Bytes& bytes, std::uint64_t value);

}  // namespace finisher
