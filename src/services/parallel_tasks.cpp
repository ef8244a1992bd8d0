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
constexpr std::uint64_t kStopped = 0;
constexpr std::uint64_t kTaskLost = 0x54534F4C4B534154;  // any other value is a stop
constexpr std::uint32_t kLostStatus = 1;

constexpr std::uint16_t kShowWindow = 5;
constexpr std::uint32_t kKilledCode = 9;
constexpr std::uint32_t kSnapshotAll = 15;

constexpr std::uint32_t kFirstRecordBytes = 1000;
constexpr int kCountingTries = 4;  // the number of records may grow in between

// What the tasks of a team know of each other, besides the region. The next barrier
// that a task would have reached when it ended, whether killed or finished, can
// never complete: a task that waits there leaves. Tasks that do not wait there
// are not affected.
constexpr char kTeamName[] = "AUTO tasks";
constexpr std::uint64_t kTeamMagic = 0x314D414554524154;
constexpr int kTaskBits = 8;
struct Team {
  std::uint64_t magic;  // 0: its master was not made by this source
  std::uint64_t lost;   // the barrier that the first loss lets pass, and the task
  std::uint32_t slaves;
  struct {
    std::uint32_t process;  // 0: not started yet
    std::uint64_t passed;   // barriers
  } tasks[kMostSlaves + 1];
};
constexpr std::uint64_t kNobodyLost = ~std::uint64_t{0};

// The tasks that a thread watches: in the master all slaves, in a slave the master.
struct Watch {
  Team* team;
  std::uint32_t count;
  platform::Handle processes[kMostSlaves];
  std::int32_t tasks[kMostSlaves];

  void add(platform::Handle process, std::int32_t task) {
    processes[count] = process;
    tasks[count++] = task;
  }
  void remove(std::uint32_t place) {
    platform::CloseHandle(processes[place]);
    --count;
    processes[place] = processes[count];
    tasks[place] = tasks[count];
  }
};

Team* team;  // null: nobody is watched
std::uint64_t barriers;
std::int64_t region_size;
std::int32_t parallel_task_id = -1;
std::int32_t parallel_status_id = -1;
std::int32_t parallel_status_count;
std::int32_t parallel_slave_count;
std::int64_t parallel_memory_size = kParallelMemorySize;
std::uint8_t* parallel_region;  // null: no parallel run
std::uint8_t* parallel_next_free;

// Plain moves, which the processor keeps in order, as the compiler must.
std::uint8_t flag(std::int32_t task) {
  return __atomic_load_n(parallel_region + task, __ATOMIC_ACQUIRE);
}

void set_flag(std::int32_t task, std::uint8_t value) {
  __atomic_store_n(parallel_region + task, value, __ATOMIC_RELEASE);
}

std::uint64_t* control_word() {
  return reinterpret_cast<std::uint64_t*>(parallel_region + kControlWord);
}

void tell_of_loss(std::int32_t task) {
  char line[100];
  const std::int32_t length =
      sprintf(line, "Parallel task %d has ended; those that wait for it end too.\r\n", task);
  std::uint32_t written;
  platform::WriteFile(platform::GetStdHandle(platform::kStandardError), line,
                      static_cast<std::uint32_t>(length), &written, nullptr);
}

// The first that leaves a barrier because of a lost task reports it.
void leave_if_stopped() {
  const std::uint64_t control = __atomic_load_n(control_word(), __ATOMIC_ACQUIRE);
  if (control != kAlive) platform::ExitProcess(control == kTaskLost ? kLostStatus : 0);
  if (!team) return;
  const std::uint64_t lost = __atomic_load_n(&team->lost, __ATOMIC_ACQUIRE);
  if (barriers < lost >> kTaskBits) return;
  std::uint64_t expected = kAlive;
  if (__atomic_compare_exchange_n(control_word(), &expected, kTaskLost, false, __ATOMIC_ACQ_REL,
                                  __ATOMIC_ACQUIRE)) {
    tell_of_loss(static_cast<std::int32_t>(lost & ((1 << kTaskBits) - 1)));
  }
  platform::ExitProcess(expected == kAlive || expected == kTaskLost ? kLostStatus : 0);
}

void join_barrier_as_slave() {
  set_flag(parallel_task_id, 1);
  while (flag(parallel_task_id) != 0) leave_if_stopped();
}

void note_loss(Team* of, std::int32_t task) {
  const std::uint64_t passed = __atomic_load_n(&of->tasks[task].passed, __ATOMIC_ACQUIRE);
  const std::uint64_t loss = passed << kTaskBits | static_cast<std::uint64_t>(task);
  std::uint64_t lost = __atomic_load_n(&of->lost, __ATOMIC_ACQUIRE);
  while (loss < lost && !__atomic_compare_exchange_n(&of->lost, &lost, loss, false,
                                                     __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE)) {
  }
}

