! A program that is linked to a Fortran DLL, in which it fails.
program parts
  use summing
  implicit none
  integer :: i
  print '(f0.2)', mean([(real(i, 8), i=1, 1000)])
  print '(f0.2)', mean([real(8) ::])
end program
