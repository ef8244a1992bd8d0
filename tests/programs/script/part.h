/* What the DLL of the script tests offers. */

/* Walks the DLL's start-up script a second time, as a new thread does. Result: whether it came to
 * its end. */
int walk_again(void);

/* How often the DLL's initialiser ran after its constructor had run once, and its constructor. */
int initialiser_runs(void);
int constructor_runs(void);

/* Constant pointers, which the script relocates. */
const char* volatile* texts_of_part(void);

/* The bytes of the DLL's allocated block that are 0x80; its size. */
int filled_bytes(int* size);

/* The first value of the DLL's declared block, 77 at the start. */
int declared_value(void);

/* An expanding region of one page, set up before the library was up. */
char* early_region(void);

int twice(int value);
