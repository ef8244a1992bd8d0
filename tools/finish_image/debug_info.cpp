#include "debug_info.h"

#include <algorithm>
#include <optional>
#include <string>
#include <unordered_map>

#include "crt/cxx/readable_name.h"
#include "routine_names.h"

namespace finisher {
namespace {

constexpr unsigned kOldestVersion = 2, kNewestVersion = 5;
constexpr std::size_t kNone = ~std::size_t{0};
constexpr std::size_t kMostUses = 16;  // of a list of ranges
constexpr int kMostOrigins = 16;       // a declaration, its abstract form, and then some

// Of a name of Fortran, whose own limit is 63 characters; longer names are cut.
constexpr std::size_t kLongestName = 100;
constexpr std::size_t kLongestDecodedName = 4096;  // of C and C++
// A class without a name that has routines is most often this.
constexpr char kUnnamedClass[] = "{lambda}";

enum Tag : std::uint64_t {
  kClass = 0x02,
  kStructure = 0x13,
  kUnion = 0x17,
  kInlinedCall = 0x1D,
  kModule = 0x1E,
  kRoutine = 0x2E,
  kNamespace = 0x39,
};
constexpr std::uint64_t kFortranLanguages[] = {0x07, 0x08, 0x0E, 0x22, 0x23};  // 77 to 2008
constexpr std::uint64_t kScopes[] = {kClass, kStructure, kUnion, kModule, kNamespace};
enum UnitType : std::uint8_t { kCompileUnit = 1, kPartialUnit = 3 };
enum Attribute : std::uint64_t {
  kName = 0x03,
  kLineOffset = 0x10,  // stmt_list
  kLowPc = 0x11,
  kHighPc = 0x12,
  kLanguage = 0x13,
  kAbstractOrigin = 0x31,
  kDeclaringFile = 0x3A,
  kSpecification = 0x47,
  kRanges = 0x55,
  kCallFile = 0x58,
  kCallLine = 0x59,
  kMainProgram = 0x6A,
  kLinkageName = 0x6E,
  kAddressBase = 0x73,
  kRangeListBase = 0x74,
};
enum RangeListEntry : std::uint8_t {
  kEndOfList = 0,
  kBaseIndex = 1,
  kStartIndexEndIndex = 2,
  kStartIndexLength = 3,
  kOffsetPair = 4,
  kBaseAddress = 5,
  kStartEnd = 6,
  kStartLength = 7,
};

[[noreturn]] void refuse_damaged(const char* section) {
  refuse("the debug data (%s) are damaged", section);
}

// ---- Abbreviations -------------------------------------------------------------

struct AttributeForm {
  std::uint64_t attribute, form;
  std::int64_t implicit;
};

struct Abbreviation {
  std::uint64_t tag = 0;
  bool has_children = false;
  std::vector<AttributeForm> attributes;
};

using Abbreviations = std::unordered_map<std::uint64_t, Abbreviation>;

// Adds what it has read to `bytes_read`.
Abbreviations read_abbreviations(const DebugSections& sections, std::uint64_t offset,
                                 std::size_t* bytes_read) {
  DwarfReader reader{sections.abbreviations, ".debug_abbrev"};
  reader.go_to(offset);
  Abbreviations result;
  while (const std::uint64_t code = reader.unsigned_leb()) {
    Abbreviation each;
    each.tag = reader.unsigned_leb();
    each.has_children = reader.byte() != 0;
    for (;;) {
      AttributeForm declared{reader.unsigned_leb(), reader.unsigned_leb(), 0};
      if (declared.form == kFormImplicit) declared.implicit = reader.signed_leb();
      if (declared.attribute == 0 && declared.form == 0) break;
      each.attributes.push_back(declared);
    }
    result.insert_or_assign(code, std::move(each));
  }
  *bytes_read += reader.at - static_cast<std::size_t>(offset);
  if (*bytes_read > sections.abbreviations.size()) refuse_damaged(reader.section);
  return result;
}

// ---- Entries -------------------------------------------------------------------

struct Unit {
  std::uint64_t start;  // of its header in .debug_info
  unsigned version;
  std::size_t offset_size, address_size;
  const std::vector<std::uint32_t>* files = nullptr;
  std::uint64_t low_pc = 0;
  std::uint64_t address_base = 0, range_list_base = 0;
  bool is_fortran = false;
};

// A value as it is stored: an address, a number, an offset, an index or a text by its form.
struct Value {
  std::uint64_t form = 0, number = 0;
  std::string_view text = {};
};

// What the readers of ranges want to know of an entry.
struct Entry {
  std::optional<Value> low_pc, high_pc, ranges, line_offset, address_base, range_list_base, origin,
      file, name, linkage_name;
  std::uint64_t line = 0, language = 0;
  bool is_main_program = false;
};

struct Interval {
  std::uint64_t start, end;
};

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

struct EntryReader {
  const DebugSections& sections;
  const LineTable& lines;
  std::vector<Node> nodes = {};
  std::unordered_map<std::uint64_t, std::size_t> routines = {};  // by offset in .debug_info
  // Bounds for hostile data, in which one list or table may serve any number of
  // entries and units.
  std::size_t range_entries = 0, abbreviation_bytes = 0;

