#include "platform/posix/loader/image_loader.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/output.h"
#include "platform/posix/memory/memory.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kPageSize = 4096;
// The traceback looks for an image's start on multiples of this.
constexpr std::uint64_t kBaseUnit = 0x10000;
constexpr std::uint32_t kSectorSize = 512;
constexpr char kLongHeaders[] = "is damaged: its headers are too long";
constexpr std::uint32_t kMostLibraries = 256;
constexpr std::uint32_t kMostImports = 65'536;
constexpr std::uint32_t kLongestName = 2047;
constexpr char kLibraryName[] = "TARNLIBC64.DLL";
constexpr std::uint64_t kNameOffsetBits = 0x7FFFFFFF;  // of a lookup that is no ordinal

bool lies_within(std::uint64_t at, std::uint64_t size, std::uint64_t whole) {
  return at <= whole && size <= whole - at;
}

template <typename Record>
bool read_record(const std::uint8_t* bytes, std::uint64_t whole, std::uint64_t at, Record* record) {
  if (!lies_within(at, sizeof *record, whole)) return false;
  memcpy(record, bytes + at, sizeof *record);
  return true;
}

template <typename Record>
bool read_mapped(const Image& image, std::uint64_t at, Record* record) {
  return read_record(image.base, image.size, at, record);
}

// The string at an image offset, or null if it is too long or runs off the
// image.
const char* mapped_text(const Image& image, std::uint64_t at) {
  if (at >= image.size) return nullptr;
  const std::uint64_t left = image.size - at;
  const std::uint64_t limit = left < kLongestName + 1 ? left : kLongestName + 1;
  const auto* const text = reinterpret_cast<const char*>(image.base + at);
  return memchr(text, '\0', limit) ? text : nullptr;
}

std::uint64_t whole_pages(std::uint64_t size) {
  return (size + kPageSize - 1) & ~std::uint64_t{kPageSize - 1};
}

// ---- Headers ------------------------------------------------------------------

bool check_headers(const pe::NtHeaders& headers, LoadError* error) {
  if (headers.file.machine != pe::kMachineAmd64) {
    return refuse(error, "is for another processor (machine 0x%x), not for x86-64",
                  headers.file.machine);
  }
  if (headers.optional.magic != pe::kOptionalMagic64 ||
      headers.file.optional_header_size != sizeof headers.optional ||
      headers.optional.directory_count != pe::kDirectoryCount) {
    return refuse(error, "is not a 64-bit image");
  }
  if (!(headers.file.characteristics & pe::kFileExecutable)) {
    return refuse(error, "was not linked completely");
  }
  if (headers.optional.section_alignment != kPageSize) {
    return refuse(error, "aligns its sections to %u bytes, not to %u",
                  headers.optional.section_alignment, kPageSize);
  }
  if (headers.file.section_count == 0 || headers.file.section_count > kMostSections) {
    return refuse(error, "has %u sections, not 1 to %u", headers.file.section_count, kMostSections);
  }
  if (headers.optional.image_size > kLargestImage) {
    return refuse(error, "has an image of %u bytes, more than %llu", headers.optional.image_size,
                  static_cast<unsigned long long>(kLargestImage));
  }
  if (headers.optional.stack_reserve > kLargestStack) {
    return refuse(error, "asks for a stack of %llu bytes, more than %llu",
                  static_cast<unsigned long long>(headers.optional.stack_reserve),
                  static_cast<unsigned long long>(kLargestStack));
  }
  return true;
}

bool check_directories(const pe::OptionalHeader& header, LoadError* error) {
  static constexpr struct {
    std::size_t directory;
    const char* what;
  } kUnsupported[] = {
      {pe::kRelocationDirectory, "an operating-system relocation table beside its script"},
      {pe::kTlsDirectory, "thread-local storage"},
      {pe::kDelayImportDirectory, "delayed imports"},
      {pe::kClrDirectory, "managed code"},
  };
  for (const auto& [directory, what] : kUnsupported) {
    if (header.directories[directory].size != 0) {
      return refuse(error, "has %s, which a finished image cannot have", what);
    }
  }
  for (std::size_t i = 0; i < pe::kDirectoryCount; ++i) {
    const pe::DataDirectory& directory = header.directories[i];
    // Only signatures are not part of the image in memory.
    if (i != pe::kSecurityDirectory &&
        !lies_within(directory.offset, directory.size, header.image_size)) {
      return refuse(error, "is damaged: data directory %u lies outside the image",
                    static_cast<unsigned>(i));
    }
  }
  return true;
}

