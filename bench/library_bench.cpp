// Storage, strings and integers as text against named peers.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "bench/rows.h"
#include "startup/initialise.h"
#include "storage/heap.h"
#include "storage/secondary_stack.h"
#include "streams/file_stream.h"
#include "streams/format.h"
#include "strings/c_string.h"

namespace {

using bench::opaque;
using bench::Row;

constexpr int kTextLength = 4096;

std::string long_text() { return std::string(kTextLength, 'x'); }

void sprintf_ours(benchmark::State& state) {
  char text[256];
  int i = 0;
  for (auto _ : state) {
    ++i;
    benchmark::DoNotOptimize(
        tarn::sprintf(text, "%d %s %5d|%x %u %lld %-10s|", i, "alpha", i * 7, i, i, i * 99LL, "b"));
    benchmark::ClobberMemory();
  }
}

void sprintf_peer(benchmark::State& state) {
  char text[256];
  int i = 0;
  for (auto _ : state) {
    ++i;
    benchmark::DoNotOptimize(std::snprintf(text, sizeof text, "%d %s %5d|%x %u %lld %-10s|", i,
                                           "alpha", i * 7, i, i, i * 99LL, "b"));
    benchmark::ClobberMemory();
  }
}

// Sizes of blocks, ready made: working them out would cost as much as the fast
// rows do.
constexpr int kSizes = 256;
const std::uint64_t* sizes() {
  static std::uint64_t made[kSizes];
  std::uint64_t size = 8;
  for (std::uint64_t& each : made) {
    each = size;
    size = size * 5 % 1021 + 8;
  }
  return made;
}

void heap_ours(benchmark::State& state) {
  const std::uint64_t* const size = sizes();
  unsigned i = 0;
  for (auto _ : state) {
    void* const block = tarn::malloc(size[i++ % kSizes]);
    benchmark::DoNotOptimize(block);
    tarn::free(block);
  }
}

void heap_peer(benchmark::State& state) {
  const std::uint64_t* const size = sizes();
  unsigned i = 0;
  const auto allocate = opaque(&std::malloc);
  const auto release = opaque(&std::free);
  for (auto _ : state) {
    void* const block = allocate(size[i++ % kSizes]);
    benchmark::DoNotOptimize(block);
    release(block);
  }
}

void pseudo_stack_ours(benchmark::State& state) {
  const std::uint64_t* const size = sizes();
  unsigned i = 0;
  for (auto _ : state) {
    void* const mark = tarn::__return_pseudo_stack_ptr();
    benchmark::DoNotOptimize(
        tarn::__alloc_pseudo_stack(static_cast<std::int64_t>(size[i++ % kSizes])));
    tarn::__set_pseudo_stack_ptr(mark);
  }
}

template <class Routine>
void over_text(benchmark::State& state, Routine routine) {
  const std::string left = long_text();
  const std::string right = long_text();
  std::string target(kTextLength + 1, '\0');
  for (auto _ : state) {
    routine(target.data(), left.c_str(), right.c_str());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * kTextLength);
}

// A byte a cycle: what a loop of one byte and one cycle would take, timed on
// a chain of dependent additions.
void one_cycle_a_byte(benchmark::State& state) {
  for (auto _ : state) {
    std::uint64_t chain = 0;
    for (int i = 0; i < kTextLength; i += 16) {
      asm volatile(
          "add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add "
          "$1, %0;"
          "add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add $1, %0; add "
          "$1, %0"
          : "+r"(chain));
    }
    benchmark::DoNotOptimize(chain);
  }
}

// ---- Streams against the bare calls of the system, by the same pieces ------------------

constexpr int kPiece = 8192;
constexpr int kPieces = 256;  // of the file, which is written and read again and again
constexpr int kAnew = O_WRONLY | O_CREAT | O_TRUNC;
constexpr char kFile[] = "stream.tmp";
constexpr char kLine[] = "one line of a text file, as long as most of them are ... 012\n";
constexpr char kLineWritten[] = "one line of a text file, as long as most of them are ... 012\r\n";

template <class Piece, class Rewind>
void by_pieces(benchmark::State& state, Piece piece, Rewind rewind) {
  int left = kPieces;
  for (auto _ : state) {
    if (left-- == 0) {
      rewind();
      left = kPieces - 1;
    }
    benchmark::DoNotOptimize(piece());
  }
}

template <class Piece>
void by_stream(benchmark::State& state, const char* mode, Piece piece) {
  tarn::FILE* const file = tarn::fopen(kFile, mode);
  by_pieces(
      state, [&] { return piece(file); }, [&] { tarn::rewind(file); });
  tarn::fclose(file);
}

template <class Piece>
void by_calls(benchmark::State& state, int mode, Piece piece) {
  const int file = open(kFile, mode, 0666);
  by_pieces(
      state, [&] { return piece(file); }, [&] { lseek(file, 0, SEEK_SET); });
  close(file);
}

char piece[kPiece];

void write_stream(benchmark::State& state) {
  by_stream(state, "wb", [](tarn::FILE* file) { return tarn::fwrite(piece, 1, kPiece, file); });
}
void write_calls(benchmark::State& state) {
  by_calls(state, kAnew, [](int file) { return write(file, piece, kPiece); });
}
void lines_stream(benchmark::State& state) {
  by_stream(state, "w", [](tarn::FILE* file) { return tarn::fputs(kLine, file); });
}
void lines_calls(benchmark::State& state) {
  by_calls(state, kAnew,
           [](int file) { return write(file, kLineWritten, sizeof kLineWritten - 1); });
}
// Once, and older than a tick of the system's clock: Linux reads its finest clock for each
// access to a file that was changed in the same tick and whose times somebody has asked for,
// as fopen does.
void make_file() {
  static const bool made = [] {
    const int file = open(kFile, kAnew, 0666);
    for (int i = 0; i < kPieces; ++i) {
      if (write(file, piece, kPiece) != kPiece) std::perror(kFile);
    }
    close(file);
    return usleep(20'000) == 0;
  }();
  static_cast<void>(made);
}
void read_stream(benchmark::State& state) {
  make_file();
  by_stream(state, "rb", [](tarn::FILE* file) { return tarn::fread(piece, 1, kPiece, file); });
}
void read_calls(benchmark::State& state) {
  make_file();
  by_calls(state, O_RDONLY, [](int file) { return read(file, piece, kPiece); });
}

const Row kRows[] = {
    {"sprintf, integers and texts", "snprintf, glibc", sprintf_ours, sprintf_peer, 1 / 1.5},
    {"malloc and free", "malloc and free, glibc", heap_ours, heap_peer, 1.0},
    {"pseudo stack, allocate and reset", "malloc and free, glibc", pseudo_stack_ours, heap_peer,
     1 / 5.0},
    {"strlen, 4,096 bytes", "a cycle a byte",
     [](benchmark::State& state) {
       over_text(state, [](char*, const char* text, const char*) {
         benchmark::DoNotOptimize(tarn::strlen(text));
       });
     },
     one_cycle_a_byte, 1 / 0.9},
    {"strcpy, 4,096 bytes", "a cycle a byte",
     [](benchmark::State& state) {
       over_text(state, [](char* to, const char* text, const char*) { tarn::strcpy(to, text); });
     },
     one_cycle_a_byte, 1 / 0.9},
    {"strcmp, 4,096 bytes", "a cycle a byte",
     [](benchmark::State& state) {
       over_text(state, [](char*, const char* left, const char* right) {
         benchmark::DoNotOptimize(tarn::strcmp(left, right));
       });
     },
     one_cycle_a_byte, 1 / 0.9},
    {"FILE: a block of 8 kB written", "write", write_stream, write_calls, 1.1},
    {"FILE: a line written", "write", lines_stream, lines_calls, 1.1},
    {"FILE: a block of 8 kB read", "read", read_stream, read_calls, 1.1},
};

}  // namespace

int main(int argc, char** argv) {
  bench::initialise(argc, argv);
  tarn::__initialise_cpplib();
  bench::run_rows(kRows);
  unlink(kFile);
  return 0;
}
