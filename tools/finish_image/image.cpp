#include "image.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "tools/terminal_text.h"

namespace finisher {
namespace {

constexpr std::size_t kSymbolSize = 18;
constexpr std::uint8_t kStorageExternal = 2;
constexpr std::uint8_t kStorageStatic = 3;
constexpr std::uint16_t kTypeFunction = 0x20;
constexpr std::size_t kDebugEntrySize = 28;
constexpr std::uint16_t kFileLineNumbersStripped = 0x0004;
constexpr std::uint16_t kFileLocalSymbolsStripped = 0x0008;
constexpr std::uint16_t kFileDebugStripped = 0x0200;
constexpr std::size_t kChecksumOffset = offsetof(pe::OptionalHeader, checksum);
// Far beyond any image, and low enough that sums of offsets stay in 32 bits.
constexpr std::uint32_t kLargestImage = 0x40000000;
constexpr std::uint32_t kMostSections = 96;  // the system's loader takes no more
constexpr std::uint32_t kPageSize = 4096;
constexpr std::uint32_t kSectorSize = 512;

const std::uint8_t* bytes_of(const Bytes& file, std::uint64_t at, std::uint64_t size,
                             const char* what) {
  if (at > file.size() || size > file.size() - at) refuse("the file ends inside %s", what);
  return file.data() + at;
}

template <typename Record>
Record record_at(const Bytes& file, std::uint64_t at, const char* what) {
  Record record;
  std::memcpy(&record, bytes_of(file, at, sizeof record, what), sizeof record);
  return record;
}

bool is_power_of_two(std::uint32_t value) { return value != 0 && (value & (value - 1)) == 0; }

std::uint64_t round_up(std::uint64_t value, std::uint64_t unit) {
  return (value + unit - 1) / unit * unit;
}

void check_headers(const pe::NtHeaders& headers) {
  if (headers.magic != pe::kPeMagic) refuse("not a PE image");
  if (headers.file.machine != pe::kMachineAmd64 || headers.optional.magic != pe::kOptionalMagic64 ||
      headers.file.optional_header_size != sizeof(pe::OptionalHeader) ||
      headers.optional.directory_count != pe::kDirectoryCount) {
    refuse("not an x86-64 image");
  }
  if ((headers.file.characteristics & pe::kFileExecutable) == 0) refuse("not a linked image");
  if (headers.optional.section_alignment != kPageSize ||
      !is_power_of_two(headers.optional.file_alignment) ||
      headers.optional.file_alignment < kSectorSize ||
      headers.optional.file_alignment > kPageSize) {
    refuse("sections must be aligned to %u bytes in memory and to %u to %u in the file", kPageSize,
           kSectorSize, kPageSize);
  }
  if (headers.file.section_count == 0 || headers.file.section_count > kMostSections) {
    refuse("%u sections", headers.file.section_count);
  }
}

std::string symbol_text(const Bytes& texts, std::uint64_t at) {
  if (at < 4 || at >= texts.size()) refuse("a symbol name lies outside the string table");
  const auto end = std::find(texts.begin() + static_cast<std::ptrdiff_t>(at), texts.end(), 0);
  if (end == texts.end()) refuse("the string table does not end in a zero byte");
  return {texts.begin() + static_cast<std::ptrdiff_t>(at), end};
}

std::string short_name(const char* name) { return {name, strnlen(name, 8)}; }

void read_symbol_table(Image& image, const Bytes& file) {
  const std::uint64_t start = image.headers.file.symbol_table;
  const std::uint64_t size = std::uint64_t{image.headers.file.symbol_count} * kSymbolSize;
  if (start == 0 || size == 0) return;
  const std::uint8_t* records = bytes_of(file, start, size, "the symbol table");
  image.symbol_records.assign(records, records + size);
  const std::uint32_t text_size = record_at<std::uint32_t>(file, start + size, "the string table");
  if (text_size < 4) refuse("the string table is damaged");
  const std::uint8_t* texts = bytes_of(file, start + size, text_size, "the string table");
  image.symbol_texts.assign(texts, texts + text_size);
}

std::string symbol_name(const Image& image, const std::uint8_t* record) {
  std::uint32_t zero, at;
  std::memcpy(&zero, record, 4);
  std::memcpy(&at, record + 4, 4);
  if (zero == 0) return symbol_text(image.symbol_texts, at);
  char name[9] = {};
  std::memcpy(name, record, 8);
  return name;
}

void read_symbols(Image& image) {
  const std::size_t count = image.symbol_records.size() / kSymbolSize;
  for (std::size_t i = 0; i < count; i++) {
    const std::uint8_t* record = image.symbol_records.data() + i * kSymbolSize;
    std::uint32_t value;
    std::int16_t section;
    std::uint16_t type;
    std::memcpy(&value, record + 8, 4);
    std::memcpy(&section, record + 12, 2);
    std::memcpy(&type, record + 14, 2);
    const std::uint8_t storage = record[16], auxiliary = record[17];
    i += auxiliary;
    if (section <= 0) continue;
    if (static_cast<std::size_t>(section) > image.sections.size()) {
      refuse("a symbol lies in section %d, which does not exist", section);
    }
    const Section& home = image.sections[static_cast<std::size_t>(section) - 1];
    if (value > home.memory_size()) continue;
    Symbol symbol;
    symbol.name = symbol_name(image, record);
    symbol.section = section - 1;
    symbol.offset = home.start() + value;
    symbol.is_routine = type == kTypeFunction;
    symbol.is_external = storage == kStorageExternal;
    symbol.is_section = storage == kStorageStatic && symbol.name.starts_with('.');
    image.symbols.push_back(std::move(symbol));
  }
}

void read_sections(Image& image, const Bytes& file, std::uint64_t at) {
  std::uint32_t next = 0;
  std::uint64_t bytes_taken = 0;
  for (unsigned i = 0; i < image.headers.file.section_count; i++) {
    Section section;
    section.header =
        record_at<pe::SectionHeader>(file, at + i * sizeof section.header, "the section headers");
    section.name = short_name(section.header.name);
    if (section.name.starts_with('/') && !image.symbol_texts.empty()) {
      section.name =
          symbol_text(image.symbol_texts, std::strtoul(section.name.c_str() + 1, nullptr, 10));
    }
    const pe::SectionHeader& header = section.header;
    const char* name = section.name.c_str();
    if (header.virtual_address > kLargestImage ||
        section.memory_size() > kLargestImage - header.virtual_address) {
      refuse("section %s lies beyond the largest image", name);
    }
    if (i == 0 ? header.virtual_address % kPageSize != 0 || header.virtual_address == 0
               : header.virtual_address != next) {
      refuse("section %s does not follow the one before it", name);
    }
    if (header.raw_offset != 0 && header.raw_size != 0) {
      const std::uint8_t* raw = bytes_of(file, header.raw_offset, header.raw_size, name);
      bytes_taken += header.raw_size;
      if (bytes_taken > file.size()) refuse("section %s shares its bytes with another", name);
      section.bytes.assign(raw, raw + header.raw_size);
    }
    next = image.align(section.end());
    if (next == header.virtual_address) refuse("section %s has no size", name);
    image.sections.push_back(std::move(section));
  }
}

// Section numbers in the symbols follow the sections that are left; symbols of
// a removed section become absolute.
void renumber_symbols(Image& image) {
  std::vector<std::int16_t> numbers;
  std::int16_t number = 0;
  for (const Section& section : image.sections) {
    numbers.push_back(section.removed ? std::int16_t{-1} : ++number);
  }
  const std::size_t count = image.symbol_records.size() / kSymbolSize;
  for (std::size_t i = 0; i < count; i++) {
    std::uint8_t* record = image.symbol_records.data() + i * kSymbolSize;
    std::int16_t section;
    std::memcpy(&section, record + 12, 2);
    if (section > 0) {
      std::memcpy(record + 12, &numbers[static_cast<std::size_t>(section) - 1], 2);
    }
    i += record[17];
  }
}

// The debug directory holds offsets in the file, which have moved.
void move_debug_directory(Image& image) {
  const pe::DataDirectory& directory = image.headers.optional.directories[pe::kDebugDirectory];
  if (directory.size == 0) return;
  Section* section = section_at(image, directory.offset);
  const std::uint64_t at = section == nullptr ? 0 : directory.offset - section->start();
  if (section == nullptr || at > section->bytes.size() ||
      directory.size > section->bytes.size() - at) {
    refuse("the debug directory lies outside its section");
  }
  for (std::uint64_t i = 0; i + kDebugEntrySize <= directory.size; i += kDebugEntrySize) {
    std::uint8_t* entry = section->bytes.data() + at + i;
    std::uint32_t offset;
    std::memcpy(&offset, entry + 20, 4);
    const Section* home = section_at(image, offset);
    if (home == nullptr) refuse("a debug record lies outside the image");
    const std::uint32_t raw = home->header.raw_offset + (offset - home->start());
    std::memcpy(entry + 24, &raw, 4);
  }
}

template <typename Value>
Value read_value(Image& image, std::uint64_t offset, const char* what) {
  const Section* section = section_at(image, offset);
  if (section == nullptr || section->end() - offset < sizeof(Value)) {
    refuse("%s at 0x%llx lies outside the image", what, static_cast<unsigned long long>(offset));
  }
  const std::size_t at = static_cast<std::size_t>(offset - section->start());
  Value value = 0;
  if (at < section->bytes.size()) {
    std::memcpy(&value, section->bytes.data() + at,
                std::min(sizeof value, section->bytes.size() - at));
  }
  return value;
}

// The published sum of an image: its 16-bit words with end-around carry, the
// field itself taken as zero, plus the file's length.
std::uint32_t image_checksum(const Bytes& file) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < file.size(); i += 2) {
    const unsigned high = i + 1 < file.size() ? file[i + 1] : 0u;
    sum += file[i] | high << 8;
    sum = (sum & 0xFFFF) + (sum >> 16);
  }
  return sum + static_cast<std::uint32_t>(file.size());
}

}  // namespace

