#include "paneview/paneview.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "paneview/dialog.h"
#include "paneview/paneview_exports.h"
#include "paneview/window_layout.h"
#include "platform/platform.h"
#include "platform/windows_ui.h"
#include "tests/support/raised.h"

// Names the C library has too are written with their namespace.
namespace {

using namespace paneview;
using tarn::Slot;
using tarn::platform::ControlKind;
using tarn::test::fault_by;
using tarn::test::raised_by;

// ---- Elementary functions -----------------------------------------------------

template <class Real>
struct Function {
  const char* name;
  Real(TARNAPI* routine)(Real);
  long double (*reference)(long double);
  long double low, high;
};

template <class Real>
struct Function2 {
  const char* name;
  Real(TARNAPI* routine)(Real, Real);
  long double (*reference)(long double, long double);
  long double low, high;
};

// The cross compiler's acosl and powl are too coarse for a reference.
long double arc_cosine(long double x) { return 2 * atan2l(sqrtl(1 - x), sqrtl(1 + x)); }
#ifdef _WIN32
constexpr long double kPowerBound = 1;
#else
constexpr long double kPowerBound = 0.52L;
#endif
constexpr long double kBound = 0.52L;

// Distance in units in the last place of a Real of the reference's size.
template <class Real>
long double error_of(Real result, long double reference) {
  if (std::isinf(static_cast<Real>(reference)))
    return result == static_cast<Real>(reference) ? 0 : 9;
  int exponent = 0;
  std::frexp(reference, &exponent);
  const int least = std::numeric_limits<Real>::min_exponent;
  const long double unit =
      std::ldexp(1.0L, std::max(exponent, least) - std::numeric_limits<Real>::digits);
  return std::fabs(static_cast<long double>(result) - reference) / unit;
}

// Plain and exponential scales, and around 1.
template <class Real>
Real sample(std::mt19937_64& random, long double low, long double high) {
  const long double u = static_cast<long double>(random()) / 18446744073709551616.0L;
  long double x = low + (high - low) * u;
  if (random() % 3 == 0) x *= std::exp2(-40 * static_cast<long double>(random() % 1000) / 1000);
  if (random() % 4 == 0) x = 1 + (u - 0.5L) / 64;
  return static_cast<Real>(std::min(std::max(x, low), high));
}

template <class Real>
void expect_close(const Function<Real>& f, std::mt19937_64& random) {
  for (int i = 0; i < 4000; ++i) {
    const Real x = sample<Real>(random, f.low, f.high);
    ASSERT_LE(error_of(f.routine(x), f.reference(x)), kBound)
        << f.name << ' ' << std::hexfloat << x;
  }
}

template <class Real>
void expect_close(const Function2<Real>& f, std::mt19937_64& random) {
  for (int i = 0; i < 4000; ++i) {
    const Real x = sample<Real>(random, f.low, f.high);
    const Real y = sample<Real>(random, -f.high, f.high);
    if (y == 0) continue;
    const long double reference = f.reference(x, y);
    if (std::fabs(reference) > std::numeric_limits<Real>::max()) continue;  // raises
    ASSERT_LE(error_of(f.routine(x, y), reference), f.reference == powl ? kPowerBound : kBound)
        << f.name << ' ' << std::hexfloat << x << ' ' << y;
  }
}

const Function<double> kDouble[] = {
    {"DEXP$$", DEXP$$, expl, -760, 709},         {"DALOG$$", DALOG$$, logl, DBL_MIN, 1e300L},
    {"DAL10$$", DAL10$$, log10l, DBL_MIN, 1e9L}, {"DALG2$$", DALG2$$, log2l, DBL_MIN, 1e9L},
    {"DASIN$$", DASIN$$, asinl, -1, 1},          {"DACOS$$", DACOS$$, arc_cosine, -1, 1},
    {"DSINH$$", DSINH$$, sinhl, -710, 710},      {"DCOSH$$", DCOSH$$, coshl, -710, 710},
    {"DTANH$$", DTANH$$, tanhl, -25, 25},        {"DAINT$$", DAINT$$, truncl, -1e17L, 1e17L},
};
const Function<float> kSingle[] = {
    {"EXP$$", EXP$$, expl, -110, 88},          {"ALOG$$", ALOG$$, logl, FLT_MIN, 1e30L},
    {"AL10$$", AL10$$, log10l, FLT_MIN, 1e9L}, {"ALG2$$", ALG2$$, log2l, FLT_MIN, 1e9L},
    {"ASIN$$", ASIN$$, asinl, -1, 1},          {"ACOS$$", ACOS$$, arc_cosine, -1, 1},
    {"SINH$$", SINH$$, sinhl, -88, 88},        {"COSH$$", COSH$$, coshl, -88, 88},
    {"TANH$$", TANH$$, tanhl, -12, 12},        {"AINT$$", AINT$$, truncl, -1e8L, 1e8L},
};
const Function2<double> kDouble2[] = {
    {"XX$DD", XX$DD, powl, DBL_MIN, 300},
    {"DATAN2V$", DATAN2V$, atan2l, -300, 300},
    {"DMOD$$", DMOD$$, fmodl, -1e18L, 1e18L},
};
const Function2<float> kSingle2[] = {
    {"ATAN2V$", ATAN2V$, atan2l, -300, 300},
    {"MOD$$", MOD$$, fmodl, -1e18L, 1e18L},
};

TEST(Elementary, ResultsAreRoundedOnceFromExtendedPrecision) {
  std::mt19937_64 random(71);
  for (const auto& f : kDouble) expect_close(f, random);
  for (const auto& f : kSingle) expect_close(f, random);
  for (const auto& f : kDouble2) expect_close(f, random);
  for (const auto& f : kSingle2) expect_close(f, random);
  for (int i = 0; i < 1000; ++i) {
    const double z[] = {sample<double>(random, -1e200L, 1e200L),
                        sample<double>(random, -1e200L, 1e200L)};
    const float c[] = {sample<float>(random, -1e20L, 1e20L), sample<float>(random, -1e20L, 1e20L)};
    ASSERT_LE(error_of(ZABS$$(z), hypotl(z[0], z[1])), kBound);
    ASSERT_LE(error_of(CABS$$(c), hypotl(c[0], c[1])), kBound);
  }
}

TEST(Elementary, SpecialValuesAreExact) {
  const double infinity = HUGE_VAL;
  const struct {
    double result, expected;
  } cases[] = {
      {DEXP$$(0.0), 1.0},
      {DEXP$$(-1e300), 0.0},
      {DEXP$$(-infinity), 0.0},
      {DALOG$$(1.0), 0.0},
      {DALOG$$(infinity), infinity},
      {DALG2$$(1024.0), 10.0},
      {DALG2$$(0x1p-1074), -1074.0},
      {DAL10$$(1000.0), 3.0},
      {DASIN$$(-0.0), -0.0},
      {DACOS$$(1.0), 0.0},
      {DSINH$$(-0.0), -0.0},
      {DCOSH$$(0.0), 1.0},
      {DTANH$$(infinity), 1.0},
      {DTANH$$(-1e5), -1.0},
      {DAINT$$(-0.75), -0.0},
      {DAINT$$(-3.99), -3.0},
      {DAINT$$(0x1p62), 0x1p62},
      {DMOD$$(-7.5, 2.0), -1.5},
      {DMOD$$(1e308, 3.0), 2.0},
      {DMOD$$(-4.0, 2.0), -0.0},
      {DMOD$$(5.0, infinity), 5.0},
      {DATAN2V$(0.0, -1.0), M_PI},
      {DATAN2V$(-0.0, -1.0), -M_PI},
      {DSIGN$(3.0, -0.0), -3.0},
      {DSIGN$(-3.0, 2.0), 3.0},
      {XX$DD(2.0, 10.0), 1024.0},
      {XX$DD(-2.0, 3.0), -8.0},
      {XX$DD(-2.0, -2.0), 0.25},
      {XX$DD(0.0, 2.5), 0.0},
      {XX$DD(-0.0, 3.0), -0.0},
      {XX$DD(10.0, -400.0), 0.0},
      {XX$DD(1.0, infinity), 1.0},
      {XX$DD(0.5, infinity), 0.0},
      {XX$DD(-infinity, 3.0), -infinity},
      {XX$DD(2.0, -1074.0), 0x1p-1074},
  };
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

// A program runs with invalid operation, zero divide and overflow unmasked.
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
  };
  std::vector<double> plain, unmasked;
  plain.reserve(64);
  unmasked.reserve(64);
  run(&plain);
  std::uint32_t mxcsr, strict = 0x1F80 & ~0x680u;
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

// The text that `f` writes to the standard handles, with LF for CR LF.
template <class F>
std::string output_of(F&& f) {
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
    EXPECT_EQ(output_of([&] { begin(c.format), c.items(), WSF2$(); }), c.expected);
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
  const std::string folder = testing::TempDir() + "paneview_files";
  const std::string file = folder + "/one.txt";
  std::filesystem::remove_all(folder);
  ASSERT_EQ(paneview::mkdir(folder.c_str()), 0);
  EXPECT_EQ(paneview::mkdir(folder.c_str()), -1);
  std::ofstream(file) << "12345";

  FindRecord record = {};
  ASSERT_EQ(paneview::findfirst((folder + "/*.txt").c_str(), &record, 0), 0);
  EXPECT_STREQ(record.name, "one.txt");
  EXPECT_EQ(record.size, 5u);
  EXPECT_EQ(paneview::findfirst((folder + "/*.none").c_str(), &record, 0), -1);
  EXPECT_EQ(paneview::findfirst(folder.c_str(), nullptr, 0), -1);  // a directory
  EXPECT_EQ(paneview::findfirst(folder.c_str(), nullptr, kFindDirectories), 0);

  char here[1024];
  ASSERT_NE(tarn::platform::GetCurrentDirectoryA(sizeof here, here), 0u);
  EXPECT_EQ(paneview::chdir((folder + "/none").c_str()), -1);
  EXPECT_EQ(paneview::chdir(folder.c_str()), 0);
  EXPECT_EQ(paneview::findfirst("one.txt", nullptr, 0), 0);
  EXPECT_EQ(paneview::chdir(here), 0);

  EXPECT_EQ(paneview::remove(folder.c_str()), -1);
  EXPECT_EQ(paneview::remove(file.c_str()), 0);
  EXPECT_EQ(paneview::remove(file.c_str()), -1);
  std::filesystem::remove(folder);
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
  return std::system((testing::internal::GetArgvs()[0] +
                      " --gtest_also_run_disabled_tests --gtest_brief=1 --gtest_filter=" + test)
                         .c_str());
}

constexpr char kHolds[] = "paneview_run_holds.tmp", kRelease[] = "paneview_run_release.tmp";

bool wait_for_file(const char* name) {
  for (int i = 0; i < 600; ++i) {
    if (std::ifstream(name).good()) return true;
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
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(memory[0], 0u);
  memory[0] = 7;
  std::ofstream(kHolds) << "x";
  EXPECT_TRUE(wait_for_file(kRelease));
  EXPECT_EQ(memory[0], 7u);
}

TEST(PaneviewChild, DISABLED_FindsItsOwnRunEmpty) {
  volatile std::uint64_t* const memory = run_memory();
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(memory[0], 0u);
  memory[0] = 8;
}

TEST(PaneviewChild, DISABLED_AddsToItsParentsRun) {
  volatile std::uint64_t* const memory = run_memory();
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(memory[1], 41u);
  memory[1] = 42;
}

// This process has no run yet, so each of the two children begins its own.
TEST(SharedMemory, TwoRunsAtOnceNeverMeetAndOneRunShares) {
  std::remove(kHolds);
  std::remove(kRelease);
  int holder_status = -1;
  std::thread holder([&] { holder_status = run_child("PaneviewChild.DISABLED_HoldsARun"); });
  EXPECT_TRUE(wait_for_file(kHolds));
  EXPECT_EQ(run_child("PaneviewChild.DISABLED_FindsItsOwnRunEmpty"), 0);
  std::ofstream(kRelease) << "x";
  holder.join();
  EXPECT_EQ(holder_status, 0);
  std::remove(kHolds);
  std::remove(kRelease);

  volatile std::uint64_t* const memory = run_memory();
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(memory[0], 0u);
  EXPECT_EQ(run_memory(), memory);
  memory[1] = 41;
  EXPECT_EQ(run_child("PaneviewChild.DISABLED_AddsToItsParentsRun"), 0);
  EXPECT_EQ(memory[1], 42u);

  for (const char* name : {"", "a\\b"}) {
    EXPECT_EQ(__create_interprocess_shared_memory(name, 4096), nullptr);
  }
  EXPECT_EQ(__create_interprocess_shared_memory("AUTO", 1 << 20), nullptr);  // larger than it is
  EXPECT_EQ(__create_interprocess_shared_memory("zero", 0), nullptr);

  // What follows the last page is no memory of the program.
  for (const std::uint64_t size : {std::uint64_t{5000}, std::uint64_t{65536}}) {
    const auto* const start = static_cast<const char*>(
        __create_interprocess_shared_memory(size == 5000 ? "small" : "step", size));
    ASSERT_NE(start, nullptr);
    const std::uint64_t end = (size + 4095) / 4096 * 4096;
    const auto readable = [&](std::uint64_t at) {
      char byte;
      std::uint64_t copied;
      return tarn::platform::ReadProcessMemory(tarn::platform::GetCurrentProcess(), start + at,
                                               &byte, 1, &copied) != 0;
    };
    EXPECT_TRUE(readable(end - 1)) << size;
    EXPECT_FALSE(readable(end)) << size;
  }
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

// Those of one kind, of a dialog's items or a layout's parts.
template <class Row, class Kind>
std::vector<const Row*> all_of(const Row* rows, std::uint32_t count, Kind kind) {
  std::vector<const Row*> found;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (rows[i].kind == kind) found.push_back(&rows[i]);
  }
  return found;
}

std::string text_of(const Dialog* dialog) {
  std::string text(dialog_text(dialog, nullptr, 0), '\0');
  dialog_text(dialog, text.data(), text.size());
  return text;
}

char traceback[50000] = "Within file divide.exe\nin main in line 25, at address 4a\n";
TARNAPI std::int32_t stay() { return 1; }
TARNAPI std::int32_t leave() { return 0; }
TARNAPI std::int32_t at_start() { return 1; }

void add_report(Pending* pending, void** edit_control) {
  const std::int32_t slaves = 3;
  pending->add("%ex%ca@%bg&", {slot("report on divide.exe"), 0xC8C8C8});
  pending->add("%ac[Ctrl+C]&", {slot("COPY")});
  pending->add("%pm[Copy]&", {slot("COPY")});
  pending->add("%si#%ws at address %ws\n\n&",
               {slot("Access violation (c0000005)"), slot("401000")});
  pending->add("Master process with %3`rd slaves\n\n&", {slot(&slaves)});
  pending->add("%50.10eb[read_only,vscrollbar]%lc%sc\f%hw&",
               {slot(traceback), sizeof traceback, slot(edit_control),
                reinterpret_cast<Slot>(&at_start), 0});
  pending->add("\n\n%cn%?^8bt[WRITE][Write all details of exception to file]     &",
               {reinterpret_cast<Slot>(&stay)});
  pending->add("%?^8bt[DETAILS][Register contents]     %^8bt[QUIT]&",
               {reinterpret_cast<Slot>(&stay), reinterpret_cast<Slot>(&leave)});
}

TEST(DialogFormat, TheReportIsReadWhole) {
  Pending pending;
  void* edit_control = nullptr;
  add_report(&pending, &edit_control);
  EXPECT_EQ(pending.add(""), FormatEnd::kShow);
  const Dialog& dialog = *pending.dialog;
  EXPECT_EQ(dialog.problem, nullptr);
  EXPECT_STREQ(dialog.title, "report on divide.exe");
  EXPECT_TRUE(dialog.has_colour);
  EXPECT_EQ(dialog.colour, 0xC8C8C8u);
  EXPECT_EQ(dialog.icon, '#');
  EXPECT_EQ(dialog.start, &at_start);
  ASSERT_EQ(dialog.key_count, 2u);
  EXPECT_STREQ(dialog.keys[0].name, "Ctrl+C");
  EXPECT_STREQ(dialog.keys[1].name, "Copy");
  EXPECT_TRUE(dialog.keys[1].in_menu);
  EXPECT_STREQ(dialog.keys[1].standard, "COPY");

  const auto boxes = all_of(dialog.items, dialog.item_count, ItemKind::kBox);
  const auto buttons = all_of(dialog.items, dialog.item_count, ItemKind::kButton);
  ASSERT_EQ(boxes.size(), 1u);
  const Item* const box = boxes[0];
  EXPECT_EQ(box->width, 50);
  EXPECT_EQ(box->height, 10);
  EXPECT_EQ(box->handle_cell, &edit_control);
  EXPECT_STREQ(box->options, "read_only,vscrollbar");
  ASSERT_EQ(buttons.size(), 3u);
  EXPECT_STREQ(buttons[0]->help, "Write all details of exception to file");
  EXPECT_EQ(buttons[2]->callback, &leave);
  EXPECT_TRUE(buttons[2]->centred);
  EXPECT_EQ(text_of(pending.dialog),
            "report on divide.exe\r\nAccess violation (c0000005) at address 401000\r\n\r\n"
            "Master process with 3 slaves\r\n\r\nWithin file divide.exe\r\n"
            "in main in line 25, at address 4a\r\n");
  char part[6] = "-----";
  EXPECT_GT(dialog_text(pending.dialog, part, 4), 4u);
  EXPECT_STREQ(part, "repo-");
}

TEST(DialogFormat, OtherFormatsOfTheLibraryAreRead) {
  Pending details;
  EXPECT_EQ(details.add("%ex%fn[Courier New]%ca[Program details at point of exception]%bg%ws\f\n"
                        "%cn%bt[OK]",
                        {0xC0FFC0, slot("RAX = 0\nRBP = 1")}),
            FormatEnd::kShow);
  EXPECT_EQ(details.dialog->problem, nullptr);
  EXPECT_STREQ(details.dialog->font, "Courier New");
  EXPECT_EQ(text_of(details.dialog),
            "Program details at point of exception\r\nRAX = 0\r\nRBP = 1\r\n");

  Pending notice;
  notice.add("%ex%ca[Information]%ww[topmost]%bg%50.7eb[read_only,no_frame]%ff\n%cn %bt[OK]",
             {0xBEFFBE, slot("a \nb"), 4});
  EXPECT_EQ(notice.dialog->problem, nullptr);
  EXPECT_STREQ(notice.dialog->style, "topmost");
  EXPECT_EQ(text_of(notice.dialog), "Information\r\na\r\nb\r\n");
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

std::int32_t six_a_character(void*, const char*, std::uint32_t length) {
  return static_cast<std::int32_t>(length) * 6;
}

struct LaidOut {
  std::vector<char> bytes = std::vector<char>(sizeof(WindowLayout));
  WindowLayout* layout = reinterpret_cast<WindowLayout*>(bytes.data());
  explicit LaidOut(const Dialog* dialog, std::int32_t screen_height = 700,
                   std::int32_t screen_width = 900) {
    const WindowMeasures measures = {
        {6, 13, 17, 32, screen_width, screen_height}, six_a_character, nullptr};
    lay_out_window(dialog, &measures, layout);
  }
  // All parts are in the window, and none on another.
  void expect_sound() const {
    for (std::uint32_t i = 0; i < layout->count; ++i) {
      const WindowPart& a = layout->parts[i];
      EXPECT_TRUE(a.x >= 0 && a.y >= 0 && a.x + a.width <= layout->width &&
                  a.y + a.height <= layout->height)
          << i;
      for (std::uint32_t j = 0; j < i; ++j) {
        const WindowPart& b = layout->parts[j];
        EXPECT_TRUE(a.x >= b.x + b.width || b.x >= a.x + a.width || a.y >= b.y + b.height ||
                    b.y >= a.y + a.height)
            << i << " on " << j;
      }
    }
  }
};

TEST(WindowLayout, TheReportStandsInOrder) {
  Pending pending;
  void* edit_control = nullptr;
  add_report(&pending, &edit_control);
  const LaidOut laid_out(pending.dialog);
  laid_out.expect_sound();
  const WindowLayout& layout = *laid_out.layout;
  const auto boxes = all_of(layout.parts, layout.count, ControlKind::kBox);
  const auto buttons = all_of(layout.parts, layout.count, ControlKind::kButton);
  ASSERT_EQ(boxes.size(), 1u);
  ASSERT_EQ(buttons.size(), 3u);
  EXPECT_GE(boxes[0]->width, 50 * 6);
  EXPECT_GE(boxes[0]->height, 10 * 13);
  EXPECT_GT(buttons[0]->y, boxes[0]->y + boxes[0]->height);
  EXPECT_EQ(buttons[0]->y, buttons[2]->y);
  const std::int32_t left = buttons[0]->x;
  const std::int32_t right = layout.width - buttons[2]->x - buttons[2]->width;
  EXPECT_LE(std::abs(left - right), 1);
}

TEST(WindowLayout, NothingLeavesTheScreen) {
  const std::string line(3000, 'x');
  std::string words, lines;
  for (int i = 0; i < 300; ++i) words += "word ", lines += "line\n";
  for (const std::string& text : {line, words, lines}) {
    for (const std::int32_t height : {700, 300}) {
      Pending pending;
      pending.add("%ca[t]%si!%ws&", {slot(text.c_str())});
      pending.add("%90.200eb\f%bt[a]\n\n\n%bt[b]", {slot(text.c_str()), text.size()});
      const LaidOut laid_out(pending.dialog, height);
      laid_out.expect_sound();
      EXPECT_LE(laid_out.layout->width, 900);
      EXPECT_LE(laid_out.layout->height, height) << text.substr(0, 8);
    }
  }
  Pending narrow;  // not even a character beside the icon
  narrow.add("%si!two words");
  const LaidOut hopeless(narrow.dialog, 700, 20);
  for (std::uint32_t i = 0; i < hopeless.layout->count; ++i) {
    EXPECT_LE(hopeless.layout->parts[i].length, 1u) << i;
  }

  Pending many;  // more rows than a window has parts
  const std::string rows(2000, '\n');
  for (int i = 0; i < 100; ++i) many.add("a\nb\nc\nd\ne\nf\ng\n&");
  many.add("%bt[OK]%zz");
  const LaidOut laid_out(many.dialog);
  EXPECT_LE(laid_out.layout->count, kWindowParts);
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

TEST(Winio, PrintsItsTextAndRunsTheLastButton) {
  if (tarn::platform::DesktopWindows() != nullptr) GTEST_SKIP() << "a desktop would show windows";
  order = 0;
  void* control = &order;
  std::int32_t button = -1;
  const std::string text = output_of([&] {
    EXPECT_EQ(__winio("%ca[Title]outer %ws\n&", "text"), 0);
    EXPECT_EQ(__winio("%20.2eb%lc%sc&", "box", std::uint64_t{3}, &control, &first), 0);
    button = __winio("\n%bt[One]%^bt[Two]", &outer_last);
  });
  EXPECT_EQ(text, "Title\nouter text\nbox\ninner\n");
  EXPECT_EQ(button, kNobodyAnswered);
  EXPECT_EQ(order, 123);
  EXPECT_EQ(control, nullptr);

  // What is pending when all windows are closed is gone.
  EXPECT_EQ(output_of([] {
              __winio("dropped&");
              __close_all_windows();
              EXPECT_EQ(__winio("kept"), kNobodyAnswered);
            }),
            "kept\n");

  struct {
    std::int32_t size = 1023;
    char path[64] = "Z:\\prog.exe";
  } record;
  char name[1024] = "before";
  output_of([&] {
    EXPECT_EQ(get_filename(nullptr, "File", 0, name, reinterpret_cast<FileNameRecord*>(&record)),
              0);
  });
  EXPECT_STREQ(name, "");
  __yield_program_control(1);
}

TEST(Exports, AreFoundByTheirExactNames) {
  EXPECT_EQ(find_export("XX$DD"), reinterpret_cast<void*>(&XX$DD));
  EXPECT_EQ(find_export("time"), reinterpret_cast<void*>(&paneview::time));
  EXPECT_EQ(find_export("__winio"), reinterpret_cast<void*>(&__winio));
  for (const char* name : {"", "xx$dd", "__wini", "__winio2"}) {
    EXPECT_EQ(find_export(name), nullptr) << name;
  }
}

}  // namespace
