// Child processes. A process is a record that its handles share; a process
// descriptor of the host reports its end. A child that nobody has a handle of
// any more goes to the reaper, a thread that starts with the first such child
// and collects the exit status of each, so that none stays in the system's
// table.
//
// The host keeps 8 bits of an exit code. A program image sends all 32 to the
// process that started it, through a socket that it inherits: the variable
// tarn_exit_code tells its runner the descriptor and the socket's number. The
// runner hides both from the program. What the system reports of the child's
// end overrides what the child sent.

#include "platform/posix/processes/child_processes.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/image_imports.h"
#include "platform/posix/processes/processes.h"
#include "platform/posix/processes/program_start.h"
#include "platform/posix/terminal/terminal.h"

namespace tarn::platform {
namespace {

constexpr std::uint32_t kStillActive = 259;
constexpr std::uint32_t kWideEnvironment = 0x400;  // CREATE_UNICODE_ENVIRONMENT
// CREATE_NO_WINDOW, CREATE_DEFAULT_ERROR_MODE and NORMAL_PRIORITY_CLASS.
constexpr std::uint32_t kWithoutEffect = 0x0800'0000 | 0x0400'0000 | 0x20;
constexpr std::uint32_t kSignalCode = 128;  // and the signal's number
constexpr std::size_t kReaperStack = 65'536;

constexpr char kExitVariable[] = "tarn_exit_code";

struct ExitMessage {
  pid_t id;  // a shell between the two may have a status of its own
  std::uint32_t code;
};

}  // namespace

struct Process {
  std::uint32_t references;
  pid_t id;
  int descriptor;   // readable once the process has ended
  int exit_socket;  // of a child that may send its code; else -1
  bool is_child, ended, terminated;
  std::uint32_t code;  // of a child that has ended, or was terminated by its handle
};

namespace {

pthread_mutex_t processes_lock = PTHREAD_MUTEX_INITIALIZER;

// The host's C library has no name for it in every version.
int open_descriptor(pid_t id) {
  return keep_off_standard(static_cast<int>(syscall(SYS_pidfd_open, id, 0)));
}

// ---- The reaper -----------------------------------------------------------------

int abandoned = -1;  // epoll of the descriptors; each carries itself and its process

void* reap_abandoned(void*) {
  for (;;) {
    epoll_event event;
    if (epoll_wait(abandoned, &event, 1, -1) != 1) continue;
    const auto descriptor = static_cast<int>(event.data.u64 >> 32);
    waitpid(static_cast<pid_t>(event.data.u64 & 0xFFFFFFFF), nullptr, WNOHANG);
    take_terminal_back();
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

// ---- Exit codes -------------------------------------------------------------------

int own_exit_socket = -1;  // to the process that started this one

// `theirs` is for the child alone, which keeps it across exec.
void make_exit_sockets(int* ours, int* theirs) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) return;
  *ours = keep_off_standard(ends[0]);
  *theirs = keep_off_standard(ends[1]);
}

// What the child sent, if it agrees with the status that the system reports.
std::uint32_t exit_code(const Process& process, std::uint8_t status) {
  std::uint32_t code = status;
  ExitMessage message;
  while (process.exit_socket >= 0 &&
         recv(process.exit_socket, &message, sizeof message, 0) == sizeof message) {
    if (message.id == process.id && host_status(message.code) == status) code = message.code;
  }
  return code;
}

// ---- Records, all with the lock held ----------------------------------------------

void look_at(Process* process) {
  if (process->ended) return;
  pollfd end{process->descriptor, POLLIN, 0};
  if (poll(&end, 1, 0) != 1) return;
  process->ended = true;
  lose_screen();  // it may have printed
  if (process->is_child) take_terminal_back();
  int status;
  if (!process->is_child || waitpid(process->id, &status, WNOHANG) != process->id) return;
  if (process->terminated) return;
  process->code = WIFSIGNALED(status)
                      ? kSignalCode + static_cast<std::uint32_t>(WTERMSIG(status))
                      : exit_code(*process, static_cast<std::uint8_t>(WEXITSTATUS(status)));
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
  if (process->exit_socket >= 0) close(process->exit_socket);
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

Bool let_go_of(Handle handle) {
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

// The child's environment: the strings of `block`, which a NUL ends, or else this process's,
// and one entry more unless it is null. Null if there is no memory.
char** child_environment(char* block, char* entry) {
  std::size_t count = 0;
  for (const char* at = block; at && *at; at += strlen(at) + 1) ++count;
  while (!block && environ[count]) ++count;
  auto* const list = static_cast<char**>(malloc((count + 2) * sizeof(char*)));
  if (!list) return nullptr;
  char** next = list;
  if (entry) *next++ = entry;
  for (char* at = block; at && *at; at += strlen(at) + 1) *next++ = at;
  for (std::size_t i = 0; !block && i < count; ++i) *next++ = environ[i];
  *next = nullptr;
  return list;
}

// The descriptors that the child has as its own 0, 1 and 2: those that the caller names,
// or else GetStdHandle's. What is no file leaves the process's own.
class ChildStreams {
 public:
  explicit ChildStreams(const StartupInfo* info) {
    const bool named = info != nullptr && (info->flags & kStartUseStdHandles) != 0;
    const Handle handles[] = {
        named ? info->standard_input : GetStdHandle(kStandardInput),
        named ? info->standard_output : GetStdHandle(kStandardOutput),
        named ? info->standard_error : GetStdHandle(kStandardError),
    };
    for (int i = 0; i < kCount; ++i) {
      if (kind_of_handle(handles[i]) != HandleKind::kFile) continue;
      sources_[i] = find_handle(handles[i], HandleKind::kFile)->descriptor;
      share_position(sources_[i]);
      // One that serves under another standard number would be overwritten.
      if (sources_[i] == i || sources_[i] >= kCount) continue;
      sources_[i] = copies_[i] = fcntl(sources_[i], F_DUPFD_CLOEXEC, kCount);
    }
  }
  ~ChildStreams() {
    for (const int copy : copies_) {
      if (copy >= 0) close(copy);
    }
  }
  ChildStreams(const ChildStreams&) = delete;
  ChildStreams& operator=(const ChildStreams&) = delete;

  void add_to(posix_spawn_file_actions_t* actions) const {
    for (int i = 0; i < kCount; ++i) {
      if (sources_[i] >= 0 && sources_[i] != i) {
        posix_spawn_file_actions_adddup2(actions, sources_[i], i);
      }
    }
  }

 private:
  static constexpr int kCount = static_cast<int>(kStandardHandles);
  int sources_[kCount] = {0, 1, 2};
  int copies_[kCount] = {-1, -1, -1};
};

// Any thread may start a child, even one that takes no signals. `exit_socket`
// is the child's alone, -1 for none.
int spawn(const HostCommand& command, const ChildStreams& streams, int exit_socket, char* block,
          const char* folder, pid_t* id) {
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t actions;
  if (posix_spawnattr_init(&attributes) != 0) return ENOMEM;
  posix_spawn_file_actions_init(&actions);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  char entry[64];
  struct stat facts;
  const bool has_socket = exit_socket >= 0 && fstat(exit_socket, &facts) == 0;
  if (has_socket) {
    snprintf(entry, sizeof entry, "%s=%d:%llu", kExitVariable, exit_socket,
             static_cast<unsigned long long>(facts.st_ino));
    posix_spawn_file_actions_adddup2(&actions, exit_socket, exit_socket);  // it stays open
  }
  char** const environment = child_environment(block, has_socket ? entry : nullptr);
  streams.add_to(&actions);
  if (folder) posix_spawn_file_actions_addchdir_np(&actions, folder);
  const int error = environment ? posix_spawn(id, command.path, &actions, &attributes,
                                              command.arguments, environment)
                                : ENOMEM;
  free(environment);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  return error;
}

bool find_folder(const char* directory, char (&folder)[kPathSize]) {
  struct stat facts;
  if (!to_host_path(directory, folder)) return false;
  return (stat(folder, &facts) == 0 && S_ISDIR(facts.st_mode)) || fail(kErrorDirectory);
}

bool start(const char* application, const char* command_line, const ChildStreams& streams,
           char* environment, const char* directory, Process* process) {
  HostCommand command;
  char folder[kPathSize];
  if (directory && !find_folder(directory, folder)) return false;
  if (!read_command(application, command_line, &command)) return false;
  keep_exit_statuses();
  pid_t id;
  int exit_socket = -1;  // without one, only 8 bits arrive
  if (command.runs_image) make_exit_sockets(&process->exit_socket, &exit_socket);
  lend_terminal();
  const int error =
      spawn(command, streams, exit_socket, environment, directory ? folder : nullptr, &id);
  if (error) take_terminal_back();
  if (exit_socket >= 0) close(exit_socket);
  free(command.arguments);
  if (error) {
    fail(error == ENOEXEC ? kErrorBadExeFormat : windows_code(error));
    return false;
  }
  const int descriptor = open_descriptor(id);
  if (descriptor < 0) {
    const int reason = errno;
    kill(id, SIGKILL);
    waitpid(id, nullptr, 0);
    take_terminal_back();
    fail(windows_code(reason));
    return false;
  }
  process->id = id;
  process->descriptor = descriptor;
  return true;
}

// Strings that an empty one ends, in UTF-8.
char* narrow_block(const char16_t* block) {
  constexpr std::size_t kLongest = 3;  // bytes of one char16_t
  const char16_t* end = block;
  while (end[0] || (end > block && end[-1])) ++end;
  const auto length = static_cast<std::int32_t>(end + 1 - block);
  const std::int32_t room = length * static_cast<std::int32_t>(kLongest);
  auto* const bytes = static_cast<char*>(malloc(static_cast<std::size_t>(room)));
  if (!bytes) return static_cast<char*>(null_for(kErrorNotEnoughMemory));
  WideCharToMultiByte(kUtf8, 0, block, length, bytes, room, nullptr, nullptr);
  return bytes;
}

Process* new_process() {
  auto* const process = static_cast<Process*>(calloc(1, sizeof(Process)));
  if (process) {
    process->references = 1;
    process->descriptor = -1;
    process->exit_socket = -1;
  } else {
    fail(kErrorNotEnoughMemory);
  }
  return process;
}

}  // namespace

Bool CreateProcessA(const char* application, char* command_line, const SecurityAttributes*,
                    const SecurityAttributes*, Bool, std::uint32_t flags, void* environment,
                    const char* directory, const StartupInfo* startup,
                    ProcessInformation* information) {
  if ((flags & ~(kWithoutEffect | kWideEnvironment)) != 0) return fail(kErrorNotSupported);
  if (environment && (flags & kWideEnvironment) != 0) {
    char* const block = narrow_block(static_cast<const char16_t*>(environment));
    if (!block) return 0;
    const Bool started =
        CreateProcessA(application, command_line, nullptr, nullptr, 0, flags & ~kWideEnvironment,
                       block, directory, startup, information);
    free(block);
    return started;
  }
  if ((!command_line && !application) || !information) return fail(kErrorInvalidParameter);
  char line[kPathSize + sizeof "\"\""];
  if (!command_line) {
    snprintf(line, sizeof line, "\"%s\"", application);
    command_line = line;
  }
  // The handles are made first, so that no child is left without one.
  const MutexLock lock(processes_lock);
  Process* const process = new_process();
  if (!process) return 0;
  const Handle handle = add_reference(process);
  const Handle thread = handle ? add_reference(process) : nullptr;
  process->is_child = true;
  const bool started = thread && start(application, command_line, ChildStreams(startup),
                                       static_cast<char*>(environment), directory, process);
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

Bool CreateProcessW(const char16_t* application, char16_t* command_line, const SecurityAttributes*,
                    const SecurityAttributes*, Bool, std::uint32_t flags, void* environment,
                    const char16_t* directory, const StartupInfo* startup,
                    ProcessInformation* information) {
  char program[kPathSize], folder[kPathSize];
  if (!to_narrow(application, program) || !to_narrow(directory, folder)) return 0;
  char* const line = narrow_copy(command_line);
  if (command_line && !line) return 0;
  const Bool started =
      CreateProcessA(application ? program : nullptr, line, nullptr, nullptr, 0, flags, environment,
                     directory ? folder : nullptr, startup, information);
  free(line);
  return started;
}

Bool GetExitCodeProcess(Handle handle, std::uint32_t* code) {
  const MutexLock lock(processes_lock);
  Process* const process = find_process(handle);
  if (!process) return 0;
  if (!process->is_child) return fail(kErrorAccessDenied);
  look_at(process);
  *code = process->ended ? process->code : kStillActive;
  return 1;
}

Handle OpenProcess(std::uint32_t, Bool, std::uint32_t id) {
  const auto host_id = static_cast<pid_t>(id);
  if (host_id <= 0) {
    fail(kErrorInvalidParameter);
    return nullptr;
  }
  if (kill(host_id, 0) != 0) {
    fail(errno == ESRCH ? kErrorInvalidParameter : kErrorAccessDenied);
    return nullptr;
  }
  const MutexLock lock(processes_lock);
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

Bool TerminateProcess(Handle handle, std::uint32_t code) {
  if (handle == GetCurrentProcess()) ExitProcess(code);
  const MutexLock lock(processes_lock);
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

Bool close_process(Handle handle) {
  const MutexLock lock(processes_lock);
  return let_go_of(handle);
}

Handle duplicate_process(Handle handle) {
  if (handle == GetCurrentProcess()) return OpenProcess(0, 0, GetCurrentProcessId());
  const MutexLock lock(processes_lock);
  Process* const process = find_process(handle);
  return process ? add_reference(process) : nullptr;
}

Process* hold_process(Handle handle, int* descriptor) {
  const MutexLock lock(processes_lock);
  Process* const process = find_process(handle);
  if (!process) return nullptr;
  ++process->references;
  *descriptor = process->descriptor;
  return process;
}

int host_id(Handle handle) {
  if (handle == GetCurrentProcess()) return getpid();
  const MutexLock lock(processes_lock);
  Process* const process = find_process(handle);
  if (!process) return -1;
  look_at(process);
  if (!process->ended) return process->id;
  fail(kErrorAccessDenied);
  return -1;
}

void stop_holding(Process* process) {
  const MutexLock lock(processes_lock);
  look_at(process);
  let_go(process);
}

// ---- The exit code of this process ----------------------------------------------

void take_exit_socket() {
  const char* const value = getenv(kExitVariable);
  int descriptor;
  unsigned long long number;
  struct stat facts;
  if (value && sscanf(value, "%d:%llu", &descriptor, &number) == 2 &&
      fstat(descriptor, &facts) == 0 && S_ISSOCK(facts.st_mode) && facts.st_ino == number &&
      fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0) {
    own_exit_socket = descriptor;
  }
  unsetenv(kExitVariable);
}

std::uint8_t host_status(std::uint32_t code) {
  const auto status = static_cast<std::uint8_t>(code);
  return code != 0 && status == 0 ? 1 : status;
}

void send_exit_code(std::uint32_t code) {
  const ExitMessage message{getpid(), code};
  if (own_exit_socket >= 0) send(own_exit_socket, &message, sizeof message, MSG_NOSIGNAL);
}

}  // namespace tarn::platform
