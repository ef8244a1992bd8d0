s/ at address [0-9a-f]*$//
s/file .*\/assertion\.c/file assertion.c/
