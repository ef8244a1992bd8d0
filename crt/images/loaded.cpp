#include "loaded.h"

#include "shared_block.h"

namespace {

struct Loaded {
  Loaded* before;
  void (*end)();
};

struct Images {
  void (*end_program)();  // null if the program is not hosted
  Loaded* last;           // the DLLs that came after it
};

Images* images;  // null before this image's constructors, of which one may call exit
Loaded own;

}  // namespace

void crt::join_images(void (*end)()) {
  images = static_cast<Images*>(shared_block("HOSTED IMAGES", sizeof(Images)));
  if (is_program()) {
    images->end_program = end;
  } else if (images->end_program) {
    own = {images->last, tarn_end_of_image};
    images->last = &own;
  }
}

bool crt::leave_images() {
  if (!images) return false;
  Loaded** place = &images->last;
  while (*place && *place != &own) place = &(*place)->before;
  if (*place) *place = own.before;
  return true;
}

bool crt::has_hosted_program() { return !images || images->end_program; }

void (*crt::end_of_program())() { return images ? images->end_program : nullptr; }

void crt::end_loaded() {
  while (Loaded* const last = images ? images->last : nullptr) {
    images->last = last->before;
    last->end();
  }
}
