! Solves systems of linear equations.
!
!   matrix_solver file...
!
! A file holds n, and then n lines of n coefficients and a right-hand side. The
! matrix is factored into two triangles, with the largest element of each column
! as pivot; the library computes all inner products of the solution.
module linear
  use tarnlib
  implicit none
  integer, parameter :: most_unknowns = 1000

  type :: linear_system
    integer :: n = 0
    ! Equation i is column i: the library's inner products take what lies together.
    real(8), allocatable :: a(:, :)         ! the coefficients as they were read
    real(8), allocatable :: triangles(:, :) ! the same, split, in the order of `row`
    real(8), allocatable :: b(:), x(:)
    integer, allocatable :: row(:) ! row(i): which equation the i-th pivot comes from
  end type

contains

  ! Empty, or what is wrong with the file.
  subroutine read_system(path, s, wrong)
    character(*), intent(in) :: path
    type(linear_system), intent(out) :: s
    character(:), allocatable, intent(out) :: wrong
    integer :: file, i, status
    wrong = ''
    open (newunit=file, file=path, status='old', action='read', iostat=status)
    if (status /= 0) then
      wrong = 'cannot be opened'
      return
    end if
    read (file, *, iostat=status) s%n
    if (status /= 0 .or. s%n < 1 .or. s%n > most_unknowns) then
      wrong = 'does not begin with a number of unknowns from 1 to 1000'
    else
      allocate (s%a(s%n, s%n), s%b(s%n), s%x(s%n))
      do i = 1, s%n
        if (status == 0) read (file, *, iostat=status) s%a(:, i), s%b(i)
      end do
      if (status /= 0) wrong = 'ends, or has something else than a number'
    end if
    close (file)
  end subroutine

  ! False for a singular matrix.
  logical function split(s)
    type(linear_system), intent(inout) :: s
    integer :: column, best, i
    s%triangles = s%a
    s%row = [(i, i=1, s%n)]
    split = .false.
    do column = 1, s%n
      do i = column, s%n
        s%triangles(column, i) = reduced(s, i, column, column - 1)
      end do
      best = column - 1 + maxloc(abs(s%triangles(column, column:)), 1)
      if (s%triangles(column, best) == 0) return
      s%triangles(:, [column, best]) = s%triangles(:, [best, column])
      s%row([column, best]) = s%row([best, column])
      s%triangles(column, column + 1:) = s%triangles(column, column + 1:) / s%triangles(column, column)
      do i = column + 1, s%n
        s%triangles(i, column) = reduced(s, column, i, column - 1)
      end do
    end do
    split = .true.
  end function

  ! Element i, j less what the columns before it account for.
  real(8) function reduced(s, i, j, terms)
    type(linear_system), intent(in) :: s
    integer, intent(in) :: i, j, terms
    reduced = s%triangles(j, i) - sum(s%triangles(:terms, i) * s%triangles(j, :terms))
  end function

  subroutine solve(s)
    type(linear_system), intent(inout) :: s
    integer :: i
    do i = 1, s%n
      s%x(i) = s%b(s%row(i)) - tarn_dotp8(s%triangles(:, i), s%x, i - 1_c_int64_t)
    end do
    do i = s%n, 1, -1
      s%x(i) = (s%x(i) - tarn_dotp8(s%triangles(i + 1:, i), s%x(i + 1:), int(s%n - i, c_int64_t))) &
               / s%triangles(i, i)
    end do
  end subroutine

  real(8) function worst_residual(s)
    type(linear_system), intent(in) :: s
    integer :: i
    worst_residual = maxval([(abs(s%b(i) - tarn_dotp8(s%a(:, i), s%x, int(s%n, c_int64_t))), i=1, s%n)])
  end function
end module

program matrix_solver
  use, intrinsic :: iso_fortran_env, only: error_unit
  use linear
  implicit none
  type(linear_system) :: s
  character(:), allocatable :: wrong
  character(260) :: path
  integer :: i, k, failed
  failed = 0
  if (command_argument_count() < 1) then
    write (error_unit, '(a)') 'usage: matrix_solver file...'
    stop 2, quiet=.true.
  end if
  do i = 1, command_argument_count()
    call get_command_argument(i, path)
    call read_system(trim(path), s, wrong)
    if (wrong == '') then
      if (.not. split(s)) wrong = 'has a singular matrix'
    end if
    if (wrong /= '') then
      write (error_unit, '(4a)') 'matrix_solver: ', trim(path), ' ', wrong
      failed = 1
      cycle
    end if
    call solve(s)
    print '(2a,i0,a)', trim(path), ': ', s%n, ' unknowns'
    do k = 1, min(s%n, 10)
      print '(a)', unknown(k, s%x(k))
    end do
    if (s%n > 10) print '(a,i0,a)', '  and ', s%n - 10, ' more'
    print '(2a)', '  largest residual below 1e-9: ', merge('yes', 'no ', worst_residual(s) < 1d-9)
  end do
  stop failed, quiet=.true.

contains

  function unknown(number, value) result(line)
    integer, intent(in) :: number
    real(8), intent(in) :: value
    character(23) :: line
    write (line, '(2x,a,i0)') 'x', number
    write (line(8:), '(es16.9)') value
    line(20:20) = 'e'
  end function
end program
