// The machine and the system as programs see them: version, memory, processors.
// The processors are those that this process may use, at most 64, like one
// group of processors on Windows.

#include <cpuid.h>
#include <errno.h>
#include <sched.h>
#include <stdio.h>
#include <string.h>
#include <sys/random.h>
#include <sys/sysinfo.h>
#include <sys/utsname.h>

#include "platform/image_imports.h"
#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

// The version of Windows whose behaviour this back end follows: what Wine
// reports to a 64-bit program by default, and so what the other target reports.
constexpr std::uint32_t kMajorVersion = 6;
constexpr std::uint32_t kMinorVersion = 1;
constexpr std::uint32_t kBuild = 7601;
constexpr std::uint32_t kPlatformNt = 2;
constexpr char kServicePack[] = "Service Pack 1";

// The context of all who ask for random bytes by one.
constexpr std::uint64_t kOnlyContext = 1;

// As Windows divides the address space of a process.
constexpr std::uint64_t kLowestAddress = 0x10000;
constexpr std::uint64_t kHighestAddress = 0x7FFFFFFEFFFF;
constexpr std::uint32_t kPageSize = 4096;
constexpr std::uint32_t kGranularity = 65536;
constexpr std::uint16_t kArchitectureAmd64 = 9;
constexpr std::uint32_t kProcessorTypeX8664 = 8664;

constexpr unsigned kMostProcessors = 64;

constexpr std::size_t kLongestComputerName = 15;

ProcessorLeaf ask_processor(std::uint32_t leaf) {
  ProcessorLeaf found;
  __cpuid_count(leaf, 0, found.eax, found.ebx, found.ecx, found.edx);
  return found;
}

// Of the system, as the host has none.
std::uint32_t no_folder() {
  SetLastError(kErrorPathNotFound);
  return 0;
}

std::uint64_t bit(unsigned processor) { return std::uint64_t{1} << processor; }

std::uint64_t usable_processors() {
  cpu_set_t usable;
  CPU_ZERO(&usable);
  if (sched_getaffinity(0, sizeof usable, &usable) != 0) CPU_SET(0, &usable);
  std::uint64_t mask = 0;
  for (unsigned i = 0; i < kMostProcessors; ++i) {
    if (CPU_ISSET(i, &usable)) mask |= bit(i);
  }
  return mask;
}

// The processors of the core that `processor` belongs to: "0,4" or "0-1". Only
// itself if the system doesn't say.
std::uint64_t core_of(unsigned processor) {
  char path[96];
  snprintf(path, sizeof path, "/sys/devices/system/cpu/cpu%u/topology/thread_siblings_list",
           processor);
  std::uint64_t mask = bit(processor);
  FILE* const list = fopen(path, "re");
  if (!list) return mask;
  unsigned first, last;
  while (fscanf(list, "%u", &first) == 1) {
    last = first;
    int next = fgetc(list);
    if (next == '-') {
      if (fscanf(list, "%u", &last) != 1) break;
      next = fgetc(list);
    }
    for (unsigned i = first; i <= last && i < kMostProcessors; ++i) mask |= bit(i);
    if (next != ',') break;
  }
  fclose(list);
  return mask;
}

}  // namespace

std::uint32_t GetVersion() { return kBuild << 16 | kMinorVersion << 8 | kMajorVersion; }

Bool GetVersionExA(VersionInfo* info) {
  if (info->length < sizeof *info) return fail(kErrorInsufficientBuffer);
  info->major = kMajorVersion;
  info->minor = kMinorVersion;
  info->build = kBuild;
  info->platform_id = kPlatformNt;
  memset(info->service_pack, 0, sizeof info->service_pack);
  memcpy(info->service_pack, kServicePack, sizeof kServicePack);
  if (info->length >= sizeof(ExtendedVersionInfo)) {
    auto* const extended = static_cast<ExtendedVersionInfo*>(info);
    extended->service_pack_major = 1;
    extended->service_pack_minor = extended->suites = 0;
    extended->product = 1;  // a workstation
  }
  return 1;
}

Bool GlobalMemoryStatusEx(MemoryStatus* status) {
  if (status->length != sizeof *status) return fail(kErrorInvalidParameter);
  struct sysinfo facts;
  if (sysinfo(&facts) != 0) return fail_by_errno();
  const std::uint64_t unit = facts.mem_unit;
  const std::uint64_t swap = facts.totalswap * unit;
  const std::uint64_t free_swap = facts.freeswap * unit;
  status->total_physical = facts.totalram * unit;
  status->available_physical = facts.freeram * unit;  // without what caches would give back
  status->total_page_file = status->total_physical + swap;
  status->available_page_file = status->available_physical + free_swap;
  status->total_virtual = kHighestAddress - kLowestAddress + 1;
  status->available_virtual = status->total_virtual;
  status->available_extended_virtual = 0;
  status->load_percent = static_cast<std::uint32_t>(
      (status->total_physical - status->available_physical) * 100 / status->total_physical);
  return 1;
}

void GlobalMemoryStatus(void* status) {
  constexpr std::size_t kSize = offsetof(MemoryStatus, available_extended_virtual);
  static_assert(kSize == 56);
  MemoryStatus whole{};
  whole.length = sizeof whole;
  GlobalMemoryStatusEx(&whole);
  whole.length = kSize;
  memcpy(status, &whole, kSize);
}