void refuse(const char* format, ...) {
  char text[1000];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  throw ImageError{printable(text)};
}

bool Image::is_finished() const {
  return dos_part.size() >= pe::kRoutineTableFieldOffset + 4 &&
         std::memcmp(dos_part.data() + pe::kImageMarkOffset, pe::kImageMark,
                     pe::kImageMarkLength) == 0;
}

std::uint32_t Image::align(std::uint64_t offset) const {
  return static_cast<std::uint32_t>(round_up(offset, headers.optional.section_alignment));
}

Image read_image(const Bytes& file) {
  Image image;
  const auto dos = record_at<pe::DosHeader>(file, 0, "the DOS header");
  if (dos.magic != pe::kDosMagic) refuse("not a PE image");
  if (dos.pe_offset < sizeof dos) refuse("the PE header overlaps the DOS header");
  image.headers = record_at<pe::NtHeaders>(file, dos.pe_offset, "the PE header");
  check_headers(image.headers);
  image.dos_part.assign(file.begin(), file.begin() + dos.pe_offset);
  read_symbol_table(image, file);
  read_sections(image, file, std::uint64_t{dos.pe_offset} + sizeof image.headers);
  read_symbols(image);
  return image;
}

Bytes write_image(Image image) {
  Section* before = nullptr;
  std::uint32_t image_end = 0;
  for (Section& section : image.sections) {
    if (section.removed) continue;
    if (before == nullptr && &section != image.sections.data()) refuse("the first section is lost");
    if (before != nullptr && image.align(before->end()) != section.start()) {
      before->header.virtual_size = section.start() - before->start();
    }
    before = &section;
    image_end = section.end();
  }
  renumber_symbols(image);
  std::erase_if(image.sections, [](const Section& section) { return section.removed; });

  pe::NtHeaders& headers = image.headers;
  if (image.sections.empty() || image.sections.size() > kMostSections) refuse("too many sections");
  headers.file.section_count = static_cast<std::uint16_t>(image.sections.size());
  const std::uint32_t unit = headers.optional.file_alignment;
  const std::uint64_t headers_end =
      image.dos_part.size() + sizeof headers + image.sections.size() * sizeof(pe::SectionHeader);
  if (headers_end > image.sections.front().start()) {
    refuse("no room for %u section headers before the first section", headers.file.section_count);
  }
  headers.optional.headers_size = static_cast<std::uint32_t>(round_up(headers_end, unit));
  headers.optional.image_size = image.align(image_end);
  headers.optional.code_size = headers.optional.initialised_size = 0;
  std::uint64_t at = headers.optional.headers_size;
  for (Section& section : image.sections) {
    section.bytes.resize(round_up(section.bytes.size(), unit));
    section.header.raw_size = static_cast<std::uint32_t>(section.bytes.size());
    section.header.raw_offset = section.bytes.empty() ? 0 : static_cast<std::uint32_t>(at);
    at += section.bytes.size();
    if (section.is(pe::kSectionCode)) headers.optional.code_size += section.header.raw_size;
    if (section.is(pe::kSectionInitialised)) {
      headers.optional.initialised_size += section.header.raw_size;
    }
    if (image.stripped && section.header.name[0] == '/') {
      std::memset(section.header.name, 0, sizeof section.header.name);
      std::memcpy(section.header.name, section.name.data(),
                  std::min(section.name.size(), sizeof section.header.name));
    }
  }
  if (image.stripped) {
    image.symbol_records.clear();
    headers.file.characteristics |=
        kFileLineNumbersStripped | kFileLocalSymbolsStripped | kFileDebugStripped;
  }
  const bool has_symbols = !image.symbol_records.empty();
  headers.file.symbol_table = has_symbols ? static_cast<std::uint32_t>(at) : 0;
  headers.file.symbol_count =
      has_symbols ? static_cast<std::uint32_t>(image.symbol_records.size() / kSymbolSize) : 0;
  move_debug_directory(image);
  headers.optional.checksum = 0;

  Bytes file = image.dos_part;
  const auto append = [&file](const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    file.insert(file.end(), bytes, bytes + size);
  };
  append(&headers, sizeof headers);
  for (const Section& section : image.sections) append(&section.header, sizeof section.header);
  file.resize(headers.optional.headers_size);
  for (const Section& section : image.sections) append(section.bytes.data(), section.bytes.size());
  if (has_symbols) {
    append(image.symbol_records.data(), image.symbol_records.size());
    append(image.symbol_texts.data(), image.symbol_texts.size());
  }
  const std::uint32_t sum = image_checksum(file);
  std::memcpy(
      file.data() + image.dos_part.size() + offsetof(pe::NtHeaders, optional) + kChecksumOffset,
      &sum, sizeof sum);
  return file;
}

