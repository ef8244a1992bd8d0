// The process: its end, its identity, its standard handles, and what the
// system is said to be.

#include <cpuid.h>
#include <fcntl.h>
#include <sched.h>
#include <stdio.h>
#include <string.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "platform/posix/base/base.h"

namespace tarn::platform {
namespace {

// The version of Windows whose behaviour this back end follows: what Wine
// tells a 64-bit program by default, and so what the other target reports.
constexpr std::uint32_t kMajorVersion = 6;
constexpr std::uint32_t kMinorVersion = 1;
constexpr std::uint32_t kBuild = 7601;
constexpr std::uint32_t kPlatformNt = 2;
constexpr char kServicePack[] = "Service Pack 1";

// As Windows divides the address space of a process.
constexpr std::uint64_t kLowestAddress = 0x10000;
constexpr std::uint64_t kHighestAddress = 0x7FFFFFFEFFFF;
constexpr std::uint32_t kPageSize = 4096;
constexpr std::uint32_t kGranularity = 65536;
constexpr std::uint16_t kArchitectureAmd64 = 9;
constexpr std::uint32_t kProcessorTypeX8664 = 8664;

bool is_open(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

// "MemAvailable" of the kernel, which counts what caches give back; 0 if it
// is not told.
std::uint64_t available_memory() {
  FILE* const facts = fopen("/proc/meminfo", "re");
  if (facts == nullptr) return 0;
  char line[128];
  unsigned long long kilobytes = 0;
  while (fgets(line, sizeof line, facts) != nullptr) {
    if (sscanf(line, "MemAvailable: %llu kB", &kilobytes) == 1) break;
  }
  fclose(facts);
  return std::uint64_t{kilobytes} * 1024;
}

}  // namespace

void ExitProcess(std::uint32_t code) {
  restore_terminal();
  send_exit_code(code);
  _exit(host_status(code));
}

Handle GetCurrentProcess() { return invalid_handle(); }

std::uint32_t GetCurrentProcessId() { return static_cast<std::uint32_t>(getpid()); }

Handle GetStdHandle(std::int32_t which) {
  const std::int32_t descriptor = kStandardInput - which;
  if (descriptor < 0 || descriptor >= static_cast<std::int32_t>(kStandardHandles)) {
    fail(kErrorInvalidHandle);
    return invalid_handle();
  }
  const Handle handle = standard_handle(static_cast<std::uint32_t>(descriptor));
  return find_handle(handle, HandleKind::kFile) != nullptr && is_open(descriptor) ? handle
                                                                                  : nullptr;
}

void GetStartupInfoA(StartupInfo* info) {
  *info = StartupInfo{};
  info->length = sizeof *info;
  info->flags = kStartUseStdHandles;
  info->standard_input = GetStdHandle(kStandardInput);
  info->standard_output = GetStdHandle(kStandardOutput);
  info->standard_error = GetStdHandle(kStandardError);
}

Status GetVersionExA(VersionInfo* info) {
  if (info->length < sizeof *info) return fail(kErrorInsufficientBuffer);
  info->major = kMajorVersion;
  info->minor = kMinorVersion;
  info->build = kBuild;
  info->platform_id = kPlatformNt;
  memset(info->service_pack, 0, sizeof info->service_pack);
  memcpy(info->service_pack, kServicePack, sizeof kServicePack);
  return 1;
}

Status GlobalMemoryStatusEx(MemoryStatus* status) {
  if (status->length != sizeof *status) return fail(kErrorInvalidParameter);
  struct sysinfo facts;
  if (sysinfo(&facts) != 0) return fail_by_errno();
  const std::uint64_t unit = facts.mem_unit;
  const std::uint64_t swap = facts.totalswap * unit;
  const std::uint64_t free_swap = facts.freeswap * unit;
  const std::uint64_t available = available_memory();
  status->total_physical = facts.totalram * unit;
  status->available_physical = available != 0 ? available : facts.freeram * unit;
  status->total_page_file = status->total_physical + swap;
  status->available_page_file = status->available_physical + free_swap;
  status->total_virtual = kHighestAddress - kLowestAddress + 1;
  status->available_virtual = status->total_virtual;
  status->available_extended_virtual = 0;
  status->load_percent = static_cast<std::uint32_t>(
      (status->total_physical - status->available_physical) * 100 / status->total_physical);
  return 1;
}

void GetSystemInfo(SystemInfo* info) {
  *info = SystemInfo{};
  info->architecture = kArchitectureAmd64;
  info->page_size = kPageSize;
  info->lowest_address = reinterpret_cast<void*>(kLowestAddress);
  info->highest_address = reinterpret_cast<void*>(kHighestAddress);
  info->processor_type = kProcessorTypeX8664;
  info->allocation_granularity = kGranularity;
  // One processor group holds at most 64.
  cpu_set_t usable;
  CPU_ZERO(&usable);
  if (sched_getaffinity(0, sizeof usable, &usable) != 0) CPU_SET(0, &usable);
  for (unsigned i = 0; i < 64; ++i) {
    if (!CPU_ISSET(i, &usable)) continue;
    info->active_processors |= std::uint64_t{1} << i;
    ++info->processor_count;
  }
  // Leaf 1: stepping in bits 0 to 3, model in 4 to 7 and 16 to 19, family in
  // 8 to 11, to which 20 to 27 are added when it is 15.
  unsigned signature = 0, b, c, d;
  __get_cpuid(1, &signature, &b, &c, &d);
  const unsigned family = signature >> 8 & 15;
  const unsigned model = (signature >> 4 & 15) | (signature >> 12 & 0xF0);
  info->processor_level =
      static_cast<std::uint16_t>(family == 15 ? family + (signature >> 20 & 0xFF) : family);
  info->processor_revision = static_cast<std::uint16_t>(model << 8 | (signature & 15));
}

}  // namespace tarn::platform
