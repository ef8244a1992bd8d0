program counting
  print '(a, 3i2)', 'Counting', [1, 2, 3]
  stop 7
end program
