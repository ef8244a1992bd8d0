// The records of a PE32+ image file, as published by Microsoft in the "PE
// Format" reference. Plain data: readers check every offset themselves.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarn::pe {

inline constexpr std::uint16_t kDosMagic = 0x5A4D;     // "MZ"
inline constexpr std::uint32_t kPeMagic = 0x00004550;  // "PE\0\0"
inline constexpr std::uint16_t kMachineAmd64 = 0x8664;
inline constexpr std::uint16_t kOptionalMagic64 = 0x020B;
inline constexpr std::uint16_t kFileRelocsStripped = 0x0001;
inline constexpr std::uint16_t kFileExecutable = 0x0002;
inline constexpr std::uint16_t kFileDll = 0x2000;
inline constexpr std::uint16_t kSubsystemGraphical = 2;
inline constexpr std::uint32_t kSectionCode = 0x00000020;
inline constexpr std::uint32_t kSectionInitialised = 0x00000040;
inline constexpr std::uint32_t kSectionUninitialised = 0x00000080;
inline constexpr std::uint32_t kSectionDiscardable = 0x02000000;
inline constexpr std::uint32_t kSectionExecute = 0x20000000;
inline constexpr std::uint32_t kSectionRead = 0x40000000;
inline constexpr std::uint32_t kSectionWrite = 0x80000000;
inline constexpr std::uint16_t kRelocAbsolute = 0;
inline constexpr std::uint16_t kRelocDir64 = 10;
inline constexpr std::uint64_t kImportByOrdinal = 0x8000000000000000;

// The mark of a finished image in the DOS header, and the field that leads to
// the routine table: the table begins at base + field + 8.
inline constexpr std::size_t kImageMarkOffset = 0x10;
inline constexpr char kImageMark[] = "BRACKENMOOR";
inline constexpr std::size_t kImageMarkLength = 11;
// After it 1 in an ordinary image that has the tables alone, 0 in one of the suite: by
// mark and 0 a system tells which images are for tarnrun.
inline constexpr std::size_t kOrdinaryImageOffset = 0x1B;
inline constexpr std::size_t kRoutineTableFieldOffset = 0x1C;
inline constexpr char kTableSection[] = ".tarntab";

struct DosHeader {
  std::uint16_t magic;
  std::uint8_t unused[58];
  std::uint32_t pe_offset;
};
static_assert(sizeof(DosHeader) == 64);

struct FileHeader {
  std::uint16_t machine;
  std::uint16_t section_count;
  std::uint32_t time_stamp;
  std::uint32_t symbol_table;
  std::uint32_t symbol_count;
  std::uint16_t optional_header_size;
  std::uint16_t characteristics;
};
static_assert(sizeof(FileHeader) == 20);

struct DataDirectory {
  std::uint32_t offset;
  std::uint32_t size;
};

enum Directory : std::size_t {
  kExportDirectory = 0,
  kImportDirectory = 1,
  kResourceDirectory = 2,
  kExceptionDirectory = 3,
  kSecurityDirectory = 4,
  kRelocationDirectory = 5,
  kDebugDirectory = 6,
  kTlsDirectory = 9,
  kLoadConfigDirectory = 10,
  kBoundImportDirectory = 11,
  kImportAddressTable = 12,
  kDelayImportDirectory = 13,
  kClrDirectory = 14,
  kDirectoryCount = 16,
};

struct OptionalHeader {
  std::uint16_t magic;
  std::uint8_t linker_major, linker_minor;
  std::uint32_t code_size, initialised_size, uninitialised_size;
  std::uint32_t entry_point;
  std::uint32_t code_base;
  std::uint64_t image_base;
  std::uint32_t section_alignment, file_alignment;
  std::uint16_t os_major, os_minor, image_major, image_minor, subsystem_major, subsystem_minor;
  std::uint32_t win32_version;
  std::uint32_t image_size;
  std::uint32_t headers_size;
  std::uint32_t checksum;
  std::uint16_t subsystem;
  std::uint16_t dll_characteristics;
  std::uint64_t stack_reserve, stack_commit, heap_reserve, heap_commit;
  std::uint32_t loader_flags;
  std::uint32_t directory_count;
  DataDirectory directories[kDirectoryCount];
};
static_assert(sizeof(OptionalHeader) == 240);

// At DosHeader::pe_offset; the section headers follow the optional header.
struct NtHeaders {
  std::uint32_t magic;
  FileHeader file;
  OptionalHeader optional;
};
static_assert(sizeof(NtHeaders) == 264);

struct SectionHeader {
  char name[8];
  std::uint32_t virtual_size;
  std::uint32_t virtual_address;
  std::uint32_t raw_size;
  std::uint32_t raw_offset;
  std::uint32_t relocations_offset, line_numbers_offset;
  std::uint16_t relocation_count, line_number_count;
  std::uint32_t characteristics;
};
static_assert(sizeof(SectionHeader) == 40);

// The directories of the resource section; all places but a resource's own are relative to it.
struct ResourceDirectory {
  std::uint32_t characteristics, time_stamp;
  std::uint16_t major, minor;
  std::uint16_t named_count, numbered_count;  // of the entries that follow
};
static_assert(sizeof(ResourceDirectory) == 16);

inline constexpr std::uint32_t kResourceHighBit = 0x80000000;

struct ResourceEntry {
  std::uint32_t id;      // a number, or with the high bit the place of a name
  std::uint32_t target;  // a ResourceData, or with the high bit a directory
};
static_assert(sizeof(ResourceEntry) == 8);

struct ResourceData {
  std::uint32_t image_offset, size, code_page, reserved;
};
static_assert(sizeof(ResourceData) == 16);

struct ImportDescriptor {
  std::uint32_t lookup_table;
  std::uint32_t time_stamp;
  std::uint32_t forwarder_chain;
  std::uint32_t name;
  std::uint32_t address_table;
};
static_assert(sizeof(ImportDescriptor) == 20);

struct ExportDirectoryTable {
  std::uint32_t flags, time_stamp;
  std::uint16_t major, minor;
  std::uint32_t name;
  std::uint32_t ordinal_base;
  std::uint32_t address_count, name_count;
  std::uint32_t addresses, names, ordinals;
};
static_assert(sizeof(ExportDirectoryTable) == 40);

struct RelocationBlock {
  std::uint32_t page;
  std::uint32_t size;
};
static_assert(sizeof(RelocationBlock) == 8);

}  // namespace tarn::pe
