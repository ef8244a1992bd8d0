// The stubs' register contract is in failure/debugger_stubs.h.

#include "platform/assembly.h"

.intel_syntax noprefix

.text

#define STUB(name, query) \
  ROUTINE(name)           \
  FRAME(40);              \
  call query;             \
  int3;                   \
  add rsp, 40;            \
  ret;                    \
  ROUTINE_END(name)

STUB(__debugger_stub_get_last_error, tarn_debugger_last_error)
STUB(__debugger_stub_get_cursor, tarn_debugger_cursor)
STUB(__debugger_stub_get_focus, tarn_debugger_focus)

// rax: the offset.
ROUTINE(__debugger_stub_get_fs_info)
  NO_FRAME
  mov eax, fs:[rax]
  int3
  ret
ROUTINE_END(__debugger_stub_get_fs_info)

END_OF_SOURCE
