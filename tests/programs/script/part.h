/* What the DLL of the script tests offers. */

/* Walks the DLL's start-up script a second time. Result: what the walk gave;
 * *changed: whether a byte of the DLL's writable sections differs, other than
 * in the interpreter's own cells. */
int walk_again(int* changed);

/* How often the DLL's initialiser and its constructor ran, and whether in this
 * order: constructor, then initialiser. */
int initialiser_runs(void);
int constructor_runs(void);

/* A text that a relocated pointer leads to. */
const char* relocated_text(void);

/* The constant pointers of which that is one. */
const char* volatile* texts_of_part(void);

/* The bytes of the DLL's allocated block that are 0x80; its size. */
int filled_bytes(int* size);

/* The first value of the DLL's declared block, 77 at the start. */
int declared_value(void);

/* An expanding region of one page, set up before the library was up. */
char* early_region(void);

int twice(int value);
