! One failure of each kind, by name. Each routine fails in its line marked "fails".
module failing
  use, intrinsic :: iso_fortran_env, only: real64
  implicit none
  real(real64), volatile :: zero = 0, huge_one = 1e308_real64, sink
  integer, volatile :: count = 11
contains
  subroutine end_of_file
    integer :: i
    open (10, status='scratch')
    write (10, *) 7
    rewind (10)
    read (10, *) i
    read (10, *) i ! fails
    print *, 'after', i
  end subroutine

  subroutine bad_number
    character(8) :: text = 'seven'
    integer :: i
    read (text, '(i8)') i ! fails
    print *, 'after', i
  end subroutine

  subroutine not_connected
    flush (77) ! fails
    print *, 'after'
  end subroutine

  subroutine no_file
    open (11, file='missing.txt', status='old') ! fails
    print *, 'after'
  end subroutine

  subroutine wrong_format
    write (*, '(i5)') zero ! fails
    print *, 'after'
  end subroutine

  subroutine bounds
    real :: a(10)
    integer :: i
    do i = 1, count
      a(i) = i ! fails
    end do
    print *, 'after', a
  end subroutine

  subroutine freed_twice
    real, allocatable :: a(:)
    allocate (a(count))
    deallocate (a)
    deallocate (a) ! fails
    print *, 'after'
  end subroutine

  subroutine allocated_twice
    real, allocatable :: a(:)
    allocate (a(count))
    allocate (a(count)) ! fails
    print *, 'after'
  end subroutine

  subroutine null_pointer
    integer, pointer, volatile :: p
    p => null()
    call set(p) ! fails
    print *, 'after'
  end subroutine

  subroutine set(i)
    integer :: i
    i = 1
  end subroutine

  subroutine float_divide
    sink = 1/zero ! fails
    print *, 'after', sink
  end subroutine

  subroutine overflow
    sink = huge_one*10 ! fails
    print *, 'after', sink
  end subroutine

  subroutine invalid
    call backtrace
    sink = zero/zero ! fails
    print *, 'after', sink
  end subroutine

  subroutine aborted
    call abort ! fails
  end subroutine

  subroutine error_stop
    integer :: n
    character :: code = '3'
    read (code, *) n ! makes the table of units that the end frees
    error stop n ! fails
  end subroutine

  recursive subroutine stack_overflow(n)
    integer, value :: n
    real(real64), volatile :: work(n)
    work(n) = n
    call stack_overflow(n) ! fails
    sink = work(n)
  end subroutine
end module

program failures
  use failing
  implicit none
  character(20) :: wanted
  call get_command_argument(1, wanted)
  write (*, '(a)', advance='no') 'before'
  select case (wanted)
  case ('end_of_file'); call end_of_file
  case ('bad_number'); call bad_number
  case ('not_connected'); call not_connected
  case ('no_file'); call no_file
  case ('wrong_format'); call wrong_format
  case ('bounds'); call bounds
  case ('freed_twice'); call freed_twice
  case ('allocated_twice'); call allocated_twice
  case ('null_pointer'); call null_pointer
  case ('float_divide'); call float_divide
  case ('overflow'); call overflow
  case ('invalid'); call invalid
  case ('aborted'); call aborted
  case ('error_stop'); call error_stop
  case ('stack_overflow'); call stack_overflow(100000)
  case ('stop'); stop 4
  case ('quiet_stop'); error stop 'that is all', quiet=.true.
  end select
end program
