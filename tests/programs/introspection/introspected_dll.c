/* A DLL with a block and a resource of its own. */
#include <tarn/image.h>
#include <tarn/introspection.h>

static struct { int value; } middle = {1};
TARN_COMMON_OBJECT(middle, "Middle")

__attribute__((dllexport)) void display_from_dll(void) { __display_resource_data(); }
