#include "debug_entries.h"

#include <algorithm>
#include <unordered_map>

namespace finisher {
namespace {

constexpr unsigned kOldestVersion = 2, kNewestVersion = 5;
constexpr std::size_t kMostUses = 16;  // of a list of ranges
constexpr std::size_t kLongestText = 4096;

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

// ---- Values --------------------------------------------------------------------

struct Unit {
  std::uint64_t start;  // of its header in .debug_info
  unsigned version;
  std::size_t offset_size, address_size;
  std::uint64_t low_pc = 0;
  std::uint64_t address_base = 0, range_list_base = 0;
};

// A value as it is stored: an address, a number, an offset, an index or a text by its form.
struct Value {
  std::uint64_t form = 0, number = 0;
  std::string_view text = {};
};

// The values whose meaning depends on the unit.
struct Values {
  std::optional<Value> low_pc, high_pc, ranges, address_base, range_list_base, name, linkage_name;
};

class UnitReader {
 public:
  UnitReader(const DebugSections& sections, EntryTaker* taker)
      : sections_(sections), taker_(taker) {}

  void read_all();

 private:
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

  DebugEntry read_entry(DwarfReader& reader, const Unit& unit, const Abbreviation& abbreviation,
                        Values* values) const {
    DebugEntry entry;
    entry.tag = abbreviation.tag;
    entry.has_children = abbreviation.has_children;
    for (const AttributeForm& declared : abbreviation.attributes) {
      const Value value = read(reader, unit, declared);
      switch (declared.attribute) {
        case kName:
          values->name = value;
          break;
        case kLinkageName:
          values->linkage_name = value;
          break;
        case kLowPc:
          values->low_pc = value;
          break;
        case kHighPc:
          values->high_pc = value;
          break;
        case kRanges:
          values->ranges = value;
          break;
        case kAddressBase:
          values->address_base = value;
          break;
        case kRangeListBase:
          values->range_list_base = value;
          break;
        case kLanguage:
          entry.language = value.number;
          break;
        case kMainProgram:
          entry.is_main_program = true;
          break;
        case kLineOffset:
          entry.line_offset = value.number;
          break;
        case kAbstractOrigin:
        case kSpecification:
          entry.origin = value.number;
          break;
        case kDeclaringFile:
        case kCallFile:
          entry.file = value.number;
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

  std::optional<std::string_view> text_of(const std::optional<Value>& value) const {
    if (!value) return std::nullopt;
    std::string_view text = value->text;
    if (value->form == kFormTextOffset || value->form == kFormLineTextOffset) {
      const auto bytes = value->form == kFormTextOffset ? sections_.texts : sections_.line_texts;
      if (value->number >= bytes.size()) refuse_damaged(".debug_str");
      const auto rest = bytes.subspan(static_cast<std::size_t>(value->number));
      text = {reinterpret_cast<const char*>(rest.data()), std::min(rest.size(), kLongestText)};
      text = text.substr(0, text.find('\0'));
    }
    return text.substr(0, kLongestText);
  }

  // ---- Addresses and ranges ----

  std::uint64_t address_at(const Unit& unit, std::uint64_t index) const {
    DwarfReader reader{sections_.addresses, ".debug_addr"};
    if (index > sections_.addresses.size()) refuse_damaged(reader.section);
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
    if (++range_entries_ > kMostUses * reader.bytes.size()) refuse_damaged(reader.section);
  }

  void read_old_ranges(const Unit& unit, std::uint64_t offset, std::vector<Interval>* code) {
    DwarfReader reader{sections_.ranges, ".debug_ranges"};
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
    DwarfReader reader{sections_.range_lists, ".debug_rnglists"};
    std::uint64_t offset = value.number;
    if (value.form == kFormRangeListIndex) {
      if (value.number > sections_.range_lists.size()) refuse_damaged(reader.section);
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

  std::vector<Interval> code_of(const Unit& unit, const Values& values) {
    std::vector<Interval> code;
    if (values.ranges) {
      if (unit.version >= 5) {
        read_range_list(unit, *values.ranges, &code);
      } else {
        read_old_ranges(unit, values.ranges->number, &code);
      }
    } else if (values.low_pc && values.high_pc) {
      const std::uint64_t start = address(unit, *values.low_pc);
      code.push_back({start, is_address(*values.high_pc) ? address(unit, *values.high_pc)
                                                         : start + values.high_pc->number});
    }
    return code;
  }

  // ---- Units ----

  void take_unit_values(const Values& values, Unit* unit) const {
    if (values.address_base) unit->address_base = values.address_base->number;
    if (values.range_list_base) unit->range_list_base = values.range_list_base->number;
    if (values.low_pc) unit->low_pc = address(*unit, *values.low_pc);
  }

  void read_unit(DwarfReader bytes, Unit unit, const Abbreviations& abbreviations) {
    std::size_t depth = 0;
    bool is_first = true;
    while (!bytes.done()) {
      const std::uint64_t offset = unit.start + bytes.at;
      const std::uint64_t code = bytes.unsigned_leb();
      if (code == 0) {
        if (depth == 0) continue;
        taker_->leave();
        --depth;
        continue;
      }
      const auto found = abbreviations.find(code);
      if (found == abbreviations.end()) refuse_damaged(bytes.section);
      Values values;
      DebugEntry entry = read_entry(bytes, unit, found->second, &values);
      entry.offset = offset;
      if (is_first) {
        take_unit_values(values, &unit);
        taker_->begin_unit(entry);
      }
      is_first = false;
      if (entry.is_code() || entry.is_scope()) {
        entry.name = text_of(values.name);
        entry.linkage_name = text_of(values.linkage_name);
      }
      if (entry.is_code()) entry.code = code_of(unit, values);
      taker_->enter(entry);
      if (entry.has_children) ++depth;
    }
  }

  const DebugSections& sections_;
  EntryTaker* const taker_;
  // Bounds for hostile data, in which one list or table may serve any number of
  // entries and units.
  std::size_t range_entries_ = 0, abbreviation_bytes_ = 0;
};

void UnitReader::read_all() {
  std::unordered_map<std::uint64_t, Abbreviations> tables;  // units may share one
  DwarfReader reader{sections_.info, ".debug_info"};
  while (!reader.done()) {
    Unit unit{};
    unit.start = reader.at;
    const std::uint64_t length = reader.unit_length(&unit.offset_size);
    if (length == 0) continue;  // padding
    // From the unit's start, since references count from there.
    const std::size_t header = reader.at - unit.start;
    reader.at = unit.start;
    if (length > sections_.info.size()) refuse_damaged(reader.section);
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
                           read_abbreviations(sections_, abbreviations, &abbreviation_bytes_))
                  .first;
    }
    read_unit(bytes, unit, table->second);
  }
}

}  // namespace

void read_entries(const DebugSections& sections, EntryTaker* taker) {
  UnitReader(sections, taker).read_all();
}

}  // namespace finisher
