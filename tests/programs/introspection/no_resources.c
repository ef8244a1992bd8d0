/* A program without resources and common blocks. */
#include <tarn/introspection.h>

int main(void) {
  __display_common_info();
  __dump_resource_section();
  __display_resource_data();
  return 0;
}
