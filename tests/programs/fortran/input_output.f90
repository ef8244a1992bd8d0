! The ways of input and output, the conditions that keep a program going, and what the
! compiler's mathematics prints. The output is that of the compiler's own Fortran on Linux.
module shapes
  implicit none
  type, abstract :: shape
  contains
    procedure(measure), deferred :: area
  end type
  abstract interface
    pure real(8) function measure(this)
      import :: shape
      class(shape), intent(in) :: this
    end function
  end interface
  type, extends(shape) :: circle
    real(8) :: radius
  contains
    procedure :: area => circle_area
    procedure :: write_circle
    generic :: write (formatted) => write_circle
  end type
contains
  pure real(8) function circle_area(this)
    class(circle), intent(in) :: this
    circle_area = acos(-1d0)*this%radius**2
  end function
  subroutine write_circle(this, unit, kind, list, status, message)
    class(circle), intent(in) :: this
    integer, intent(in) :: unit, list(:)
    character(*), intent(in) :: kind
    integer, intent(out) :: status
    character(*), intent(inout) :: message
    write (unit, '("circle of ", f0.2)', iostat=status, iomsg=message) this%radius
  end subroutine
end module

program input_output
  use shapes
  use, intrinsic :: iso_fortran_env
  implicit none
  integer :: i, status, values(5), unit
  real(8) :: x, y
  real(real128) :: quad
  complex(8) :: z
  character(40) :: text, message
  character(:), allocatable :: line
  logical :: flag
  real, allocatable :: many(:)
  class(shape), allocatable :: figure
  namelist /settings/ i, x, text, values, flag

  i = 42; x = 2.5d0; text = "it's"; values = [1, 1, 1, 2, 3]; flag = .true.; z = (1, -2)
  quad = sqrt(2.0_real128)
  print *, 'list', i, x, z, flag, values, 1e-30, huge(1), tiny(1d0), quad
  write (*, '(i8.5, f10.3, es12.4, g0, 1x, l3, a6, z8, b9.8, en14.3, 3(i2, :, ","))') &
    i, x, x, x, flag, text, 255, 5, 12345.678d0, 1, 2, 3
  write (*, nml=settings, delim='quote')

  open (newunit=unit, file='settings.nml')
  write (unit, '(a)') '&settings i=7, x=1d3, text="from a file", values(2:3)=2*9 / ignored'
  rewind (unit)
  read (unit, nml=settings)
  close (unit, status='delete')
  print '(i0, 1x, f0.1, 1x, a, 5(1x, i0))', i, x, trim(text), values

  write (text, '(i0, "/", f0.3)') i, exp(1d0)
  read (text, '(i1, 1x, f5.3)') i, y
  print *, 'internal ', trim(text), i, y

  open (newunit=unit, file='records.dat', access='direct', recl=16, form='unformatted')
  do i = 1, 5
    write (unit, rec=i) real(i, 8), sqrt(real(i, 8))
  end do
  read (unit, rec=4) x, y
  close (unit, status='delete')
  print *, 'direct', x, y

  open (newunit=unit, file='bytes.dat', access='stream', form='unformatted')
  write (unit) 1_int8, 'abc', 258_int32
  read (unit, pos=2) text(1:3)
  inquire (unit, pos=i)
  close (unit, status='delete')
  print *, 'stream ', text(1:3), i

  open (newunit=unit, status='scratch', form='unformatted')
  write (unit) (real(i), i=1, 100000)
  write (unit) 'last'
  rewind (unit)
  allocate (many(100000))
  read (unit) many
  read (unit) text(1:4)
  backspace (unit)
  read (unit) text(5:8)
  close (unit)
  print *, 'sequential ', sum(many(1:10)), text(1:8)

  open (newunit=unit, file='lines.txt')
  write (unit, '(a)', advance='no') 'one '
  write (unit, '(a)') 'two'
  write (unit, '(a)') repeat('x', 3000)
  rewind (unit)
  read (unit, '(a)') text
  read (unit, '(a)', advance='no', size=i, eor=10) message
10 read (unit, '(a)', iostat=status, iomsg=message) text
  print *, trim(text), i, status, status == iostat_end, ' ', trim(message)
  close (unit, status='delete')

  open (newunit=unit, file='nul')
  write (unit, '(a)') 'nowhere'
  rewind (unit)
  read (unit, '(a)', iostat=status) text
  print *, 'null device ', status == iostat_end
  close (unit)

  open (newunit=unit, file='missing.txt', status='old', iostat=status, iomsg=message)
  print *, status, ' ', trim(message)
  read (*, *, err=20, end=20) i
  print *, 'not reached'
20 allocate (many(1), stat=status, errmsg=message)
  print *, status /= 0, ' ', trim(message)

  allocate (figure, source=circle(2d0))
  print *, figure%area()
  print '(dt)', circle(2d0)
  print *, gamma(4.5d0), erf(0.5d0), bessel_j0(1d0), hypot(3d0, 4d0), nint(2.5d0), modulo(-7, 3)
  print '(*(es24.16))', sin(1d0), cos(1d0), tan(1d0), exp(1d0), log(2d0), 2d0**0.3d0, atan2(1d0, 2d0)
  line = 'allocated on assignment'
  print *, len(line), index(line, 'on'), scan(line, 'xyz'), adjustr('ab  '), maxloc(values)
  print *, matmul(reshape([1, 2, 3, 4], [2, 2]), reshape([5, 6, 7, 8], [2, 2]))
  call print_digests
contains
  ! One digest for the numbers of each kind in many formats.
  subroutine print_digests
    use ieee_arithmetic
    character(*), parameter :: forms(*) = [character(10) :: 'f0.0', 'f0.5', 'f8.0', 'f10.3', &
      'sp,f25.17', 'ru,f5.2', 'rd,f9.1', 'rz,e12.3', 'e12.4e3', 'es25.16', 'en15.5', 'd30.20', &
      'g10.3', 'g25.16e4', 'g0', 'g0.5', '1pe14.6', '2pf12.3', 'dc,f7.2']
    real(10) :: inf, nan, some(14)
    real(4), volatile :: x4(17)
    real(8), volatile :: x8(17)
    real(10), volatile :: x10(17)
    real(16), volatile :: x16(17)
    integer(int64) :: digest
    integer :: a_kind, form, number, at
    character(12) :: wanted
    character(6000) :: line
    inf = ieee_value(inf, ieee_positive_inf)
    nan = ieee_value(nan, ieee_quiet_nan)
    some = [0._10, -0._10, 1._10, 0.1_10, -2.5_10, 0.5_10, 9.995_10, 999999.5_10, 1e23_10, &
      123456.789_10, 6e-7_10, inf, -inf, nan]
    x4 = [real(some, 4), huge(x4), tiny(x4), tiny(x4)/8]
    x8 = [real(some, 8), huge(x8), tiny(x8), tiny(x8)/8]
    x10 = [some, huge(x10), tiny(x10), tiny(x10)/8]
    x16 = [real(some, 16), huge(x16), tiny(x16), tiny(x16)/8]
    do a_kind = 1, 4
      digest = 0
      do form = 1, size(forms)
        do number = 1, size(x4)
          wanted = '('//trim(forms(form))//')'
          select case (a_kind)
          case (1); write (line, wanted) x4(number)
          case (2); write (line, wanted) x8(number)
          case (3); write (line, wanted) x10(number)
          case (4); write (line, wanted) x16(number)
          end select
          do at = 1, len_trim(line)
            digest = mod(digest*31 + iachar(line(at:at)), 1000000007_int64)
          end do
        end do
      end do
      print *, 'digest', a_kind, digest
    end do
  end subroutine
end program
