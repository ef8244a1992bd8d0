# Joins export_rows.inc and the "#ROW symbol" lines of export_symbols.s.
#   -v form=def    what the DLL exports:     "mkdir" = symbol
#   -v form=calls  what its callers import:  symbol == mkdir

BEGIN {
  print "LIBRARY \"PANEVIEW64.DLL\""
  print "EXPORTS"
}

/^PANEVIEW_EXPORT\("/ {
  split($0, part, "\"")
  name[++names] = part[2]
}

/^#ROW / {
  symbol[++symbols] = $2
}

END {
  if (names == 0 || names != symbols) {
    print "export_files.awk: " names " rows, " symbols " symbols" > "/dev/stderr"
    exit 1
  }
  for (i = 1; i <= names; ++i) {
    if (form == "def") print "  \"" name[i] "\" = " symbol[i]
    else print "  " symbol[i] " == " name[i]
  }
}
