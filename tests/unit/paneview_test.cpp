#include "paneview/paneview.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "paneview/dialog.h"
#include "paneview/paneview_exports.h"
#include "paneview/window_layout.h"
#include "platform/platform.h"
#include "platform/windows_ui.h"
#include "services/child_processes.h"
#include "tests/support/captured.h"
#include "tests/support/child.h"
#include "tests/support/raised.h"
#include "tests/support/scratch_folder.h"

// Names the C library has too are written with their namespace.
namespace {

using namespace paneview;
using tarn::Slot;
using tarn::test::fault_by;
using tarn::test::raised_by;

// ---- Elementary functions -----------------------------------------------------

template <class Real>
struct Function {
  Real(TARNAPI* routine)(Real, Real);
  double low, high;                                           // of the first argument
  Function(Real(TARNAPI* one)(Real), double from, double to)  // the second argument is ignored
      : routine(reinterpret_cast<decltype(routine)>(reinterpret_cast<void (*)()>(one))),
        low(from),
        high(to) {}
  Function(Real(TARNAPI* two)(Real, Real), double from, double to)
      : routine(two), low(from), high(to) {}
};

// One sum over the bits of many results. It was taken while bench/accuracy found none of the
// functions off by more than 0.52 units of the last place.
template <class Real, class Bits>
std::uint64_t digest(const std::vector<Function<Real>>& functions) {
  std::mt19937_64 random(71);
  std::uint64_t sum = 0;
  for (const auto& [routine, low, high] : functions) {
    for (int i = 0; i < 4000; ++i) {
      // On a plain scale, on an exponential one, and around 1.
      const double u = static_cast<double>(random() >> 11) * 0x1p-53;
      const double x = i % 4 == 0   ? 1 + (u - 0.5) / 64
                       : i % 4 == 1 ? std::ldexp(low + (high - low) * u, -static_cast<int>(40 * u))
                                    : low + (high - low) * u;
      const auto y = static_cast<Real>(static_cast<double>(random() % 2000) / 16 - 62.53);
      sum ^= std::bit_cast<Bits>(routine(static_cast<Real>(std::clamp(x, low, high)), y));
      sum *= 0x100000001B3;
    }
  }
  return sum;
}

TEST(Elementary, ResultsAreThoseOfTheDigest) {
  EXPECT_EQ((digest<double, std::uint64_t>({{&DEXP$$, -760, 709},
                                            {&DALOG$$, DBL_MIN, 1e300},
                                            {&DAL10$$, DBL_MIN, 1e9},
                                            {&DALG2$$, DBL_MIN, 1e9},
                                            {&DASIN$$, -1, 1},
                                            {&DACOS$$, -1, 1},
                                            {&DSINH$$, -710, 710},
                                            {&DCOSH$$, -710, 710},
                                            {&DTANH$$, -25, 25},
                                            {&DAINT$$, -1e17, 1e17},
                                            {&XX$DD, 1e-3, 300},
                                            {&DATAN2V$, -300, 300},
                                            {&DMOD$$, -1e18, 1e18}})),
            5356069946976515532u);
  EXPECT_EQ((digest<float, std::uint32_t>({{&EXP$$, -110, 88},
                                           {&ALOG$$, FLT_MIN, 1e30},
                                           {&AL10$$, FLT_MIN, 1e9},
                                           {&ALG2$$, FLT_MIN, 1e9},
                                           {&ASIN$$, -1, 1},
                                           {&ACOS$$, -1, 1},
                                           {&SINH$$, -88, 88},
                                           {&COSH$$, -88, 88},
                                           {&TANH$$, -12, 12},
                                           {&AINT$$, -1e8, 1e8},
                                           {&ATAN2V$, -300, 300},
                                           {&MOD$$, -1e18, 1e18}})),
            14133379312811537867u);
  const double wide[] = {0x3p600, -0x4p600};
  const float narrow[] = {-0x3p100f, 0x4p100f};
  EXPECT_EQ(ZABS$$(wide), 0x5p600);
  EXPECT_EQ(CABS$$(narrow), 0x5p100f);
}

TEST(Elementary, SpecialValuesAreExact) {
  const double infinity = HUGE_VAL;
  const struct {
    double result, expected;
  } cases[] = {{DEXP$$(-1e300), 0.0},
               {DEXP$$(-infinity), 0.0},
               {DALOG$$(infinity), infinity},
               {DALG2$$(0x1p-1074), -1074.0},
               {DASIN$$(-0.0), -0.0},
               {DSINH$$(-0.0), -0.0},
               {DTANH$$(infinity), 1.0},
               {DTANH$$(-1e5), -1.0},
               {DAINT$$(-0.75), -0.0},
               {DAINT$$(0x1p62), 0x1p62},
               {DMOD$$(1e308, 3.0), 2.0},
               {DMOD$$(-4.0, 2.0), -0.0},
               {DMOD$$(5.0, infinity), 5.0},
               {DATAN2V$(0.0, -1.0), M_PI},
               {DATAN2V$(-0.0, -1.0), -M_PI},
               {DSIGN$(3.0, -0.0), -3.0},
               {DSIGN$(-3.0, 2.0), 3.0},
               {XX$DD(-2.0, 3.0), -8.0},
               {XX$DD(-2.0, -2.0), 0.25},
               {XX$DD(0.0, 2.5), 0.0},
               {XX$DD(-0.0, 3.0), -0.0},
               {XX$DD(10.0, -400.0), 0.0},
               {XX$DD(1.0, infinity), 1.0},
               {XX$DD(0.5, infinity), 0.0},
               {XX$DD(-infinity, 3.0), -infinity},
               {XX$DD(2.0, -1074.0), 0x1p-1074}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.result, c.expected) << &c - cases;
    EXPECT_EQ(std::signbit(c.result), std::signbit(c.expected)) << &c - cases;
  }
  EXPECT_EQ(AINT$$(-1.5f), -1.0f);
  EXPECT_EQ(MOD$$(7.0f, -4.0f), 3.0f);
}