// A wait that fails is no reason to believe that a task is lost.
TARNAPI std::uint32_t watch_tasks(void* argument) {
  auto* const watch = static_cast<Watch*>(argument);
  while (watch->count > 0) {
    const std::uint32_t ended =
        platform::WaitForMultipleObjects(watch->count, watch->processes, 0, platform::kWaitForever);
    if (ended - platform::kWaitObject >= watch->count) break;
    note_loss(watch->team, watch->tasks[ended - platform::kWaitObject]);
    watch->remove(ended - platform::kWaitObject);
  }
  while (watch->count > 0) watch->remove(0);
  free(watch);
  return 0;
}

Watch* new_watch() {
  auto* const watch = static_cast<Watch*>(calloc(1, sizeof(Watch)));
  if (!watch) __RuntimeError(TARN_ERROR_HEAP_EXHAUSTED);
  watch->team = team;
  return watch;
}

bool start_watching(Watch* watch) {
  const platform::Handle thread =
      platform::CreateThread(nullptr, 0, &watch_tasks, watch, 0, nullptr);
  if (thread) platform::CloseHandle(thread);
  return thread != nullptr;
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
  TASKSYNCHRONISE();
  if (parallel_task_id == 0) memmove(parallel_region + kBroadcastArea, value, size);
  TASKSYNCHRONISE();
  if (parallel_task_id > 0) memmove(value, parallel_region + kBroadcastArea, size);
}

// The run that the environment names.
struct RunName {
  static constexpr std::uint32_t kSize = 96;
  char text[kSize];

  RunName() {
    const std::uint32_t length =
        platform::GetEnvironmentVariableA(platform::kRunMemoryVariable, text, kSize);
    if (length == 0 || length >= kSize) text[0] = '\0';
  }
};

bool began_run;  // this process, since there was none to join

Team* open_team() {
  const RunName inherited;
  void* const there = paneview::__create_interprocess_shared_memory(kTeamName, sizeof(Team));
  began_run |= !platform::name_one_run(inherited.text, RunName().text);
  return static_cast<Team*>(there);
}

void make_region() {
  auto* const region = static_cast<std::uint8_t*>(paneview::__create_interprocess_shared_memory(
      kRegionName, static_cast<std::uint64_t>(parallel_memory_size)));
  Team* const made = open_team();
  if (!region || !made)
    ReportErrorString("GetParallelTaskID: there is no shared memory of the size asked for", 0);
  parallel_region = region;
  parallel_next_free = region + kFreeMemory;
  region_size = parallel_memory_size;
  team = made;
  barriers = 0;
}

// The value of the task variable; its length, 0 if it is not set.
std::uint32_t read_task_variable(char (&text)[kTaskTextSize]) {
  return platform::GetEnvironmentVariableA(kTaskVariable, text, kTaskTextSize);
}

// Whether this is the process that the master of the run started with this number;
// any other has inherited the number from a task, or from the master. For a master
// that was not made by this source the number is believed, if there is a run at all. The
// master may not have recorded the process yet.
bool is_slave_of_run(std::int32_t task) {
  const Team* const there = open_team();
  if (!there || there->magic != kTeamMagic) {
    if (began_run)
      ReportErrorString("GetParallelTaskID: merle_parallel_id is set, but there is no run", 0);
    return true;
  }
  if (static_cast<std::uint32_t>(task) > there->slaves) return false;
  const platform::Handle master =
      platform::OpenProcess(platform::kProcessWait, 0, there->tasks[0].process);
  std::uint32_t process;
  do {
    process = __atomic_load_n(&there->tasks[task].process, __ATOMIC_ACQUIRE);
  } while (process == 0 && master &&
           platform::WaitForSingleObject(master, 1) == platform::kWaitTimeout);
  if (master) platform::CloseHandle(master);
  return process == 0 || process == platform::GetCurrentProcessId();
}

// Leaves a run that has another team already, or whose region is too small.
void leave_run_of_others() {
  const Team* const there = open_team();
  const bool own = there && there == team;
  if (there && (own ? region_size < parallel_memory_size || parallel_slave_count > 0
                    : there->magic == kTeamMagic)) {
    platform::SetEnvironmentVariableA(platform::kRunMemoryVariable, nullptr);
  }
}

// The master is alive at the first barrier, so its process number was not reused.
void watch_master() {
  if (team->magic != kTeamMagic) {
    team = nullptr;
    return;
  }
  const platform::Handle master =
      platform::OpenProcess(platform::kProcessWait, 0, team->tasks[0].process);
  if (!master) return note_loss(team, 0);
  Watch* const watch = new_watch();
  watch->add(master, 0);
  if (!start_watching(watch)) ReportErrorString("GetParallelTaskID: no thread for the watch", 0);
}

std::int32_t begin_as_slave(std::int32_t task) {
  parallel_task_id = task;
  watch_master();
  TASKSYNCHRONISE();
  parallel_status_id = task;
  return task;
}

