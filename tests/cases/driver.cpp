// Cases as data: calls of exported routines, and what each must do.
//
//   cases [--rebase] TABLE...    --rebase writes what came into the tables
//
//   strcmp("a", "b") = -1                          # a comment
//   strcpy(out:8, "abc") = out; out = "abc"        # what is not stated stays as it was
//   DSIN@(&0.5) = 0.479425538604203 ~1e-15         # in xmm0, as it is no integer
//   ALLOCATE$(8, null, 1) raises 432               # raises 29 "text"; faults 0xC0000005
//   f(1) = u64 3; rdx = 5; xmm0 = f32[1 2]; control = 0x37F; zero_flag = 1; errno = 2
//   p = fopen("x", "r")                            # p lasts to the table's end; then
//   same(p) = p; *p = 'bytes that stand there'     # `same` returns its argument
//   let b = 'abc'                                  # so does the block b
//   def text = sprintf(out:99, $1, $2); out = $3   # a row with holes, filled in by
//   text: "%d", 5, "5" | "%3d", 5, "  5"       # or with rows: def x = f($1) / g($2)
//   {fgetc|getc}(f) = {5|6}                        # a row for each alternative
//   unless DGAMMA@(&0.5) raises 29                 # the rest is skipped if this holds
//   spoils xmm8, xmm9                              # which all calls need not preserve
//   __dotp8x(a, b, 2) with rsi = 8, rdi = 8
//
// Arguments: 5, 1.5, f32 1.5, i32 -1 (in a filled register), c"x", null, @routine, p+1;
// and pointers to new blocks: "ends in NUL", 'bytes', "x"*80 + "y", &i32 5,
// &f64[1 -2.5 inf nan x7FF0000000000001], &&'bytes', and named ones: out:8 (filled with
// '#'), out:i32, out:"initial". Expected: the same; any (of a block, errno, control), nonnull, or a
// string that rax points to. A line that begins with a space continues its row.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>

#include "tests/cases/literals.h"
#include "tests/cases/machine.h"

namespace tarn::cases {
namespace {

constexpr char kFill = '#';
constexpr std::int32_t kErrnoBefore = 4711;
constexpr std::uint32_t kProgramMxcsr = 0x9940;  // as programs run: traps, no subnormals
constexpr std::uint16_t kProgramControl = 0x037F;
constexpr std::uint32_t kMxcsrControl = 0xFFC0;
constexpr std::uint64_t kGarbage = 0xD1D2D3D4D5D6D7D8;
constexpr std::uint64_t kDirectionFlag = 0x400;
constexpr const char* kGeneral[] = {"rbx", "rbp", "rsi", "rdi", "r12", "r13", "r14", "r15"};

struct Block {
  std::string name;  // empty: of an argument without one
  std::uint8_t* place;
  std::size_t size;
  const Type* type;
  bool lasts;
  std::string before{};
  bool stated = false;

  std::string bytes() const { return std::string(place, place + size); }
};

struct Replacement {
  std::size_t from, to;
  std::string text;
};

class Table {
 public:
  static inline const Table* running = nullptr;

  explicit Table(std::string path) : path_(std::move(path)) {
    std::ifstream stream(path_, std::ios::binary);
    running = this;
    if (!stream) syntax_error("it cannot be read");
    file_.assign(std::istreambuf_iterator<char>(stream), {});
  }

  // Runs every row with blocks that end before, or begin after, an unreadable page.
  void run(bool at_end) {
    memory_.set_at_end(at_end);
    definitions_.clear();
    spoilt_.clear();
    for (const auto& [begin, end] : lines()) {
      row_ = text_of(file_, begin, end);
      if (!run_line(row_)) break;
    }
    for (const Block& block : blocks_) memory_.release(block.place);
    blocks_.clear();
    variables_.clear();
  }

  void rebase() const {
    std::string text = file_;
    std::map<std::size_t, Replacement> from_last;
    for (const Replacement& each : replacements_) from_last[file_.size() - each.from] = each;
    for (const auto& [_, each] : from_last) {
      text.replace(each.from, each.to - each.from, each.text);
    }
    if (text != file_) std::ofstream(path_, std::ios::binary) << text;
  }

