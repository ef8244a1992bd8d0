#include "services/execution_profile.h"

#include "platform/platform.h"
#include "process/process_state.h"
#include "storage/heap.h"
#include "streams/file_stream.h"
#include "streams/format.h"
#include "streams/low_level_files.h"
#include "strings/c_string.h"
#include "strings/character_class.h"

namespace tarn {
namespace {

constexpr std::uint64_t kExtension = 4;  // a dot and three letters
constexpr char kSummaryExtension[] = "PROFILE";
constexpr char kListingExtension[] = ".LIS";
// A listing is first written to a file with this extension, so that a full disk
// cannot destroy the old listing. The file is deleted once the new one is complete.
constexpr char kTrialExtension[] = ".LI$";
constexpr std::int64_t kMostLines = 0x7FFFFFFF;
constexpr std::int64_t kListingWidth = 80;
constexpr std::uint64_t kNumberPlaces = 4;  // of a numbered line's first word
constexpr std::int64_t kLastBytes = 2;      // of a listing, in which no line begins
constexpr std::uint64_t kLayoutSize = 100;

struct Counters {
  const std::int64_t* of_line_1;
  std::int64_t count;

  // -1, as for a line without code, if there is no such line.
  std::int64_t operator[](std::int64_t line) const {
    return line >= 1 && line <= count ? of_line_1[line - 1] : -1;
  }
};

// The text of a listing; after it a line feed and zeros, as many as a look at
// a line number may take.
struct Listing {
  char* text;
  std::int64_t size;
};

bool is_digit(char c) { return (character_classes(c) & kDecimalDigit) != 0; }

// False if it cannot be read whole.
bool read_listing(const char* name, Listing* listing) {
  const std::int64_t size = get_file_size(name);
  if (size < 0) return false;
  listing->text =
      static_cast<char*>(calloc(static_cast<std::uint64_t>(size) + 1 + kNumberPlaces, 1));
  if (!listing->text) return false;
  FILE* const stream = fopen(name, "r");
  if (stream) {
    const std::uint64_t taken = fread(listing->text, 1, static_cast<std::uint64_t>(size), stream);
    std::uint64_t position;
    fgetpos(stream, &position);
    const bool whole = position == static_cast<std::uint64_t>(size);
    fclose(stream);
    if (whole) {
      listing->size = static_cast<std::int64_t>(taken);
      listing->text[taken] = '\n';
      return true;
    }
  }
  free(listing->text);
  return false;
}

// The number of a line of the listing; -1 if it is not numbered.
std::int64_t line_number(const char* line, char* end) {
  if (*line != ' ') return -1;
  *end = '\0';  // where the search ends
  const char* digit = skip_blanks(line);
  *end = '\n';
  if (!is_digit(digit[0]) || digit[2] == ';' || !is_digit(digit[3])) return -1;
  std::int64_t number = 0;
  for (; is_digit(*digit); ++digit) {
    if (number <= kMostLines) number = number * 10 + (*digit - '0');
  }
  return number;
}

void put_lines(const Listing& listing, const Counters& counters, FILE* stream) {
  std::int64_t most = 0, most_line = 0;
  char* line = listing.text;
  while (listing.size - (line - listing.text) > kLastBytes) {
    char* end = line;
    while (*end != '\n') ++end;
    const std::int64_t length = end - line;
    const std::int64_t number = line_number(line, end);
    if (number < 0) {
      fwrite(line, 1, static_cast<std::uint64_t>(length) + 1, stream);
    } else {
      fwrite(line, 1, static_cast<std::uint64_t>(length), stream);
      const std::int64_t count = counters[number];
      const auto pad = static_cast<std::int32_t>(length < kListingWidth ? kListingWidth - length
                                                                        : length / 10 + 10);
      if (count == 0) {
        fprintf(stream, " %*c Never executed\n", pad, ' ');
      } else if (count > 0) {
        fprintf(stream, " %*c%s Times\n", pad, ' ', num_layout(count));
      } else {
        fputs(" \n", stream);
      }
      if (count > most) {
        most = count;
        most_line = number;
      }
    }
    line = end + 1;
  }
  fprintf(stream, "Line %d had the most executions (%lld)\n", static_cast<std::int32_t>(most_line),
          most);
}

// Closes the stream. Result: whether all of it was written.
bool write_listing(const Listing& listing, const Counters& counters, FILE* stream) {
  put_lines(listing, counters, stream);
  const bool whole = !ferror(stream);
  fclose(stream);
  return whole;
}

bool put_back(const Listing& listing, const char* path) {
  FILE* const stream = fopen(path, "w");
  if (!stream) return false;
  fwrite(listing.text, 1, static_cast<std::uint64_t>(listing.size), stream);
  const bool whole = !ferror(stream);
  fclose(stream);
  return whole;
}

// Writes the listing `name`, whose last letters change on the way.
void update_listing(const Listing& listing, const Counters& counters, char* name) {
  char* const extension = name + strlen(name) - kExtension;
  strcpy(extension, kTrialExtension);
  bool safe = true;
  FILE* stream = fopen(name, "w");
  if (stream && write_listing(listing, counters, stream)) {
    strcpy(extension, kListingExtension);
    stream = fopen(name, "w");
    if (stream && write_listing(listing, counters, stream)) {
      printf("File %s updated with execution count information\n", name);
    } else if (stream) {
      safe = put_back(listing, name);
    }
  }
  strcpy(extension, kTrialExtension);
  if (safe) {
    platform::DeleteFileA(name);
  } else {
    printf("The listing could not be written: its text is in %s\n", name);
  }
  strcpy(extension, kListingExtension);
}

}  // namespace

void __use_profile_data() {
  if (!profile_block) return;
  auto* const block = static_cast<std::int64_t*>(profile_block);
  const std::int64_t n = block[0];
  if (n < 0 || n > kMostLines) return;
  const Counters counters = {block + 1, n};
  char* const name = reinterpret_cast<char*>(block + 1 + n);
  const std::uint64_t length = strlen(name);
  if (length < kExtension) return;
  strcpy(name + length - kExtension, kListingExtension);

  auto* const summary = static_cast<char*>(malloc(length + 5));
  if (!summary) return;
  strcpy(summary, name);
  strcpy(summary + length - kExtension + 1, kSummaryExtension);
  generate_profile_summary(counters.of_line_1, static_cast<std::int32_t>(n), summary);
  free(summary);

  Listing listing;
  if (!read_listing(name, &listing)) return;
  update_listing(listing, counters, name);
  free(listing.text);
}

void generate_profile_summary(const std::int64_t* counters, std::int32_t n, const char* file_name) {
  FILE* const stream = fopen(file_name, "w");
  if (!stream) {
    printf("Unable to write summary of profile data to %s\n", file_name);
    return;
  }
  fprintf(stream, "[Execution profile summary. Copyright (c) the authors of TARNLIBC64.]\n\n");
  fprintf(stream, "Line number    Execution count\n\n");
  for (std::int64_t i = 1; i <= n; ++i) {
    const std::int64_t count = counters[i - 1];
    if (count >= 0) {
      fprintf(stream, "%4i             %4lli\n", static_cast<std::int32_t>(i), count);
    }
  }
  const bool whole = !ferror(stream);
  fclose(stream);
  printf(whole ? "Summary of profile data written to %s\n"
               : "Unable to write summary of profile data to %s\n",
         file_name);
}

char* num_layout(std::int64_t value) {
  static char layout[kLayoutSize];
  char digits[32];
  sprintf(digits, "%lld", value);
  char* to = layout;
  if (value < 100) *to++ = ' ';
  if (value <= 9) *to++ = ' ';
  const char* from = digits;
  if (*from == '-') *to++ = *from++;
  for (std::uint64_t left = strlen(from); left > 0; --left) {
    *to++ = *from++;
    if (left > 1 && left % 3 == 1) *to++ = ',';
  }
  *to = '\0';
  return layout;
}

char* skip_blanks(const char* text) {
  while ((character_classes(*text) & kWhiteSpace) != 0) ++text;
  return const_cast<char*>(text);
}

}  // namespace tarn
