#include "services/parallel_tasks.h"

#include "paneview/paneview.h"
#include "process/raising.h"
#include "storage/heap.h"
#include "streams/format.h"
#include "streams/scan.h"
#include "strings/c_string.h"

namespace tarn {
namespace {

constexpr char kRegionName[] = "AUTO";
constexpr char kTaskVariable[] = "merle_parallel_id";
constexpr std::uint32_t kTaskTextSize = 100;

constexpr std::uint64_t kControlWord = 64;  // offsets in the region
constexpr std::uint64_t kBroadcastArea = 72;
constexpr std::uint64_t kFreeMemory = 128;
constexpr std::uint64_t kClearedBytes = 100;
constexpr std::int32_t kBroadcastPiece = 1024;
constexpr std::uint64_t kAlive = 1182;

constexpr std::uint32_t kShowWindow = 5;
constexpr std::uint32_t kKilledCode = 9;
constexpr std::uint32_t kSnapshotAll = 15;

constexpr std::uint32_t kFirstRecordBytes = 1000;
constexpr int kCountingTries = 4;  // the number of records may grow in between

std::int32_t parallel_task_id = -1;
std::int32_t parallel_status_id = -1;
std::int32_t parallel_status_count;
std::int32_t parallel_slave_count;
std::int64_t parallel_memory_size = kParallelMemorySize;
std::uint8_t* parallel_region;  // null: no parallel run
std::uint8_t* parallel_next_free;

// Plain moves, which the processor keeps in order; the compiler has to as well.
std::uint8_t flag(std::int32_t task) {
  return __atomic_load_n(parallel_region + task, __ATOMIC_ACQUIRE);
}

void set_flag(std::int32_t task, std::uint8_t value) {
  __atomic_store_n(parallel_region + task, value, __ATOMIC_RELEASE);
}

std::uint64_t* control_word() {
  return reinterpret_cast<std::uint64_t*>(parallel_region + kControlWord);
}

void leave_if_stopped() {
  if (__atomic_load_n(control_word(), __ATOMIC_ACQUIRE) != kAlive) platform::ExitProcess(0);
}

void join_barrier_as_slave() {
  set_flag(parallel_task_id, 1);
  while (flag(parallel_task_id) != 0) leave_if_stopped();
}

void hold_barrier_as_master() {
  bool all_arrived;
  do {
    all_arrived = true;
    for (std::int32_t k = 1; k <= parallel_slave_count; ++k) {
      leave_if_stopped();
      if (flag(k) != 1) all_arrived = false;
    }
  } while (!all_arrived);
  for (std::int32_t k = 0; k <= parallel_slave_count; ++k) set_flag(k, 0);
}

void broadcast(void* value, std::uint64_t size) {
  TASKSYNCHRONISE_at();
  if (parallel_task_id == 0) memmove(parallel_region + kBroadcastArea, value, size);
  TASKSYNCHRONISE_at();
  if (parallel_task_id > 0) memmove(value, parallel_region + kBroadcastArea, size);
}

void make_region() {
  auto* const region = static_cast<std::uint8_t*>(paneview::__create_interprocess_shared_memory(
      kRegionName, static_cast<std::uint64_t>(parallel_memory_size)));
  if (!region)
    ReportErrorString_at("GetParallelTaskID: there is no shared memory of the size asked for");
  parallel_region = region;
  parallel_next_free = region + kFreeMemory;
}

// The value of the task variable; its length, 0 if it is not set.
std::uint32_t read_task_variable(char (&text)[kTaskTextSize]) {
  return platform::GetEnvironmentVariableA(kTaskVariable, text, kTaskTextSize);
}

std::int32_t begin_as_slave(std::int32_t task) {
  parallel_task_id = task;
  TASKSYNCHRONISE_at();
  parallel_status_id = task;
  return task;
}

void start_slaves() {
  char text[kTaskTextSize];
  const char* const command_line = platform::GetCommandLineA();
  for (std::int32_t task = parallel_slave_count; task >= 1; --task) {
    sprintf(text, "%d", task);
    // A copy without its number would be a master, and start copies of its own.
    if (!platform::SetEnvironmentVariableA(kTaskVariable, text)) {
      TerminateParallelProcessing();  // those that have started wait for the rest
      ReportErrorString_at("GetParallelTaskID: a slave cannot be given its number");
    }
    platform::WinExec(command_line, kShowWindow);
  }
}

std::int32_t begin_as_master(std::int32_t slaves) {
  parallel_slave_count = slaves > 0 ? slaves : 0;
  parallel_task_id = 0;
  for (std::uint64_t i = 0; i < kClearedBytes; ++i) parallel_region[i] = 0;
  __atomic_store_n(control_word(), kAlive, __ATOMIC_RELEASE);
  start_slaves();
  TASKSYNCHRONISE_at();
  parallel_status_count = parallel_slave_count;
  parallel_status_id = 0;
  return 0;
}

// The compiler's own needs its run-time library.
std::int32_t bits_set(std::uint64_t mask) {
  std::int32_t count = 0;
  for (; mask != 0; mask &= mask - 1) ++count;
  return count;
}

// More records than the first buffer holds; false if they cannot be had.
bool count_many_processors(std::uint32_t bytes, std::int32_t* cores, std::int32_t* logical) {
  for (int i = 0; i < kCountingTries; ++i) {
    auto* const records = static_cast<platform::LogicalProcessorRecord*>(malloc(bytes));
    if (!records) return false;
    const bool filled = platform::GetLogicalProcessorInformation(records, &bytes) != 0;
    if (filled) count_processors(records, bytes / sizeof *records, cores, logical);
    free(records);
    if (filled) return true;
  }
  return false;
}

}  // namespace

void SetParallelTaskMemorySize(std::int64_t size) { parallel_memory_size = size; }

std::int32_t GetParallelTaskID(std::int32_t slaves) {
  if (parallel_task_id > 0 || parallel_slave_count > 0) {
    TASKSYNCHRONISE_at();
    return parallel_task_id;
  }
  char text[kTaskTextSize];
  std::int32_t task = 0;
  const std::uint32_t length = read_task_variable(text);
  const bool is_slave = length != 0;
  if (is_slave && (length >= kTaskTextSize || sscanf(text, "%d", &task) != 1 || task < 1 ||
                   task > kMostSlaves)) {
    ReportErrorString_at("GetParallelTaskID: merle_parallel_id is not a number from 1 to 63");
  }
  if (!is_slave && slaves > kMostSlaves)
    ReportErrorString_at("GetParallelTaskID: more than 63 slaves");
  make_region();
  return is_slave ? begin_as_slave(task) : begin_as_master(slaves);
}

void GetParallelTaskStatus(std::int32_t* task, std::int32_t* count) {
  *task = parallel_status_id;
  *count = parallel_status_count;
}

std::int32_t IsSlaveProcess() {
  char text[kTaskTextSize];
  return read_task_variable(text) != 0;
}

void TerminateParallelProcessing() {
  if (parallel_region) __atomic_store_n(control_word(), std::uint64_t{0}, __ATOMIC_RELEASE);
}

void* allocate_auto_shared_memory(std::int64_t size) {
  std::uint8_t* const memory = parallel_next_free;
  if (memory) parallel_next_free += size;
  return memory;
}

void TASKSYNCHRONISE_at() {
  if (!parallel_region) return;
  if (parallel_task_id > 0) {
    join_barrier_as_slave();
  } else {
    hold_barrier_as_master();
  }
}

void BROADCASTINTEGER_at(std::int32_t* value) { broadcast(value, sizeof *value); }

void BROADCASTDOUBLE_at(double* value) { broadcast(value, sizeof *value); }

void BROADCASTBYTES_at(void* buffer, std::int32_t* count) {
  auto* next = static_cast<std::uint8_t*>(buffer);
  while (*count > 0) {
    const std::int32_t piece = *count < kBroadcastPiece ? *count : kBroadcastPiece;
    broadcast(next, static_cast<std::uint64_t>(piece));
    *count -= piece;
    next += piece;
  }
  *count = 0;
}

void count_processors(const platform::LogicalProcessorRecord* records, std::uint64_t count,
                      std::int32_t* cores, std::int32_t* logical) {
  constexpr std::uint32_t kCore = 0;
  constexpr std::uint8_t kShared = 1;
  *cores = 0;
  *logical = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    if (records[i].relationship != kCore) continue;
    ++*cores;
    *logical += records[i].flags == kShared ? bits_set(records[i].processor_mask) : 1;
  }
}