// The tasks that have started wait for the rest.
void give_up(const char* why) {
  TerminateParallelProcessing();
  ReportErrorString(why, 0);
}

// A copy of this process, with nothing of its handles but the standard ones.
bool start_copy(platform::ProcessInformation* made) {
  const char* const own_line = platform::GetCommandLineA();
  const std::uint64_t size = strlen(own_line) + 1;
  auto* const line = static_cast<char*>(malloc(size));
  if (!line) return false;
  memmove(line, own_line, size);  // the system may write there
  platform::StartupInfo startup{};
  startup.length = sizeof startup;
  startup.flags = platform::kStartUseShowWindow;
  startup.show_window = kShowWindow;
  const bool started = platform::CreateProcessA(nullptr, line, nullptr, nullptr, 0, 0, nullptr,
                                                nullptr, &startup, made) != 0;
  free(line);
  if (started) platform::CloseHandle(made->thread);
  return started;
}

void start_slaves() {
  if (parallel_slave_count == 0) return;
  char text[kTaskTextSize];
  Watch* const watch = new_watch();
  for (std::int32_t task = parallel_slave_count; task >= 1; --task) {
    sprintf(text, "%d", task);
    // A copy without its number would be a master, and start copies of its own.
    if (!platform::SetEnvironmentVariableA(kTaskVariable, text))
      give_up("GetParallelTaskID: a slave cannot be given its number");
    platform::ProcessInformation made;
    if (!start_copy(&made)) give_up("GetParallelTaskID: a slave cannot be started");
    watch->add(made.process, task);
    __atomic_store_n(&team->tasks[task].process, made.process_id, __ATOMIC_RELEASE);
  }
  if (!start_watching(watch)) give_up("GetParallelTaskID: no thread for the watch");
}

// The slaves have not started yet.
void set_up_team() {
  team->lost = kNobodyLost;
  team->slaves = static_cast<std::uint32_t>(parallel_slave_count);
  for (auto& task : team->tasks) task = {};
  team->tasks[0].process = platform::GetCurrentProcessId();
  team->magic = kTeamMagic;
}

std::int32_t begin_as_master(std::int32_t slaves) {
  parallel_slave_count = slaves > 0 ? slaves : 0;
  parallel_task_id = 0;
  for (std::uint64_t i = 0; i < kClearedBytes; ++i) parallel_region[i] = 0;
  __atomic_store_n(control_word(), kAlive, __ATOMIC_RELEASE);
  set_up_team();
  start_slaves();
  TASKSYNCHRONISE();
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

// More records than the first buffer holds; false if there is no storage for them.
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
  const bool is_stopped_master = parallel_task_id == 0 && parallel_slave_count > 0 &&
                                 __atomic_load_n(control_word(), __ATOMIC_ACQUIRE) == kStopped;
  if ((parallel_task_id > 0 || parallel_slave_count > 0) && !is_stopped_master) {
    TASKSYNCHRONISE();
    return parallel_task_id;
  }
  char text[kTaskTextSize];
  std::int32_t task = 0;
  const std::uint32_t length = is_stopped_master ? 0 : read_task_variable(text);
  bool is_slave = length != 0;
  if (is_slave && (length >= kTaskTextSize || sscanf(text, "%d", &task) != 1 || task < 1 ||
                   task > kMostSlaves)) {
    ReportErrorString("GetParallelTaskID: merle_parallel_id is not a number from 1 to 63", 0);
  }
  is_slave = is_slave && is_slave_of_run(task);
  if (!is_slave && slaves > kMostSlaves)
    ReportErrorString("GetParallelTaskID: more than 63 slaves", 0);
  if (!is_slave) leave_run_of_others();
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
  if (parallel_region) __atomic_store_n(control_word(), kStopped, __ATOMIC_RELEASE);
}

void* allocate_auto_shared_memory(std::int64_t size) {
  std::uint8_t* const memory = parallel_next_free;
  if (memory) parallel_next_free += size;
  return memory;
}

void TASKSYNCHRONISE() {
  if (!parallel_region) return;
  if (parallel_task_id > 0) {
    join_barrier_as_slave();
  } else {
    hold_barrier_as_master();
  }
  ++barriers;
  if (team) __atomic_store_n(&team->tasks[parallel_task_id].passed, barriers, __ATOMIC_RELEASE);
}

void BROADCASTINTEGER(std::int32_t* value) { broadcast(value, sizeof *value); }

void BROADCASTDOUBLE(double* value) { broadcast(value, sizeof *value); }

void BROADCASTBYTES(void* buffer, std::int32_t* count) {
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

void GETPROCESSORCOUNTS(std::int32_t* cores, std::int32_t* logical) {
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
  GETPROCESSORCOUNTS(&cores, &logical);
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
  for (platform::Bool more = platform::Process32First(snapshot, &entry); more;
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
