s/,\? at address [0-9a-f]*//
s/file [^ ]*part\.f90/file part.f90/
