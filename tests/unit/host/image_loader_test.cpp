// Images that are loaded, and all that is refused: files made in memory, whole
// and damaged, and the module list over files in a folder.

#include "platform/posix/loader/image_loader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/platform.h"
#include "platform/posix/loader/loader.h"
#include "platform/posix/processes/processes.h"
#include "tests/support/finished_image.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace pe = tarn::pe;
namespace platform = tarn::platform;
using platform::Image;
using platform::LoadError;
using tarn::test::FinishedImage;

TARNAPI std::int32_t answer() { return 7; }
TARNAPI std::int32_t other() { return 8; }

// What "known" has; any other library is missing.
constexpr char kKnown[] = "KNOWN.DLL";

const void* open_known(void*, const char* library, LoadError* error) {
  if (std::strcmp(library, kKnown) == 0) return kKnown;
  platform::refuse(error, "needs %s", library);
  return nullptr;
}

void* find_routine(const char* name) {
  if (std::strcmp(name, "answer") == 0) return reinterpret_cast<void*>(&answer);
  return nullptr;
}

void* find_known(const void*, const char* name, std::uint32_t ordinal) {
  if (!name) return ordinal == 3 ? reinterpret_cast<void*>(&other) : nullptr;
  return find_routine(name);
}

constexpr platform::ImportSource kSource{nullptr, &open_known, &find_known};

// All that is done to a file before it runs; the image stays mapped if it is
// good. "" or why it is refused.
std::string load(const FinishedImage::Bytes& bytes, Image* image) {
  LoadError error{};
  // A copy without room behind it, so that the sanitizer sees a wild read.
  const FinishedImage::Bytes exact(bytes.begin(), bytes.end());
  const platform::FileBytes file{exact.data(), exact.size()};
  image->base = nullptr;
  if (platform::check_image(file, image, &error) && platform::map_image(file, image, &error) &&
      platform::bind_imports(*image, kSource, &error) && platform::protect_image(*image, &error)) {
    return "";
  }
  platform::unmap_image(image);
  return *error.text ? error.text : "(no text)";
}

std::string error_of(const FinishedImage::Bytes& bytes) {
  Image image;
  std::string text = load(bytes, &image);
  if (text.empty()) platform::find_image_export(image, "first");
  platform::unmap_image(&image);
  return text;
}

FinishedImage sample(bool dll, const std::vector<std::string>& names = {"answer", "#3"}) {
  FinishedImage image(dll);
  if (!dll) {
    image.code({0x48, 0x83, 0xEC, 0x28,  // sub rsp, 40
                0xFF, 0x15, 0, 0, 0, 0,  // call the first import
                0x48, 0x83, 0xC4, 0x28, 0xC3});
  }
  image.imports = {{kKnown, names}};
  image.exports = {{"first", FinishedImage::kText}, {"second", FinishedImage::kData + 8}};
  if (!dll) {
    const std::uint32_t distance = image.address_cell(0, 0) - (FinishedImage::kText + 10);
    std::memcpy(image.text.data() + 6, &distance, sizeof distance);
  }
  return image;
}