Bool GetComputerNameA(char* name, std::uint32_t* size) {
  utsname facts;
  if (uname(&facts) != 0) return fail_by_errno();
  const std::uint32_t length =
      static_cast<std::uint32_t>(strnlen(facts.nodename, kLongestComputerName));
  const std::uint32_t room = *size;
  *size = length;
  if (room <= length) {
    *size = length + 1;
    return fail(kErrorBufferOverflow);
  }
  for (std::uint32_t i = 0; i < length; ++i) {
    const char c = facts.nodename[i];
    name[i] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  name[length] = '\0';
  return 1;
}

ProcessorLeaf processor_leaf(std::uint32_t leaf) {
  static const ProcessorLeaf first = ask_processor(1);
  return leaf == 1 ? first : ask_processor(leaf);
}

void GetSystemInfo(SystemInfo* info) {
  *info = SystemInfo{};
  info->architecture = kArchitectureAmd64;
  info->page_size = kPageSize;
  info->lowest_address = reinterpret_cast<void*>(kLowestAddress);
  info->highest_address = reinterpret_cast<void*>(kHighestAddress);
  info->processor_type = kProcessorTypeX8664;
  info->allocation_granularity = kGranularity;
  info->active_processors = usable_processors();
  info->processor_count = static_cast<std::uint32_t>(__builtin_popcountll(info->active_processors));
  // Leaf 1: stepping in bits 0 to 3, model in 4 to 7 and 16 to 19, family in
  // 8 to 11, to which 20 to 27 are added when it is 15.
  const unsigned signature = processor_leaf(1).eax;
  const unsigned family = signature >> 8 & 15;
  const unsigned model = (signature >> 4 & 15) | (signature >> 12 & 0xF0);
  info->processor_level =
      static_cast<std::uint16_t>(family == 15 ? family + (signature >> 20 & 0xFF) : family);
  info->processor_revision = static_cast<std::uint16_t>(model << 8 | (signature & 15));
}

void GetNativeSystemInfo(SystemInfo* info) { GetSystemInfo(info); }

std::uint32_t GetSystemDirectoryA(char*, std::uint32_t) { return no_folder(); }
std::uint32_t GetSystemDirectoryW(char16_t*, std::uint32_t) { return no_folder(); }
std::uint32_t GetWindowsDirectoryA(char*, std::uint32_t) { return no_folder(); }
std::uint32_t GetWindowsDirectoryW(char16_t*, std::uint32_t) { return no_folder(); }

Bool GetLogicalProcessorInformation(LogicalProcessorRecord* records, std::uint32_t* length) {
  const std::uint64_t usable = usable_processors();
  std::uint64_t cores[kMostProcessors];
  std::uint32_t count = 0;
  std::uint64_t seen = 0;
  for (unsigned i = 0; i < kMostProcessors; ++i) {
    if (!(usable & bit(i)) || seen & bit(i)) continue;
    cores[count] = core_of(i) & usable & ~seen;
    seen |= cores[count++];
  }
  const std::uint32_t room = *length;
  *length = count * static_cast<std::uint32_t>(sizeof *records);
  if (room < *length) return fail(kErrorInsufficientBuffer);
  for (std::uint32_t i = 0; i < count; ++i) {
    records[i] = LogicalProcessorRecord{};
    records[i].processor_mask = cores[i];
    records[i].flags = (cores[i] & (cores[i] - 1)) != 0;
  }
  return 1;
}

std::uint8_t SystemFunction036(void* buffer, std::uint32_t length) {
  auto* at = static_cast<char*>(buffer);
  while (length > 0) {
    const ssize_t taken = getrandom(at, length, 0);
    if (taken < 0 && errno != EINTR) return 0;
    if (taken <= 0) continue;
    at += taken;
    length -= static_cast<std::uint32_t>(taken);
  }
  return 1;
}

std::uint32_t BCryptGenRandom(void* algorithm, void* buffer, std::uint32_t length,
                              std::uint32_t flags) {
  constexpr std::uint32_t kPreferred = 2;
  constexpr std::uint32_t kInvalidHandle = 0xC000'0008, kInvalidParameter = 0xC000'000D,
                          kUnsuccessful = 0xC000'0001;
  if (algorithm != nullptr || flags != kPreferred) return kInvalidHandle;
  if (buffer == nullptr) return kInvalidParameter;
  return SystemFunction036(buffer, length) ? 0 : kUnsuccessful;
}

Bool CryptAcquireContextA(std::uint64_t* context, const char*, const char*, std::uint32_t,
                          std::uint32_t flags) {
  constexpr std::uint32_t kWithoutKeys = 0xF000'0000, kBadKeySet = 0x8009'0016;
  if (context == nullptr) return fail(kErrorInvalidParameter);
  if ((flags & kWithoutKeys) != kWithoutKeys) return fail(kBadKeySet);
  *context = kOnlyContext;
  return 1;
}

Bool CryptGenRandom(std::uint64_t context, std::uint32_t length, void* buffer) {
  if (context != kOnlyContext) return fail(kErrorInvalidParameter);
  return SystemFunction036(buffer, length);
}

Bool CryptReleaseContext(std::uint64_t context, std::uint32_t) {
  return context == kOnlyContext || fail(kErrorInvalidParameter);
}

}  // namespace tarn::platform
