/* A block that two sources of the program share; the second asks for more. */
struct first {
  int count;
  unsigned char bytes[60];
};
void fill_second(void);
