! A Fortran DLL, whose unit 6 is its own, and which fails.
module summing
  implicit none
contains
  function mean(values)
    !GCC$ attributes dllexport :: mean
    real(8), intent(in) :: values(:)
    real(8) :: mean
    integer :: i
    mean = 0
    !$omp parallel do reduction(+:mean)
    do i = 1, size(values)
      mean = mean + values(i)
    end do
    print *, 'in the DLL', size(values)
    !$omp parallel num_threads(1)
    if (size(values) == 0) read (*, *) i ! fails
    !$omp end parallel
    mean = mean/size(values)
  end function
end module
