// The compressor's inner parts: the search and the writing of tokens.
//
// The search looks at every position of the window, many of them at once. An
// index has, for each byte value, a row with one bit a position: 1 where the
// byte occurs. The rows of the next bytes, shifted against each other, leave the
// candidates that agree in two and in three bytes, a vector's width of them at a
// step. The few that are left are measured one by one. The width is a
// template's argument; every width finds the same matches, and the same as the
// plain scan.
#pragma once

#include "services/compression_parts.h"

namespace tarn::compression {

template <class T>
[[gnu::always_inline]] inline T load(const void* from) {
  using Unaligned [[gnu::aligned(1), gnu::may_alias]] = T;
  return *static_cast<const Unaligned*>(from);
}

template <class T>
[[gnu::always_inline]] inline void store(void* to, T value) {
  using Unaligned [[gnu::aligned(1), gnu::may_alias]] = T;
  *static_cast<Unaligned*>(to) = value;
}

// ---- Tokens -----------------------------------------------------------------

inline constexpr std::int32_t kMatchHeadBits = kOffsetBits + 2;  // with the length code

struct Match {
  std::int64_t offset;  // 0: none
  std::int64_t length;
};

struct BitWriter {
  std::uint8_t* output;
  std::int32_t bit = 0;
  std::uint32_t below = 0;  // the bits of *output before `bit`

  // As send_info; `value` has no more than `count` bits.
  [[gnu::always_inline]] void put(std::uint32_t value, std::int32_t count) {
    below |= value << bit;
    store<std::uint32_t>(output, below);
    bit += count;
    output += bit >> 3;
    below >>= bit & ~7;
    bit &= 7;
  }

  [[gnu::always_inline]] void put_match(const Match& match) {
    const auto offset = static_cast<std::uint32_t>(match.offset);
    const auto length = static_cast<std::uint32_t>(match.length);
    std::uint32_t code = length - 2;
    std::int32_t field_bits = 0;
    if (length >= 4) {
      code = 2 | (length - 4) << 2;
      field_bits = 3;
    }
    if (length >= 12) {
      code = 3 | (length - 12) << 2;
      field_bits = 5;
    }
    put(offset >> 7 | (offset & 127) << 5 | code << 12, kMatchHeadBits + field_bits);
  }

  // The token for what is at `position`; `literals` says whether a run is
  // open. Result: the next position.
  [[gnu::always_inline]] const std::uint8_t* put_token(const std::uint8_t* position,
                                                       const Match& match, bool& literals) {
    const std::uint32_t byte = *position;
    if (match.offset == 0) {
      put(literals ? 1 | byte << 1 : kLiteralMark | byte << 5, literals ? 9 : 13);
      literals = true;
      return position + 1;
    }
    if (literals) put(0, 1);
    put_match(match);
    literals = false;
    return position + match.length;
  }

  [[gnu::always_inline]] std::uint8_t* finish(bool literals) {
    put(0, literals ? 1 + kOffsetBits : kOffsetBits);
    return output + (bit != 0);
  }
};

// ---- Search -----------------------------------------------------------------

// The bytes that `a` and `b` have in common, at most `most`.
[[gnu::always_inline]] inline std::int64_t common_length(const std::uint8_t* a,
                                                         const std::uint8_t* b, std::int64_t most) {
  std::int64_t length = 0;
  while (length + 8 <= most) {
    const auto differing = load<std::uint64_t>(a + length) ^ load<std::uint64_t>(b + length);
    if (differing) return length + __builtin_ctzll(differing) / 8;
    length += 8;
  }
  while (length < most && a[length] == b[length]) ++length;
  return length;
}

// Not every x86-64 has an instruction for it.
[[gnu::always_inline]] inline std::uint64_t count_bits(std::uint64_t bits) {
  bits -= bits >> 1 & 0x5555555555555555;
  bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
  return ((bits + (bits >> 4)) & 0x0F0F0F0F0F0F0F0F) * 0x0101010101010101 >> 56;
}

// The plain scan of the window from `start` on: the match at `position`, at most
// `limit` bytes long. Nothing from `position` + `limit` on is read.
Match scan_window(const std::uint8_t* position, const std::uint8_t* start, std::int64_t limit);

struct Index {
  static constexpr std::uint64_t kPositions = 16384;
  // A search reads on after the last position, in words that stay 0. They also
  // keep the rows from starting in the same set of a cache.
  static constexpr std::uint64_t kRowWords = kPositions / 64 + 8;

