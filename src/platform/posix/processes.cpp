// Child processes. A process is a record that its handles share; a process
// descriptor of the host tells its end. A child that nobody has a handle of any
// more goes to the reaper, a thread that begins with the first such child and
// takes up each one's end, so that none stays in the system's table.

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/posix/program_start.h"
#include "platform/posix/terminal.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kStillActive = 259;
constexpr std::uint32_t kSignalCode = 128;  // and the signal's number
constexpr std::size_t kReaperStack = 65'536;

// What WinExec gives.
constexpr std::uint32_t kStarted = 33;
constexpr std::uint32_t kLargestFailure = 31;
constexpr std::uint32_t kWinExecBadFormat = 11;

struct Process {
  std::uint32_t references;
  pid_t id;
  int descriptor;  // readable once the process has ended
  bool is_child, ended, terminated;
  std::uint32_t code;  // of a child that has ended, or was terminated by its handle
};

pthread_mutex_t processes_lock = PTHREAD_MUTEX_INITIALIZER;

class ProcessesLock {
 public:
  ProcessesLock() { pthread_mutex_lock(&processes_lock); }
  ~ProcessesLock() { pthread_mutex_unlock(&processes_lock); }
  ProcessesLock(const ProcessesLock&) = delete;
  ProcessesLock& operator=(const ProcessesLock&) = delete;
};

// The host's C library has no name for it in every version.
int open_descriptor(pid_t id) { return static_cast<int>(syscall(SYS_pidfd_open, id, 0)); }

// ---- The reaper -----------------------------------------------------------------

int abandoned = -1;  // epoll of the descriptors; each carries itself and its process

void* reap_abandoned(void*) {
  for (;;) {
    epoll_event event;
    if (epoll_wait(abandoned, &event, 1, -1) != 1) continue;
    const auto descriptor = static_cast<int>(event.data.u64 >> 32);
    waitpid(static_cast<pid_t>(event.data.u64 & 0xFFFFFFFF), nullptr, WNOHANG);
    epoll_ctl(abandoned, EPOLL_CTL_DEL, descriptor, nullptr);
    close(descriptor);
  }
}

bool start_reaper() {
  const int set = epoll_create1(EPOLL_CLOEXEC);
  if (set < 0) return false;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_attr_setstacksize(&attributes, kReaperStack);
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  abandoned = set;
  pthread_t thread;
  const bool started = pthread_create(&thread, &attributes, &reap_abandoned, nullptr) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  if (started) return true;
  close(set);
  abandoned = -1;
  return false;
}

// Closes the descriptor in the end.
void abandon(pid_t id, int descriptor) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = static_cast<std::uint64_t>(descriptor) << 32 | static_cast<std::uint32_t>(id);
  if ((abandoned >= 0 || start_reaper()) &&
      epoll_ctl(abandoned, EPOLL_CTL_ADD, descriptor, &event) == 0) {
    return;
  }
  close(descriptor);
}

// ---- Records, all with the lock held ----------------------------------------------

void look_at(Process* process) {
  if (process->ended) return;
  pollfd end{process->descriptor, POLLIN, 0};
  if (poll(&end, 1, 0) != 1) return;
  process->ended = true;
  lose_screen();  // it may have printed
  int status;
  if (!process->is_child || waitpid(process->id, &status, WNOHANG) != process->id) return;
  if (process->terminated) return;
  process->code = WIFSIGNALED(status) ? kSignalCode + static_cast<std::uint32_t>(WTERMSIG(status))
                                      : static_cast<std::uint32_t>(WEXITSTATUS(status));
}

void let_go(Process* process) {
  if (--process->references > 0) return;
  if (process->id > 0) look_at(process);
  if (process->descriptor >= 0) {
    if (process->is_child && !process->ended) {
      abandon(process->id, process->descriptor);
    } else {
      close(process->descriptor);
    }
  }
  free(process);
}

Process* find_process(Handle handle) {
  const OpenObject* const object = find_handle(handle, HandleKind::kProcess);
  return object ? static_cast<Process*>(object->record) : nullptr;
}

// A handle that shares the record; null, with the last error, if there are too many.
Handle add_reference(Process* process) {
  const Handle handle = add_handle({HandleKind::kProcess, -1, false, false, false, process});
  if (handle) ++process->references;
  return handle;
}

Status let_go_of(Handle handle) {
  const OpenObject object = remove_handle(handle, HandleKind::kProcess);
  if (object.kind == HandleKind::kFree) return 0;
  let_go(static_cast<Process*>(object.record));
  return 1;
}

// ---- Starting -------------------------------------------------------------------

// Where the signal of a child's end is ignored, as some parents leave it, the
// system drops the exit status.
void keep_exit_statuses() {
  struct sigaction present;
  if (sigaction(SIGCHLD, nullptr, &present) != 0 || present.sa_handler != SIG_IGN) return;
  present.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &present, nullptr);
}

// Any thread may start a child, also one that takes no signals.
int spawn(const HostCommand& command, pid_t* id) {
  posix_spawnattr_t attributes;
  if (posix_spawnattr_init(&attributes) != 0) return ENOMEM;
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  const int error = posix_spawn(id, command.path, nullptr, &attributes, command.arguments, environ);
  posix_spawnattr_destroy(&attributes);
  return error;
}

