! Pi as the area under 4 / (1 + x * x) between 0 and 1, by a team of processes:
! the program starts copies of itself, each sums its part of the intervals, and
! the first one adds up the parts.
!
!   parallel_pi [slaves [intervals]]   default: 1 1000000
program parallel_pi
  use tarnlib
  implicit none
  integer :: slaves, intervals, task, i
  real(8) :: width
  real(8), pointer :: parts(:)
  slaves = argument(1, 1)
  intervals = argument(2, 1000000)
  if (slaves < 0 .or. slaves > 63 .or. intervals < 1) then
    print '(a)', 'parallel_pi: 0 to 63 slaves, 1 interval or more'
    stop 2, quiet=.true.
  end if
  ! Every task comes here; all but the first were started by this call.
  task = tarn_get_parallel_task_id(slaves)

  ! What the first task has decided, all know.
  width = 1d0 / intervals
  call tarn_broadcastinteger(intervals)
  call tarn_broadcastdouble(width)

  call c_f_pointer(tarn_allocate_auto_shared_memory((slaves + 1) * 8_c_int64_t), parts, [slaves + 1])
  parts(task + 1) = part(task, slaves + 1)
  call tarn_tasksynchronise()
  if (task > 0) stop

  do i = 0, slaves
    print '(a,i0,a,f0.12)', 'task ', i, ': ', parts(i + 1)
  end do
  print '(a,f0.12)', 'pi:     ', sum(parts)

contains

  integer function argument(number, otherwise)
    integer, intent(in) :: number, otherwise
    character(20) :: text
    integer :: status
    argument = otherwise
    if (number > command_argument_count()) return
    call get_command_argument(number, text)
    read (text, *, iostat=status) argument
    if (status /= 0) argument = -1
  end function

  real(8) function part(task, tasks)
    integer, intent(in) :: task, tasks
    integer :: i
    part = 0
    do i = int(int(intervals, 8) * task / tasks), int(int(intervals, 8) * (task + 1) / tasks) - 1
      part = part + 4 / (1 + ((i + 0.5d0) * width)**2)
    end do
    part = part * width
  end function
end program