void strip(Image& image) {
  image.stripped = true;
  for (Section& section : image.sections) section.removed |= section.name.starts_with(".debug_");
}

Section* find_section(Image& image, std::string_view name) {
  for (Section& section : image.sections) {
    if (section.name == name && !section.removed) return &section;
  }
  return nullptr;
}

Section* section_at(Image& image, std::uint64_t offset) {
  for (Section& section : image.sections) {
    if (!section.removed && offset >= section.start() && offset < section.end()) return &section;
  }
  return nullptr;
}

const Symbol* find_symbol(const Image& image, std::string_view name) {
  for (const Symbol& symbol : image.symbols) {
    if (symbol.name == name) return &symbol;
  }
  return nullptr;
}

std::string describe(const Image& image, std::uint64_t offset) {
  const Symbol* best = nullptr;
  for (const Symbol& symbol : image.symbols) {
    const Section& home = image.sections[static_cast<std::size_t>(symbol.section)];
    if (symbol.offset > offset || offset >= home.end() || symbol.is_section) continue;
    const auto rank = [](const Symbol& s) {
      return std::pair(s.offset, s.is_routine || !s.is_external);
    };
    if (best == nullptr || rank(symbol) > rank(*best)) best = &symbol;
  }
  if (best == nullptr) return "";
  if (best->offset == offset) return best->name;
  char distance[20];
  std::snprintf(distance, sizeof distance, "+0x%x", static_cast<unsigned>(offset - best->offset));
  return best->name + distance;
}