  std::uint64_t rows[256][kRowWords];
};

// Writes the tokens of a block. `Lanes` names a vector of 64-bit words and says
// which of its words are not 0. What is compiled differently for different
// processors is in here, or in line, so that the linker never takes one's code
// for the other's.
template <class Lanes>
class Encoder {
 public:
  // `index` is all 0.
  explicit Encoder(Index& index) : index_(index) {}

  // As Encode.
  std::uint8_t* run(const std::uint8_t* data, const std::uint8_t* end, std::uint8_t* output) {
    BitWriter writer{output};
    bool literals = false;
    base_ = data - kCompressionWindow;
    add(base_, data);
    for (const std::uint8_t* position = data; position < end;) {
      if (position - base_ > kLastPosition) restart(position);
      const Match match = end - position < 3
                              ? scan_window(position, position - kCompressionWindow, end - position)
                              : find(position, end);
      const std::uint8_t* const next = writer.put_token(position, match, literals);
      add(position, next);
      position = next;
    }
    return writer.finish(literals);
  }

 private:
  using Vector = typename Lanes::Vector;
  static constexpr int kVectorWords = sizeof(Vector) / 8;
  // What a search looks at: the window, wherever in a word it begins.
  static constexpr int kWords = 64;
  static constexpr std::int64_t kLastPosition = Index::kPositions - kLongestMatch;
  // Where fewer words than this have candidates, these are measured.
  static constexpr std::uint64_t kFewWords = 8;

  // Candidates, one bit each, and a bit for each word that has some.
  struct Candidates {
    std::uint64_t words[kWords];
    std::uint64_t in_use;

    // There is one.
    [[gnu::always_inline]] std::int64_t oldest() const {
      const int word = __builtin_ctzll(in_use);
      return word * 64 + __builtin_ctzll(words[word]);
    }
  };

  // A row's words, `shift` positions further on.
  [[gnu::always_inline]] static Vector shifted(const std::uint64_t* row, int shift) {
    return load<Vector>(row) >> shift | load<Vector>(row + 1) << (64 - shift);
  }

  // The candidates that agree with the bytes of three rows. Those before the
  // window are to be masked by `fresh` in the first word. Result: whether any
  // agree in two bytes.
  [[gnu::noinline]] static bool collect(const std::uint64_t* const* rows, std::uint64_t fresh,
                                        Candidates* found) {
    const std::uint64_t* const first = rows[0];
    const std::uint64_t* const second = rows[1];
    const std::uint64_t* const third = rows[2];
    Vector seen = Lanes::first_word(fresh);
    Vector pairs{};
    std::uint64_t in_use = 0;
#pragma GCC unroll 32
    for (int at = 0; at < kWords; at += kVectorWords) {
      Vector agreeing = load<Vector>(first + at) & shifted(second + at, 1) & seen;
      seen = ~Vector{};
      pairs |= agreeing;
      agreeing &= shifted(third + at, 2);
      store(found->words + at, agreeing);
      in_use |= Lanes::words_in_use(agreeing) << at;
    }
    found->in_use = in_use;
    return Lanes::words_in_use(pairs) != 0;
  }

  // Of the candidates `from` those that agree in the byte `shift` further on too.
  [[gnu::noinline]] static void narrow(const Candidates& from, const std::uint64_t* row, int shift,
                                       Candidates* to) {
    std::uint64_t in_use = 0;
    for (int at = 0; at < kWords; at += kVectorWords) {
      const Vector agreeing = load<Vector>(from.words + at) & shifted(row + at, shift);
      store(to->words + at, agreeing);
      in_use |= Lanes::words_in_use(agreeing) << at;
    }
    to->in_use = in_use;
  }

