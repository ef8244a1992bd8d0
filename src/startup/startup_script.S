// The start-up script interpreter: the entry point of every image.
//
// This object is linked first into each image, program or DLL, so that its
// cells open the image's data section. The script word has the image offset
// of a byte-coded script; finish_image writes both. Each instruction is an
// opcode byte and its operands, packed, little-endian:
//
//    5  u64 main, or 0       closing step; ends the walk
//    6  u64 cell             add the load base to the cell            (cleared)
//    7  u64 size             allocate and register a common block     (cleared)
//    8  u64 block, u64 size  register a block that lies in the image  (size cleared)
//    9  u64 cell             add the current block's address          (cleared)
//   10  u64 routine          call it                                  (cleared)
//   11                       __main_setup; connect the runtime slots
//   12  u32 name pool        set the name cursor                      (cleared)
//   13                       fill later blocks with 0x80
//   14                       require AVX
//   15  u64 address          record the profile block
//   16  u32 slot, 2 strings  bind a routine: library name, routine name
//   17                       overwrite the image's first bytes with "NOTE"
//
// A cleared operand is zeroed as it is read, and zero means "do nothing": the
// system enters a DLL again at each thread attach, and only the first walk may
// relocate, allocate or initialise. All state is static to the image, so one
// image has one walk at a time.
//
// Cells to relocate are also in sections that the compiler made read-only. The
// first walk makes those writable, and at its end restores their rights.
//
// Nothing here holds an absolute address but the library's own slots.

#include "platform/assembly.h"

#ifdef _WIN32
#define IMAGE_BASE __ImageBase
#else
#define IMAGE_BASE __executable_start
#define GlobalAlloc _ZN4tarn8platform11GlobalAllocEjm
#define VirtualProtect _ZN4tarn8platform14VirtualProtectEPvmjPj
#define ExitProcess _ZN4tarn8platform11ExitProcessEj
#endif

#define PAGE_SIZE 4096
#define PAGE_READONLY 2
#define PAGE_READWRITE 4
#define BLOCK_RECORD_SIZE 40
#define UNDEFINED_FILL 0x80
#define ERROR_COMMON_BLOCK 365
#define BLOCK_NAME_MARK 0x4B4C4231  // kBlockNameMark
#define ERROR_NEEDS_AVX 368
#define ERROR_PURE_VIRTUAL 312
#define NOTE_MARK 0x45544F4E        // "NOTE" in memory order
#define MXCSR_UNMASKED 0x680        // invalid operation, zero divide, overflow
#define MXCSR_FLUSH 0x8040          // flush to zero, denormals are zero
#define RUNTIME_CELLS 12

// In the image's headers.
#define PE_OFFSET 0x3C              // in the DOS header
#define SECTION_COUNT 6             // in the PE header
#define OPTIONAL_HEADER_SIZE 20
#define OPTIONAL_HEADER 24
#define VIRTUAL_SIZE 8              // in a section header
#define VIRTUAL_ADDRESS 12
#define CHARACTERISTICS 36
#define SECTION_HEADER_SIZE 40
#define STAYS_AS_IT_IS 0xA2000000   // writable, executable, or discardable (debug data)

.intel_syntax noprefix

.data
.p2align 4
.globl tarn_first_cell
tarn_first_cell:
script_position:  .quad 0           // across calls out of the interpreter
saved_registers:  .fill 8, 8, 0     // rbx rbp rsi rdi r12 r13 r14 r15
argument_count:   .quad 0
argument_vector:  .quad 0
current_block:    .quad 0
current_size:     .quad 0
name_cursor:      .quad 0
undefined_fill:   .long 0
avx_required:     .long 0
sections_open:    .long 0           // 1 during the first walk, then 2
protection_before: .long 0
.globl tarn_script_word
tarn_script_word: .quad 0
.globl __runtime_slots
__runtime_slots:
#ifdef TARN_LIBRARY_IMAGE
.set cell, 0
.rept RUNTIME_CELLS
.quad __runtime_block + cell
.set cell, cell + 8
.endr
#else
.fill RUNTIME_CELLS, 8, 0
#endif
.globl tarn_script_area
tarn_script_area:
#ifdef TARN_SCRIPT_RESERVE
.fill TARN_SCRIPT_RESERVE, 1, 0     // finish_image writes the script here
#elif !defined(_WIN32)
.byte 5                             // the native library's whole script
.quad 0
#endif
.globl tarn_script_area_end
tarn_script_area_end:

