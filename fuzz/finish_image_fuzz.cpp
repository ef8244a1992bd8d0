// finish_image on hostile images. The input is an image file, or changes to a
// sound one.

#include "fuzz/fuzz.h"
#include "tests/support/linked_image.h"
#include "tools/finish_image/finish.h"
#include "tools/finish_image/routine_table.h"
#include "tools/finish_image/script.h"

namespace {

using tarn::test::LinkedImage;

finisher::Bytes sound_image() {
  LinkedImage linked;
  linked.address(LinkedImage::kMain);
  linked.note(7, linked.number(0), "BLOCK", "", 16);
  linked.note(8, linked.number(0), "OBJECT", "", 8);
  linked.note(16, linked.number(0), "LIBRARY.DLL", "routine");
  linked.note(10, LinkedImage::kInitialiser);
  const std::uint32_t list = linked.number(~std::uint64_t{0});
  linked.address(LinkedImage::kLarge);
  linked.number(0);
  linked.symbols.push_back({"__CTOR_LIST__", 2, list - LinkedImage::kData, 0, 2});
  const std::uint8_t lines[] = {40, 0, 0, 0, 4,    0, 20,   0, 0, 0, 1, 1, 1,  0xFB, 14,
                                10, 0, 1, 1, 1,    1, 0,    0, 0, 1, 0, 0, 0,  0,    0,
                                0,  9, 2, 0, 0x10, 0, 0x40, 1, 0, 0, 0, 1, 75, 1};
  linked.debug_line.assign(std::begin(lines), std::end(lines));
  return linked.file();
}

void list(const finisher::Bytes& file) {
  finisher::Image image = finisher::read_image(file);
  finisher::list_script(image);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const finisher::Bytes linked = sound_image();
  static const finisher::Bytes complete = finisher::finish(linked, {}).file;
  if (size == 0) return 0;
  const finisher::Bytes file =
      data[0] % 4 == 0 ? finisher::Bytes(data + 1, data + size)
                       : fuzz::changed(data[0] % 2 == 0 ? linked : complete, data + 1, size - 1);
  try {
    list(file);
  } catch (const finisher::ImageError&) {
  }
  try {
    finisher::Options options;
    options.strip = data[0] % 8 > 3;
    list(finisher::finish(file, options).file);
  } catch (const finisher::ImageError&) {
  }
  try {
    finisher::finish(file, {.report_only = true});
  } catch (const finisher::ImageError&) {
  }
  return 0;
}
