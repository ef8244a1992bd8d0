! The forms of arguments that the module has and the examples do not use.
module repair
  use tarnlib
  implicit none
contains
  ! Masks the divisions and lets this one run again.
  integer(c_int) function go_on(context, exception, zero) bind(C)
    type(tarn_context), intent(inout) :: context
    type(tarn_exception), intent(in) :: exception
    integer(c_int), value :: zero
    print '(a,z0,l2,i0)', 'trap ', exception%code, exception%parameter_count >= 0, zero
    context%mxcsr = ior(context%mxcsr, int(z'1F80'))
    context%fxsave(25:28) = transfer(context%mxcsr, context%fxsave, 4)
    go_on = tarn_resume
  end function
end module

program forms
  use repair
  implicit none
  character(12) :: text = 'Some TEXT', buffer
  character(16) :: quoted = 'a "b" c'
  real(4) :: table(2, 3) = reshape([1., 2., 3., 4., 5., 6.], [2, 3])
  real(8) :: zero = 0
  integer(c_int) :: sums(2), length, status, file
  integer(c_int8_t) :: small = -5
  type(c_ptr) :: packed, plain
  type(c_funptr) :: before
  character(kind=c_char), pointer :: bytes(:)

  print '(4f6.2)', tarn_dotp4x(table, table, 3_8, 8_8, 4_8), tarn_cabs((3.0, 4.0)), &
    tarn_dimag((0d0, 7d0)), tarn_cdabs((6d0, 8d0))
  print '(*(i0,1x))', tarn_habs(small), tarn_inint(2.5), tarn_selected_int_kinda(9), &
    tarn_selected_real_kind(p=10, r=100)
  call tarn_lcase(text, len(text, c_int64_t))
  call tarn_adjustr(buffer, len(buffer, c_int64_t), text, len(text, c_int64_t))
  quoted(8:) = c_null_char
  call tarn_dquote_string(quoted)
  print '(4a)', buffer, '|', quoted(:index(quoted, c_null_char) - 1), '|'

  open (newunit=file, file='forms.txt', access='stream', form='formatted')
  write (file, '(a)') repeat('forms ', 50)
  close (file)
  call tarn_file_checksum(tarn_c('forms.txt'), sums)
  packed = tarn_compress(tarn_c('forms.txt'), length)
  plain = tarn_decompress(packed, length, status)
  call c_f_pointer(plain, bytes, [status])
  print '(z0,l2,i4,1x,12a)', sums(1), length < 100, status, bytes(:12)
  print '(l1)', c_associated(tarn_compress(tarn_c('none.txt'), length))
  call tarn_unlock_storage(packed)
  call tarn_unlock_storage(plain)
  length = 3
  call tarn_broadcastbytes(table, length)
  print '(a,l2)', '['//tarn_text(c_null_ptr)//tarn_text(tarn_read_config_key(tarn_c('FORMS')))//']', &
    tarn_get_physical_memory_size() > 0

  before = tarn_trap_exception(tarn_trap_divide, c_funloc(go_on))
  zero = 1 / zero
  print '(l2,f9.1)', c_associated(before), zero
  print '(i0)', tarn_start_process_and_wait(tarn_c('no such program'), tarn_c(''), 0)
end program