.text

// Enters with nothing; returns non-zero in rax when the script names no main,
// otherwise not at all.
// rsi: script position; rdi: load base. Both are reloaded after each call, so
// that a called initialiser may use any register.
ROUTINE(__BrackenStartup)
  FRAME(40)
  mov [rip + saved_registers], rbx
  mov [rip + saved_registers + 8], rbp
  mov [rip + saved_registers + 16], rsi
  mov [rip + saved_registers + 24], rdi
  mov [rip + saved_registers + 32], r12
  mov [rip + saved_registers + 40], r13
  mov [rip + saved_registers + 48], r14
  mov [rip + saved_registers + 56], r15
  lea rdi, [rip + IMAGE_BASE]
  mov rsi, [rip + tarn_script_word]
  add rsi, rdi
#ifdef _WIN32
  cmp dword ptr [rip + sections_open], 0
  jne .Lnext
  mov dword ptr [rip + sections_open], 1
  mov [rip + script_position], rsi
  mov r13d, PAGE_READWRITE
  lea r14, [rip + .Lafter_call]
  jmp .Lprotect_sections
#endif

.Lnext:
  movzx eax, byte ptr [rsi]
  inc rsi
  sub eax, 5
  cmp eax, 12
  ja .Lbad_opcode
  lea rdx, [rip + .Lopcodes]
  movsxd rax, dword ptr [rdx + rax * 4]
  add rax, rdx
  jmp rax

.Lafter_call:
  mov rsi, [rip + script_position]
  lea rdi, [rip + IMAGE_BASE]
  jmp .Lnext

.Lrelocate:                         // 6
  mov rax, [rsi]
  mov qword ptr [rsi], 0
  add rsi, 8
  test rax, rax
  jz .Lnext
  add [rdi + rax], rdi
  jmp .Lnext

.Lallocate_block:                   // 7
  mov rcx, [rsi]
  mov qword ptr [rsi], 0
  add rsi, 8
  test rcx, rcx
  jz .Lnext
  mov [rip + script_position], rsi
  mov [rip + current_size], rcx
  call __record_program_storage
  xor ecx, ecx
  mov rdx, [rip + current_size]
  call GlobalAlloc
  test rax, rax
  jz .Lno_storage
  mov [rip + current_block], rax
  cmp dword ptr [rip + undefined_fill], 0
  je .Lregister_block
  mov rdi, rax
  mov rcx, [rip + current_size]
  mov eax, UNDEFINED_FILL
  rep stosb
  jmp .Lregister_block

.Ldeclare_block:                    // 8
  mov rax, [rsi]
  mov rcx, [rsi + 8]
  mov qword ptr [rsi + 8], 0
  add rsi, 16
  test rcx, rcx
  jz .Lnext
  add rax, rdi
  mov [rip + script_position], rsi
  mov [rip + current_block], rax
  mov [rip + current_size], rcx

.Lregister_block:                   // record: next, name, address, size, module
  xor ecx, ecx
  mov edx, BLOCK_RECORD_SIZE
  call GlobalAlloc
  test rax, rax
  jz .Lno_storage
  mov rcx, [rip + current_block]
  mov [rax + 16], rcx
  mov rcx, [rip + current_size]
  mov [rax + 24], rcx
  mov rdx, [rip + name_cursor]
  mov [rax + 8], rdx
.Lskip_name:
  inc rdx
  cmp byte ptr [rdx - 1], 0
  jne .Lskip_name
  mov [rip + name_cursor], rdx
  mov rcx, rax
  call append_common_spec
  jmp .Lafter_call

.Lrelocate_to_block:                // 9
  mov rax, [rsi]
  mov qword ptr [rsi], 0
  add rsi, 8
  test rax, rax
  jz .Lnext
  mov rcx, [rip + current_block]
  add [rdi + rax], rcx
  jmp .Lnext

