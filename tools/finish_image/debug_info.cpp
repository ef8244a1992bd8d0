#include "debug_info.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "crt/cxx/readable_name.h"
#include "debug_entries.h"
#include "routine_names.h"

namespace finisher {
namespace {

constexpr std::size_t kNone = ~std::size_t{0};
constexpr int kMostOrigins = 16;  // a declaration, its abstract form, and then some

// Of a name of Fortran, whose own limit is 63 characters; longer names are cut.
constexpr std::size_t kLongestName = 100;
// A class without a name that has routines is most often this.
constexpr char kUnnamedClass[] = "{lambda}";

constexpr std::uint64_t kFortranLanguages[] = {0x07, 0x08, 0x0E, 0x22, 0x23};  // 77 to 2008

// A routine, or a call that was inlined.
struct Node {
  bool is_routine;
  std::size_t parent;  // kNone: not in a routine
  std::uint32_t depth;
  std::uint32_t file = 0;    // that declares it, or that calls
  std::uint32_t line = 0;    // of the call
  std::uint64_t origin = 0;  // the entry in .debug_info with the rest; 0: none
  // Of a Fortran routine as a report shows it; of others what the name is within.
  std::string name = {};
  std::string_view plain_name = {};  // not of Fortran; empty if the origin has it
  bool is_fortran = false, is_linkage_name = false;
  bool is_main_program = false, is_program_start = false;
  std::vector<Interval> code = {};
};

// The routines of all units and what was inlined into them.
class Routines : public EntryTaker {
 public:
  explicit Routines(const LineTable& lines) : lines_(lines) {}

  // A parent comes before what is in it.
  const std::vector<Node>& nodes() const { return nodes_; }

  // The entry that has the name of a routine, or of one that was inlined.
  const Node* named(const Node* node) const {
    for (int i = 0; i < kMostOrigins && node->origin != 0; ++i) {
      if (!(node->is_fortran ? node->name.empty() : node->plain_name.empty())) break;
      const auto origin = routines_.find(node->origin);
      if (origin == routines_.end()) break;
      node = &nodes_[origin->second];
    }
    return node;
  }

  // The file in which a routine is declared, which its abstract form may state.
  std::uint32_t declaring_file(const Node* node) const {
    for (int i = 0; i < kMostOrigins && node->file == 0 && node->origin != 0; ++i) {
      const auto origin = routines_.find(node->origin);
      if (origin == routines_.end()) break;
      node = &nodes_[origin->second];
    }
    return node->file;
  }

  void begin_unit(const DebugEntry& first) override {
    around_.clear();
    scope_.clear();
    scope_start_ = 0;
    files_ = nullptr;
    if (first.line_offset) {
      const auto found = lines_.units.find(*first.line_offset);
      if (found != lines_.units.end()) files_ = &found->second;
    }
    is_fortran_ = std::find(std::begin(kFortranLanguages), std::end(kFortranLanguages),
                            first.language) != std::end(kFortranLanguages);
  }

  void enter(DebugEntry& entry) override {
    std::size_t node = around_.empty() ? kNone : around_.back().node;
    if (entry.is_code()) node = add_node(node, entry);
    if (!entry.has_children) return;
    around_.push_back({node, scope_.size(), scope_start_});
    if (entry.tag == kRoutine) scope_start_ = scope_.size();
    if (entry.is_scope()) enter_scope(entry);
  }

  void leave() override {
    scope_.resize(around_.back().scope_length);
    scope_start_ = around_.back().scope_start;
    around_.pop_back();
  }

 private:
  struct Level {
    std::size_t node;  // that holds it
    // Around it, and where its own begins: anew in each routine.
    std::size_t scope_length, scope_start;
  };

  // ---- Names ----

  static std::string_view short_name(const DebugEntry& entry) {
    return entry.name.value_or(std::string_view()).substr(0, kLongestName);
  }

  // A submodule is linear.part in the debug data, linear:part in Fortran; and the code of
  // a routine with several entries is master.0.NAME.
  static std::string fortran_name(std::string_view name) {
    constexpr std::string_view kSeveralEntries = "master.";
    if (name == kNamelessProgram) return kShownNamelessProgram;
    if (name.starts_with(kSeveralEntries)) name = name.substr(name.rfind('.') + 1);
    std::string result(name);
    std::replace(result.begin(), result.end(), '.', ':');
    return result;
  }

  // Within a routine or a module, if there is one. The code of a parallel region, a routine
  // of the compiler's such as solve_._omp_fn.0 in `solve`, has the name of what it is in.
  void name_fortran_routine(Node& node, const DebugEntry& entry, std::string_view name,
                            std::string_view module) const {
    node.is_fortran = true;
    node.is_main_program = entry.is_main_program;
    node.is_program_start = name == "main" && !entry.is_main_program && !entry.linkage_name;
    const std::string around(node.parent != kNone ? nodes_[node.parent].name : module);
    if (node.parent != kNone && name.find("._omp_fn.") != name.npos) {
      node.name = around;
      return;
    }
    node.name = fortran_name(name);
    if (!around.empty() && around.size() + node.name.size() < kLongestName) {
      node.name = around + ":" + node.name;
    }
  }

