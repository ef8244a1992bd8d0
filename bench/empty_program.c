/* The least program of the suite, for timing its start. */
int main(void) { return 0; }