TEST(ImageLoader, SaysWhatIsWrong) {
  const auto with = [](auto change) {
    FinishedImage made = sample(false);
    change(made);
    return made.file();
  };
  const auto directory = [&](std::size_t which) {
    return with([which](FinishedImage& made) {
      made.headers.optional.directories[which] = {FinishedImage::kData, 16};
    });
  };
  FinishedImage::Bytes ordinary = with([](FinishedImage&) {});
  ordinary[pe::kOrdinaryImageOffset] = 1;
  const std::string text = "#!/bin/sh\necho no program at all, but a text of some length\n";
  const struct {
    FinishedImage::Bytes file;
    const char* wanted;
  } cases[] = {
      {{}, "is not a program image; tarncc makes one from sources"},
      {{text.begin(), text.end()}, "is not a program image; tarncc makes one from sources"},
      {with([](auto& made) { made.headers.magic = 0x4550 + 1; }), "not a Windows program image"},
      {with([](auto& made) { made.headers.file.machine = 0x14C; }), "machine 0x14c"},
      {with([](auto& made) { made.headers.optional.magic = 0x10B; }), "is not a 64-bit image"},
      {with([](auto& made) { made.headers.file.characteristics = 0; }), "not linked completely"},
      {with([](auto& made) { made.marked = false; }),
       "is an ordinary Windows image; compile it with tarncc"},
      {ordinary, "was made by tarncc --report-only and runs only on Windows"},
      {with([](auto& made) { made.headers.optional.entry_point = 0; }), "has no entry point"},
      {with([](auto& made) { made.headers.optional.entry_point = FinishedImage::kData; }),
       "not in an executable section"},
      {with([](auto& made) { made.headers.optional.section_alignment = 512; }), "aligns"},
      {with([](auto& made) {
         made.exports.clear();
         made.headers.optional.image_size = FinishedImage::kExports;
       }),
       "does not fit the image"},
      {with([](auto& made) { made.headers.optional.image_size = 0x7FFFF000; }), "has an image of"},
      {with([](auto& made) { made.headers.optional.stack_reserve = ~std::uint64_t{0}; }), "stack"},
      {with([](auto& made) { made.headers.file.section_count = 97; }), "has 97 sections"},
      {with([](auto& made) { made.imports[0].second.push_back("no_such"); }),
       "imports no_such, which KNOWN.DLL does not have"},
      {with([](auto& made) { made.imports[0].second.push_back("#4"); }), "imports number 4"},
      {with([](auto& made) {
         made.imports.push_back({"msvcrt\x1B.dll", {"printf"}});
       }),
       "needs msvcrt?.dll"},
      {directory(pe::kRelocationDirectory), "operating-system relocation table"},
      {directory(pe::kTlsDirectory), "thread-local storage"},
      {with([](auto& made) {
         made.headers.optional.directories[pe::kResourceDirectory] = {0x4FFF, 2};
       }),
       "data directory 2 lies outside"},
  };
  for (const auto& [file, wanted] : cases) {
    EXPECT_NE(error_of(file).find(wanted), std::string::npos)
        << "wanted: " << wanted << "\ngot: " << error_of(file);
  }
}

TEST(ImageLoader, RefusesSectionsThatOverlapOrLieElsewhere) {
  const FinishedImage::Bytes good = sample(true).file();
  constexpr std::size_t kTable = FinishedImage::kPeOffset + sizeof(pe::NtHeaders);
  for (const auto& [field, value, wanted] :
       {std::tuple{offsetof(pe::SectionHeader, virtual_address), 0x1000u, "does not follow"},
        {offsetof(pe::SectionHeader, virtual_address), 0x2800u, "does not follow"},
        {offsetof(pe::SectionHeader, virtual_address), 0x6000u, "does not follow"},
        {offsetof(pe::SectionHeader, virtual_size), 0x1001u, "does not follow"},
        {offsetof(pe::SectionHeader, virtual_size), 0xFFFFFFFFu, "does not fit"},
        {offsetof(pe::SectionHeader, raw_offset), 0x401u, "not a multiple of 512"},
        {offsetof(pe::SectionHeader, raw_offset), 0xFFFFFE00u, "the file ends inside section"},
        {offsetof(pe::SectionHeader, raw_size), 0xFFFFFFFFu, "the file ends inside section"}}) {
    FinishedImage::Bytes file = good;
    std::memcpy(file.data() + kTable + sizeof(pe::SectionHeader) + field, &value, sizeof value);
    EXPECT_NE(error_of(file).find(wanted), std::string::npos) << error_of(file);
  }
}

// ---- The module list ----------------------------------------------------------

constexpr platform::NativeLibrary kNative[] = {{kKnown, &find_routine}};