  Value read(DwarfReader& reader, const Unit& unit, const AttributeForm& declared) const {
    std::uint64_t form = declared.form;
    while (form == kFormIndirect) form = reader.unsigned_leb();
    const auto value = [&](std::uint64_t number) { return Value{form, number}; };
    switch (form) {
      case kFormAddress:
        return value(reader.fixed(unit.address_size));
      case kFormFlag:
      case kFormData1:
      case kFormTextIndex1:
      case kFormAddressIndex1:
        return value(reader.fixed(1));
      case kFormData2:
      case kFormTextIndex1 + 1:
      case kFormAddressIndex1 + 1:
        return value(reader.fixed(2));
      case kFormTextIndex1 + 2:
      case kFormAddressIndex1 + 2:
        return value(reader.fixed(3));
      case kFormData4:
      case kFormTextIndex4:
      case kFormAddressIndex4:
      case kFormOtherReference4:
        return value(reader.fixed(4));
      case kFormData8:
      case kFormSignature8:
      case kFormOtherReference8:
        return value(reader.fixed(8));
      case kFormReference1:
        return value(unit.start + reader.fixed(1));
      case kFormReference2:
        return value(unit.start + reader.fixed(2));
      case kFormReference4:
        return value(unit.start + reader.fixed(4));
      case kFormReference8:
        return value(unit.start + reader.fixed(8));
      case kFormReferenceUnsigned:
        return value(unit.start + reader.unsigned_leb());
      case kFormReferenceInInfo:
        return value(reader.fixed(unit.version == 2 ? unit.address_size : unit.offset_size));
      case kFormTextOffset:
      case kFormLineTextOffset:
      case kFormOtherText:
      case kFormSectionOffset:
        return value(reader.fixed(unit.offset_size));
      case kFormUnsigned:
      case kFormTextIndex:
      case kFormAddressIndex:
      case kFormLocationListIndex:
      case kFormRangeListIndex:
        return value(reader.unsigned_leb());
      case kFormSigned:
        return value(static_cast<std::uint64_t>(reader.signed_leb()));
      case kFormImplicit:
        return value(static_cast<std::uint64_t>(declared.implicit));
      case kFormFlagPresent:
        return value(1);
      case kFormText:
        return Value{form, 0, reader.text()};
      case kFormData16:
        reader.skip(16);
        return value(0);
      case kFormBlock1:
        reader.skip(reader.fixed(1));
        return value(0);
      case kFormBlock2:
        reader.skip(reader.fixed(2));
        return value(0);
      case kFormBlock4:
        reader.skip(reader.fixed(4));
        return value(0);
      case kFormBlock:
      case kFormExpression:
        reader.skip(reader.unsigned_leb());
        return value(0);
      default:
        refuse("the debug data (.debug_info) have a value of form 0x%llx, which is not known",
               static_cast<unsigned long long>(form));
    }
  }

  Entry read_entry(DwarfReader& reader, const Unit& unit, const Abbreviation& abbreviation) const {
    Entry entry;
    for (const AttributeForm& declared : abbreviation.attributes) {
      const Value value = read(reader, unit, declared);
      switch (declared.attribute) {
        case kName:
          entry.name = value;
          break;
        case kLanguage:
          entry.language = value.number;
          break;
        case kMainProgram:
          entry.is_main_program = true;
          break;
        case kLinkageName:
          entry.linkage_name = value;
          break;
        case kLowPc:
          entry.low_pc = value;
          break;
        case kHighPc:
          entry.high_pc = value;
          break;
        case kRanges:
          entry.ranges = value;
          break;
        case kLineOffset:
          entry.line_offset = value;
          break;
        case kAddressBase:
          entry.address_base = value;
          break;
        case kRangeListBase:
          entry.range_list_base = value;
          break;
        case kAbstractOrigin:
        case kSpecification:
          entry.origin = value;
          break;
        case kDeclaringFile:
        case kCallFile:
          entry.file = value;
          break;
        case kCallLine:
          entry.line = value.number;
          break;
        default:
          break;
      }
    }
    return entry;
  }

