// Rows of the speed table: the library against a named peer, both in this
// process.
//
// A row is two benchmarks, "row/ours" and "row/peer"; the figure is the ratio
// of the medians of several repetitions. The limit is what the row promises; 0
// promises nothing.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace bench {

struct Row {
  const char* name;
  const char* peer;
  void (*ours)(benchmark::State&);
  void (*theirs)(benchmark::State&);
  double limit;           // time of ours / time of the peer, at most
  std::size_t bytes = 0;  // of a turn of ours, if its speed is to be told
};

// Something the compiler must not see through.
template <class T>
T opaque(T value) {
  asm volatile("" : "+r"(value));
  return value;
}

class MedianReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        medians_[run.run_name.function_name] = run.GetAdjustedRealTime();
      }
    }
  }
  double median(const std::string& name) const { return medians_.at(name); }

 private:
  std::map<std::string, double> medians_;
};

// Prints a row, times in nanoseconds, and the speed if a turn of ours works
// through `bytes`. Result: 1 if it missed its limit, else 0.
inline int print_row(const char* name, const char* peer, double ours, double theirs, double limit,
                     std::size_t bytes = 0) {
  const bool kept = limit == 0 || ours / theirs <= limit;
  std::printf("%-34s %-24s %10.1f %10.1f %7.3f ", name, peer, ours, theirs, ours / theirs);
  if (limit == 0) {
    std::printf("%7s", "-");
  } else {
    std::printf("%7.3f%s", limit, kept ? "" : "  missed");
  }
  if (bytes) std::printf("  %.0f MB/s", static_cast<double>(bytes) * 1e3 / ours);
  std::printf("\n");
  return !kept;
}

// Prints the rows. Result: 1 if one of them missed its limit, else 0.
inline int run_rows(std::span<const Row> rows) {
  for (const Row& row : rows) {
    for (const bool ours : {true, false}) {
      const std::string name = std::string(row.name) + (ours ? "/ours" : "/peer");
      benchmark::RegisterBenchmark(name.c_str(), ours ? row.ours : row.theirs)
          ->Repetitions(9)
          ->MinTime(0.05)
          ->ReportAggregatesOnly()
          ->Unit(benchmark::kNanosecond);
    }
  }
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  int status = 0;
  for (const Row& row : rows) {
    status |= print_row(row.name, row.peer, reporter.median(std::string(row.name) + "/ours"),
                        reporter.median(std::string(row.name) + "/peer"), row.limit, row.bytes);
  }
  return status;
}

}  // namespace bench