class Modules : public testing::Test {
 protected:
  static void SetUpTestSuite() { platform::offer_native_libraries(kNative, 1); }
  static void write(const std::string& name, const FinishedImage& image) {
    const FinishedImage::Bytes bytes = image.file();
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  static FinishedImage dll_needing(std::initializer_list<const char*> libraries) {
    FinishedImage made(true);
    for (const char* const library : libraries) made.imports.push_back({library, {"first"}});
    made.exports = {{"first", FinishedImage::kText}, {"starts", FinishedImage::kStarts}};
    return made;
  }
  static std::uint32_t starts_of(platform::Module module) {
    const void* const cell = platform::GetProcAddress(module, "starts");
    std::uint32_t starts = ~0u;
    if (cell) std::memcpy(&starts, cell, sizeof starts);
    return starts;
  }
  const tarn::test::ScratchFolder scratch;
  const std::string folder = scratch.path();
};

TEST_F(Modules, LoadsWhatALibraryNeedsAndStartsEachOnce) {
  write("low.dll", dll_needing({}));
  write("high.dll", dll_needing({"low.dll", "LOW.DLL"}));
  EXPECT_EQ(platform::GetModuleHandleA("high"), nullptr);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorModuleNotFound);
  platform::Module const high = platform::LoadLibraryA("high");
  ASSERT_NE(high, nullptr);
  platform::Module const low = platform::GetModuleHandleA("Low.Dll");
  ASSERT_NE(low, nullptr);
  EXPECT_EQ(platform::LoadLibraryA("high.dll"), high);
  EXPECT_EQ(starts_of(high), 1u);
  EXPECT_EQ(starts_of(low), 1u);

  platform::Module found = nullptr;
  const void* const inside = platform::GetProcAddress(low, "starts");
  EXPECT_TRUE(platform::GetModuleHandleExW(platform::kModuleFromAddress | 2, inside, &found));
  EXPECT_EQ(found, low);
  char path[300];
  const std::uint32_t length = platform::GetModuleFileNameA(low, path, sizeof path);
  std::string wanted = "Z:" + folder + "/low.dll";
  for (char& c : wanted) c = c == '/' ? '\\' : c;
  EXPECT_EQ(std::string(path, length), wanted);
  EXPECT_EQ(platform::GetModuleHandleA(wanted.c_str()), low);
  EXPECT_EQ(platform::GetModuleHandleA("Z:\\elsewhere\\low.dll"), nullptr);
  EXPECT_EQ(platform::GetModuleFileNameA(low, path, 5), 5u);
  EXPECT_STREQ(path, wanted.substr(0, 4).c_str());

  EXPECT_TRUE(platform::FreeLibrary(high));
  EXPECT_EQ(platform::GetModuleHandleA("high"), high);
  EXPECT_TRUE(platform::FreeLibrary(high));
  EXPECT_EQ(platform::GetModuleHandleA("high"), nullptr);
  EXPECT_EQ(platform::GetModuleHandleA("low"), nullptr);
  EXPECT_FALSE(platform::FreeLibrary(high));
}

TEST_F(Modules, LibrariesMayNeedEachOther) {
  write("ring_a.dll", dll_needing({"ring_b.dll"}));
  write("ring_b.dll", dll_needing({"ring_a.dll", "ring_b.dll"}));
  platform::Module const a = platform::LoadLibraryA("ring_a.dll");
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(starts_of(a), 1u);
  EXPECT_EQ(starts_of(platform::GetModuleHandleA("ring_b")), 1u);
}

TEST_F(Modules, ARefusedLoadLeavesNothingAndRunsNothing) {
  write("kept.dll", dll_needing({}));
  write("good.dll", dll_needing({"kept.dll"}));
  write("bad.dll", dll_needing({"good.dll", "absent.dll"}));
  FinishedImage unfinished = dll_needing({});
  unfinished.marked = false;
  write("unfinished.dll", unfinished);
  write("program.dll", FinishedImage(false));
  platform::Module const kept = platform::LoadLibraryA("kept.dll");
  ASSERT_NE(kept, nullptr);
  for (const auto& [name, code] : {std::pair{"bad.dll", platform::kErrorBadExeFormat},
                                   {"absent.dll", platform::kErrorModuleNotFound},
                                   {"unfinished.dll", platform::kErrorBadExeFormat},
                                   {"program.dll", platform::kErrorBadExeFormat},
                                   {"", platform::kErrorBadExeFormat}}) {
    EXPECT_EQ(platform::LoadLibraryA(name), nullptr) << name;
    EXPECT_EQ(platform::GetLastError(), code) << name;
  }
  EXPECT_EQ(platform::GetModuleHandleA("good"), nullptr);
  EXPECT_EQ(platform::GetModuleHandleA("kept"), kept);
  EXPECT_TRUE(platform::FreeLibrary(kept));
  EXPECT_EQ(platform::GetModuleHandleA("kept"), nullptr);  // good.dll's reference is gone too
}