  // ---- Addresses and ranges ----

  std::uint64_t address_at(const Unit& unit, std::uint64_t index) const {
    DwarfReader reader{sections.addresses, ".debug_addr"};
    if (index > sections.addresses.size()) refuse_damaged(reader.section);
    reader.go_to(unit.address_base + index * unit.address_size);
    return reader.fixed(unit.address_size);
  }

  static bool is_address(const Value& value) {
    return value.form == kFormAddress || value.form == kFormAddressIndex ||
           (value.form >= kFormAddressIndex1 && value.form <= kFormAddressIndex4);
  }

  std::uint64_t address(const Unit& unit, const Value& value) const {
    return value.form == kFormAddress ? value.number : address_at(unit, value.number);
  }

  void count_range_entry(const DwarfReader& reader) {
    if (++range_entries > kMostUses * reader.bytes.size()) refuse_damaged(reader.section);
  }

  void read_old_ranges(const Unit& unit, std::uint64_t offset, std::vector<Interval>* code) {
    DwarfReader reader{sections.ranges, ".debug_ranges"};
    reader.go_to(offset);
    const std::uint64_t all_ones =
        unit.address_size == 8 ? ~std::uint64_t{0} : ~std::uint64_t{0} >> 32;
    std::uint64_t base = unit.low_pc;
    for (;;) {
      count_range_entry(reader);
      const std::uint64_t start = reader.fixed(unit.address_size);
      const std::uint64_t end = reader.fixed(unit.address_size);
      if (start == 0 && end == 0) return;
      if (start == all_ones) {
        base = end;
      } else {
        code->push_back({base + start, base + end});
      }
    }
  }

  void read_range_list(const Unit& unit, const Value& value, std::vector<Interval>* code) {
    DwarfReader reader{sections.range_lists, ".debug_rnglists"};
    std::uint64_t offset = value.number;
    if (value.form == kFormRangeListIndex) {
      if (value.number > sections.range_lists.size()) refuse_damaged(reader.section);
      reader.go_to(unit.range_list_base + value.number * unit.offset_size);
      offset = unit.range_list_base + reader.fixed(unit.offset_size);
    }
    reader.go_to(offset);
    std::uint64_t base = unit.low_pc;
    for (;;) {
      count_range_entry(reader);
      switch (reader.byte()) {
        case kEndOfList:
          return;
        case kBaseIndex:
          base = address_at(unit, reader.unsigned_leb());
          break;
        case kStartIndexEndIndex: {
          const std::uint64_t start = address_at(unit, reader.unsigned_leb());
          code->push_back({start, address_at(unit, reader.unsigned_leb())});
          break;
        }
        case kStartIndexLength: {
          const std::uint64_t start = address_at(unit, reader.unsigned_leb());
          code->push_back({start, start + reader.unsigned_leb()});
          break;
        }
        case kOffsetPair: {
          const std::uint64_t start = base + reader.unsigned_leb();
          code->push_back({start, base + reader.unsigned_leb()});
          break;
        }
        case kBaseAddress:
          base = reader.fixed(unit.address_size);
          break;
        case kStartEnd: {
          const std::uint64_t start = reader.fixed(unit.address_size);
          code->push_back({start, reader.fixed(unit.address_size)});
          break;
        }
        case kStartLength: {
          const std::uint64_t start = reader.fixed(unit.address_size);
          code->push_back({start, start + reader.unsigned_leb()});
          break;
        }
        default:
          refuse_damaged(reader.section);
      }
    }
  }

  std::vector<Interval> code_of(const Unit& unit, const Entry& entry) {
    std::vector<Interval> code;
    if (entry.ranges) {
      if (unit.version >= 5) {
        read_range_list(unit, *entry.ranges, &code);
      } else {
        read_old_ranges(unit, entry.ranges->number, &code);
      }
    } else if (entry.low_pc && entry.high_pc) {
      const std::uint64_t start = address(unit, *entry.low_pc);
      code.push_back({start, is_address(*entry.high_pc) ? address(unit, *entry.high_pc)
                                                        : start + entry.high_pc->number});
    }
    return code;
  }

  // ---- Names ----

