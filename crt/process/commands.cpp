// Other programs: system, popen, and the process itself.
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "../streams/stream.h"

using namespace crt;

CRT_API int _getpid(void) { return static_cast<int>(GetCurrentProcessId()); }

namespace {

struct Pipe {
  HANDLE ours, theirs;
};

bool make_pipe(bool reads, Pipe* pipe) {
  HANDLE read_end, write_end, inherited;
  if (!CreatePipe(&read_end, &write_end, nullptr, 0)) {
    fail();
    return false;
  }
  *pipe = reads ? Pipe{read_end, write_end} : Pipe{write_end, read_end};
  const HANDLE self = GetCurrentProcess();
  if (!DuplicateHandle(self, pipe->theirs, self, &inherited, 0, TRUE,
                       DUPLICATE_SAME_ACCESS | DUPLICATE_CLOSE_SOURCE)) {
    fail();
    CloseHandle(pipe->ours);
    return false;
  }
  pipe->theirs = inherited;
  return true;
}

// The command processor, with one of its standard handles replaced if `theirs` is not null.
HANDLE start(const char* command, bool reads, HANDLE theirs) {
  constexpr char kProcessor[] = "cmd /c ";  // on Linux the platform runs /bin/sh for it
  char* const line = static_cast<char*>(malloc(sizeof kProcessor + strlen(command)));
  if (!line) return nullptr;
  strcat(strcpy(line, kProcessor), command);
  STARTUPINFOA how = {};
  how.cb = sizeof how;
  how.dwFlags = theirs ? STARTF_USESTDHANDLES : 0;
  how.hStdInput = reads ? GetStdHandle(STD_INPUT_HANDLE) : theirs;
  how.hStdOutput = reads ? theirs : GetStdHandle(STD_OUTPUT_HANDLE);
  how.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION made = {};
  const BOOL started =
      CreateProcessA(nullptr, line, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &how, &made);
  if (!started) fail();
  free(line);
  if (!started) return nullptr;
  CloseHandle(made.hThread);
  return made.hProcess;
}

int status_of(HANDLE child) {
  DWORD status = 0;
  WaitForSingleObject(child, INFINITE);
  const BOOL told = GetExitCodeProcess(child, &status);
  CloseHandle(child);
  return told ? static_cast<int>(status) : fail();
}

}  // namespace

// What the streams hold goes out first, so that the outputs are in order.
CRT_API int system(const char* command) {
  if (!command) return 1;
  flush_all();
  const HANDLE child = start(command, false, nullptr);
  return child ? status_of(child) : -1;
}

CRT_API FILE* _popen(const char* command, const char* mode) {
  if (!command || !mode || (*mode != 'r' && *mode != 'w')) {
    fail_with(EINVAL);
    return nullptr;
  }
  const bool reads = *mode == 'r';
  Pipe pipe = {};
  flush_all();
  if (!make_pipe(reads, &pipe)) return nullptr;
  const HANDLE child = start(command, reads, pipe.theirs);
  CloseHandle(pipe.theirs);
  const int kind = strchr(mode, 'b') ? _O_BINARY : strchr(mode, 't') ? _O_TEXT : 0;
  const int number = child ? _open_osfhandle(reinterpret_cast<intptr_t>(pipe.ours),
                                             kind | (reads ? _O_RDONLY : _O_WRONLY))
                           : -1;
  FILE* const file = number >= 0 ? _fdopen(number, mode) : nullptr;
  if (!file) {
    number >= 0 ? _close(number) : CloseHandle(pipe.ours);
    if (child) CloseHandle(child);
    return nullptr;
  }
  stream_of(file).child = child;
  return file;
}

CRT_API int _pclose(FILE* file) {
  const HANDLE child = stream_of(file).child;
  if (!child) return fail_with(EINVAL);
  stream_of(file).child = nullptr;
  fclose(file);
  return status_of(child);
}