  [[noreturn]] void stop(const std::string& what) const {
    std::printf("%s: %s\n  %s\n", where(line_begin_).c_str(), string_of(row_).c_str(),
                what.c_str());
    std::exit(1);
  }

  std::size_t failures() const { return failures_; }
  std::size_t rows() const { return rows_; }

 private:
  // ---- Lines, definitions, alternatives ---------------------------------------

  // Each line's place in the file, with those that continue it.
  std::vector<std::pair<std::size_t, std::size_t>> lines() const {
    std::vector<std::pair<std::size_t, std::size_t>> result;
    for (std::size_t i = 0; i < file_.size();) {
      const std::size_t begin = i;
      for (;;) {
        i = std::min(file_.find('\n', i), file_.size() - 1) + 1;
        if (i >= file_.size() || file_[i] != ' ') break;
      }
      result.emplace_back(begin, i - 1);
    }
    return result;
  }

  // For each character whether it stands outside strings.
  static std::vector<bool> outside_strings(const Text& text) {
    std::vector<bool> outside(text.size());
    char quote = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i].c;
      if (quote && c == '\\') {
        ++i;
      } else if (quote ? c == quote : c == '"' || c == '\'') {
        quote = quote ? '\0' : c;
      } else {
        outside[i] = quote == '\0';
      }
    }
    return outside;
  }

  static Text part(const Text& text, std::size_t begin, std::size_t end) {
    const auto blank = [&](std::size_t i) { return text[i].c == ' ' || text[i].c == '\n'; };
    while (begin < end && blank(begin)) ++begin;
    while (begin < end && blank(end - 1)) --end;
    return Text(text.begin() + static_cast<std::ptrdiff_t>(begin),
                text.begin() + static_cast<std::ptrdiff_t>(end));
  }

