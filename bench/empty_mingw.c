/* The peer of an empty program under Wine: an ordinary mingw program. */
int main(void) { return 0; }