bool check_section(const FileBytes& file, const pe::SectionHeader& header, std::uint64_t start,
                   std::uint32_t image_size, ImageSection* section, LoadError* error) {
  const std::uint32_t size = header.virtual_size ? header.virtual_size : header.raw_size;
  const std::uint64_t end = whole_pages(std::uint64_t{header.virtual_address} + size);
  const int name_size = sizeof header.name;
  if (header.virtual_address != start) {
    return refuse(error, "is damaged: section %.*s does not follow the one before it", name_size,
                  header.name);
  }
  if (size == 0 || end > image_size) {
    return refuse(error, "is damaged: section %.*s does not fit the image", name_size, header.name);
  }
  const bool has_bytes = header.raw_offset != 0 && header.raw_size != 0;
  if (has_bytes && header.raw_offset % kSectorSize != 0) {
    return refuse(error,
                  "is damaged: section %.*s is at byte %u of the file, "
                  "not a multiple of %u",
                  name_size, header.name, header.raw_offset, kSectorSize);
  }
  if (has_bytes && !lies_within(header.raw_offset, header.raw_size, file.size)) {
    return refuse(error, "is cut off: the file ends inside section %.*s", name_size, header.name);
  }
  section->start = header.virtual_address;
  section->end = static_cast<std::uint32_t>(end);
  section->raw_offset = header.raw_offset;
  // Debug data, which the system may discard, is for debuggers, and they read the file.
  constexpr std::uint32_t kDebugData = pe::kSectionDiscardable | pe::kSectionRead;
  constexpr std::uint32_t kMore = pe::kSectionWrite | pe::kSectionExecute;
  const bool is_loaded = (header.characteristics & (kDebugData | kMore)) != kDebugData;
  section->raw_size = has_bytes && is_loaded ? header.raw_size : 0;
  if (section->raw_size > section->end - section->start) {
    section->raw_size = section->end - section->start;
  }
  section->characteristics = header.characteristics;
  return true;
}

// Sections follow each other without a gap, as Windows wants them.
bool check_sections(const FileBytes& file, std::uint64_t at, Image* image, LoadError* error) {
  const std::uint64_t headers_end = at + image->section_count * sizeof(pe::SectionHeader);
  if (image->headers_size > file.size || headers_end > file.size) {
    return refuse(error, "is cut off: the file ends inside its headers");
  }
  if (headers_end > file.held) return refuse(error, kLongHeaders);
  if (image->headers_size < headers_end || image->headers_size > image->size) {
    return refuse(error, "is damaged: its headers have a wrong size");
  }
  std::uint64_t start = whole_pages(image->headers_size);
  for (std::uint32_t i = 0; i < image->section_count; ++i) {
    pe::SectionHeader header{};
    read_record(file.bytes, file.held, at + i * sizeof header, &header);
    if (i == 0 && header.virtual_address > start && header.virtual_address % kPageSize == 0) {
      start = header.virtual_address;  // room for more headers
    }
    ImageSection* const section = &image->sections[i];
    if (!check_section(file, header, start, image->size, section, error)) return false;
    start = section->end;
  }
  return true;
}

bool check_entry(const Image& image, LoadError* error) {
  if (image.entry == 0) return refuse(error, "has no entry point");
  return is_code(image, image.entry) ||
         refuse(error, "is damaged: its entry point is not in an executable section");
}

// ---- Imports and exports ------------------------------------------------------

// Only into a section: the headers stay as they are.
bool write_address(const Image& image, std::uint64_t at, const void* address) {
  if (at < image.sections[0].start || !lies_within(at, sizeof address, image.size)) return false;
  memcpy(image.base + at, &address, sizeof address);
  return true;
}

bool damaged_imports(LoadError* error) {
  return refuse(error, "is damaged: its import table points outside the image");
}

bool bind_import(const Image& image, const ImportSource& source, const void* library,
                 const char* library_name, std::uint64_t lookup, void** address, LoadError* error) {
  if (lookup & pe::kImportByOrdinal) {
    const auto ordinal = static_cast<std::uint32_t>(lookup & 0xFFFF);
    *address = source.find(library, nullptr, ordinal);
    if (*address) return true;
    return refuse(error, "imports number %u of %s, which it does not have", ordinal, library_name);
  }
  if (lookup & ~kNameOffsetBits) return damaged_imports(error);
  const char* const name = mapped_text(image, lookup + sizeof(std::uint16_t));
  if (!name) return damaged_imports(error);
  *address = source.find(library, name, 0);
  if (*address) return true;
  return refuse(error, "imports %s, which %s does not have", name, library_name);
}