  // The match at `position`, of which three bytes are left at least. The index
  // ends before `position`, so no candidate agrees beyond it.
  [[gnu::always_inline]] Match find(const std::uint8_t* position, const std::uint8_t* end) const {
    const std::int64_t limit = end - position < kLongestMatch ? end - position : kLongestMatch;
    const auto oldest = static_cast<std::uint64_t>(position - base_) - kCompressionWindow + 1;
    const std::uint64_t word = oldest / 64;
    const std::uint64_t* const rows[] = {row(position, word), row(position + 1, word),
                                         row(position + 2, word)};
    const std::uint64_t fresh = ~std::uint64_t{0} << oldest % 64;
    // Offsets from the word's beginning to offsets from the window's.
    const std::int64_t behind = 1 - static_cast<std::int64_t>(oldest % 64);

    Candidates lists[2];
    Candidates* next = &lists[0];
    Candidates* list = &lists[1];
    const bool pairs = collect(rows, fresh, list);
    if (list->in_use == 0) {
      if (!pairs) return {0, 0};
      return find_pair(position, rows, fresh, behind);
    }
    std::int64_t length = 3;
    for (; count_bits(list->in_use) >= kFewWords && length <= kGoodMatch && length < limit;
         ++length) {
      narrow(*list, row(position + length, word), static_cast<int>(length), next);
      if (next->in_use == 0) return {list->oldest() + behind, length};
      Candidates* const narrowed = next;
      next = list;
      list = narrowed;
    }
    const std::uint8_t* const origin = base_ + word * 64;
    std::int64_t best = 0;
    --length;
    for (std::uint64_t in_use = list->in_use; in_use; in_use &= in_use - 1) {
      const int used = __builtin_ctzll(in_use);
      for (std::uint64_t bits = list->words[used]; bits; bits &= bits - 1) {
        const std::int64_t candidate = used * 64 + __builtin_ctzll(bits);
        const std::int64_t reach = position - (origin + candidate);
        const std::int64_t found =
            common_length(origin + candidate, position, reach < limit ? reach : limit);
        best = found > length ? candidate : best;
        length = found > length ? found : length;
        if (length > kGoodMatch) return {best + behind, length};
      }
    }
    return {best + behind, length};
  }

  // The match where no candidate agrees in three bytes of the index.
  [[gnu::noinline]] static Match find_pair(const std::uint8_t* position,
                                           const std::uint64_t* const* rows, std::uint64_t fresh,
                                           std::int64_t behind) {
    // The newest may reach the byte at `position`.
    if (load<std::uint16_t>(position - 2) == load<std::uint16_t>(position) &&
        position[0] == position[2]) {
      return {kCompressionWindow - 2, 3};
    }
    for (int word = 0; word < kWords; ++word) {
      const std::uint64_t pairs =
          rows[0][word] & (rows[1][word] >> 1 | rows[1][word + 1] << 63) & fresh;
      fresh = ~std::uint64_t{0};
      if (pairs) return {word * 64 + __builtin_ctzll(pairs) + behind, 2};
    }
    return {0, 0};
  }

  [[gnu::always_inline]] const std::uint64_t* row(const std::uint8_t* byte,
                                                  std::uint64_t word) const {
    return index_.rows[*byte] + word;
  }

  [[gnu::always_inline]] void add(const std::uint8_t* from, const std::uint8_t* to) {
    auto at = static_cast<std::uint64_t>(from - base_);
    for (; from < to; ++from, ++at) index_.rows[*from][at / 64] |= std::uint64_t{1} << at % 64;
  }

  // Drops what is before the window, by whole words, and moves the rest to
  // the front of the rows.
  [[gnu::noinline]] void restart(const std::uint8_t* position) {
    const auto dropped = static_cast<std::uint64_t>(position - base_ - kCompressionWindow) / 64;
    constexpr std::uint64_t kKeptWords = kWords + kVectorWords;
    for (auto& row : index_.rows) {
      std::uint64_t at = 0;
      for (; at < kKeptWords; at += kVectorWords) store(row + at, load<Vector>(row + dropped + at));
      for (; at < Index::kRowWords; at += kVectorWords) store(row + at, Vector{});
    }
    base_ += dropped * 64;
  }

  Index& index_;
  const std::uint8_t* base_ = nullptr;  // position 0 of the index
};

}  // namespace tarn::compression