TEST(Elementary, DomainErrorsAreNumbered) {
  const double large[] = {1.5e308, 1.5e308};
  const float small[] = {3e38f, 3e38f};
  const struct {
    std::int64_t number;
    std::function<void()> call;
  } cases[] = {
      {25, [] { DEXP$$(710.0); }},       {25, [] { EXP$$(89.0f); }},
      {34, [] { DALOG$$(0.0); }},        {34, [] { DALOG$$(-1.0); }},
      {34, [] { DAL10$$(-0.0); }},       {34, [] { DALG2$$(-0x1p-1074); }},
      {34, [] { ALOG$$(-1.0f); }},       {34, [] { AL10$$(0.0f); }},
      {34, [] { ALG2$$(-HUGE_VALF); }},  {26, [] { DASIN$$(1.0000000000000002); }},
      {26, [] { DACOS$$(-2.0); }},       {26, [] { ASIN$$(1.5f); }},
      {26, [] { ACOS$$(HUGE_VALF); }},   {20, [] { DSINH$$(711.0); }},
      {20, [] { DCOSH$$(-711.0); }},     {20, [] { SINH$$(-90.0f); }},
      {20, [] { COSH$$(90.0f); }},       {32, [] { DMOD$$(1.0, 0.0); }},
      {32, [] { MOD$$(0.0f, -0.0f); }},  {33, [] { DATAN2V$(0.0, -0.0); }},
      {33, [] { ATAN2V$(0.0f, 0.0f); }}, {21, [] { XX$DD(0.0, 0.0); }},
      {21, [] { XX$DD(0.0, -1.0); }},    {36, [] { XX$DD(-2.0, 0.5); }},
      {439, [] { XX$DD(10.0, 309.0); }}, {171, [&] { ZABS$$(large); }},
      {171, [&] { CABS$$(small); }},
  };
  for (const auto& c : cases)
    EXPECT_EQ(raised_by([&] { c.call(); }).number, c.number) << &c - cases;
}