  // Routines of C++ that no other unit can call have no linkage name.
  void name_routine(Node& node, const DebugEntry& entry, std::string_view scope) const {
    if (is_fortran_) {
      const std::string_view name = short_name(entry);
      if (!name.empty()) name_fortran_routine(node, entry, name, scope);
      return;
    }
    node.is_linkage_name = entry.linkage_name.has_value();
    const auto& name = node.is_linkage_name ? entry.linkage_name : entry.name;
    if (!name) return;
    node.plain_name = *name;
    if (!node.is_linkage_name) node.name = scope;
  }

  // Appends what routines in the entry are called within.
  void enter_scope(const DebugEntry& entry) {
    std::string name(short_name(entry));
    if (entry.tag == kNamespace && name.empty()) name = "(anonymous namespace)";
    if (entry.tag == kStructure && name.empty()) name = kUnnamedClass;
    if (entry.tag == kModule) name = fortran_name(name);
    if (name.empty() || scope_.size() - scope_start_ + name.size() > kLongestName) return;
    if (scope_.size() > scope_start_) scope_ += is_fortran_ ? ":" : "::";
    scope_ += name;
  }

  // ---- Entries ----

  // The index of the node that `entry` becomes.
  std::size_t add_node(std::size_t parent, DebugEntry& entry) {
    const bool is_routine = entry.tag == kRoutine;
    Node node{is_routine, parent, parent == kNone ? 0 : nodes_[parent].depth + 1};
    if (files_ != nullptr && entry.file && *entry.file < files_->size()) {
      node.file = (*files_)[*entry.file];
    }
    node.line = static_cast<std::uint32_t>(entry.line);
    node.origin = entry.origin;
    node.code = std::move(entry.code);
    if (is_routine) name_routine(node, entry, std::string_view(scope_).substr(scope_start_));
    nodes_.push_back(std::move(node));
    if (is_routine) routines_.emplace(entry.offset, nodes_.size() - 1);
    return nodes_.size() - 1;
  }

  const LineTable& lines_;
  std::vector<Node> nodes_;
  std::unordered_map<std::uint64_t, std::size_t> routines_;  // by offset in .debug_info
  // Of the unit that is being read.
  const std::vector<std::uint32_t>* files_ = nullptr;
  bool is_fortran_ = false;
  std::vector<Level> around_;
  std::string scope_;  // of the innermost level, after those around routines
  std::size_t scope_start_ = 0;
};

// Each name once.
struct NameIndex {
  const Routines& routines;
  std::vector<std::string>& names;
  std::unordered_map<const Node*, std::uint32_t> of_nodes = {};
  std::unordered_map<std::string, std::uint32_t> known = {};

  std::uint32_t index_of(const Node* named) {
    const auto [at, is_new] = of_nodes.try_emplace(named, 0);
    if (is_new) at->second = index_of(shown(*named));
    return at->second;
  }

  std::uint32_t index_of(const std::string& name) {
    const auto [at, is_new] = known.try_emplace(name, names.size());
    if (is_new) names.push_back(name);
    return at->second;
  }

  std::string shown(const Node& named) const {
    if (named.is_fortran) return named.name;
    if (named.plain_name.empty()) return "(unnamed)";
    std::string name(named.plain_name);
    if (named.is_linkage_name) name = shown_name(name);
    if (!named.name.empty()) name = within(named) + "::" + name;
    crt::make_readable(name.data());
    return name.c_str();
  }

  // A class may be within a routine.
  std::string within(const Node& named) const {
    if (named.parent == kNone) return named.name;
    const Node* const routine = routines.named(&routines.nodes()[named.parent]);
    std::string name(routine->plain_name);
    if (routine->is_linkage_name) name = shown_name(name);
    return name + "::" + named.name;
  }
};

}  // namespace

DebugEntries read_debug_entries(const DebugSections& sections, const LineTable& lines) {
  Routines routines(lines);
  read_entries(sections, &routines);
  DebugEntries result;
  result.names.emplace_back();
  NameIndex names{routines, result.names};
  struct Place {
    std::uint32_t file, line;
  };
  std::vector<Place> places;  // of each node; a parent comes before what is in it
  for (const Node& node : routines.nodes()) {
    Place place{};
    std::uint32_t name = 0, origin = 0;
    if (node.is_routine) {
      place = {routines.declaring_file(&node), 0};
      origin = place.file;
    } else if (node.parent != kNone) {
      place = places[node.parent];
      if (node.file == place.file && node.line != 0) place.line = node.line;
      if (!node.code.empty()) {
        const Node* const named = routines.named(&node);
        name = names.index_of(named);
        origin = routines.declaring_file(named);
      }
    }
    places.push_back(place);
    if (node.is_routine && !node.code.empty()) {
      const Node* const named = routines.named(&node);
      for (const Interval& each : node.code) {
        if (node.is_program_start) {
          result.fortran_names.insert_or_assign(each.start, kProgramStart);
        } else if (named->is_fortran && !named->name.empty()) {
          result.fortran_names.insert_or_assign(each.start, named->name);
        }
      }
    }
    for (const Interval& each : node.code) {
      if (each.start >= each.end || (place.file == 0 && name == 0)) continue;
      result.ranges.push_back({each.start, each.end, node.depth, place.file, origin, place.line,
                               name, node.line, node.file});
    }
  }
  std::stable_sort(result.ranges.begin(), result.ranges.end(),
                   [](const CodeRange& a, const CodeRange& b) {
                     return std::pair(a.start, a.depth) < std::pair(b.start, b.depth);
                   });
  return result;
}

}  // namespace finisher
