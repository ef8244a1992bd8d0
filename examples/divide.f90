! Prints a line, then divides by a floating-point zero three calls deep: the
! report that follows names the routines and their lines.
!
!   tarncc -g -ffpe-trap=zero divide.f90 -o divide.exe
module bill
  implicit none
contains
  real(8) function shares(total, people)
    real(8), intent(in) :: total, people
    shares = total / people
  end function

  real(8) function split_bill(amounts, people)
    real(8), intent(in) :: amounts(:), people
    split_bill = 1.1d0 * shares(sum(amounts), people) ! with the tip
  end function
end module

program divide
  use bill
  implicit none
  real(8) :: share
  print '(a)', 'Splitting the bill'
  share = split_bill([12.5d0, 30d0, 7.25d0], 0d0)
  print '(a,f0.2)', 'Each pays ', share
end program