  std::string_view text_of(const Value& value, std::size_t longest = kLongestName) const {
    std::string_view text = value.text;
    if (value.form == kFormTextOffset || value.form == kFormLineTextOffset) {
      const auto bytes = value.form == kFormTextOffset ? sections.texts : sections.line_texts;
      if (value.number >= bytes.size()) refuse_damaged(".debug_str");
      const auto rest = bytes.subspan(static_cast<std::size_t>(value.number));
      text = {reinterpret_cast<const char*>(rest.data()), std::min(rest.size(), longest)};
      text = text.substr(0, text.find('\0'));
    }
    return text.substr(0, longest);
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

  // Within a routine or a module, if there is one.
  void name_fortran_routine(Node& node, const Entry& entry, std::string_view name,
                            std::string_view module) const {
    node.is_fortran = true;
    node.is_main_program = entry.is_main_program;
    node.is_program_start = name == "main" && !entry.is_main_program && !entry.linkage_name;
    const std::string around(node.parent != kNone ? nodes[node.parent].name : module);
    node.name = fortran_name(name);
    if (!around.empty() && around.size() + node.name.size() < kLongestName) {
      node.name = around + ":" + node.name;
    }
  }

  // Routines of C++ that no other unit can call have no linkage name.
  void name_routine(Node& node, const Unit& unit, const Entry& entry,
                    std::string_view scope) const {
    if (unit.is_fortran) {
      const std::string_view name = entry.name ? text_of(*entry.name) : std::string_view();
      if (!name.empty()) name_fortran_routine(node, entry, name, scope);
      return;
    }
    node.is_linkage_name = entry.linkage_name.has_value();
    const auto& name = node.is_linkage_name ? entry.linkage_name : entry.name;
    if (!name) return;
    node.plain_name = text_of(*name, kLongestDecodedName);
    if (!node.is_linkage_name) node.name = scope;
  }

  // Appends what routines in the entry are called within.
  void enter_scope(std::string& scope, std::size_t start, const Unit& unit, std::uint64_t tag,
                   const Entry& entry) const {
    std::string name = entry.name ? std::string(text_of(*entry.name)) : std::string();
    if (tag == kNamespace && name.empty()) name = "(anonymous namespace)";
    if (tag == kStructure && name.empty()) name = kUnnamedClass;
    if (tag == kModule) name = fortran_name(name);
    if (name.empty() || scope.size() - start + name.size() > kLongestName) return;
    if (scope.size() > start) scope += unit.is_fortran ? ":" : "::";
    scope += name;
  }

  // ---- Units ----

  std::uint32_t file_index(const Unit& unit, std::uint64_t number) const {
    return unit.files != nullptr && number < unit.files->size() ? (*unit.files)[number] : 0;
  }

  void take_unit_entry(Unit& unit, const Entry& entry) const {
    if (entry.line_offset) {
      const auto found = lines.units.find(entry.line_offset->number);
      if (found != lines.units.end()) unit.files = &found->second;
    }
    if (entry.address_base) unit.address_base = entry.address_base->number;
    if (entry.range_list_base) unit.range_list_base = entry.range_list_base->number;
    if (entry.low_pc) unit.low_pc = address(unit, *entry.low_pc);
    unit.is_fortran = std::find(std::begin(kFortranLanguages), std::end(kFortranLanguages),
                                entry.language) != std::end(kFortranLanguages);
  }

  // The index of the node that `entry` becomes.
  std::size_t add_node(const Unit& unit, std::uint64_t offset, bool is_routine, std::size_t parent,
                       const Entry& entry, std::string_view scope) {
    Node node{is_routine, parent, parent == kNone ? 0 : nodes[parent].depth + 1};
    if (entry.file) node.file = file_index(unit, entry.file->number);
    node.line = static_cast<std::uint32_t>(entry.line);
    if (entry.origin) node.origin = entry.origin->number;
    node.code = code_of(unit, entry);
    if (is_routine) name_routine(node, unit, entry, scope);
    nodes.push_back(std::move(node));
    if (is_routine) routines.emplace(offset, nodes.size() - 1);
    return nodes.size() - 1;
  }

  void read_unit(DwarfReader unit_bytes, Unit unit, const Abbreviations& abbreviations) {
    struct Level {
      std::size_t node;  // that holds it
      // Around it, and where its own begins: anew in each routine.
      std::size_t scope_length, scope_start;
    };
    std::vector<Level> around;
    std::string scope;  // of the innermost level, after those around routines
    std::size_t scope_start = 0;
    bool is_first = true;
    while (!unit_bytes.done()) {
      const std::uint64_t offset = unit.start + unit_bytes.at;
      const std::uint64_t code = unit_bytes.unsigned_leb();
      if (code == 0) {
        if (around.empty()) continue;
        scope.resize(around.back().scope_length);
        scope_start = around.back().scope_start;
        around.pop_back();
        continue;
      }
      const auto found = abbreviations.find(code);
      if (found == abbreviations.end()) refuse_damaged(unit_bytes.section);
      const Entry entry = read_entry(unit_bytes, unit, found->second);
      std::size_t node = around.empty() ? kNone : around.back().node;
      if (is_first) take_unit_entry(unit, entry);
      is_first = false;
      const std::uint64_t tag = found->second.tag;
      if (tag == kRoutine || tag == kInlinedCall) {
        node = add_node(unit, offset, tag == kRoutine, node, entry,
                        std::string_view(scope).substr(scope_start));
      }
      if (!found->second.has_children) continue;
      around.push_back({node, scope.size(), scope_start});
      if (tag == kRoutine) scope_start = scope.size();
      if (std::find(std::begin(kScopes), std::end(kScopes), tag) != std::end(kScopes)) {
        enter_scope(scope, scope_start, unit, tag, entry);
      }
    }
  }

  void read_all() {
    std::unordered_map<std::uint64_t, Abbreviations> tables;  // units may share one
    DwarfReader reader{sections.info, ".debug_info"};
    while (!reader.done()) {
      Unit unit{};
      unit.start = reader.at;
      const std::uint64_t length = reader.unit_length(&unit.offset_size);
      if (length == 0) continue;  // padding
      // From the unit's start, since references count from there.
      const std::size_t header = reader.at - unit.start;
      reader.at = unit.start;
      if (length > sections.info.size()) refuse_damaged(reader.section);
      DwarfReader bytes = reader.part(header + length);
      bytes.skip(header);
      unit.version = static_cast<unsigned>(bytes.fixed(2));
      if (unit.version < kOldestVersion || unit.version > kNewestVersion) continue;
      std::uint64_t abbreviations = 0;
      if (unit.version >= 5) {
        const std::uint8_t type = bytes.byte();
        unit.address_size = bytes.byte();
        abbreviations = bytes.fixed(unit.offset_size);
        if (type != kCompileUnit && type != kPartialUnit) continue;  // it has no code
      } else {
        abbreviations = bytes.fixed(unit.offset_size);
        unit.address_size = bytes.byte();
      }
      if (unit.address_size != 8 && unit.address_size != 4) refuse_damaged(reader.section);
      auto table = tables.find(abbreviations);
      if (table == tables.end()) {
        table = tables
                    .emplace(abbreviations,
                             read_abbreviations(sections, abbreviations, &abbreviation_bytes))
                    .first;
      }
      read_unit(bytes, unit, table->second);
    }
  }

  // The entry that has the name of a routine, or of one that was inlined.
  const Node* named(const Node* node) const {
    for (int i = 0; i < kMostOrigins && node->origin != 0; ++i) {
      if (!(node->is_fortran ? node->name.empty() : node->plain_name.empty())) break;
      const auto origin = routines.find(node->origin);
      if (origin == routines.end()) break;
      node = &nodes[origin->second];
    }
    return node;
  }

  // The file in which a routine is declared, which its abstract form may state.
  std::uint32_t declaring_file(const Node* node) const {
    for (int i = 0; i < kMostOrigins && node->file == 0 && node->origin != 0; ++i) {
      const auto origin = routines.find(node->origin);
      if (origin == routines.end()) break;
      node = &nodes[origin->second];
    }
    return node->file;
  }
};

// Each name once.
struct NameIndex {
  const EntryReader& reader;
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
    const Node* const routine = reader.named(&reader.nodes[named.parent]);
    std::string name(routine->plain_name);
    if (routine->is_linkage_name) name = shown_name(name);
    return name + "::" + named.name;
  }
};

}  // namespace

DebugEntries read_debug_entries(const DebugSections& sections, const LineTable& lines) {
  EntryReader reader{sections, lines};
  reader.read_all();
  DebugEntries result;
  result.names.emplace_back();
  NameIndex names{reader, result.names};
  struct Place {
    std::uint32_t file, line;
  };
  std::vector<Place> places;  // of each node; a parent comes before what is in it
  for (const Node& node : reader.nodes) {
    Place place{};
    std::uint32_t name = 0, origin = 0;
    if (node.is_routine) {
      place = {reader.declaring_file(&node), 0};
      origin = place.file;
    } else if (node.parent != kNone) {
      place = places[node.parent];
      if (node.file == place.file && node.line != 0) place.line = node.line;
      if (!node.code.empty()) {
        const Node* const named = reader.named(&node);
        name = names.index_of(named);
        origin = reader.declaring_file(named);
      }
    }
    places.push_back(place);
    if (node.is_routine && !node.code.empty()) {
      const Node* const named = reader.named(&node);
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