bool bind_library(const Image& image, const ImportSource& source,
                  const pe::ImportDescriptor& descriptor, std::uint32_t* bound, LoadError* error) {
  // A copy: the writes below may overwrite the image's own string.
  char name[kLongestName + 1];
  const char* const text = mapped_text(image, descriptor.name);
  if (!text) return damaged_imports(error);
  strcpy(name, text);
  const void* const library = source.open(source.context, name, error);
  if (!library) return false;
  const std::uint64_t lookups =
      descriptor.lookup_table ? descriptor.lookup_table : descriptor.address_table;
  for (std::uint64_t i = 0;; i += sizeof(std::uint64_t)) {
    std::uint64_t lookup = 0;
    if (!read_mapped(image, lookups + i, &lookup)) return damaged_imports(error);
    if (lookup == 0) return true;
    if (++*bound > kMostImports) return refuse(error, "has more than %u imports", kMostImports);
    void* address = nullptr;
    if (!bind_import(image, source, library, name, lookup, &address, error)) return false;
    if (!write_address(image, descriptor.address_table + i, address)) {
      return damaged_imports(error);
    }
  }
}

bool read_export_table(const Image& image, pe::ExportDirectoryTable* table) {
  return image.exports.size != 0 && read_mapped(image, image.exports.offset, table);
}

void* export_at(const Image& image, const pe::ExportDirectoryTable& table, std::uint32_t index) {
  std::uint32_t offset = 0;
  if (index >= table.address_count ||
      !read_mapped(image, table.addresses + std::uint64_t{index} * sizeof offset, &offset) ||
      offset == 0 || offset >= image.size) {
    return nullptr;
  }
  const bool forwarded =
      offset >= image.exports.offset && offset - image.exports.offset < image.exports.size;
  return forwarded ? nullptr : image.base + offset;
}

constexpr int kNoProtection = -1;

constexpr int kAsMapped = PROT_READ | PROT_WRITE;

// Constants stay as they are mapped: the start-up script relocates them, and protects them
// at its end. To change their rights twice more is a thirtieth of what a start costs.
int protection_of(std::uint32_t characteristics) {
  constexpr std::uint32_t kNoConstants =
      pe::kSectionWrite | pe::kSectionExecute | pe::kSectionDiscardable;
  if ((characteristics & kNoConstants) == 0) return kAsMapped;
  int protection = PROT_READ;
  if (characteristics & pe::kSectionWrite) protection |= PROT_WRITE;
  if (characteristics & pe::kSectionExecute) protection |= PROT_EXEC;
  return protection;
}

// With this in the environment images lie where the system puts other memory, at random. By
// default they lie as they were linked, so that reports and addresses can be compared.
constexpr char kRandomBases[] = "TARN_RANDOM_BASES";

// Address space of that size at a multiple of kBaseUnit; null if there is none.
std::uint8_t* reserve_pages(std::uint64_t preferred, std::uint64_t size) {
  constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
  if (preferred != 0 && preferred % kBaseUnit == 0 && getenv(kRandomBases) == nullptr) {
    void* const wanted = reinterpret_cast<void*>(preferred);
    void* const got = mmap(wanted, size, kAsMapped, kFlags | MAP_FIXED_NOREPLACE, -1, 0);
    if (got == wanted) return static_cast<std::uint8_t*>(got);
    if (got != MAP_FAILED) munmap(got, size);  // an older kernel takes it as a hint
  }
  void* const all = mmap(nullptr, size + kBaseUnit, kAsMapped, kFlags, -1, 0);
  if (all == MAP_FAILED) return nullptr;
  auto* const start = static_cast<std::uint8_t*>(all);
  const std::uint64_t before = -reinterpret_cast<std::uint64_t>(start) & (kBaseUnit - 1);
  if (before != 0) munmap(start, before);
  munmap(start + before + size, kBaseUnit - before);
  return start + before;
}

// Takes the pages that the file's bytes go to, which is faster than one by one.
// Where the system cannot, it does so when they are touched.
void take_filled_pages(const Image& image) {
  std::uint64_t begin = 0, end = whole_pages(image.headers_size);
  for (std::uint32_t i = 0; i <= image.section_count; ++i) {
    const bool last = i == image.section_count;
    if (last || image.sections[i].start != end) {
      if (begin < end) madvise(image.base + begin, end - begin, MADV_POPULATE_WRITE);
      if (last) return;
      begin = image.sections[i].start;
    }
    end = image.sections[i].start + whole_pages(image.sections[i].raw_size);
  }
}