// A program runs with invalid operation, zero divide, overflow and at times underflow
// unmasked, subnormal numbers taken for zero and flushed; this one rounds upward too.
TEST(Elementary, NeitherTrapsNorDependsOnTheControlRegisters) {
  volatile double hard[] = {0x1p-1074, NAN, 5e-324, 1e-310, 709.0, -745.0, HUGE_VAL};
  const auto run = [&hard](std::vector<double>* results) {
    for (const double x : {hard[0], hard[1], hard[2], hard[3], hard[4], hard[5]}) {
      results->push_back(DEXP$$(x));
      results->push_back(DTANH$$(x));
      results->push_back(DALOG$$(DSIGN$(x, 1.0)));
      results->push_back(XX$DD(0.75, x));
      results->push_back(DATAN2V$(x, -1.0));
      results->push_back(DAINT$$(x));
      results->push_back(DMOD$$(hard[6], x));
    }
    const double tiny[] = {hard[0], hard[3]};
    for (const double result : {DASIN$$(0.7), DSINH$$(709.0), DTANH$$(0.3), ZABS$$(tiny)}) {
      results->push_back(result);
    }
    for (const float result : {EXP$$(-95.0f), ALOG$$(1e-40f), ATAN2V$(1e-40f, 3.0f)}) {
      results->push_back(std::bit_cast<std::uint32_t>(result));  // they may be subnormal
    }
  };
  std::vector<double> plain, unmasked;
  plain.reserve(64);
  unmasked.reserve(64);
  run(&plain);
  std::uint32_t mxcsr, strict = 0xC040 | (0x1F80 & ~0xE80u);
  std::uint16_t control, short_precision = 0x0272;
  asm volatile("stmxcsr %0\n\tfnstcw %1" : "=m"(mxcsr), "=m"(control));
  const auto fault = fault_by([&] {
    asm volatile("fnclex\n\tldmxcsr %0\n\tfldcw %1" : : "m"(strict), "m"(short_precision));
    run(&unmasked);
    std::uint16_t after;
    asm volatile("fwait\n\tfnstcw %0" : "=m"(after));
    EXPECT_EQ(after, short_precision);
  });
  asm volatile("fnclex\n\tldmxcsr %0\n\tfldcw %1" : : "m"(mxcsr), "m"(control));
  EXPECT_FALSE(fault.faulted) << std::hex << fault.code;
  ASSERT_EQ(unmasked.size(), plain.size());
  EXPECT_EQ(std::memcmp(unmasked.data(), plain.data(), plain.size() * sizeof(double)), 0);
}

// ---- Characters and formatted output ---------------------------------------------

TEST(Characters, EntriesFollowFortran) {
  EXPECT_EQ(ICHAR$("A"), 65);
  EXPECT_EQ(ICHAR$("\xE9"), 233);
  EXPECT_EQ(LENG8$("ab c  ", 6), 4);
  EXPECT_EQ(LENG8$("    ", 4), 0);
  EXPECT_EQ(LENG8$("x", -3), 0);
  char text[] = "----------";
  CCOPY$("abc", text, 3, 6);
  EXPECT_STREQ(text, "abc   ----");
  CCOPY$("abcdef", text, 6, 2);
  EXPECT_STREQ(text, "abc   ----");
  CCOPY$(text, text + 2, 3, 5);  // overlapping, upward
  EXPECT_STREQ(text, "ababc  ---");
  CCOPY$(text + 2, text, 3, 3);
  EXPECT_STREQ(text, "abcbc  ---");
  CCOPY$(text, text, 3, -1);
  EXPECT_STREQ(text, "abcbc  ---");
}

// What `f` prints on the standard handles, past the library's streams; LF for CR LF.
template <class F>
std::string printed_by(F&& f) {
  testing::internal::CaptureStdout();
  f();
  std::string text = testing::internal::GetCapturedStdout();
  std::erase(text, '\r');
  return text;
}