.Lcall_initialiser:                 // 10
  mov rax, [rsi]
  mov qword ptr [rsi], 0
  add rsi, 8
  test rax, rax
  jz .Lnext
  mov [rip + script_position], rsi
  add rax, rdi
  call rax
  jmp .Lafter_call

.Lmain_setup:                       // 11
  mov [rip + script_position], rsi
  call __main_setup
  mov [rip + argument_count], rcx
  mov [rip + argument_vector], rdx
  lea rdx, [rip + __runtime_slots]
  mov ecx, RUNTIME_CELLS
.Lconnect_slot:
  mov [rdx], rax
  add rax, 8
  add rdx, 8
  dec ecx
  jnz .Lconnect_slot
  jmp .Lafter_call

.Lset_name_cursor:                  // 12
  mov eax, [rsi]
  mov dword ptr [rsi], 0
  add rsi, 4
  test eax, eax
  jz .Lnext
  add rax, rdi
  mov [rip + name_cursor], rax
  jmp .Lnext

.Lset_undefined_fill:               // 13
  mov dword ptr [rip + undefined_fill], 1
  jmp .Lnext

.Lrequire_avx:                      // 14
  mov dword ptr [rip + avx_required], 1
  jmp .Lnext

.Lrecord_profile:                   // 15
  mov rcx, [rsi]
  add rsi, 8
  add rcx, rdi
  mov [rip + script_position], rsi
  call __record_profile_address
  jmp .Lafter_call

.Lbind_routine:                     // 16
  mov eax, [rsi]
  lea rdx, [rsi + 4]
  lea rcx, [rip + tarn_first_cell]
  and rcx, -PAGE_SIZE               // start of the data section
  add rcx, rax
  call __attempt_rlo_load
  mov rsi, rax
  lea rdi, [rip + IMAGE_BASE]
  jmp .Lnext

.Lmark_image:                       // 17
  mov [rip + script_position], rsi
  mov rcx, rdi
  mov edx, PAGE_SIZE
  mov r8d, PAGE_READWRITE
  lea r9, [rsp + 32]
  call VirtualProtect
  lea rdi, [rip + IMAGE_BASE]
  mov dword ptr [rdi], NOTE_MARK
  jmp .Lafter_call

.Lclose:                            // 5
#ifdef _WIN32
  cmp dword ptr [rip + sections_open], 1
  jne .Lset_control
  mov dword ptr [rip + sections_open], 2
  mov [rip + script_position], rsi
  mov r13d, PAGE_READONLY
  lea r14, [rip + .Lsections_closed]
  jmp .Lprotect_sections
.Lsections_closed:
  mov rsi, [rip + script_position]
  lea rdi, [rip + IMAGE_BASE]
.Lset_control:
#endif
  stmxcsr [rsp + 32]
  mov eax, [rsp + 32]
  and eax, ~MXCSR_UNMASKED
  or eax, MXCSR_FLUSH
  mov [rsp + 32], eax
  ldmxcsr [rsp + 32]
  cmp dword ptr [rip + avx_required], 0
  je .Lavx_settled
  mov [rip + script_position], rsi
  call __test_avx                   // result in the flags
  je .Lavx_settled_after_call
  mov ecx, ERROR_NEEDS_AVX
  call __RuntimeError
.Lavx_settled_after_call:
  mov rsi, [rip + script_position]
  lea rdi, [rip + IMAGE_BASE]
.Lavx_settled:
  mov rax, [rsi]
  test rax, rax
  jz .Lreturn_to_loader
  add rax, rdi
  mov rcx, [rip + argument_count]
  mov rdx, [rip + argument_vector]
  call rax
  mov ecx, eax
  call ExitProcess

.Lreturn_to_loader:
  mov rbx, [rip + saved_registers]
  mov rbp, [rip + saved_registers + 8]
  mov rsi, [rip + saved_registers + 16]
  mov rdi, [rip + saved_registers + 24]
  mov r12, [rip + saved_registers + 32]
  mov r13, [rip + saved_registers + 40]
  mov r14, [rip + saved_registers + 48]
  mov r15, [rip + saved_registers + 56]
  mov eax, 1
  add rsp, 40
  ret

