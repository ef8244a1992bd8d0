s/0x[0-9a-f]\{12\}\b/ADDRESS/g
s/at address [0-9a-f]*/at address X/
