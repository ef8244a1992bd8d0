s/,\? at address [0-9a-f]*\r\?$//