TEST_F(Modules, ALongChainOfLibrariesIsRefused) {
  constexpr int kLength = 70;
  for (int i = 0; i < kLength; ++i) {
    write("chain" + std::to_string(i) + ".dll",
          dll_needing({("chain" + std::to_string(i + 1) + ".dll").c_str()}));
  }
  write("chain" + std::to_string(kLength) + ".dll", dll_needing({}));
  EXPECT_EQ(platform::LoadLibraryA("chain0"), nullptr);
  platform::Module const short_one =
      platform::LoadLibraryA("chain20");  // all places are free again
  EXPECT_NE(short_one, nullptr);
  EXPECT_TRUE(platform::FreeLibrary(short_one));
}

TEST_F(Modules, NativeLibrariesHaveHandlesWithHeaders) {
  platform::Module const known = platform::GetModuleHandleA("known");
  ASSERT_NE(known, nullptr);
  EXPECT_EQ(platform::GetProcAddress(known, "answer"), reinterpret_cast<void*>(&answer));
  EXPECT_EQ(platform::GetProcAddress(known, "unanswered"), nullptr);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorProcedureNotFound);
  EXPECT_EQ(platform::GetProcAddress(known, reinterpret_cast<const char*>(3)), nullptr);
  platform::Module own = nullptr, none = known;
  ASSERT_TRUE(platform::GetModuleHandleExW(platform::kModuleFromAddress, &kNative, &own));
  EXPECT_EQ(own, known);
  char name[40];
  EXPECT_EQ(platform::GetModuleBaseNameA(platform::GetCurrentProcess(), own, name, sizeof name),
            9u);
  EXPECT_STREQ(name, kKnown);
  EXPECT_FALSE(platform::GetModuleHandleExW(platform::kModuleFromAddress, name, &none));
  EXPECT_EQ(none, nullptr);
  for (const char* const module : {static_cast<const char*>(nullptr), "KNOWN.DLL"}) {
    const auto* const base = static_cast<const char*>(platform::GetModuleHandleA(module));
    EXPECT_EQ(std::string(base, 2), "MZ");
  }
}

TEST_F(Modules, ProgramsRunOnAStackOfTheSizeThatTheyAskFor) {
  write("seven.exe", sample(false, {"answer"}));
  FinishedImage deep(false);
  deep.headers.optional.stack_reserve = 0x4000000;
  deep.code({0xC6, 0x84, 0x24, 0x00, 0x20, 0x00, 0xFC, 0,  // mov byte ptr [rsp - 0x3FFE000], 0
             0xB8, 5, 0, 0, 0, 0xC3});                     // mov eax, 5; ret
  write("deep.exe", deep);
  FinishedImage needy(false);
  needy.imports = {{"unstarted.dll", {"first"}}};
  needy.code({0xC3});
  write("needy.exe", needy);
  write("library.exe", FinishedImage(true));
  const auto run = [](const char* path) {
    LoadError error{};
    if (platform::load_program(path, &error)) platform::run_program(&error);
    std::fprintf(stderr, "%s\n", error.text);
    _exit(error.not_found ? 127 : 126);
  };
  EXPECT_EXIT(run("seven.exe"), testing::ExitedWithCode(7), "");
  EXPECT_EXIT(run((folder + "/deep.exe").c_str()), testing::ExitedWithCode(5), "");
  EXPECT_EXIT(run("needy.exe"), testing::ExitedWithCode(126), "needs unstarted.dll: it is neither");
  EXPECT_EXIT(run("library.exe"), testing::ExitedWithCode(126), "is a DLL, not a program");
  EXPECT_EXIT(run("."), testing::ExitedWithCode(126), "is a directory");
  EXPECT_EXIT(run("none.exe"), testing::ExitedWithCode(127), "no such file");
}

