! The library's services for Fortran: use tarnlib.
!
! What a routine does is told in the header that is named above its interface, and in
! docs/reference. Text is passed as the entries take it: those with a length after it have it
! as it is, the others up to a NUL, as tarn_c makes it; what they return as type(c_ptr) is
! read by tarn_text. A procedure argument is c_funloc of a bind(C) procedure.
module tarnlib
  use, intrinsic :: iso_c_binding
  implicit none
  public

  ! Made from the headers by scripts/reference.py:
  integer(c_int), parameter :: tarn_black = 0
  integer(c_int), parameter :: tarn_blue = 1
  integer(c_int), parameter :: tarn_green = 2
  integer(c_int), parameter :: tarn_cyan = 3
  integer(c_int), parameter :: tarn_red = 4
  integer(c_int), parameter :: tarn_magenta = 5
  integer(c_int), parameter :: tarn_yellow = 6
  integer(c_int), parameter :: tarn_white = 7
  integer(c_int), parameter :: tarn_bright = 8
  integer(c_int), parameter :: tarn_spawn_wait = 0
  integer(c_int), parameter :: tarn_spawn_no_wait = 2
  integer(c_int), parameter :: tarn_error_missing_routine = 29
  integer(c_int), parameter :: tarn_error_heap_exhausted = 199
  integer(c_int), parameter :: tarn_error_long_jump = 282
  integer(c_int), parameter :: tarn_error_format_arguments = 291
  integer(c_int), parameter :: tarn_error_file_structure = 296
  integer(c_int), parameter :: tarn_error_printed_double = 297
  integer(c_int), parameter :: tarn_error_printed_long_double = 298
  integer(c_int), parameter :: tarn_error_array_length_unknown = 311
  integer(c_int), parameter :: tarn_error_pure_virtual = 312
  integer(c_int), parameter :: tarn_error_stream_pointer = 343
  integer(c_int), parameter :: tarn_error_callers_text = 345
  integer(c_int), parameter :: tarn_error_numeric_argument = 357
  integer(c_int), parameter :: tarn_error_common_block = 365
  integer(c_int), parameter :: tarn_error_region_virtual_memory = 366
  integer(c_int), parameter :: tarn_error_region_physical_memory = 367
  integer(c_int), parameter :: tarn_error_needs_avx = 368
  integer(c_int), parameter :: tarn_error_part_freed = 375
  integer(c_int), parameter :: tarn_error_unallocated_deleted = 376
  integer(c_int), parameter :: tarn_error_unallocated_freed = 377
  integer(c_int), parameter :: tarn_error_allocate_storage = 408
  integer(c_int), parameter :: tarn_error_already_allocated = 432
  integer(c_int), parameter :: tarn_error_virtual_stack = 444
  integer(c_int), parameter :: tarn_resume = -1
  integer(c_int), parameter :: tarn_pass_on = 0
  integer(c_int), parameter :: tarn_not_an_error = 65538
  integer(c_int), parameter :: tarn_report = 1
  integer(c_int), parameter :: tarn_trap_access = 0
  integer(c_int), parameter :: tarn_trap_invalid = 1
  integer(c_int), parameter :: tarn_trap_denormal = 2
  integer(c_int), parameter :: tarn_trap_divide = 3
  integer(c_int), parameter :: tarn_trap_overflow = 4
  integer(c_int), parameter :: tarn_trap_underflow = 5
  integer(c_int), parameter :: tarn_trap_precision = 6
  integer(c_int), parameter :: tarn_trap_x87_stack = 7
  integer(c_int), parameter :: tarn_trap_breakpoint = 9
  integer(c_int), parameter :: tarn_trap_single_step = 10
  integer(c_int), parameter :: tarn_trap_privileged = 11
  integer(c_int), parameter :: tarn_trap_all = 12
  integer(c_int), parameter :: tarn_trap_all_float = 13
  integer(c_int), parameter :: tarn_trap_integer_divide = 14

  interface

    ! <tarn/console.h>
    subroutine tarn_console_write(text, length) bind(C, name='CONSOLE_WRITE_at')
      import
      character(kind=c_char), dimension(*), intent(in) :: text
      integer(c_int64_t), value :: length
    end subroutine
    subroutine tarn_console_write_char(character) bind(C, name='CONSOLE_WRITE_CHAR_at')
      import
      character(kind=c_char), dimension(*), intent(in) :: character
    end subroutine
    subroutine tarn_flush_console() bind(C, name='FLUSH_CONSOLE_at')
    end subroutine
    subroutine tarn_set_console_buffer_mode(mode) bind(C, name='SET_CONSOLE_BUFFER_MODE_at')
      import
      integer(c_int), intent(in) :: mode
    end subroutine
    subroutine tarn_set_console_wrap_mode(mode) bind(C, name='SET_CONSOLE_WRAP_MODE_at')
      import
      integer(c_int), intent(in) :: mode
    end subroutine
    subroutine tarn_console_printf(format, text) bind(C, name='ConsolePrintf')
      import
      character(kind=c_char), dimension(*), intent(in) :: format, text
    end subroutine
    subroutine tarn_console_printf_c(format, text) bind(C, name='ConsolePrintfC')
      import
      character(kind=c_char), dimension(*), intent(in) :: format, text
    end subroutine
    subroutine tarn_clear_printf_c_line(on) bind(C, name='ClearPrintfCLine')
      import
      integer(c_int), value :: on
    end subroutine
    subroutine tarn_console_box_print(style, background, foreground, format, text) &
        bind(C, name='ConsoleBoxPrint')
      import
      integer(c_int), value :: style, background, foreground
      character(kind=c_char), dimension(*), intent(in) :: format, text
    end subroutine
    integer(c_int) function tarn_set_box_shadow(colour) bind(C, name='SetBoxShadow')
      import
      integer(c_int), value :: colour
    end function
    character(kind=c_char) function tarn_set_box_char(character) bind(C, name='SetBoxChar')
      import
      character(kind=c_char), value :: character
    end function
    integer(c_int) function tarn_set_console_colour(colour) &
        bind(C, name='SET_CONSOLE_COLOUR_at')
      import
      integer(c_int), intent(in) :: colour
    end function
    integer(c_int) function tarn_set_console_background(colour) &
        bind(C, name='SET_CONSOLE_BACKGROUND_at')
      import
      integer(c_int), intent(in) :: colour
    end function
    subroutine tarn_set_text_attribute(colour) bind(C, name='SetTextAttribute')
      import
      integer(c_int), value :: colour
    end subroutine
    subroutine tarn_push_console_colour(colour) bind(C, name='PUSH_CONSOLE_COLOUR_at')
      import
      integer(c_int), intent(in) :: colour
    end subroutine
    subroutine tarn_pop_console_colour() bind(C, name='POP_CONSOLE_COLOUR_at')
    end subroutine
    subroutine tarn_clear_current_line() bind(C, name='ClearCurrentLine')
    end subroutine
    subroutine tarn_clear_to_cursor_pos() bind(C, name='ClearToCursorPos')
    end subroutine
    subroutine tarn_clear_to_eol() bind(C, name='ClearToEOL')
    end subroutine
    subroutine tarn_set_pause_mode(mode) bind(C, name='SET_PAUSE_MODE_at')
      import
      integer(c_int), intent(in) :: mode
    end subroutine
    integer(c_int) function tarn_console_paused() bind(C, name='ConsolePaused')
      import
    end function
    subroutine tarn_clear_pause_line() bind(C, name='CLEAR_PAUSE_LINE_at')
    end subroutine
    subroutine tarn_get_key(key) bind(C, name='get_key')
      import
      integer(c_int), intent(inout) :: key
    end subroutine
    integer(c_int) function tarn_console_read(buffer, size, count) bind(C, name='ConsoleRead')
      import
      character(kind=c_char), dimension(*), intent(inout) :: buffer
      integer(c_int), value :: size
      integer(c_int), intent(inout) :: count
    end function
    integer(c_int) function tarn_screen_width() bind(C, name='ScreenWidth')
      import
    end function
    integer(c_int) function tarn_screen_height() bind(C, name='ScreenHeight')
      import
    end function
    subroutine tarn_set_console_cursor_pos(x, y) bind(C, name='SET_CONSOLE_CURSOR_POS_at')
      import
      integer(c_int), intent(in) :: x, y
    end subroutine
    subroutine tarn_get_console_cursor_pos(x, y) bind(C, name='GET_CONSOLE_CURSOR_POS_at')
      import
      integer(c_int), intent(inout) :: x, y
    end subroutine
    integer(c_int) function tarn_set_cursor_size(size) bind(C, name='SET_CURSOR_SIZE_at')
      import
      integer(c_int), intent(in) :: size
    end function
    subroutine tarn_cursor_control(on) bind(C, name='CURSOR_CONTROL_at')
      import
      integer(c_int), intent(in) :: on
    end subroutine
    subroutine tarn_hide_cursor() bind(C, name='HIDE_CURSOR_at')
    end subroutine
    subroutine tarn_restore_cursor() bind(C, name='RESTORE_CURSOR_at')
    end subroutine
    integer(c_int) function tarn_console_redirected() bind(C, name='CONSOLE_REDIRECTED_at')
      import
    end function
    subroutine tarn_redirect_console_output(handle) bind(C, name='REDIRECT_CONSOLE_OUTPUT_at')
      import
      integer(c_int64_t), intent(in) :: handle
    end subroutine
    subroutine tarn_redirect_console_input(handle) bind(C, name='REDIRECT_CONSOLE_INPUT_at')
      import
      integer(c_int64_t), intent(in) :: handle
    end subroutine
    integer(c_int) function tarn_get_console_handle(which) bind(C, name='_get_console_handle')
      import
      integer(c_int), value :: which
    end function

    ! <tarn/progress.h>
    subroutine tarn_display_progress(percent) bind(C, name='DisplayProgress')
      import
      integer(c_int), value :: percent
    end subroutine
    type(c_ptr) function tarn_make_progress_thread(total) bind(C, name='MakeProgressThread')
      import
      integer(c_int), value :: total
    end function
    subroutine tarn_update_progress_value(value) bind(C, name='UpdateProgressValue')
      import
      integer(c_int), value :: value
    end subroutine
    subroutine tarn_close_progress_thread() bind(C, name='CloseProgressThread')
    end subroutine
    subroutine tarn_start_progress_dialog(total, title, text) &
        bind(C, name='StartProgressDialog')
      import
      integer(c_int), value :: total
      character(kind=c_char), dimension(*), intent(in) :: title, text
    end subroutine
    subroutine tarn_update_progress_dialog(value) bind(C, name='UpdateProgressDialog')
      import
      integer(c_int), value :: value
    end subroutine
    subroutine tarn_close_progress_dialog() bind(C, name='CloseProgressDialog')
    end subroutine
    subroutine tarn_set_error_counters(errors, warnings, comments) &
        bind(C, name='SetErrorCounters')
      import
      integer(c_int), value :: errors, warnings, comments
    end subroutine

    ! <tarn/fortran_math.h>
    real(c_float) function tarn_alog(x) bind(C, name='ALOG_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_float) function tarn_alog1(x) bind(C, name='ALOG1_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_float) function tarn_alog2(x) bind(C, name='ALOG2_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dlog(x) bind(C, name='DLOG_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dlog1(x) bind(C, name='DLOG1_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dlog2(x) bind(C, name='DLOG2_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_float) function tarn_exp(x) bind(C, name='EXP_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dexp(x) bind(C, name='DEXP_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_float) function tarn_sin(x) bind(C, name='SIN_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_float) function tarn_cos(x) bind(C, name='COS_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_float) function tarn_tan(x) bind(C, name='TAN_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_float) function tarn_atan(x) bind(C, name='ATAN_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dsin(x) bind(C, name='DSIN_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dcos(x) bind(C, name='DCOS_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dtan(x) bind(C, name='DTAN_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_datan(x) bind(C, name='DATAN_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_float) function tarn_asin(x) bind(C, name='ASIN_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_float) function tarn_acos(x) bind(C, name='ACOS_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dasin(x) bind(C, name='DASIN_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dacos(x) bind(C, name='DACOS_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_float) function tarn_atan2(y, x) bind(C, name='ATAN2_at')
      import
      real(c_float), intent(in) :: y, x
    end function
    real(c_double) function tarn_datn2(y, x) bind(C, name='DATN2_at')
      import
      real(c_double), intent(in) :: y, x
    end function
    real(c_float) function tarn_sinh(x) bind(C, name='SINH_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_float) function tarn_cosh(x) bind(C, name='COSH_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_float) function tarn_tanh(x) bind(C, name='TANH_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dsinh(x) bind(C, name='DSINH_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dcosh(x) bind(C, name='DCOSH_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dtanh(x) bind(C, name='DTANH_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_float) function tarn_sqrt(x) bind(C, name='SQRT_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dsqrt(x) bind(C, name='DSQRT_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_float) function tarn_amod(x, y) bind(C, name='AMOD_at')
      import
      real(c_float), intent(in) :: x, y
    end function
    real(c_double) function tarn_dmod(x, y) bind(C, name='DMOD_at')
      import
      real(c_double), intent(in) :: x, y
    end function
    real(c_float) function tarn_aint(x) bind(C, name='AINT_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dint(x) bind(C, name='DINT_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_float) function tarn_anint(x) bind(C, name='ANINT_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dnint(x) bind(C, name='DNINT_at')
      import
      real(c_double), intent(in) :: x
    end function
    integer(c_short) function tarn_inint(x) bind(C, name='ININT_at')
      import
      real(c_float), intent(in) :: x
    end function
    integer(c_short) function tarn_idnin(x) bind(C, name='IDNIN_at')
      import
      real(c_double), intent(in) :: x
    end function
    integer(c_int) function tarn_jnint(x) bind(C, name='JNINT_at')
      import
      real(c_float), intent(in) :: x
    end function
    integer(c_int) function tarn_jdnin(x) bind(C, name='JDNIN_at')
      import
      real(c_double), intent(in) :: x
    end function
    integer(c_signed_char) function tarn_habs(x) bind(C, name='HABS_at')
      import
      integer(c_signed_char), intent(in) :: x
    end function
    integer(c_short) function tarn_iabs(x) bind(C, name='IABS_at')
      import
      integer(c_short), intent(in) :: x
    end function
    integer(c_int) function tarn_jabs(x) bind(C, name='JABS_at')
      import
      integer(c_int), intent(in) :: x
    end function
    real(c_float) function tarn_abs(x) bind(C, name='ABS_at')
      import
      real(c_float), intent(in) :: x
    end function
    real(c_double) function tarn_dabs(x) bind(C, name='DABS_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_float) function tarn_cabs(z) bind(C, name='CABS_at')
      import
      complex(c_float), intent(in) :: z
    end function
    real(c_double) function tarn_cdabs(z) bind(C, name='CDABS_at')
      import
      complex(c_double), intent(in) :: z
    end function
    real(c_float) function tarn_aimag(z) bind(C, name='AIMAG_at')
      import
      complex(c_float), intent(in) :: z
    end function
    real(c_double) function tarn_dimag(z) bind(C, name='DIMAG_at')
      import
      complex(c_double), intent(in) :: z
    end function
    integer(c_int) function tarn_selected_int_kind(p) bind(C, name='SELECTED_INT_KIND_at')
      import
      integer(c_int), intent(in) :: p
    end function
    integer(c_int) function tarn_selected_int_kind1(p) bind(C, name='SELECTED_INT_KIND1_at')
      import
      integer(c_int), intent(in) :: p
    end function
    integer(c_int) function tarn_selected_int_kinda(p) bind(C, name='SELECTED_INT_KINDA_at')
      import
      integer(c_int), intent(in) :: p
    end function
    integer(c_int) function tarn_selected_real_kind(p, r) &
        bind(C, name='SELECTED_REAL_KIND_at')
      import
      integer(c_int), intent(in) :: p, r
    end function
    integer(c_int) function tarn_selected_real_kind2(p, r) &
        bind(C, name='SELECTED_REAL_KIND2_at')
      import
      integer(c_int), intent(in) :: p, r
    end function
    integer(c_int) function tarn_selected_real_kinda(p, r) &
        bind(C, name='SELECTED_REAL_KINDA_at')
      import
      integer(c_int), intent(in) :: p, r
    end function
    integer(c_int) function tarn_clr_selected_real_kind(p, r) &
        bind(C, name='CLR_SELECTED_REAL_KIND_at')
      import
      integer(c_int), intent(in) :: p, r
    end function
    real(c_double) function tarn_derf(x) bind(C, name='DERF_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_derfc(x) bind(C, name='DERFC_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_derfc_scaled(x) bind(C, name='DERFC_SCALED_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dgamma(x) bind(C, name='DGAMMA_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dlog_gamma(x) bind(C, name='DLOG_GAMMA_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dbessel_j0(x) bind(C, name='DBESSEL_J0_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dbessel_j1(x) bind(C, name='DBESSEL_J1_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dbessel_jn(n, x) bind(C, name='DBESSEL_JN_at')
      import
      integer(c_int), intent(in) :: n
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dbessel_y0(x) bind(C, name='DBESSEL_Y0_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dbessel_y1(x) bind(C, name='DBESSEL_Y1_at')
      import
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_dbessel_yn(n, x) bind(C, name='DBESSEL_YN_at')
      import
      integer(c_int), intent(in) :: n
      real(c_double), intent(in) :: x
    end function
    real(c_double) function tarn_d1mach(i) bind(C, name='D1MACH')
      import
      integer(c_int), intent(in) :: i
    end function
    integer(c_int) function tarn_i1mach(i) bind(C, name='I1MACH')
      import
      integer(c_int), intent(in) :: i
    end function
    subroutine tarn_calerf(x, result, selector) bind(C, name='CALERF')
      import
      real(c_double), intent(in) :: x
      real(c_double), intent(inout) :: result
      integer(c_int), intent(in) :: selector
    end subroutine

    ! <tarn/character.h>
    subroutine tarn_adjustl(result, result_length, source, length) bind(C, name='ADJUSTL_at')
      import
      character(kind=c_char), dimension(*), intent(inout) :: result
      integer(c_int64_t), value :: result_length
      character(kind=c_char), dimension(*), intent(in) :: source
      integer(c_int64_t), value :: length
    end subroutine
    subroutine tarn_adjustr(result, result_length, source, length) bind(C, name='ADJUSTR_at')
      import
      character(kind=c_char), dimension(*), intent(inout) :: result
      integer(c_int64_t), value :: result_length
      character(kind=c_char), dimension(*), intent(in) :: source
      integer(c_int64_t), value :: length
    end subroutine
    subroutine tarn_trim(text, length) bind(C, name='TRIM_at')
      import
      character(kind=c_char), dimension(*), intent(inout) :: text
      integer(c_int64_t), value :: length
    end subroutine
    subroutine tarn_trimr(text, length) bind(C, name='TRIMR_at')
      import
      character(kind=c_char), dimension(*), intent(inout) :: text
      integer(c_int64_t), value :: length
    end subroutine
    subroutine tarn_lcase(text, length) bind(C, name='LCASE_at')
      import
      character(kind=c_char), dimension(*), intent(inout) :: text
      integer(c_int64_t), value :: length
    end subroutine
    integer(c_int64_t) function tarn_centre(result, result_length, source, width, length) &
        bind(C, name='CENTRE_at')
      import
      character(kind=c_char), dimension(*), intent(inout) :: result
      integer(c_int64_t), value :: result_length
      character(kind=c_char), dimension(*), intent(in) :: source
      integer(c_short), intent(in) :: width
      integer(c_int64_t), value :: length
    end function
    subroutine tarn_make_cstring(source, destination, length) bind(C, name='MAKE_CSTRING_at')
      import
      character(kind=c_char), dimension(*), intent(in) :: source
      character(kind=c_char), dimension(*), intent(inout) :: destination
      integer(c_int), intent(in) :: length
    end subroutine
    subroutine tarn_get_cstring(destination, source, length) bind(C, name='GET_CSTRING_at')
      import
      character(kind=c_char), dimension(*), intent(inout) :: destination
      character(kind=c_char), dimension(*), intent(in) :: source
      integer(c_int), intent(in) :: length
    end subroutine

    ! <tarn/timing.h>
    integer(c_int) function tarn_milliseconds_after_midnight() &
        bind(C, name='__milliseconds_after_midnight')
      import
    end function
    subroutine tarn_current_time(seconds) bind(C, name='current_time')
      import
      real(c_double), intent(inout) :: seconds
    end subroutine
    real(c_double) function tarn_perform_timing(routine) bind(C, name='PERFORM_TIMING')
      import
      type(c_funptr), value :: routine
    end function
    subroutine tarn_save_timing(nanoseconds) bind(C, name='save_timing')
      import
      real(c_double), value :: nanoseconds
    end subroutine

    ! <tarn/parallel.h>
    subroutine tarn_set_parallel_task_memory_size(size) &
        bind(C, name='SetParallelTaskMemorySize')
      import
      integer(c_int64_t), value :: size
    end subroutine
    integer(c_int) function tarn_get_parallel_task_id(slaves) &
        bind(C, name='GetParallelTaskID')
      import
      integer(c_int), value :: slaves
    end function
    subroutine tarn_get_parallel_task_status(task, count) &
        bind(C, name='GetParallelTaskStatus')
      import
      integer(c_int), intent(inout) :: task, count
    end subroutine
    integer(c_int) function tarn_is_slave_process() bind(C, name='IsSlaveProcess')
      import
    end function
    subroutine tarn_terminate_parallel_processing() &
        bind(C, name='TerminateParallelProcessing')
    end subroutine
    type(c_ptr) function tarn_allocate_auto_shared_memory(size) &
        bind(C, name='allocate_auto_shared_memory')
      import
      integer(c_int64_t), value :: size
    end function
    subroutine tarn_tasksynchronise() bind(C, name='TASKSYNCHRONISE_at')
    end subroutine
    subroutine tarn_broadcastinteger(value) bind(C, name='BROADCASTINTEGER_at')
      import
      integer(c_int), intent(inout) :: value
    end subroutine
    subroutine tarn_broadcastdouble(value) bind(C, name='BROADCASTDOUBLE_at')
      import
      real(c_double), intent(inout) :: value
    end subroutine
    subroutine tarn_broadcastbytes(buffer, count) bind(C, name='BROADCASTBYTES_at')
      import
      type(*), dimension(*) :: buffer
      integer(c_int), intent(inout) :: count
    end subroutine
    subroutine tarn_getprocessorcounts(cores, logical) bind(C, name='GETPROCESSORCOUNTS_at')
      import
      integer(c_int), intent(inout) :: cores, logical
    end subroutine
    integer(c_int) function tarn_recommended_processor_count(power_of_two) &
        bind(C, name='RecommendedProcessorCount')
      import
      integer(c_int), value :: power_of_two
    end function
    subroutine tarn_kill_slaves(name) bind(C, name='KillSlaves')
      import
      character(kind=c_char), dimension(*), intent(in) :: name
    end subroutine

    ! <tarn/process.h>
    integer(c_int) function tarn_spawns(mode, program, arguments) bind(C, name='_spawns')
      import
      integer(c_int), value :: mode
      character(kind=c_char), dimension(*), intent(in) :: program, arguments
    end function
    integer(c_int) function tarn_start_process_and_wait(program, arguments, slice) &
        bind(C, name='__start_process_and_wait')
      import
      character(kind=c_char), dimension(*), intent(in) :: program, arguments
      integer(c_int), value :: slice
    end function

    ! <tarn/files.h>
    integer(c_int) function tarn_get_file_date_time(path, date, time) &
        bind(C, name='get_file_date_time')
      import
      character(kind=c_char), dimension(*), intent(in) :: path
      integer(c_int), intent(inout) :: date, time
    end function
    integer(c_int) function tarn_get_file_date_time_text(path, date, time) &
        bind(C, name='get_file_date_time_text')
      import
      character(kind=c_char), dimension(*), intent(in) :: path
      character(kind=c_char), dimension(*), intent(inout) :: date, time
    end function
    integer(c_int) function tarn_set_file_date_time(path, date, time) &
        bind(C, name='set_file_date_time')
      import
      character(kind=c_char), dimension(*), intent(in) :: path
      integer(c_int), value :: date, time
    end function
    integer(c_int) function tarn_set_file_date_time_text(path, date, time) &
        bind(C, name='set_file_date_time_text')
      import
      character(kind=c_char), dimension(*), intent(in) :: path, date, time
    end function
    integer(c_int) function tarn_dos_date_time_to_text(date, time, date_text, time_text) &
        bind(C, name='dos_date_time_to_text')
      import
      integer(c_int), value :: date, time
      character(kind=c_char), dimension(*), intent(inout) :: date_text, time_text
    end function
    subroutine tarn_get_time(year, month, day, hour, minute, second) bind(C, name='get_time')
      import
      integer(c_int), intent(inout) :: year, month, day, hour, minute, second
    end subroutine
    subroutine tarn_get_now_file_date_time(date, time) bind(C, name='get_now_file_date_time')
      import
      integer(c_int), intent(inout) :: date, time
    end subroutine
    type(c_ptr) function tarn_read_file(path) bind(C, name='__read_file')
      import
      character(kind=c_char), dimension(*), intent(in) :: path
    end function
    integer(c_int) function tarn_log_event(text, path) bind(C, name='log_event')
      import
      character(kind=c_char), dimension(*), intent(in) :: text, path
    end function
    subroutine tarn_file_checksum(path, sums) bind(C, name='file_checksum')
      import
      character(kind=c_char), dimension(*), intent(in) :: path
      integer(c_int), dimension(2), intent(out) :: sums
    end subroutine
    integer(c_int) function tarn_disk_is_remote(letter) bind(C, name='disk_is_remote')
      import
      character(kind=c_char), value :: letter
    end function
    subroutine tarn_dquote_string(source, destination) bind(C, name='__dquote_string')
      import
      character(kind=c_char), dimension(*), intent(inout) :: source
      character(kind=c_char), dimension(*), optional :: destination
    end subroutine
    subroutine tarn_dunquote_string(source, destination) bind(C, name='__dunquote_string')
      import
      character(kind=c_char), dimension(*), intent(inout) :: source
      character(kind=c_char), dimension(*), optional :: destination
    end subroutine

    ! <tarn/compression.h>
    type(c_ptr) function tarn_compress(path, length) bind(C, name='__tarn_compress')
      import
      character(kind=c_char), dimension(*), intent(in) :: path
      integer(c_int), intent(inout) :: length
    end function
    type(c_ptr) function tarn_compress1(block, size, length) bind(C, name='__tarn_compress1')
      import
      type(c_ptr), value :: block
      integer(c_int), value :: size
      integer(c_int), intent(inout) :: length
    end function
    type(c_ptr) function tarn_compress2(block, size, length) bind(C, name='__tarn_compress2')
      import
      type(c_ptr), value :: block
      integer(c_int), value :: size
      integer(c_int), intent(inout) :: length
    end function
    type(c_ptr) function tarn_decompress(block, size, length) &
        bind(C, name='__tarn_decompress')
      import
      type(c_ptr), value :: block
      integer(c_int), value :: size
      integer(c_int), intent(inout) :: length
    end function

    ! <tarn/storage.h>
    type(c_ptr) function tarn_lock_storage(size) bind(C, name='LockStorage')
      import
      integer(c_size_t), value :: size
    end function
    subroutine tarn_unlock_storage(block) bind(C, name='UnlockStorage')
      import
      type(c_ptr), value :: block
    end subroutine

    ! <tarn/errors.h>
    subroutine tarn_fail(number) bind(C, name='FAIL_at')
      import
      integer(c_int), intent(in) :: number
    end subroutine
    subroutine tarn_report_error_number(number) bind(C, name='ReportErrorNumber_at')
      import
      integer(c_int), value :: number
    end subroutine
    subroutine tarn_report_error_string(text, length) bind(C, name='ReportErrorString_at')
      import
      character(kind=c_char), dimension(*), intent(in) :: text
      integer(c_int64_t), value :: length
    end subroutine
    type(c_ptr) function tarn_nt_error_message(code) bind(C, name='nt_error_message')
      import
      integer(c_int), value :: code
    end function

    ! <tarn/traps.h>
    type(c_funptr) function tarn_trap_exception(type, routine) &
        bind(C, name='TRAP_EXCEPTION_at')
      import
      integer(c_int), intent(in) :: type
      type(c_funptr), value :: routine
    end function
    subroutine tarn_restore_default_handler(unused) bind(C, name='RESTORE_DEFAULT_HANDLER_at')
      import
      type(c_ptr), value :: unused
    end subroutine
    subroutine tarn_set_software_underflows(mode) &
        bind(C, name='SET_SOFTWARE_UNDERFLOWS_dollar')
      import
      integer(c_int), intent(in) :: mode
    end subroutine
    subroutine tarn_permit_underflow(permitted) bind(C, name='PERMIT_UNDERFLOW_dollar')
      import
      integer(c_short), intent(in) :: permitted
    end subroutine
    subroutine tarn_underflow_count(count) bind(C, name='UNDERFLOW_COUNT_dollar')
      import
      integer(c_int), intent(inout) :: count
    end subroutine
    subroutine tarn_mask_all_fp_errors(on) bind(C, name='mask_all_fp_errors')
      import
      integer(c_int), value :: on
    end subroutine
    type(c_funptr) function tarn_set_trap(routine, type) bind(C, name='SET_TRAP_at')
      import
      type(c_funptr), value :: routine
      integer(c_int), intent(in) :: type
    end function
    type(c_ptr) function tarn_setup_expanding_region(name, size) &
        bind(C, name='setup_expanding_region')
      import
      character(kind=c_char), dimension(*), intent(in), optional :: name
      integer(c_int64_t), value :: size
    end function
    integer(c_int) function tarn_remove_virtual_region(region, mode) &
        bind(C, name='remove_virtual_region')
      import
      type(c_ptr), value :: region
      integer(c_int), value :: mode
    end function

    ! <tarn/runtime.h>
    type(c_ptr) function tarn_read_reg_and_env(key, value) bind(C, name='ReadRegAndEnv')
      import
      character(kind=c_char), dimension(*), intent(in) :: key, value
    end function
    type(c_ptr) function tarn_read_config_key(value) bind(C, name='read_config_key')
      import
      character(kind=c_char), dimension(*), intent(in) :: value
    end function
    integer(c_int) function tarn_get_dll_version(library) bind(C, name='GetDllVersion')
      import
      character(kind=c_char), dimension(*), intent(in) :: library
    end function
    integer(c_int64_t) function tarn_get_physical_memory_size() &
        bind(C, name='GetPhysicalMemorySize')
      import
    end function
    subroutine tarn_get_win_ver(platform_id, major, minor) bind(C, name='GetWinVer')
      import
      integer(c_int), intent(inout) :: platform_id, major, minor
    end subroutine
    subroutine tarn_get_program_name(name, length) bind(C, name='GET_PROGRAM_NAME_at')
      import
      character(kind=c_char), dimension(*), intent(inout) :: name
      integer(c_int64_t), value :: length
    end subroutine
    integer(c_int) function tarn_is_avx_supported() bind(C, name='isAVXSupported')
      import
    end function
  end interface
  ! Made until here.

  ! The records of tarn_trap_exception's routines, which <tarn/traps.h> describes.
  type, bind(C) :: tarn_exception
    integer(c_int) :: code, flags
    type(c_ptr) :: next, address
    integer(c_int) :: parameter_count, padding
    integer(c_int64_t) :: parameters(15)
  end type

  type, bind(C) :: tarn_context
    integer(c_int64_t) :: home(6)
    integer(c_int) :: flags, mxcsr
    integer(c_short) :: cs, ds, es, fs, gs, ss
    integer(c_int) :: eflags
    integer(c_int64_t) :: dr(6)
    integer(c_int64_t) :: rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi, r8, r9, r10, r11, r12, r13, r14, r15
    integer(c_int64_t) :: rip
    integer(c_signed_char) :: fxsave(512), rest(464)
  end type

  ! __dotp8 and its like: dot products of n elements, of which the last two have strides in bytes.
  interface
    real(c_double) function tarn_dotp8(a, b, n) bind(C)
      import
      real(c_double), dimension(*), intent(in) :: a, b
      integer(c_int64_t), value :: n
    end function
    real(c_float) function tarn_dotp4(a, b, n) bind(C)
      import
      real(c_float), dimension(*), intent(in) :: a, b
      integer(c_int64_t), value :: n
    end function
    real(c_double) function tarn_dotp8x(a, b, n, a_stride, b_stride) bind(C)
      import
      real(c_double), dimension(*), intent(in) :: a, b
      integer(c_int64_t), value :: n, a_stride, b_stride
    end function
    real(c_float) function tarn_dotp4x(a, b, n, a_stride, b_stride) bind(C)
      import
      real(c_float), dimension(*), intent(in) :: a, b
      integer(c_int64_t), value :: n, a_stride, b_stride
    end function
  end interface

contains

  ! The text without its trailing spaces, and a NUL.
  function tarn_c(text)
    character(*), intent(in) :: text
    character(len=len_trim(text) + 1, kind=c_char) :: tarn_c
    tarn_c = trim(text)//c_null_char
  end function

  ! What the address leads to, up to its NUL; no characters for a null.
  function tarn_text(address) result(text)
    type(c_ptr), intent(in) :: address
    character(:), allocatable :: text
    character(kind=c_char), pointer :: bytes(:)
    integer :: length, i
    length = 0
    if (c_associated(address)) then
      call c_f_pointer(address, bytes, [huge(length)])
      do while (bytes(length + 1) /= c_null_char)
        length = length + 1
      end do
    end if
    text = repeat(" ", length)
    do i = 1, length
      text(i:i) = bytes(i)
    end do
  end function

  ! The text on the console, as it is, without a line end.
  subroutine tarn_write(text)
    character(*), intent(in) :: text
    call tarn_console_write(text, len(text, c_int64_t))
  end subroutine

  ! The same, and a line end.
  subroutine tarn_write_line(text)
    character(*), intent(in) :: text
    call tarn_write(text//c_new_line)
  end subroutine
end module