std::uint16_t read_u16(Image& image, std::uint64_t offset, const char* what) {
  return read_value<std::uint16_t>(image, offset, what);
}

std::uint32_t read_u32(Image& image, std::uint64_t offset, const char* what) {
  return read_value<std::uint32_t>(image, offset, what);
}

std::uint64_t read_u64(Image& image, std::uint64_t offset, const char* what) {
  return read_value<std::uint64_t>(image, offset, what);
}

void write_u64(Image& image, std::uint64_t offset, std::uint64_t value, const char* what) {
  Section* section = section_at(image, offset);
  if (section == nullptr || offset - section->start() + 8 > section->bytes.size()) {
    refuse("%s at 0x%llx has no bytes in the file", what, static_cast<unsigned long long>(offset));
  }
  std::memcpy(section->bytes.data() + (offset - section->start()), &value, 8);
}

std::string read_text(Image& image, std::uint64_t offset, const char* what) {
  const Section* section = section_at(image, offset);
  if (section != nullptr) {
    const auto at = static_cast<std::ptrdiff_t>(offset - section->start());
    if (static_cast<std::size_t>(at) < section->bytes.size()) {
      const auto end = std::find(section->bytes.begin() + at, section->bytes.end(), 0);
      if (end != section->bytes.end()) return {section->bytes.begin() + at, end};
    }
  }
  refuse("%s at 0x%llx is not a text", what, static_cast<unsigned long long>(offset));
}

std::uint32_t next_section_offset(const Image& image) {
  std::uint32_t end = 0;
  for (const Section& section : image.sections) {
    if (!section.removed) end = section.end();
  }
  return image.align(end);
}

std::uint32_t append_section(Image& image, const char* name, Bytes bytes,
                             std::uint32_t characteristics) {
  Section section{};
  section.name = name;
  section.header.virtual_address = next_section_offset(image);
  section.header.virtual_size = static_cast<std::uint32_t>(bytes.size());
  section.header.characteristics = characteristics;
  std::memcpy(section.header.name, name, strnlen(name, sizeof section.header.name));
  section.bytes = std::move(bytes);
  image.sections.push_back(std::move(section));
  return image.sections.back().start();
}

void append_u32(Bytes& bytes, std::uint32_t value) {
  for (int i = 0; i < 4; i++) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void append_u64(Bytes& bytes, std::uint64_t value) {
  for (int i = 0; i < 8; i++) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

}  // namespace finisher