// A format block: 'T' with its text, others with their number.
std::string block(std::initializer_list<std::pair<char, std::string>> parts) {
  std::string bytes;
  for (const auto& [kind, value] : parts) {
    bytes += kind;
    if (kind == '/') continue;
    const auto number = kind == 'T' ? value.size() : std::stoul(value);
    bytes += static_cast<char>(number);
    bytes += static_cast<char>(number >> 8);
    if (kind == 'T') bytes += value;
  }
  return bytes;
}

void begin(const std::string& format) {
  static std::string block;  // lives until the write ends
  block = format;
  WSF1$$(nullptr, block.data(), block.size());
}

void integer(std::int32_t value) { I4$WSF(&value); }

std::string text_block(const std::string& text) { return block({{'T', text}}); }

TEST(FormattedWrite, RecordsFollowTheBlock) {
  const std::string mixed =
      block({{'T', " n ="}, {'I', "5"}, {'X', "2"}, {'A', "4"}, {'/', ""}, {'T', "+end"}});
  const std::string free_width = block({{'X', "1"}, {'A', "0"}, {'T', ","}, {'I', "0"}});
  const std::string wide = text_block(std::string(4000, 'x')) + text_block(std::string(4000, 'y'));
  const auto texts = [](const char* text) { CH$WSF(text, std::strlen(text)); };
  const struct {
    std::string format, expected;
    std::function<void()> items = [] {};
  } cases[] = {
      {text_block("1ERROR    1 IN I1MACH"), "\fERROR    1 IN I1MACH\n"},
      {mixed, "n =  -42  abcd\nend\n", [&] { integer(-42), texts("abcdef"); }},
      {mixed, "n =*****     x\nend\n", [&] { integer(1234567), texts("x"); }},
      {mixed, "n =\n"},  // stops before the first item without one
      // Started over, a block goes on in a new record.
      {free_width, "one,1\nthree,-2147483648\n",
       [&] { texts("one"), integer(1), texts("three"), integer(INT_MIN); }},
      {text_block("0"), "\n\n"},
      {"", "\n"},
      {text_block("kept"), "kept\n"},
      {wide, std::string(4000, 'x') + std::string(96, 'y') + "\n"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(printed_by([&] { begin(c.format), c.items(), WSF2$(); }), c.expected);
  }
}

TEST(FormattedWrite, WhatCannotBeWrittenIsNumbered) {
  const std::int32_t unit = 7;
  const std::string one_integer = block({{'I', "4"}}), only_text = text_block("text");
  const struct {
    std::int64_t number;
    std::function<void()> write;
  } cases[] = {
      {60, [&] { WSF1$$(&unit, "", 0); }},
      {74, [] { begin("Q\1"), WSF2$(); }},
      {74, [] { begin("X\1"), WSF2$(); }},
      {74, [] { begin(std::string("T\5\0abc", 6)), WSF2$(); }},
      {74, [] { begin("A"), CH$WSF("x", 1); }},
      {51, [&] { begin(one_integer), CH$WSF("x", 1); }},
      {59, [&] { begin(only_text), integer(1); }},
      {59, [] { begin(""), integer(1); }},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(raised_by([&] { c.write(); }).number, c.number) << &c - cases;
  }
}

TEST(FormattedWriteDeathTest, StopShowsItsTextAndEndsInOrder) {
  EXPECT_EXIT(STOP$("all done", 8), testing::ExitedWithCode(0), "all done");
}

// ---- Files, time, shared memory ----------------------------------------------------

TEST(Files, FollowC) {
  const tarn::test::ScratchFolder scratch;
  ASSERT_EQ(paneview::mkdir("folder"), 0);
  EXPECT_EQ(paneview::mkdir("folder"), -1);
  tarn::test::make_file("folder/one.txt", "12345");
  FindRecord record = {};
  ASSERT_EQ(paneview::findfirst("folder/*.txt", &record, 0), 0);
  EXPECT_STREQ(record.name, "one.txt");
  EXPECT_EQ(record.size, 5u);
  EXPECT_EQ(paneview::findfirst("folder/*.none", &record, 0), -1);
  EXPECT_EQ(paneview::findfirst("folder", nullptr, 0), -1);
  EXPECT_EQ(paneview::findfirst("folder", nullptr, kFindDirectories), 0);

  EXPECT_EQ(paneview::chdir("none"), -1);
  EXPECT_EQ(paneview::chdir("folder"), 0);
  EXPECT_EQ(paneview::findfirst("one.txt", nullptr, 0), 0);
  EXPECT_EQ(paneview::chdir(".."), 0);
  EXPECT_EQ(paneview::remove("folder"), -1);
  EXPECT_EQ(paneview::remove("folder/one.txt"), 0);
  EXPECT_EQ(paneview::remove("folder/one.txt"), -1);
}

TEST(Time, IsTheSystemsAndReadsAsInC) {
  double stored = 0;
  const double now = paneview::time(&stored);
  EXPECT_EQ(now, stored);
  EXPECT_NEAR(now, static_cast<double>(std::time(nullptr)), 2.0);
  for (const double when : {now, 86400.0 * 200, 1795535180.0}) {
    const auto seconds = static_cast<std::time_t>(when);
    char expected[32];
    std::strftime(expected, sizeof expected, "%a %b %d %H:%M:%S %Y\n", std::localtime(&seconds));
    if (expected[8] == '0') expected[8] = ' ';
    EXPECT_STREQ(paneview::ctime(&when), expected);
  }
  for (const double when : {1e30, -1e30, HUGE_VAL, double{NAN}, -12e9, 254e9}) {
    EXPECT_STREQ(paneview::ctime(&when), "??? ??? ?? ??:??:?? ????\n") << when;
  }
}

int run_child(const std::string& test) {
  return tarn::system(tarn::test::child_line(test).c_str());
}

constexpr char kHolds[] = "holds.tmp", kRelease[] = "release.tmp";

bool wait_for_file(const char* name) {
  for (int i = 0; i < 600; ++i) {
    if (std::filesystem::exists(name)) return true;
    tarn::platform::Sleep(50);
  }
  return false;
}

volatile std::uint64_t* run_memory() {
  return static_cast<volatile std::uint64_t*>(__create_interprocess_shared_memory("AUTO", 4096));
}

// Not tests: what the children of the next ones do.
TEST(PaneviewChild, DISABLED_HoldsARun) {
  volatile std::uint64_t* const memory = run_memory();
  EXPECT_EQ(memory[0], 0u);
  memory[0] = 7;
  std::ofstream(kHolds) << "x";
  EXPECT_TRUE(wait_for_file(kRelease));
  EXPECT_EQ(memory[0], 7u);
}

TEST(PaneviewChild, DISABLED_FindsItsOwnRunEmpty) { EXPECT_EQ(run_memory()[0], 0u); }

TEST(PaneviewChild, DISABLED_AddsToItsParentsRun) {
  EXPECT_EQ(run_memory()[1], 41u);
  run_memory()[1] = 42;
}

// This process has no run yet, so each of the two children begins its own.
TEST(SharedMemory, TwoRunsAtOnceNeverMeetAndOneRunShares) {
  const tarn::test::ScratchFolder scratch;
  int holder_status = -1;
  std::thread holder([&] { holder_status = run_child("HoldsARun"); });
  EXPECT_TRUE(wait_for_file(kHolds));
  EXPECT_EQ(run_child("FindsItsOwnRunEmpty"), 0);
  std::ofstream(kRelease) << "x";
  holder.join();
  EXPECT_EQ(holder_status, 0);

  volatile std::uint64_t* const memory = run_memory();
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(memory[0], 0u);
  EXPECT_EQ(run_memory(), memory);
  memory[1] = 41;
  EXPECT_EQ(run_child("AddsToItsParentsRun"), 0);
  EXPECT_EQ(memory[1], 42u);

  for (const char* name : {"", "a\\b"}) {
    EXPECT_EQ(__create_interprocess_shared_memory(name, 4096), nullptr);
  }
  EXPECT_EQ(__create_interprocess_shared_memory("AUTO", 1 << 20), nullptr);  // larger than it is
  EXPECT_EQ(__create_interprocess_shared_memory("zero", 0), nullptr);
}

// ---- Dialogs ----------------------------------------------------------------------

Slot slot(const void* pointer) { return reinterpret_cast<Slot>(pointer); }

struct Pending {
  std::vector<char> bytes = std::vector<char>(sizeof(Dialog));
  Dialog* dialog = reinterpret_cast<Dialog*>(bytes.data());
  FormatEnd add(const char* format, std::vector<Slot> arguments = {}) {
    arguments.resize(kDialogArguments);
    return add_dialog_format(dialog, format, arguments.data());
  }
};

std::string text_of(const Dialog* dialog) {
  std::string text(dialog_text(dialog, nullptr, 0), '\0');
  dialog_text(dialog, text.data(), text.size());
  return text;
}

TEST(DialogFormat, WhatIsMalformedIsLeftOutWithALine) {
  const std::string long_format(kDialogFormatSize + 10, 'x');
  std::string many_items, many_arguments;
  for (std::uint32_t i = 0; i <= kDialogItems; ++i) many_items += "%bt[B]";
  for (std::uint32_t i = 0; i <= kDialogArguments; ++i) many_arguments += "%bg";
  const struct {
    const char *format, *problem, *text;
  } cases[] = {
      {"100%", "a % without a code", "100"},
      {"a%zz b", "an unknown code", "a"},
      {"%12.", "a % without a code", ""},
      {"%WS", "a % without a code", ""},
      {"%bt[open", "a bracket isn't closed", ""},
      {"%?bt[a][open", "a bracket isn't closed", ""},
      {"text%lc", "no control for its handle", "text"},
      {long_format.c_str(), "a format is too long", long_format.c_str() + 10},
      {many_items.c_str(), "too many items", ""},
      {many_arguments.c_str(), "too many arguments", ""},
  };
  for (const auto& c : cases) {
    Pending pending;
    EXPECT_EQ(pending.add(c.format), FormatEnd::kShow);
    ASSERT_STREQ(pending.dialog->problem, c.problem) << c.format;
    EXPECT_EQ(text_of(pending.dialog), c.text + std::string(*c.text ? "\r\n" : "") +
                                           "(Part of this dialog is missing: " + c.problem +
                                           ")\r\n");
  }
  Pending full;  // of text
  const std::string kilobytes(2000, 'k');
  for (int i = 0; i < 40; ++i) full.add("%ws&", {slot(kilobytes.c_str())});
  EXPECT_STREQ(full.dialog->problem, "too much text");
  EXPECT_LE(full.dialog->text_used, kDialogTextSize);

  Pending signs;
  signs.add("100%% & more\x01\r\n%ws", {0});
  EXPECT_EQ(text_of(signs.dialog), "100% & more?\r\n");
  EXPECT_EQ(signs.dialog->problem, nullptr);
}

// ---- Keys and layout ---------------------------------------------------------------

TEST(DialogKeys, EachButtonHasItsOwnAndShortcutsAreNamed) {
  Pending pending;
  pending.add("%bt[WRITE]%bt[WAIT]%`bt[E&xit]%bt[W]%bt[aw]%bt[]&");
  Choices choices;
  find_choices(pending.dialog, &choices);
  std::string keys;
  for (std::uint32_t i = 0; i < choices.count; ++i) keys += choices.rows[i].key;
  EXPECT_EQ(keys, "WAX012");
  EXPECT_EQ(choices.preferred, 2u);

  using namespace tarn::platform;
  const struct {
    const char* name;
    bool good;
    int modifiers, code;
  } shortcuts[] = {
      {"Ctrl+C", true, kKeyControl, 'C'},
      {"ctrl+shift+f12", true, kKeyControl | kKeyShift, 0x7B},
      {"Alt+7", true, kKeyAlt, '7'},
      {"Del", true, 0, 0x2E},
      {"F1", true, 0, 0x70},
      {"F0", false, 0, 0},
      {"F25", false, 0, 0},
      {"F99999999999", false, 0, 0},
      {"Ctrl+", false, 0, 0},
      {"", false, 0, 0},
      {"Delete", false, 0, 0},
      {"+", false, 0, 0},
  };
  for (const auto& c : shortcuts) {
    std::uint16_t modifiers = 0, code = 0;
    ASSERT_EQ(read_shortcut(c.name, &modifiers, &code), c.good) << c.name;
    if (!c.good) continue;
    EXPECT_EQ(modifiers, c.modifiers) << c.name;
    EXPECT_EQ(code, c.code) << c.name;
  }
}

// ---- Without a desktop or a terminal --------------------------------------------------

std::int32_t order;
TARNAPI std::int32_t first() { return order = 1; }
TARNAPI std::int32_t inner_last() { return order = order * 10 + 2, 0; }
TARNAPI std::int32_t outer_last() {
  EXPECT_EQ(__winio("inner\n%^bt[OK]", &inner_last), kNobodyAnswered);
  order = order * 10 + 3;
  return 0;
}

TEST(WindowLayout, LongTextsUseTheScreenWithTheirLinesWhole) {
  constexpr int kWidth = 7, kHeight = 13, kLine = 97;
  const auto measure = [](void*, const char*, std::uint32_t length) {
    return static_cast<std::int32_t>(length) * kWidth;
  };
  const WindowMeasures measures = {{kWidth, kHeight, 17, 32, 900, 690}, measure, nullptr};
  std::string text;
  for (int i = 0; i < 32; ++i) text += std::string(kLine, 'x') + "\n";
  const struct {
    const char* format;
    int boxes, least_lines;
  } cases[] = {{"%ws\f%cn%bt[OK]", 1, 32}, {"%ws\f%ws\f%cn%bt[OK]", 2, 12}};
  for (const auto& c : cases) {
    Pending pending;
    pending.add(c.format, {slot(text.c_str()), slot(text.c_str())});
    WindowLayout layout;
    lay_out_window(pending.dialog, &measures, &layout);
    int boxes = 0;
    for (std::uint32_t i = 0; i < layout.count; ++i) {
      const WindowPart& part = layout.parts[i];
      if (part.kind != tarn::platform::ControlKind::kBox) continue;
      ++boxes;
      EXPECT_GE(part.width, kLine * kWidth + measures.metrics.scroll_bar_width);
      EXPECT_GE(part.height, c.least_lines * kHeight);
    }
    EXPECT_EQ(boxes, c.boxes);
    EXPECT_LE(layout.height, measures.metrics.height_limit);
  }
}

TEST(Winio, PrintsItsTextAndRunsTheLastButton) {
  if (tarn::platform::DesktopWindows() != nullptr) GTEST_SKIP() << "a desktop would show windows";
  order = 0;
  void* control = &order;
  std::int32_t button = -1;
  const std::string text = printed_by([&] {
    EXPECT_EQ(__winio("%ca[Title]outer %ws\n&", "text"), 0);
    EXPECT_EQ(__winio("%20.2eb%lc%sc&", "box", std::uint64_t{3}, &control, &first), 0);
    button = __winio("\n%bt[One]%^bt[Two]", &outer_last);
  });
  EXPECT_EQ(text, "Title\nouter text\nbox\ninner\n");
  EXPECT_EQ(button, kNobodyAnswered);
  EXPECT_EQ(order, 123);
  EXPECT_EQ(control, nullptr);
  order = 0;
  printed_by([] { __winio("%si#error\n%^bt[QUIT]", &first); });
  EXPECT_EQ(order, 0) << "nobody quits a report";

  // What is pending when all windows are closed is gone.
  EXPECT_EQ(printed_by([] {
              __winio("dropped&");
              __close_all_windows();
              EXPECT_EQ(__winio("kept"), kNobodyAnswered);
            }),
            "kept\n");
  __yield_program_control(1);
}

}  // namespace