  // The parts between separators that stand outside strings and brackets.
  static std::vector<Text> split(const Text& text, char separator) {
    const std::vector<bool> outside = outside_strings(text);
    std::vector<Text> parts;
    std::size_t begin = 0;
    int depth = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i].c;
      if (!outside[i]) continue;
      if (std::strchr("([{", c)) ++depth;
      if (std::strchr(")]}", c)) --depth;
      if (c != separator || depth != 0) continue;
      parts.push_back(part(text, begin, i));
      begin = i + 1;
    }
    parts.push_back(part(text, begin, text.size()));
    return parts;
  }

  static Text without_comments(const Text& text) {
    Text result;
    char quote = '\0';
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char c = text[i].c;
      if (!quote && c == '#') {
        while (i + 1 < text.size() && text[i + 1].c != '\n') ++i;
        continue;
      }
      if (quote && c == '\\' && i + 1 < text.size()) {
        result.push_back(text[i++]);
      } else if (quote ? c == quote : c == '"' || c == '\'') {
        quote = quote ? '\0' : c;
      }
      result.push_back(text[i]);
    }
    return part(result, 0, result.size());
  }

  // The pattern with its $1 to $9 filled in, in strings too.
  static Text filled(const Text& pattern, const std::vector<Text>& arguments) {
    Text result;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
      const std::size_t n =
          pattern[i].c == '$' && i + 1 < pattern.size() ? pattern[i + 1].c - std::size_t{'1'} : 9;
      if (n >= 9) {
        result.push_back(pattern[i]);
        continue;
      }
      if (n >= arguments.size()) syntax_error("too few arguments");
      result.insert(result.end(), arguments[n].begin(), arguments[n].end());
      ++i;
    }
    return result;
  }

  // False: the rest of the table is skipped.
  bool run_line(const Text& line) {
    const Text text = without_comments(line);
    if (text.empty()) return true;
    row_ = text;
    line_begin_ = text[0].at;
    Cursor cursor(text);
    const bool is_condition = cursor.accept_word("unless");
    if (is_condition) {
      silent_ = true;
      const bool holds = run_row(part(text, cursor.position(), text.size()));
      silent_ = false;
      if (holds) std::printf("%s: the rest is skipped\n", where(text[0].at).c_str());
      return !holds;
    }
    if (cursor.accept_word("def")) {
      const std::string name = cursor.word();
      cursor.expect('=');
      definitions_[name] = part(text, cursor.position(), text.size());
      return true;
    }
    if (cursor.accept_word("spoils")) {
      do spoilt_.push_back(cursor.word());
      while (cursor.accept(','));
      return true;
    }
    if (cursor.accept_word("let")) {
      const std::string name = cursor.word();
      cursor.expect('=');
      declare(cursor, name, true);
      if (!cursor.at_end()) syntax_error("more than a block");
      return true;
    }
    const std::string name = cursor.quote_comes() ? "" : cursor.word();
    if (!definitions_.count(name) || !cursor.accept(':')) {
      run_alternatives(text);
      return true;
    }
    for (const Text& use : split(part(text, cursor.position(), text.size()), '|')) {
      const Text rows = filled(definitions_[name], split(use, ','));
      for (const Text& row : split(rows, '/')) run_alternatives(row);
    }
    return true;
  }

  void run_alternatives(const Text& text) {
    const std::vector<bool> outside = outside_strings(text);
    std::size_t count = 1;
    for (std::size_t n = 0; n < count; ++n) {
      row_.clear();
      for (std::size_t i = 0; i < text.size(); ++i) {
        if (!outside[i] || text[i].c != '{') {
          row_.push_back(text[i]);
          continue;
        }
        const std::size_t begin = i + 1;
        while (i < text.size() && !(outside[i] && text[i].c == '}')) ++i;
        const std::vector<Text> choices = split(part(text, begin, i), '|');
        if (count != 1 && choices.size() != count) syntax_error("unequal alternatives");
        count = choices.size();
        row_.insert(row_.end(), choices[n].begin(), choices[n].end());
      }
      run_row(row_);
    }
  }

  // ---- Blocks and values ----------------------------------------------------------

  Block* find_block(const std::string& name) {
    for (std::size_t i = blocks_.size(); i-- > 0;) {
      if (!name.empty() && blocks_[i].name == name) return &blocks_[i];
    }
    return nullptr;
  }

  std::uint64_t make_block(const std::string& name, const std::string& bytes, const Type* type,
                           bool lasts) {
    std::uint8_t* const place = memory_.take(bytes.size());
    if (!bytes.empty()) std::memcpy(place, bytes.data(), bytes.size());
    blocks_.push_back({name, place, bytes.size(), type, lasts});
    return reinterpret_cast<std::uint64_t>(place);
  }

  // NAME:8, NAME:i32, NAME:data; the colon is read.
  std::uint64_t declare(Cursor& cursor, const std::string& name, bool lasts) {
    const std::size_t start = cursor.position();
    if (const Type* const type = find_type(cursor.word()); type && !cursor.number_comes()) {
      if (cursor.peek() != '[')
        return make_block(name, std::string(type->size, kFill), type, lasts);
    }
    cursor.go_to(start);
    if (cursor.number_comes()) {
      return make_block(name, std::string(cursor.integer(), kFill), nullptr, lasts);
    }
    const Data initial = data(cursor, nullptr);
    return make_block(name, initial.bytes, initial.notation.type, lasts);
  }

  // A known name, perhaps with a distance.
  bool address(Cursor& cursor, std::uint64_t* result) {
    const std::size_t start = cursor.position();
    const std::string name = cursor.word();
    if (const Block* const block = find_block(name)) {
      *result = reinterpret_cast<std::uint64_t>(block->place);
    } else if (const auto found = variables_.find(name); found != variables_.end()) {
      *result = found->second;
    } else {
      cursor.go_to(start);
      return false;
    }
    if (cursor.accept('+')) *result += cursor.integer();
    if (cursor.accept('-')) *result -= cursor.integer();
    return true;
  }

  // A number of 64 bits that is an address: null, @routine, a name, "..." or &...
  bool pointer(Cursor& cursor, std::uint64_t* result) {
    if (cursor.accept_word("null")) return *result = 0, true;
    if (cursor.accept('@')) {
      *result = reinterpret_cast<std::uint64_t>(routine(cursor));
      return true;
    }
    if (cursor.accept('&')) {
      const Data pointed = data(cursor, nullptr);
      *result = make_block("", pointed.bytes, pointed.notation.type, false);
      return true;
    }
    if (address(cursor, result)) return true;
    const std::size_t start = cursor.position();
    const std::string name = cursor.word();
    if (!name.empty() && cursor.accept(':')) return *result = declare(cursor, name, false), true;
    cursor.go_to(start);
    return false;
  }

  // Pieces joined by '+'.
  Data data(Cursor& cursor, const Type* type) {
    Data result;
    bool after_string = false;  // whose NUL ends it, unless another string follows
    do {
      std::uint64_t pointed;
      if (cursor.quote_comes()) {
        const bool is_string = cursor.peek() == '"';
        const std::string part = cursor.quoted();
        if (after_string && is_string) result.bytes.pop_back();
        for (auto n = cursor.accept('*') ? cursor.integer() : 1; n > 0; --n) result.bytes += part;
        if (is_string) result.bytes += '\0';
        after_string = is_string;
        result.notation.form = is_string ? Notation::kString : Notation::kBytes;
      } else if (pointer(cursor, &pointed)) {
        result.bytes.append(reinterpret_cast<const char*>(&pointed), sizeof pointed);
        result.notation.form = Notation::kAddress;
      } else {
        const std::size_t start = cursor.position();
        const Type* stated = find_type(cursor.word());
        result.notation.named_type = stated != nullptr;
        if (!stated) cursor.go_to(start);
        result.notation.list = cursor.accept('[');
        do cursor.number(stated ? stated : type, &result);
        while (result.notation.list && !cursor.accept(']'));
      }
    } while (cursor.accept('+'));
    return result;
  }

  struct Argument {
    std::uint64_t bits;
    bool is_real;
  };

  Argument argument(Cursor& cursor) {
    std::uint64_t bits;
    if (pointer(cursor, &bits)) return {bits, false};
    const std::size_t start = cursor.position();
    if (cursor.accept_word("c") && cursor.quote_comes()) {
      return {static_cast<std::uint64_t>(std::int64_t{cursor.quoted().at(0)}), false};
    }
    cursor.go_to(start);
    if (cursor.quote_comes())
      return {make_block("", data(cursor, nullptr).bytes, nullptr, false), false};
    if (cursor.number_comes() && !cursor.real_comes()) return {cursor.integer(), false};
    const Data number = data(cursor, nullptr);
    bits = kGarbage;
    std::memcpy(&bits, number.bytes.data(), number.bytes.size());
    return {bits, number.notation.type->is_real};
  }

  void* routine(Cursor& cursor) {
    const std::string name = cursor.routine_name();
    void* const found = find_routine(name);
    if (!found) syntax_error("there is no routine " + name);
    return found;
  }

  // ---- One row ------------------------------------------------------------------------

  // True if it holds.
  bool run_row(const Text& text) {
    if (!silent_) ++rows_;
    Cursor cursor(text);
    wrong_.clear();
    errno_stated_ = control_stated_ = false;
    std::string variable;
    const std::size_t start = cursor.position();
    if (!cursor.quote_comes()) {
      variable = cursor.word();
      if (!cursor.accept('=')) {
        variable.clear();
        cursor.go_to(start);
      }
    }
    call_ = {};
    stack_.clear();
    call_.routine = reinterpret_cast<std::uint64_t>(routine(cursor));
    read_arguments(cursor);
    perform();
    if (!variable.empty()) {
      if (outcome_.kind != Outcome::kReturned) wrong(came());
      variables_[variable] = call_.rax;
    }
    check(cursor);
    forget_blocks();
    for (const std::string& each : wrong_) report(line_begin_, string_of(text), each);
    return wrong_.empty();
  }

  void forget_blocks() {
    std::erase_if(blocks_, [&](const Block& block) {
      if (!block.lasts) memory_.release(block.place);
      return !block.lasts;
    });
  }

  void read_arguments(Cursor& cursor) {
    std::uint64_t* const places[] = {&call_.rcx_in, &call_.rdx_in, &call_.r8_in, &call_.r9_in};
    for (std::uint64_t* place : places) *place = kGarbage;
    for (auto& xmm : call_.xmm_in) xmm[0] = xmm[1] = kGarbage;
    cursor.expect('(');
    for (std::size_t n = 0; !cursor.accept(')'); ++n) {
      if (n > 0) cursor.expect(',');
      const Argument given = argument(cursor);
      if (n >= 4) {
        stack_.push_back(given.bits);
        continue;
      }
      *places[n] = given.bits;
      if (given.is_real) call_.xmm_in[n][0] = given.bits;
    }
    call_.stack = stack_.data();
    call_.stack_count = stack_.size();
    call_.mxcsr_in = kProgramMxcsr;
    call_.control_in = kProgramControl;
    call_.rax_in = kGarbage;
    std::uint64_t pattern = 0xB000000000000001;
    for (std::uint64_t& each : call_.before.general) each = pattern++;
    for (auto& each : call_.before.xmm) each[0] = each[1] = pattern++;
    if (!cursor.accept_word("with")) return;
    do {
      const std::string name = cursor.word();
      cursor.expect('=');
      const std::uint64_t bits = argument(cursor).bits;
      if (name == "rax")
        call_.rax_in = bits;
      else if (name == "mxcsr")
        call_.mxcsr_in = static_cast<std::uint32_t>(bits);
      else if (name == "control")
        call_.control_in = static_cast<std::uint16_t>(bits);
      else
        call_.before.general[general_register(name)] = bits;
    } while (cursor.accept(','));
  }

  static std::size_t general_register(const std::string& name) {
    for (std::size_t i = 0; i < std::size(kGeneral); ++i) {
      if (name == kGeneral[i]) return i;
    }
    syntax_error("no such register: " + name);
  }

  void perform() {
    static const auto set_errno =
        reinterpret_cast<void(TARNAPI*)(std::int32_t)>(find_routine("set_errno"));
    static const auto get_errno =
        reinterpret_cast<std::int32_t(TARNAPI*)()>(find_routine("get_errno"));
    for (Block& block : blocks_) {
      block.before = block.bytes();
      block.stated = false;
    }
    set_errno(kErrnoBefore);
    outcome_ = call_safely(&call_);
    errno_ = get_errno();
  }

  std::string came() const {
    char text[200];
    switch (outcome_.kind) {
      case Outcome::kRaised:
        std::snprintf(text, sizeof text, "raised %lld \"%s\"",
                      static_cast<long long>(outcome_.number), outcome_.texts[0].c_str());
        break;
      case Outcome::kFaulted:
        std::snprintf(text, sizeof text, "faulted: 0x%08X at %llx, address %llx", outcome_.code,
                      static_cast<unsigned long long>(outcome_.instruction),
                      static_cast<unsigned long long>(outcome_.address));
        for (const Block& block : blocks_) {
          const std::uint64_t distance =
              outcome_.address - reinterpret_cast<std::uint64_t>(block.place) + 4096;
          if (distance < block.size + 8192) {
            return std::string(text) + ", byte " +
                   std::to_string(static_cast<std::int64_t>(distance) - 4096) + " of " +
                   (block.name.empty() ? "an argument" : block.name);
          }
        }
        break;
      default:
        return "returned";
    }
    return text;
  }

  void wrong(const std::string& what) { wrong_.push_back(what); }

  void check(Cursor& cursor) {
    if (cursor.accept_word("raises")) {
      const std::size_t begin = cursor.position();
      const auto number = static_cast<std::int64_t>(cursor.integer());
      const bool raised = outcome_.kind == Outcome::kRaised;
      if (!raised || outcome_.number != number) {
        wrong(came());
        if (raised) rebase_with(cursor, begin, std::to_string(outcome_.number));
      }
      for (int i = 0; cursor.quote_comes(); ++i) {
        const std::size_t quote = cursor.position();
        if (cursor.quoted() == outcome_.texts[i]) continue;
        const Notation notation{Notation::kString};
        wrong("its text is " + written(outcome_.texts[i], notation));
        rebase_with(cursor, quote, written(outcome_.texts[i], notation));
      }
    } else if (cursor.accept_word("faults")) {
      const std::size_t begin = cursor.position();
      const std::uint64_t code = cursor.integer();
      if (outcome_.kind != Outcome::kFaulted || outcome_.code != code) {
        wrong(came());
        char text[16];
        std::snprintf(text, sizeof text, "0x%08X", outcome_.code);
        if (outcome_.kind == Outcome::kFaulted) rebase_with(cursor, begin, text);
      }
    } else {
      if (outcome_.kind != Outcome::kReturned) return wrong(came());
      if (cursor.accept('=')) check_result(cursor);
    }
    while (cursor.accept(';')) check_clause(cursor);
    if (!cursor.at_end()) syntax_error(std::string("'") + cursor.peek() + "' has no meaning here");
    for (const Block& block : blocks_) {
      const std::string after = block.bytes();
      if (block.stated || after == block.before) continue;
      const Notation notation{Notation::kBytes};
      wrong((block.name.empty() ? "an argument" : block.name) + " became " +
            written(after, notation));
    }
    if (!errno_stated_ && errno_ != kErrnoBefore) wrong("errno became " + std::to_string(errno_));
    if (outcome_.kind == Outcome::kReturned) check_registers();
  }

  void check_registers() {
    const auto spoilt = [&](const std::string& name) {
      for (const std::string& each : spoilt_) {
        if (each == name) return true;
      }
      return false;
    };
    for (std::size_t i = 0; i < std::size(kGeneral); ++i) {
      if (call_.after.general[i] != call_.before.general[i] && !spoilt(kGeneral[i])) {
        wrong(std::string(kGeneral[i]) + " is not preserved");
      }
    }
    for (std::size_t i = 0; i < std::size(call_.before.xmm); ++i) {
      const std::string name = "xmm" + std::to_string(i + 6);
      if (std::memcmp(call_.after.xmm[i], call_.before.xmm[i], 16) != 0 && !spoilt(name)) {
        wrong(name + " is not preserved");
      }
    }
    if (call_.rsp_after != call_.rsp_before) wrong("rsp is not preserved");
    if (call_.flags & kDirectionFlag) wrong("the direction flag is set");
    if ((call_.mxcsr ^ call_.mxcsr_in) & kMxcsrControl) wrong("mxcsr is not preserved");
    if (call_.x87[8] != 0xFF || call_.x87[9] != 0xFF) wrong("the x87 stack is not empty");
    if (!control_stated_ && std::memcmp(call_.x87, &call_.control_in, 2) != 0) {
      wrong("the x87 control word is not preserved");
    }
  }

  void check_result(Cursor& cursor) {
    if (cursor.accept_word("nonnull")) {
      if (call_.rax == 0) wrong("it returned null");
      return;
    }
    const std::size_t begin = cursor.position();
    const Data wanted = data(cursor, nullptr);
    const Notation& notation = wanted.notation;
    const char* const registers =
        reinterpret_cast<const char*>(!wanted.reals.empty() ? call_.xmm0 : &call_.rax);
    const bool deref = notation.form == Notation::kString || notation.form == Notation::kBytes;
    const std::string got =
        deref ? read_memory(call_.rax,
                            wanted.bytes.size() + (notation.form == Notation::kString ? 200 : 0))
              : std::string(registers, !wanted.reals.empty() ? 16 : 8);
    compare(cursor, begin, wanted, got, "the result");
  }

  // `got` begins with what is wanted.
  void compare(Cursor& cursor, std::size_t begin, const Data& wanted, const std::string& got,
               const std::string& what) {
    if (matches(wanted, got)) return;
    Notation notation = wanted.notation;
    if (notation.form == Notation::kAddress) {
      notation.type = find_type("u64");
      notation.hexadecimal = true;
    }
    const std::string text = written(
        notation.form == Notation::kString ? got : got.substr(0, wanted.bytes.size()), notation);
    wrong(what + " is " + text);
    if (notation.form != Notation::kAddress) rebase_with(cursor, begin, text);
  }

  void check_clause(Cursor& cursor) {
    if (cursor.accept('*')) {
      std::uint64_t place;
      if (!address(cursor, &place)) syntax_error("a pointer is missing");
      cursor.expect('=');
      const std::size_t begin = cursor.position();
      const Data wanted = data(cursor, nullptr);
      compare(cursor, begin, wanted, read_memory(place, wanted.bytes.size()), "what is there");
      return;
    }
    const std::string name = cursor.word();
    cursor.expect('=');
    const std::size_t begin = cursor.position();
    if (Block* const block = find_block(name)) {
      block->stated = true;
      if (cursor.accept_word("any")) return;
      const Data wanted = data(cursor, block->type);
      const std::string after = block->bytes();
      if (wanted.bytes.size() > block->size) {
        return wrong(name + " has only " + std::to_string(block->size) + " bytes");
      }
      compare(cursor, begin, wanted, after, name);
      // The rest is as it was.
      const std::size_t length = wanted.bytes.size();
      if (wrong_.empty() && after.substr(length) != block->before.substr(length)) {
        const std::string& all = block->before;
        std::size_t end = after.size();
        while (end > 0 && after[end - 1] == all[end - 1]) --end;
        const Notation notation{Notation::kBytes};
        wrong(name + " goes on: " + written(after.substr(0, end), notation));
      }
      return;
    }
    const Type* type = nullptr;
    std::string got;
    const auto take = [&](const void* from, std::size_t size) {
      got.assign(static_cast<const char*>(from), size);
    };
    if (name == "errno") {
      errno_stated_ = true;
      if (cursor.accept_word("any")) return;
      take(&errno_, sizeof errno_);
    } else if (name == "control") {
      control_stated_ = true;
      if (cursor.accept_word("any")) return;
      type = find_type("u16");
      take(call_.x87, 2);
    } else if (name == "rax" || name == "rcx" || name == "rdx") {
      take(name == "rax" ? &call_.rax : name == "rcx" ? &call_.rcx : &call_.rdx, 8);
    } else if (name == "xmm0") {
      take(call_.xmm0, 16);
    } else if (name == "zero_flag") {
      const std::uint64_t set = call_.flags >> 6 & 1;
      take(&set, 8);
    } else {
      syntax_error("'" + name + "' is neither a block nor a register");
    }
    const Data wanted = data(cursor, type);
    compare(cursor, begin, wanted, got, name);
  }

  // ---- Reports ---------------------------------------------------------------------------

  std::string where(std::size_t at) const {
    const auto line =
        1 + std::count(file_.begin(), file_.begin() + static_cast<std::ptrdiff_t>(at), '\n');
    return path_ + ":" + std::to_string(line);
  }

  void report(std::size_t at, const std::string& row, const std::string& what) {
    if (silent_) return;
    ++failures_;
    std::printf("%s: %s\n  %s\n", where(at).c_str(), row.c_str(), what.c_str());
    std::fflush(stdout);
  }

  void rebase_with(Cursor& cursor, std::size_t begin, const std::string& text) {
    Replacement each;
    each.text = text;
    if (!silent_ && cursor.source(begin, &each.from, &each.to)) replacements_.push_back(each);
  }

  const std::string path_;
  std::string file_;
  Text row_;
  std::size_t line_begin_ = 0, rows_ = 0, failures_ = 0;
  bool silent_ = false;
  std::map<std::string, Text> definitions_;
  std::vector<std::string> spoilt_;

  GuardedMemory memory_;
  std::vector<Block> blocks_;
  std::map<std::string, std::uint64_t> variables_;

  Call call_;
  std::vector<std::uint64_t> stack_;
  Outcome outcome_;
  std::int32_t errno_ = 0;
  bool errno_stated_ = false, control_stated_ = false;
  std::vector<std::string> wrong_;
  std::vector<Replacement> replacements_;
};

int run(int count, char** arguments) {
  bool rebase = false;
  std::size_t failures = 0, rows = 0;
  open_library();
  for (int i = 1; i < count; ++i) {
    if (std::strcmp(arguments[i], "--rebase") == 0) {
      rebase = true;
      continue;
    }
    Table table(arguments[i]);
    table.run(true);
    if (rebase)
      table.rebase();
    else
      table.run(false);
    failures += table.failures();
    rows += table.rows();
  }
  if (failures == 0 && rows > 0) {
    std::printf("All %zu rows hold.\n", rows);
  } else {
    std::printf("%zu failures in %zu rows.\n", failures, rows);
  }
  std::fflush(stdout);
  return failures != 0 || rows == 0;
}

}  // namespace

void syntax_error(const std::string& what) { Table::running->stop(what); }

}  // namespace tarn::cases

int main(int count, char** arguments) { return tarn::cases::run(count, arguments); }