// Read, not mapped: the file may be truncated while it is in use.
bool read_at(int descriptor, std::uint64_t at, std::uint64_t size, void* to, LoadError* error) {
  for (std::uint64_t done = 0; done < size;) {
    const ssize_t got = pread(descriptor, static_cast<char*>(to) + done, size - done,
                              static_cast<off_t>(at + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return refuse(error, "%s", strerror(errno));
    if (got == 0) return refuse(error, "was changed while it was read");
    done += static_cast<std::uint64_t>(got);
  }
  return true;
}

bool copy_bytes(const FileBytes& file, std::uint64_t at, std::uint64_t size, std::uint8_t* to,
                LoadError* error) {
  const std::uint64_t held = at >= file.held ? 0 : size < file.held - at ? size : file.held - at;
  if (held > 0) memcpy(to, file.bytes + at, held);
  return held == size || read_at(file.descriptor, at + held, size - held, to + held, error);
}

// For the reason of a refusal alone: it reads the whole file.
bool file_holds(const FileBytes& file, const char* text) {
  void* const all =
      mmap(nullptr, file.size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (all == MAP_FAILED) return false;
  LoadError ignored;
  const bool holds = copy_bytes(file, 0, file.size, static_cast<std::uint8_t*>(all), &ignored) &&
                     memmem(all, file.size, text, strlen(text)) != nullptr;
  munmap(all, file.size);
  return holds;
}

}  // namespace

bool refuse(LoadError* error, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(error->text, sizeof error->text, format, arguments);
  va_end(arguments);
  char before = '\0';
  for (char* p = error->text; *p; before = *p++) {
    if (is_terminal_control(before, *p)) *p = '?';
  }
  error->not_found = false;
  error->is_folder = false;
  return false;
}

bool read_image_file(const char* host_path, std::uint8_t (&first)[kFirstBytes], FileBytes* file,
                     LoadError* error) {
  *file = {nullptr, 0};
  // Without waiting for the other end of a pipe.
  const int descriptor = open(host_path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) {
    const int reason = errno;
    refuse(error, "%s", reason == ENOENT ? "there is no such file" : strerror(reason));
    error->not_found = reason == ENOENT || reason == ENOTDIR;
    return false;
  }
  struct stat facts;
  bool good = false;
  if (fstat(descriptor, &facts) != 0) {
    refuse(error, "%s", strerror(errno));
  } else if (!S_ISREG(facts.st_mode)) {
    const bool is_folder = S_ISDIR(facts.st_mode);
    refuse(error, is_folder ? "is a directory" : "is not a regular file");
    error->is_folder = is_folder;
  } else if (facts.st_size == 0) {
    refuse(error, "is empty");
  } else if (static_cast<std::uint64_t>(facts.st_size) > kLargestImage) {
    refuse(error, "is too large");
  } else {
    good = true;
  }
  const auto size = static_cast<std::uint64_t>(facts.st_size);
  const std::uint64_t held = size < kFirstBytes ? size : kFirstBytes;
  if (good && read_at(descriptor, 0, held, first, error)) {
    *file = {first, size, held, descriptor};
    return true;
  }
  close(descriptor);
  return false;
}

void close_image_file(FileBytes* file) {
  if (file->descriptor >= 0) close(file->descriptor);
  *file = {nullptr, 0};
}

bool is_code(const Image& image, std::uint64_t offset) {
  for (std::uint32_t i = 0; i < image.section_count; ++i) {
    const ImageSection& section = image.sections[i];
    if (offset >= section.start && offset < section.end) {
      return (section.characteristics & pe::kSectionExecute) != 0;
    }
  }
  return false;
}

bool check_image(const FileBytes& file, Image* image, LoadError* error) {
  pe::DosHeader dos{};
  if (!read_record(file.bytes, file.held, 0, &dos) || dos.magic != pe::kDosMagic) {
    return refuse(error, "is not a program image; tarncc makes one from sources");
  }
  pe::NtHeaders headers{};
  if (dos.pe_offset < sizeof dos || dos.pe_offset % 4 != 0) {
    return refuse(error, "is not a Windows program image");
  }
  if (!lies_within(dos.pe_offset, sizeof headers, file.size)) {
    return refuse(error, "is cut off: the file ends inside its headers");
  }
  if (!read_record(file.bytes, file.held, dos.pe_offset, &headers)) {
    return refuse(error, kLongHeaders);
  }
  if (headers.magic != pe::kPeMagic) return refuse(error, "is not a Windows program image");
  if (!check_headers(headers, error)) return false;
  if (memcmp(file.bytes + pe::kImageMarkOffset, pe::kImageMark, pe::kImageMarkLength) != 0) {
    // Whatever was linked for the library imports from it. Tools that know nothing of images
    // write a DOS header of their own over the mark.
    return refuse(error, !file_holds(file, kLibraryName)
                             ? "is an ordinary Windows image; compile it with tarncc"
                         : file_holds(file, pe::kTableSection)
                             ? "lost its mark to strip or a similar tool; let tarncc -s strip it"
                             : "was linked but not finished; run finish_image on it");
  }
  if (file.bytes[pe::kOrdinaryImageOffset] != 0) {
    return refuse(error, "was made by tarncc --report-only and runs only on Windows");
  }
  if (!check_directories(headers.optional, error)) return false;

  image->base = nullptr;
  image->preferred_base = headers.optional.image_base;
  image->size = headers.optional.image_size;
  image->headers_size = headers.optional.headers_size;
  image->entry = headers.optional.entry_point;
  image->is_dll = (headers.file.characteristics & pe::kFileDll) != 0;
  image->stack_reserve = headers.optional.stack_reserve;
  image->exports = headers.optional.directories[pe::kExportDirectory];
  image->imports = headers.optional.directories[pe::kImportDirectory];
  image->exceptions = headers.optional.directories[pe::kExceptionDirectory];
  image->section_count = headers.file.section_count;
  return check_sections(file, dos.pe_offset + sizeof headers, image, error) &&
         check_entry(*image, error);
}

bool map_image(const FileBytes& file, Image* image, LoadError* error) {
  image->base = reserve_pages(image->preferred_base, whole_pages(image->size));
  if (!image->base) return refuse(error, "there is not enough memory to load it");
  note_image(image->base, image->size, kAsMapped);
  take_filled_pages(*image);
  bool good = copy_bytes(file, 0, image->headers_size, image->base, error);
  for (std::uint32_t i = 0; good && i < image->section_count; ++i) {
    const ImageSection& section = image->sections[i];
    good =
        copy_bytes(file, section.raw_offset, section.raw_size, image->base + section.start, error);
  }
  if (!good) unmap_image(image);
  return good;
}

void unmap_image(Image* image) {
  if (image->base) {
    forget_image(image->base);
    munmap(image->base, whole_pages(image->size));
  }
  image->base = nullptr;
}

bool bind_imports(const Image& image, const ImportSource& source, LoadError* error) {
  if (image.imports.size == 0) return true;
  std::uint32_t bound = 0;
  for (std::uint32_t i = 0; i < kMostLibraries; ++i) {
    pe::ImportDescriptor descriptor{};
    if (!read_mapped(image, image.imports.offset + i * sizeof descriptor, &descriptor)) {
      return damaged_imports(error);
    }
    if (descriptor.name == 0 || descriptor.address_table == 0) return true;
    if (!bind_library(image, source, descriptor, &bound, error)) return false;
  }
  return refuse(error, "imports from more than %u libraries", kMostLibraries);
}

bool protect_image(const Image& image, LoadError* error) {
  std::uint32_t start = 0;
  int protection = PROT_READ;  // of the headers
  for (std::uint32_t i = 0; i <= image.section_count; ++i) {
    const bool last = i == image.section_count;
    const int next = last ? kNoProtection : protection_of(image.sections[i].characteristics);
    if (next == protection) continue;
    const std::uint32_t end = last ? image.sections[i - 1].end : image.sections[i].start;
    if (!protect_image_pages(image.base + start, end - start, protection)) {
      return refuse(error, "cannot be protected in memory: %s", strerror(errno));
    }
    start = end;
    protection = next;
  }
  return true;
}

void* find_image_export(const Image& image, const char* name) {
  pe::ExportDirectoryTable table{};
  if (!read_export_table(image, &table)) return nullptr;
  // The names are sorted by bytes.
  for (std::uint32_t low = 0, high = table.name_count; low < high;) {
    const std::uint32_t middle = low + (high - low) / 2;
    std::uint32_t name_offset = 0;
    if (!read_mapped(image, table.names + std::uint64_t{middle} * 4, &name_offset)) return nullptr;
    const char* const found = mapped_text(image, name_offset);
    if (!found) return nullptr;
    const int order = strcmp(name, found);
    if (order == 0) {
      std::uint16_t index = 0;
      if (!read_mapped(image, table.ordinals + std::uint64_t{middle} * 2, &index)) return nullptr;
      return export_at(image, table, index);
    }
    if (order < 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return nullptr;
}

void* find_image_export(const Image& image, std::uint32_t ordinal) {
  pe::ExportDirectoryTable table{};
  if (!read_export_table(image, &table) || ordinal < table.ordinal_base) return nullptr;
  return export_at(image, table, ordinal - table.ordinal_base);
}

}  // namespace tarn::platform
