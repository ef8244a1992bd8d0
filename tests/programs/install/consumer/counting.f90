program counting
  use tarnlib
  call tarn_write('Counting')
  call tarn_flush_console()
  print '(3i2)', [1, 2, 3]
  stop 7
end program