#ifdef _WIN32
// r13d: the protection of the sections that hold constants; r14: where to go on. Neighbours
// have it set at once.
.Lprotect_sections:
  mov ebx, [rdi + PE_OFFSET]
  add rbx, rdi
  movzx r12d, word ptr [rbx + SECTION_COUNT]
  movzx eax, word ptr [rbx + OPTIONAL_HEADER_SIZE]
  lea rbx, [rbx + rax + OPTIONAL_HEADER]
.Lprotect_next:
  test r12d, r12d
  jz .Lprotected
  mov ecx, [rbx + VIRTUAL_ADDRESS]  // of the first
  test dword ptr [rbx + CHARACTERISTICS], STAYS_AS_IT_IS
  jnz .Lprotect_skip
.Lprotect_neighbour:
  mov edx, [rbx + VIRTUAL_ADDRESS]
  add edx, [rbx + VIRTUAL_SIZE]     // the end of the last
  add rbx, SECTION_HEADER_SIZE
  dec r12d
  jz .Lprotect_run
  test dword ptr [rbx + CHARACTERISTICS], STAYS_AS_IT_IS
  jz .Lprotect_neighbour
.Lprotect_run:
  sub edx, ecx
  lea rax, [rip + IMAGE_BASE]
  add rcx, rax
  mov r8d, r13d
  lea r9, [rip + protection_before]
  call VirtualProtect
  jmp .Lprotect_next
.Lprotect_skip:
  add rbx, SECTION_HEADER_SIZE
  dec r12d
  jmp .Lprotect_next
.Lprotected:
  jmp r14
#endif

.Lno_storage:
  call __initialise_cpplib          // blocks come first, and the report must be up
  mov r8, [rip + name_cursor]
  mov r9d, BLOCK_NAME_MARK
  mov r10, [rip + current_size]
  mov ecx, ERROR_COMMON_BLOCK
  call __RuntimeError

.Lbad_opcode:
  hlt
ROUTINE_END(__BrackenStartup)

.p2align 2
.Lopcodes:
  .long .Lclose - .Lopcodes
  .long .Lrelocate - .Lopcodes
  .long .Lallocate_block - .Lopcodes
  .long .Ldeclare_block - .Lopcodes
  .long .Lrelocate_to_block - .Lopcodes
  .long .Lcall_initialiser - .Lopcodes
  .long .Lmain_setup - .Lopcodes
  .long .Lset_name_cursor - .Lopcodes
  .long .Lset_undefined_fill - .Lopcodes
  .long .Lrequire_avx - .Lopcodes
  .long .Lrecord_profile - .Lopcodes
  .long .Lbind_routine - .Lopcodes
  .long .Lmark_image - .Lopcodes

#if defined(_WIN32) && !defined(TARN_LIBRARY_IMAGE)
// A cross compiler's code calls it for large frames.
ROUTINE(___chkstk_ms)
  NO_FRAME
  jmp __stack_adjust
ROUTINE_END(___chkstk_ms)

// For the slots of pure virtual functions. The compiler refers to it only
// weakly, which takes nothing from a library: without this the slots would be
// null. Weak too, so that a program may have one of its own. Reached by a jump,
// the raiser leaves the caller as the report's first frame.
.weak __cxa_pure_virtual
ROUTINE(__cxa_pure_virtual)
  NO_FRAME
  mov ecx, ERROR_PURE_VIRTUAL
  jmp __RuntimeError
ROUTINE_END(__cxa_pure_virtual)

// Takes the manifest from the library after the program's own objects.
.section .rdata, "dr"
  .rva tarn_program_manifest
#endif

#ifndef _WIN32
// A native executable's base is known only once it is loaded.
.Lplace_script:
  lea rax, [rip + tarn_script_area]
  lea rcx, [rip + IMAGE_BASE]
  sub rax, rcx
  mov [rip + tarn_script_word], rax
  ret
.section .init_array, "aw"
.quad .Lplace_script
#endif

END_OF_SOURCE
