#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/support/linked_image.h"
#include "tools/finish_image/finish.h"
#include "tools/finish_image/routine_names.h"
#include "tools/finish_image/routine_table.h"
#include "tools/finish_image/script.h"

namespace {

using finisher::Bytes;
using finisher::Image;
using finisher::Options;
using tarn::test::LinkedImage;
namespace pe = tarn::pe;

// Why the file is refused; "" if it is not.
std::string error_of(const Bytes& file, const Options& options = {}) {
  try {
    finisher::finish(file, options);
    return "";
  } catch (const finisher::ImageError& error) {
    return error.text.empty() ? "(no text)" : error.text;
  }
}

Image finished(const LinkedImage& linked, const Options& options = {}) {
  return finisher::read_image(finisher::finish(linked.file(), options).file);
}

Bytes bytes_at(Image& image, std::uint64_t offset, std::size_t count) {
  const finisher::Section* section = finisher::section_at(image, offset);
  const auto from = section->bytes.begin() + static_cast<std::ptrdiff_t>(offset - section->start());
  return {from, from + static_cast<std::ptrdiff_t>(count)};
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}
Bytes op(int opcode) { return {static_cast<std::uint8_t>(opcode)}; }
Bytes u32(std::uint32_t value) {
  Bytes bytes;
  finisher::append_u32(bytes, value);
  return bytes;
}
Bytes u64(std::uint64_t value) {
  Bytes bytes;
  finisher::append_u64(bytes, value);
  return bytes;
}
Bytes text(const std::string& value) {
  return Bytes(value.c_str(), value.c_str() + value.size() + 1);
}

// A .debug_line section of one unit whose rows are: main's lines 10 and 11, a
// row of another file, line 12; then `large` at line 30.
Bytes line_section() {
  const Bytes header = Bytes{1, 1, 1, 0xFB /* -5 */, 14, 10, 0, 1, 1, 1, 1, 0, 0, 0, 1, 0} +
                       text("main.c") + Bytes{0, 0, 0} + text("part.h") + Bytes{0, 0, 0, 0};
  const auto set_address = [](std::uint32_t offset) {
    return Bytes{0, 9, 2} + u64(LinkedImage::kBase + offset);
  };
  const Bytes program = set_address(LinkedImage::kMain) + Bytes{3, 9, 1} +  // line 10
                        Bytes{10 + 4 * 14 + 6} +                            // 4 bytes on, line 11
                        Bytes{2, 2, 4, 2, 3, 0x7F, 1} +  // 2 bytes on, file 2, line 10
                        Bytes{9, 2, 0, 4, 1, 3, 2, 1} +  // 2 bytes on, file 1, line 12
                        Bytes{2, 8, 0, 1, 1} +           // end
                        set_address(LinkedImage::kLarge) + Bytes{3, 29, 1, 2, 0x20, 0, 1, 1};
  const Bytes unit =
      Bytes{4, 0} + u32(static_cast<std::uint32_t>(header.size())) + header + program;
  return u32(static_cast<std::uint32_t>(unit.size())) + unit;
}

// A program that asks for everything. `cells` gets the pointers' offsets.
LinkedImage full_program(std::vector<std::uint32_t>* cells = nullptr) {
  LinkedImage linked;
  const std::uint32_t settings = linked.number(0), limit = linked.number(8);
  const std::uint32_t object = linked.number(100), object_user = linked.number(0);
  const std::uint32_t slot = linked.number(0), profile = linked.number(0);
  const std::uint32_t empty = linked.number(0);
  const std::uint32_t relocated = linked.address(LinkedImage::kMain);
  linked.note(7, settings, "SETTINGS", "", 12);
  linked.note(9, limit, "SETTINGS");
  linked.note(8, object, "TALLY", "", 8);
  linked.note(7, object_user, "TALLY", "", 4);
  linked.note(7, empty, "EMPTY", "", 0);
  linked.note(16, slot, "COUNTING.DLL", "count_words");
  linked.note(10, LinkedImage::kInitialiser);
  linked.note(15, profile);
  linked.note(13);
  linked.note(14);
  linked.note(17);
  linked.debug_line = line_section();
  if (cells) *cells = {settings, limit, object, object_user, slot, profile, relocated};
  return linked;
}

TEST(FinishedImage, AProgramsScriptHoldsEveryInstructionInOrder) {
  std::vector<std::uint32_t> cells;
  const LinkedImage linked = full_program(&cells);
  Image image = finished(linked);
  const std::uint64_t script =
      finisher::read_u64(image, LinkedImage::kScriptWord, "the script word");
  const Bytes wanted_behind_names =
      op(6) + u64(cells[6]) + op(13) +                                                 //
      op(7) + u64(12) + op(9) + u64(cells[0]) + op(9) + u64(cells[1]) +                //
      op(8) + u64(cells[2]) + u64(8) + op(9) + u64(cells[3]) + op(7) + u64(0) +        //
      op(14) + op(15) + u64(cells[5]) + op(16) + u32(cells[4] - LinkedImage::kData) +  //
      text("COUNTING.DLL") + text("count_words") + op(11) + op(10) +
      u64(LinkedImage::kInitialiser) + op(17) + op(5) + u64(LinkedImage::kMain);
  const auto names = static_cast<std::uint32_t>(script + 5 + wanted_behind_names.size());
  const Bytes wanted = op(12) + u32(names) + wanted_behind_names + text("SETTINGS") + text("TALLY");
  EXPECT_EQ(bytes_at(image, script, wanted.size()), wanted);
  EXPECT_EQ(finisher::read_u64(image, cells[6], "a cell"), LinkedImage::kMain);
  EXPECT_EQ(image.headers.optional.directories[pe::kRelocationDirectory].size, 0u);
  EXPECT_EQ(finisher::find_section(image, ".tarnimg"), nullptr);
  EXPECT_TRUE(finisher::section_at(image, script)->is(pe::kSectionWrite));
}

TEST(FinishedImage, TheScriptReadsBackAsText) {
  Image image = finished(full_program());
  const std::string listed = finisher::list_script(image);
  std::size_t at = 0;
  for (const char* const part :
       {"block names at", "relocate 0x", "fill later blocks",
        "allocate block \"SETTINGS\", 12 bytes", "relocate to the block", "declare block \"TALLY\"",
        "8 bytes", "allocate block, 0 bytes", "require AVX", "profile block",
        "to \"count_words\" of \"COUNTING.DLL\"", "set up the library",
        "initialise 0x1080 initialiser", "NOTE", "close, call 0x1040 main"}) {
    const std::size_t found = listed.find(part, at);
    ASSERT_NE(found, std::string::npos) << part << " in\n" << listed;
    at = found;
  }
}

TEST(FinishedImage, ADllsScriptFillsTheRoomBehindTheSlotsAndReturns) {
  LinkedImage linked(true);
  linked.data.resize(0x200);
  linked.symbols.back().value += 0x40;
  const std::uint32_t cell = linked.address(LinkedImage::kLarge);
  Image image = finished(linked);
  EXPECT_EQ(finisher::read_u64(image, LinkedImage::kScriptWord, "the script word"),
            LinkedImage::kScriptArea);
  EXPECT_EQ(bytes_at(image, LinkedImage::kScriptArea, 18), op(6) + u64(cell) + op(5) + u64(0));

  for (int i = 0; i < 10; ++i) linked.address(LinkedImage::kLarge);
  const finisher::Finished outgrown = finisher::finish(linked.file(), {});
  EXPECT_NE(outgrown.remark.find("108 bytes, more than the 64"), std::string::npos)
      << outgrown.remark;
}

TEST(FinishedImage, ConstructorsRunBackwardsBeforeTheInitialisersOfNotes) {
  LinkedImage linked(true);
  linked.note(10, LinkedImage::kInitialiser);
  const std::uint32_t list = linked.number(~std::uint64_t{0});
  linked.address(LinkedImage::kMain);
  linked.address(LinkedImage::kLarge);
  linked.number(0);
  linked.symbols.push_back({"__CTOR_LIST__", 2, list - LinkedImage::kData, 0, 2});
  Image image = finished(linked);
  const std::uint64_t script =
      finisher::read_u64(image, LinkedImage::kScriptWord, "the script word");
  EXPECT_EQ(bytes_at(image, script, 27), op(10) + u64(LinkedImage::kLarge) + op(10) +
                                             u64(LinkedImage::kMain) + op(10) +
                                             u64(LinkedImage::kInitialiser));
}

TEST(FinishedImage, AProfileBlocksLinesAreMarked) {
  LinkedImage linked;
  const std::uint32_t block = linked.number(3);
  for (int line = 0; line < 3; ++line) linked.number(0);
  const std::uint32_t path = linked.literal("a.for");
  linked.note(18, block + 8 * 2);  // before the block's own note
  linked.note(15, block, "", "", 3);
  Image image = finished(linked);
  const std::uint64_t wanted[] = {3, ~std::uint64_t{0}, 0, ~std::uint64_t{0}};
  for (std::uint32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(finisher::read_u64(image, block + 8 * i, "a cell"), wanted[i]) << i;
  }
  EXPECT_EQ(bytes_at(image, path, 6), text("a.for"));
}

TEST(FinishedImage, TheRoutineTableStandsWhereTheMarkLeads) {
  Image image = finished(full_program());
  EXPECT_EQ(std::memcmp(image.dos_part.data() + 0x10, "BRACKENMOOR", 11), 0);
  std::uint32_t field;
  std::memcpy(&field, image.dos_part.data() + 0x1C, 4);
  const std::uint64_t table = std::uint64_t{field} + 8;

  // The first entry by its bytes, all entries by the reader.
  const Bytes start = text("__brackenstartup") + u64(1) + u64(0x1000) + u64(0x103F) + u64(0x1040) +
                      u32(0x28) + u32(0);
  EXPECT_EQ(bytes_at(image, table, start.size()), start);
  const std::vector<finisher::Routine> routines = finisher::read_routine_table(image);
  ASSERT_EQ(routines.size(), 4u);
  using Lines = std::vector<std::pair<std::uint32_t, std::uint32_t>>;
  const struct {
    const char* name;
    std::uint32_t start, end, frame_size;
    Lines lines;
  } wanted[] = {{"__brackenstartup", 0x1000, 0x103F, 0x28, {}},
                {"main", 0x1040, 0x105F, 0x38, {{10, 0}, {11, 4}, {12, 8}}},
                {"large", 0x1060, 0x107F, 0x1234, {{30, 0}}},
                {"initialiser", 0x1080, 0x10FF, 0, {}}};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(routines[i].name, wanted[i].name);
    EXPECT_EQ(routines[i].start, wanted[i].start) << wanted[i].name;
    EXPECT_EQ(routines[i].end, wanted[i].end) << wanted[i].name;
    EXPECT_EQ(routines[i].frame_size, wanted[i].frame_size) << wanted[i].name;
    EXPECT_EQ(routines[i].lines, wanted[i].lines) << wanted[i].name;
  }

