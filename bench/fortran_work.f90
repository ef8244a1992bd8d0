! Work of Fortran programs, by name, so many times.
program fortran_work
  implicit none
  character(20) :: what, times
  integer :: turn, turns
  call get_command_argument(1, what)
  call get_command_argument(2, times)
  read (times, *) turns
  do turn = 1, turns
    select case (what)
    case ('product'); call matrix_product(500)
    case ('stencil'); call stencil(500, 200)
    case ('lines'); call lines(200000)
    case ('records'); call records(25, 500000)
    case default; error stop 'product, stencil, lines or records'
    end select
  end do
contains
  subroutine matrix_product(n)
    integer, intent(in) :: n
    real(8), allocatable :: a(:, :), b(:, :), c(:, :)
    integer :: i, j, k
    allocate (a(n, n), b(n, n), c(n, n))
    call random_number(a)
    call random_number(b)
    c = 0
    do j = 1, n
      do k = 1, n
        do i = 1, n
          c(i, j) = c(i, j) + a(i, k)*b(k, j)
        end do
      end do
    end do
    if (sum(c) < 0) print *, c(1, 1)
  end subroutine

  subroutine stencil(n, sweeps)
    integer, intent(in) :: n, sweeps
    real(8), allocatable :: now(:, :), next(:, :)
    integer :: i
    allocate (now(n, n), next(n, n))
    call random_number(now)
    next = now
    do i = 1, sweeps, 2
      call sweep(n, now, next)
      call sweep(n, next, now)
    end do
    if (sum(now) < 0) print *, now(1, 1)
  end subroutine

  subroutine sweep(n, now, next)
    integer, intent(in) :: n
    real(8), intent(in) :: now(n, n)
    real(8), intent(inout) :: next(n, n)
    integer :: i, j
    do j = 2, n - 1
      do i = 2, n - 1
        next(i, j) = (now(i - 1, j) + now(i + 1, j) + now(i, j - 1) + now(i, j + 1))/4
      end do
    end do
  end subroutine

  subroutine lines(n)
    integer, intent(in) :: n
    integer :: unit, i, number
    real(8) :: x, y
    open (newunit=unit, file='fortran_work.txt')
    do i = 1, n
      write (unit, '(i8, f14.6, es16.8)') i, sqrt(real(i, 8)), 1d5/i
    end do
    rewind (unit)
    do i = 1, n
      read (unit, *) number, x, y
      if (number /= i) error stop
    end do
    close (unit, status='delete')
  end subroutine

  ! n records of m reals.
  subroutine records(n, m)
    integer, intent(in) :: n, m
    real(8), allocatable :: record(:)
    integer :: unit, i
    allocate (record(m))
    record = 1
    open (newunit=unit, file='fortran_work.dat', form='unformatted')
    do i = 1, n
      write (unit) record
    end do
    rewind (unit)
    do i = 1, n
      read (unit) record
    end do
    close (unit, status='delete')
  end subroutine
end program