void GETPROCESSORCOUNTS_at(std::int32_t* cores, std::int32_t* logical) {
  alignas(platform::LogicalProcessorRecord) std::uint8_t buffer[kFirstRecordBytes];
  auto* const records = reinterpret_cast<platform::LogicalProcessorRecord*>(buffer);
  std::uint32_t bytes = kFirstRecordBytes;
  if (platform::GetLogicalProcessorInformation(records, &bytes)) {
    count_processors(records, bytes / sizeof *records, cores, logical);
  } else if (!count_many_processors(bytes, cores, logical)) {
    platform::SystemInfo info;
    platform::GetSystemInfo(&info);
    *cores = *logical = static_cast<std::int32_t>(info.processor_count);
  }
}

std::int32_t RecommendedProcessorCount(std::int32_t power_of_two) {
  std::int32_t cores, logical;
  GETPROCESSORCOUNTS_at(&cores, &logical);
  if (power_of_two == 0) return logical;
  std::int32_t power = 1;
  while (power <= logical / 2) power *= 2;
  return power;
}

void KillSlaves(const char* name) {
  const platform::Handle snapshot = platform::CreateToolhelp32Snapshot(kSnapshotAll, 0);
  if (snapshot == platform::invalid_handle()) return;
  platform::ProcessEntry entry;
  entry.length = sizeof entry;
  for (platform::Status more = platform::Process32First(snapshot, &entry); more;
       more = platform::Process32Next(snapshot, &entry)) {
    if (strcmpl(entry.file_name, name) != 0) continue;
    if (entry.process_id == platform::GetCurrentProcessId()) continue;
    const platform::Handle process =
        platform::OpenProcess(platform::kProcessTerminate, 0, entry.process_id);
    if (!process) continue;
    platform::TerminateProcess(process, kKilledCode);
    platform::CloseHandle(process);
  }
  platform::CloseHandle(snapshot);
}

}  // namespace tarn
