! A table of Bessel functions, and the zeros of J0 and J1 in its range.
!
!   bessel_table [from to step]     by default 0.5 10 0.5; from above 0
module zeros
  use tarnlib
  implicit none
  abstract interface
    real(c_double) function bessel(x) bind(C)
      import
      real(c_double), intent(in) :: x
    end function
  end interface
contains
  ! Halves an interval in which the function changes its sign, down to the last bit.
  real(8) function zero_between(f, from, to) result(middle)
    procedure(bessel) :: f
    real(8), intent(in) :: from, to
    real(8) :: low, high, value
    low = from
    high = to
    do
      middle = low + (high - low) / 2
      if (middle <= low .or. middle >= high) return
      value = f(middle)
      if (value == 0) return
      if ((value < 0) .eqv. (f(from) < 0)) then
        low = middle
      else
        high = middle
      end if
    end do
  end function

  subroutine print_zeros(name, f, from, to)
    character(*), intent(in) :: name
    procedure(bessel) :: f
    real(8), intent(in) :: from, to
    real(8), parameter :: step = 0.25 ! less than the distance of two zeros
    real(8) :: low, high
    write (*, '(3a)', advance='no') 'Zeros of ', name, ':'
    low = from
    do while (low < to)
      high = min(low + step, to)
      if ((f(low) < 0) .neqv. (f(high) < 0)) then
        write (*, '(1x,f0.10)', advance='no') zero_between(f, low, high)
      end if
      low = high
    end do
    print '(a)'
  end subroutine
end module

program bessel_table
  use, intrinsic :: iso_fortran_env, only: error_unit
  use zeros
  implicit none
  character(40) :: text
  real(8) :: range(3) = [0.5d0, 10d0, 0.5d0], x
  integer :: i, rows, status
  status = 0
  do i = 1, command_argument_count()
    call get_command_argument(i, text)
    if (i <= 3 .and. status == 0) read (text, *, iostat=status) range(i)
  end do
  if (status /= 0 .or. all(command_argument_count() /= [0, 3])) then
    write (error_unit, '(a)') 'usage: bessel_table [from to step]'
    stop 2, quiet=.true.
  end if
  associate (from => range(1), to => range(2), step => range(3))
    if (.not. (from > 0 .and. to >= from .and. step > 0 .and. to <= 1d6)) then
      write (error_unit, '(a)') 'bessel_table: 0 < from <= to <= 1000000, and a step above 0'
      stop 1, quiet=.true.
    end if
    if ((to - from) / step > 1d4) then
      write (error_unit, '(a)') 'bessel_table: more than 10000 rows'
      stop 1, quiet=.true.
    end if
    rows = int((to - from) / step + 1d-9) + 1
    print '(a8,5a14)', 'x', 'J0', 'J1', 'J5', 'Y0', 'Y1'
    do i = 0, rows - 1
      x = from + i * step
      print '(f8.3,5f14.9)', x, tarn_dbessel_j0(x), tarn_dbessel_j1(x), tarn_dbessel_jn(5, x), &
        tarn_dbessel_y0(x), tarn_dbessel_y1(x)
    end do
    call print_zeros('J0', tarn_dbessel_j0, from, to)
    call print_zeros('J1', tarn_dbessel_j1, from, to)
  end associate
end program
