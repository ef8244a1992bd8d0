# What a start runs and writes lies side by side in tarnrun. The system maps 16 pages of a file
# where one is touched, and clears or copies each page that is written: a start is the faster, the
# fewer of these it touches. What is missing in the lists costs a page, no more; to see what a start
# runs: valgrind --tool=callgrind tarnrun PROGRAM.

# Of the C library and the compiler's, as patterns of their objects.
set(TARN_STARTED_OF_OTHERS *crt1.o *crtbegin*.o *libgcc.a:_popcount*.o)
foreach(name
    dl-d* dl-e* dl-find_object dl-lo[ao]* dl-o[br]* dl-reloc* dl-s[eu]* dl-t* libc[-_]* init-* rtld*
    *-sse2 *-erms *-generic str[ac-df-lnr-s]* strpbrk stp* mem[cmprs]* rawmemchr wcs[cnr]* wmem*
    C-ctype ctype-info cxa_atexit malloc sbrk brk getenv setenv errno-loc elision-conf _exit strdup
    get[cprs]* open64 close fcntl* fstat* stat64 pread64 mmap64 munmap mprotect madvise sig*
    sysconf sysinfo sched_getaffinity tcgetattr pthread_[kos]* pthread_mutex_[clu]* cleanup_compat)
  list(APPEND TARN_STARTED_OF_OTHERS *libc.a:${name}.o)
endforeach()

# Of the project's, by their sources.
set(TARN_STARTED
    main c_library_start affinity carried command_line configuration current_process c_string
    enter_program environment exception_handler export_table image_loader load main_setup paths
    processor program_control program_start routine_binding search start_faults startup_script
    system_facts system_library thread_start)
# With the variables that a start writes; the largest come last.
set(TARN_STARTED_WITH_VARIABLES
    console_state entry initialise last_error machine process_state saved_reports
    secondary_stack signals suspension virtual_memory heap module_list)
# Larger, and only partly run.
set(TARN_STARTED_IN_PART child_processes file_stream files handles progress_window screen
    terminal_mode threads)

function(tarn_order_start target)
  set(code)
  set(constants)
  set(variables)
  set(zeros)
  foreach(pattern IN LISTS TARN_STARTED_OF_OTHERS)
    set(files "EXCLUDE_FILE(*avx* *evex* *ssse3* *sse4*) ${pattern}")
    string(APPEND code "    ${files}(.text .text.*)\n")
    string(APPEND constants "    ${files}(.rodata .rodata.*)\n")
    string(APPEND variables "    ${files}(.data)\n")
    string(APPEND zeros "    ${files}(.bss)\n")
  endforeach()
  foreach(name IN LISTS TARN_STARTED TARN_STARTED_WITH_VARIABLES TARN_STARTED_IN_PART)
    string(APPEND code "    *${name}.*.o(.text .text.*)\n")
    string(APPEND constants "    *${name}.*.o(.rodata .rodata.*)\n")
    if(name IN_LIST TARN_STARTED_WITH_VARIABLES)
      string(APPEND variables "    *${name}.*.o(.data .data._*)\n")
      string(APPEND zeros "    *${name}.*.o(.bss .bss.*)\n")
    endif()
  endforeach()
  # Constants come after the others, since before them lies what is executable, and variables too,
  # since before them the linker ends what is read-only once it is relocated.
  set(script "/* Made by start_order.cmake. */\n")
  foreach(part "text code BEFORE" "rodata constants AFTER" "data variables AFTER" "bss zeros BEFORE")
    separate_arguments(part)
    list(GET part 0 section)
    list(GET part 1 rows)
    list(GET part 2 place)
    string(APPEND script "SECTIONS\n{\n  .${section}.start :\n  {\n${${rows}}  }\n}\n"
                         "INSERT ${place} .${section};\n")
  endforeach()
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/start_order.ld CONTENT "${script}" @ONLY)
  target_link_options(${target} PRIVATE -Wl,-T,${CMAKE_CURRENT_BINARY_DIR}/start_order.ld)
  set_target_properties(${target} PROPERTIES
                        LINK_DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/start_order.ld)
endfunction()
