s/ at address [0-9a-f]*\(.*\)$/ at address ADDRESS\1/