  // main's debug record by its bytes.
  const std::uint32_t debug = static_cast<std::uint32_t>(
      finisher::read_u64(image, table + start.size() + 5 + 24, "a debug offset"));
  EXPECT_EQ(bytes_at(image, debug + 4, 16),
            Bytes({'R', 'H', 'U', 'B'}) + u32(8) + u32(3) + u32(10));
}

TEST(FinishedImage, RoutinesHaveTheNamesOfTheSource) {
  const struct {
    const char *symbol, *shown;
  } cases[] = {
      {"settle.part.0.constprop.12.cold", "settle"},
      {"inner.3041", "inner"},
      {"_ZN4bank6settleEi.isra.0", "bank::settle(int)"},
      {"__linear_MOD_solve", "linear:solve"},
      {"MAIN__", "main program"},
      {"copy.fast", "copy.fast"},
      {"_Z3jobPZ3jobPiE14_Z3jobPi.Frame.actor", "job(int*)"},
      {".0", ".0"},
  };
  for (const auto& each : cases) EXPECT_EQ(finisher::shown_name(each.symbol), each.shown);

  for (const char* const name :
       {"__pformat_int", "std::__sort<...>", "std::thread::_State::~_State()",
        "bool __gnu_cxx::__ops::_Less::operator()<int>(int, int) const"}) {
    EXPECT_TRUE(finisher::is_reserved(name)) << name;
  }
  for (const char* const name :
       {"std::sort<__gnu_cxx::__normal_iterator<...>>", "bank::operator<<(std::_Any&)",
        "bank::operator<< <std::_Any>(int)", "bank::operator()(std::_Any) const", "next_", "_exit",
        "bank::operator->(std::_Any)",
        "bank::settle(std::_Any)::{lambda(std::_Any)}::operator()"}) {
    EXPECT_FALSE(finisher::is_reserved(name)) << name;
  }
}