bool start(const char* command_line, Process* process) {
  HostCommand command;
  if (!read_command(command_line, &command)) return false;
  keep_exit_statuses();
  pid_t id;
  const int error = spawn(command, &id);
  free(command.arguments);
  if (error) {
    return fail(error == ENOEXEC ? kErrorBadExeFormat : windows_code(error)) != 0;
  }
  const int descriptor = open_descriptor(id);
  if (descriptor < 0) {
    const int reason = errno;
    kill(id, SIGKILL);
    waitpid(id, nullptr, 0);
    return fail(windows_code(reason)) != 0;
  }
  process->id = id;
  process->descriptor = descriptor;
  return true;
}

Process* new_process() {
  auto* const process = static_cast<Process*>(calloc(1, sizeof(Process)));
  if (process) {
    process->references = 1;
    process->descriptor = -1;
  } else {
    fail(kErrorNotEnoughMemory);
  }
  return process;
}

// Milliseconds for poll, rounded up; 0 once the time has come.
int time_to(const timespec& end) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::int64_t nanoseconds =
      std::int64_t{end.tv_sec - now.tv_sec} * 1'000'000'000 + (end.tv_nsec - now.tv_nsec);
  const std::int64_t milliseconds = (nanoseconds + 999'999) / 1'000'000;
  return static_cast<int>(milliseconds < 0 ? 0 : milliseconds < INT_MAX ? milliseconds : INT_MAX);
}

}  // namespace

Status CreateProcessA(const char* application, char* command_line, const SecurityAttributes*,
                      const SecurityAttributes*, Status, std::uint32_t flags, void* environment,
                      const char* directory, const StartupInfo*, ProcessInformation* information) {
  if (application || flags || environment || directory) return fail(kErrorNotSupported);
  if (!command_line || !information) return fail(kErrorInvalidParameter);
  // The handles come first, so that no child is left without one.
  const ProcessesLock lock;
  Process* const process = new_process();
  if (!process) return 0;
  const Handle handle = add_reference(process);
  const Handle thread = handle ? add_reference(process) : nullptr;
  process->is_child = true;
  const bool started = thread && start(command_line, process);
  if (started) {
    const auto id = static_cast<std::uint32_t>(process->id);
    *information = {handle, thread, id, id};
  } else {
    const std::uint32_t reason = GetLastError();
    if (handle) let_go_of(handle);
    if (thread) let_go_of(thread);
    SetLastError(reason);
  }
  let_go(process);
  return started ? 1 : 0;
}

Status GetExitCodeProcess(Handle handle, std::uint32_t* code) {
  const ProcessesLock lock;
  Process* const process = find_process(handle);
  if (!process) return 0;
  if (!process->is_child) return fail(kErrorAccessDenied);
  look_at(process);
  *code = process->ended ? process->code : kStillActive;
  return 1;
}

std::uint32_t WinExec(const char* command_line, std::uint32_t) {
  ProcessInformation made{};
  if (!CreateProcessA(nullptr, const_cast<char*>(command_line), nullptr, nullptr, 0, 0, nullptr,
                      nullptr, nullptr, &made)) {
    const std::uint32_t error = GetLastError();
    if (error == kErrorBadExeFormat) return kWinExecBadFormat;
    return error <= kLargestFailure ? error : kErrorFileNotFound;
  }
  CloseHandle(made.thread);
  CloseHandle(made.process);
  return kStarted;
}

Handle OpenProcess(std::uint32_t, Status, std::uint32_t id) {
  const auto host_id = static_cast<pid_t>(id);
  if (host_id <= 0) return fail(kErrorInvalidParameter), nullptr;
  if (kill(host_id, 0) != 0) {
    return fail(errno == ESRCH ? kErrorInvalidParameter : kErrorAccessDenied), nullptr;
  }
  const ProcessesLock lock;
  Process* const process = new_process();
  if (!process) return nullptr;
  process->id = host_id;
  process->descriptor = open_descriptor(host_id);
  Handle handle = nullptr;
  if (process->descriptor >= 0) {
    handle = add_reference(process);
  } else {
    fail(errno == ESRCH ? kErrorInvalidParameter : windows_code(errno));
  }
  let_go(process);
  return handle;
}

Status TerminateProcess(Handle handle, std::uint32_t code) {
  if (handle == GetCurrentProcess()) ExitProcess(code);
  const ProcessesLock lock;
  Process* const process = find_process(handle);
  if (!process) return 0;
  look_at(process);
  if (process->ended) return fail(kErrorAccessDenied);
  if (syscall(SYS_pidfd_send_signal, process->descriptor, SIGKILL, nullptr, 0) != 0) {
    return fail(errno == EPERM ? kErrorAccessDenied : windows_code(errno));
  }
  process->terminated = true;
  process->code = code;
  return 1;
}

Status close_process(Handle handle) {
  const ProcessesLock lock;
  return let_go_of(handle);
}

std::uint32_t wait_for_process(Handle handle, std::uint32_t milliseconds) {
  const timespec end = deadline_after(milliseconds);
  pthread_mutex_lock(&processes_lock);
  Process* const process = find_process(handle);
  if (process) ++process->references;
  pthread_mutex_unlock(&processes_lock);
  if (!process) return kWaitFailed;
  int ready, left;
  do {
    left = milliseconds == kWaitForever ? -1 : time_to(end);
    pollfd wanted{process->descriptor, POLLIN, 0};
    ready = poll(&wanted, 1, left);
  } while (ready <= 0 && left != 0 && (ready == 0 || errno == EINTR));
  const ProcessesLock lock;
  if (ready > 0 && process->is_child) lose_screen();  // it may have written there
  let_go(process);
  return ready > 0 ? kWaitObject : ready == 0 ? kWaitTimeout : kWaitFailed;
}

}  // namespace tarn::platform
