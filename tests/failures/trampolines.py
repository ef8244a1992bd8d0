#!/usr/bin/env python3
"""trampolines.py nm platform.a out.S out.options caller.a...: a trampoline for each operation of
the platform that the callers' object files use, so that failing_platform.cpp can fail it, and the
options that make the linker lead all calls through them."""
import re
import subprocess
import sys

# What a failure returns, where it is not 0 (null, false, no bytes).
ALL_ONES = "CreateFileA FindFirstFileA GlobalFree GetStdHandle CreateToolhelp32Snapshot".split()
ALL_ONES_32 = "GetFileAttributesA ResumeThread WaitForSingleObject WaitForMultipleObjects".split()
ERROR_CODE = "RegOpenKeyExA RegQueryValueExA RegCloseKey".split()
CANNOT_FAIL = """GetLastError SetLastError FreeBlock GlobalSize IsInsideHeapBlock GetSystemInfo ExitProcess
    GetCurrentProcess GetCurrentProcessId GetCommandLineA GetStartupInfoA HoldConsoleOutput
    ToConsoleText GetSystemMetrics GetSystemTimeAsFileTime GetLocalTime Sleep GetCurrentThread
    GetCurrentThreadId RestoreStackGuard RaiseException ExitThread""".split()

# rax is the operation's number and r11 the real one; all registers that hold arguments stay.
COMMON = """
call_or_fail:
  .cfi_startproc
  sub rsp, 0x98
  .cfi_adjust_cfa_offset 0x98
  mov [rsp + 0x20], rcx
  mov [rsp + 0x28], rdx
  mov [rsp + 0x30], r8
  mov [rsp + 0x38], r9
  movups [rsp + 0x40], xmm0
  movups [rsp + 0x50], xmm1
  movups [rsp + 0x60], xmm2
  movups [rsp + 0x70], xmm3
  mov [rsp + 0x80], r11
  mov ecx, eax
  lea rdx, [rsp + 0x88]
  call tarn_test_call_fails
  mov rcx, [rsp + 0x20]
  mov rdx, [rsp + 0x28]
  mov r8, [rsp + 0x30]
  mov r9, [rsp + 0x38]
  movups xmm0, [rsp + 0x40]
  movups xmm1, [rsp + 0x50]
  movups xmm2, [rsp + 0x60]
  movups xmm3, [rsp + 0x70]
  mov r11, [rsp + 0x80]
  test eax, eax
  mov rax, [rsp + 0x88]
  lea rsp, [rsp + 0x98]
  .cfi_adjust_cfa_offset -0x98
  jnz 1f
  jmp r11
1:ret
  .cfi_endproc
"""


def failure(name):
    for names, value in ((ALL_ONES, -1), (ALL_ONES_32, 0xFFFFFFFF), (ERROR_CODE, 5)):
        if name in names:
            return value
    return 0


def symbols(nm, option, archives):
    out = subprocess.run([nm, option, *archives], capture_output=True, text=True, check=True).stdout
    return set(re.findall(r"\b[TU] (_ZN4tarn8platform\d+[A-Z]\w+)$", out, re.M))


nm, platform, assembly, options, *callers = sys.argv[1:]
text = [".intel_syntax noprefix", ".text", COMMON]
table, link = [], []
for symbol in sorted(symbols(nm, "--defined-only", [platform]) & symbols(nm, "-u", callers)):
    length = re.match(r"_ZN4tarn8platform(\d+)", symbol)
    name = symbol[length.end():][:int(length[1])]
    if name in CANNOT_FAIL:
        continue
    text += [f".globl __wrap_{symbol}", f"__wrap_{symbol}:", f"  mov eax, {len(link)}",
             f"  lea r11, [rip + __real_{symbol}]", "  jmp call_or_fail"]
    table.append(f'  .quad {failure(name)}\n1:.asciz "{name}"\n  .zero 40 - (. - 1b)')
    link.append(f"-Wl,--wrap={symbol}")
text += [".section .rodata", ".balign 8", ".globl tarn_test_operations, tarn_test_operation_count",
         "tarn_test_operations:", *table, "tarn_test_operation_count:", f"  .long {len(link)}",
         '.section .note.GNU-stack,"",@progbits', ""]
open(assembly, "w").write("\n".join(text))
open(options, "w").write("\n".join(link) + "\n")