TEST_F(Modules, SearchPathLooksInFoldersInTheirOrder) {
  std::filesystem::create_directories("one/sub");
  std::filesystem::create_directory("two");
  std::filesystem::create_directory("two/prog.d");
  for (const char* const name : {"here.exe", "one/prog.exe", "two/prog.exe", "two/prog.d/x",
                                 "one/sub/deep.exe", "one/plain"}) {
    std::ofstream(name) << "x";
  }
  const char* const before = std::getenv("PATH");
  const std::string old_path = before ? before : "";
  setenv("PATH", ("Z:" + folder + "\\two;/nowhere:" + folder + "/one").c_str(), 1);
  const std::string lists = "Z:" + folder + "/one;" + folder + "\\two";
  const std::string absolute = "Z:" + folder + "\\one\\prog";
  const struct {
    const char *path, *name, *wanted;  // below the folder; "" if it is not found
  } cases[] = {
      {nullptr, "here", "/here.exe"},
      {nullptr, ".\\here.exe", "/here.exe"},
      {nullptr, "prog", "/two/prog.exe"},
      {nullptr, "prog.exe", "/two/prog.exe"},
      {nullptr, "sub/deep", "/one/sub/deep.exe"},
      {nullptr, "one\\..\\one\\prog", "/one/prog.exe"},
      {nullptr, "prog.d", ""},
      {nullptr, "plain", ""},
      {nullptr, "absent", ""},
      {nullptr, absolute.c_str(), "/one/prog.exe"},
      {lists.c_str(), "prog", "/one/prog.exe"},
      {lists.c_str(), "here", ""},
  };
  for (const auto& [path, name, wanted] : cases) {
    char buffer[300] = "untouched";
    char* part = nullptr;
    const std::uint32_t length =
        platform::SearchPathA(path, name, ".exe", sizeof buffer, buffer, &part);
    if (*wanted == '\0') {
      EXPECT_EQ(length, 0u) << name << ": " << buffer;
      continue;
    }
    std::string full = "Z:" + folder + wanted;
    for (char& c : full) c = c == '/' ? '\\' : c;
    ASSERT_EQ(std::string(buffer, length), full) << name;
    EXPECT_EQ(std::string(part), full.substr(full.rfind('\\') + 1));
    EXPECT_EQ(platform::SearchPathA(path, name, ".exe", length, buffer, nullptr), length + 1);
  }
  setenv("PATH", old_path.c_str(), 1);
}

// What Wine makes of the same arguments.
TEST(CommandLine, QuotesArgumentsAsWineDoes) {
  const struct {
    const char *argument, *quoted;
  } cases[] = {
      {"a", "a"},
      {"b c", R"("b c")"},
      {"", R"("")"},
      {"q\"x", R"(q\"x)"},
      {"x\\", R"(x\)"},
      {"x y\\", R"("x y\\")"},
      {"x\\\"y", R"(x\\\"y)"},
      {"tab\tx", "\"tab\tx\""},
      {"'sq' z", R"("'sq' z")"},
      {"\\\\", R"(\\)"},
      {"a\\\\\"", R"(a\\\\\")"},
  };
  for (const auto& [argument, quoted] : cases) {
    char* const line = platform::build_command_line("Z:\\a b\\p.exe", 1, &argument);
    EXPECT_EQ(std::string(line), std::string("\"Z:\\a b\\p.exe\" ") + quoted);
    std::free(line);
  }
  EXPECT_NE(std::strstr(platform::GetCommandLineA(), "image_loader_test\""), nullptr);
}

}  // namespace