TEST(FinishedImage, CanBeStrippedAndIsRefusedASecondTime) {
  const Bytes file = finisher::finish(full_program().file(), {.strip = true}).file;
  Image image = finisher::read_image(file);
  EXPECT_EQ(image.headers.file.symbol_count, 0u);
  EXPECT_EQ(finisher::find_section(image, ".debug_line"), nullptr);
  EXPECT_EQ(finisher::read_routine_table(image)[1].lines.size(), 3u);
  EXPECT_EQ(error_of(file), "the image is already finished");
}

TEST(Refused, EachWithItsReason) {
  const struct {
    const char* reason;
    std::function<void(LinkedImage&)> damage;
  } cases[] = {
      {"not an x86-64 image", [](auto& l) { l.headers.file.machine = 0x14C; }},
      {"not a linked image", [](auto& l) { l.headers.file.characteristics = 0; }},
      {"not a PE image", [](auto& l) { l.headers.magic = 0; }},
      {"sections must be aligned", [](auto& l) { l.headers.optional.file_alignment = 0x300; }},
      {"the entry point is not", [](auto& l) { l.headers.optional.entry_point += 1; }},
      {"no symbol tarn_first_cell", [](auto& l) { l.symbols[4].name = "other"; }},
      {"needs a routine main", [](auto& l) { l.symbols[1].name = "MAIN"; }},
      {"data section is read-only", [](auto& l) { l.symbols[4].section = 1; }},
      {"room for the script is damaged", [](auto& l) { l.symbols[8].value = 0; }},
      {"room for the script is damaged",
       [](auto& l) {  // begins between .text and .data
         l.symbols[7] = {"tarn_script_area", 1, static_cast<std::uint32_t>(l.text.size()), 0, 2};
       }},
      {"the bound routine's pointer ?]0;x? lies in executable",
       [](auto& l) {
         l.symbols[3].name = "\x1B]0;x\a";
         l.note(16, LinkedImage::kInitialiser, "LIBRARY.DLL", "routine");
       }},
      {"a symbol lies in section 9", [](auto& l) { l.symbols[2].section = 9; }},
      {"thread-local storage",
       [](auto& l) { l.headers.optional.directories[pe::kTlsDirectory].size = 40; }},
      {"a signature",
       [](auto& l) { l.headers.optional.directories[pe::kSecurityDirectory].size = 8; }},
      {"two relocations overlap",
       [](auto& l) { l.relocations.push_back(l.address(LinkedImage::kMain) + 4); }},
      {"lies in executable section .text",
       [](auto& l) { l.relocations.push_back(LinkedImage::kText + 0x90); }},
      {"left out the relocations",
       [](auto& l) {
         l.relocations.clear();
         l.headers.file.characteristics |= pe::kFileRelocsStripped;
       }},
      {"something that is not a note",
       [](auto& l) { tarn::test::append(l.notes, std::uint64_t{7}); }},
      {"a note of kind 11 is not known", [](auto& l) { l.note(11); }},
      {"a note of kind 7 has no target", [](auto& l) { l.note(7, 0, "NAME", "", 8); }},
      {"a common block has no name", [](auto& l) { l.note(7, l.number(0), "", "", 8); }},
      {"a number in place of an address",
       [](auto& l) {
         l.note(7, l.number(0), "NAME");
         l.relocations.pop_back();
       }},
      {"has two objects",
       [](auto& l) {
         l.note(8, l.number(0), "NAME", "", 8);
         l.note(8, l.number(0), "NAME", "", 8);
       }},
      {"is used with 16 bytes, but its object has 8",
       [](auto& l) {
         l.note(8, l.number(0), "NAME", "", 8);
         l.note(7, l.number(0), "NAME", "", 16);
       }},
      {"ends outside its section", [](auto& l) { l.note(8, l.number(0), "NAME", "", 9000); }},
      {"which has 8",
       [](auto& l) {
         l.note(7, l.number(0), "NAME", "", 8);
         l.note(9, l.number(8), "NAME");
       }},
      {"leads into common block NMAE, which nothing",
       [](auto& l) {
         l.note(7, l.number(0), "NAME", "", 8);
         l.note(9, l.number(0), "NMAE");
       }},
      {"holds another address too",
       [](auto& l) { l.note(7, l.address(LinkedImage::kMain), "NAME", "", 8); }},
      {"a profile block at", [](auto& l) { l.note(15, l.number(1), "", "", ~std::uint64_t{0}); }},
      {"is not code", [](auto& l) { l.note(10, l.number(0)); }},
      {"needs the names", [](auto& l) { l.note(16, l.number(0), "LIBRARY"); }},
      {"the constructor list is damaged",
       [](auto& l) {
         l.symbols.push_back({"__CTOR_LIST__", 2, l.number(1) - LinkedImage::kData, 0, 2});
       }},
      {"would never run",
       [](auto& l) {
         const std::uint32_t list = l.number(~std::uint64_t{0});
         l.address(LinkedImage::kMain);
         l.number(0);
         l.symbols.push_back({"__DTOR_LIST__", 2, list - LinkedImage::kData, 0, 2});
       }},
      {"the debug data (.debug_line) are damaged",
       [](auto& l) {
         l.debug_line = line_section();
         l.debug_line[0] = 0xFF;
         l.debug_line[2] = 0x10;
       }},
  };
  ASSERT_EQ(error_of(LinkedImage().file()), "");
  for (const auto& c : cases) {
    LinkedImage linked;
    c.damage(linked);
    const std::string text = error_of(linked.file());
    EXPECT_NE(text.find(c.reason), std::string::npos) << c.reason << " | " << text;
    EXPECT_EQ(text.find('\n'), std::string::npos) << text;
  }
  EXPECT_EQ(error_of(LinkedImage().file(), {.must_be_dll = true}), "not a DLL");

  LinkedImage roomy;
  roomy.data.resize(0x200);
  roomy.symbols.back().value += 0x40;
  Bytes file = roomy.file();
  pe::SectionHeader headers[2];  // of .text and .data
  std::uint8_t* const at = &file[0x80 + sizeof(pe::NtHeaders)];
  std::memcpy(headers, at, sizeof headers);
  std::strcpy(headers[1].name, ".reloc");  // and so removed
  std::memcpy(at, headers, sizeof headers);
  EXPECT_EQ(error_of(file), "the room for the script has no bytes");
  for (pe::SectionHeader& header : headers) {
    header.raw_offset = 1;
    header.raw_size = static_cast<std::uint32_t>(file.size() - 1);
  }
  std::memcpy(at, headers, sizeof headers);
  EXPECT_EQ(error_of(file), "section .reloc shares its bytes with another");
  EXPECT_EQ(error_of({}), "the file ends inside the DOS header");
  EXPECT_EQ(error_of(Bytes(64, 'x')), "not a PE image");
}

}  // namespace
