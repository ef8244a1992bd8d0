// The image loader over hostile files: all steps that come before anything of
// an image runs. An input whose first byte is odd is a file; any other is changes
// to a good one.

#include "platform/posix/loader/image_loader.h"

#include "fuzz/fuzz.h"
#include "tests/support/finished_image.h"

namespace {

namespace platform = tarn::platform;
using tarn::test::FinishedImage;

FinishedImage::Bytes good_file() {
  FinishedImage made(true);
  made.imports = {{"FIRST.DLL", {"one", "#2", "three"}}, {"second.dll", {"four"}}};
  made.exports = {{"five", FinishedImage::kText}, {"six", FinishedImage::kData}};
  return made.file();
}

const void* open_any(void*, const char* library, platform::LoadError* error) {
  if (*library) return library;
  platform::refuse(error, "needs a library without a name");
  return nullptr;
}

// Reads the name to its end.
void* find_most(const void*, const char* name, std::uint32_t ordinal) {
  const bool known = name ? std::strlen(name) % 16 != 15 : ordinal % 16 != 15;
  return known ? reinterpret_cast<void*>(0x1122334455667788) : nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const FinishedImage::Bytes sound = good_file();
  const FinishedImage::Bytes bytes = *data & 1 ? FinishedImage::Bytes(data + 1, data + size)
                                               : fuzz::changed(sound, data + 1, size - 1);
  const platform::FileBytes file{bytes.data(), bytes.size()};
  const platform::ImportSource source{nullptr, &open_any, &find_most};
  platform::LoadError error{};
  platform::Image image{};
  const bool good =
      platform::check_image(file, &image, &error) && platform::map_image(file, &image, &error) &&
      platform::bind_imports(image, source, &error) && platform::protect_image(image, &error);
  fuzz::require(good == (error.text[0] == '\0'));
  if (good) {
    for (const char* const name : {"five", "six", "", "zzz"}) {
      const auto* const found =
          static_cast<const std::uint8_t*>(platform::find_image_export(image, name));
      fuzz::require(!found || (found >= image.base && found < image.base + image.size));
    }
    platform::find_image_export(image, static_cast<std::uint32_t>(size));
  }
  platform::unmap_image(&image);
  return 0;
}
