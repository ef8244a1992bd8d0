! The start and the end of a program.
end program
