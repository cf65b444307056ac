#include "jet/salvage/definition_check.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "jet/database_error.h"
#include "jet/format/jet_layout.h"
#include "jet/storage/page_file.h"
#include "jet/storage/value_decoder.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

constexpr std::size_t MAX_WITNESS_ROWS = 32;

// Trying every change of a longer definition would take too long.
constexpr std::size_t MAX_CORRECTED_BYTES = 4096;

bool IsLongValue(ColumnType type) {
  return type == ColumnType::Memo || type == ColumnType::Ole;
}

bool IsKnownType(const Column& column) {
  return column.storedType == static_cast<std::uint8_t>(column.type) ||
         column.storedType == COLUMN_TYPE_OWN_BINARY;
}

bool HasPossibleSize(const Column& column) {
  if (IsLongValue(column.type)) return column.sizeBytes == 0 && !column.isFixed;
  if (column.type == ColumnType::Boolean) return column.sizeBytes == 1;
  const std::size_t width = FixedWidth(column.type);
  return width == 0 ? column.sizeBytes > 0 : column.sizeBytes == width;
}

// As stored: a name in code page 932 that spells an ASCII one does so in ASCII.
std::string ToStoredName(const std::string& name, TextForm form) {
  if (form == TextForm::CodePage) return name;
  std::string stored;
  for (const char c : name) {
    stored += c;
    stored += '\0';
  }
  return stored;
}

// Whether one byte makes the difference.
bool IsOneByteOff(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  int differences = 0;
  for (std::size_t i = 0; i < a.size(); ++i)
    differences += a[i] == b[i] ? 0 : 1;
  return differences == 1;
}

const Column* FindByName(const StoredDefinition& definition, const std::string& storedName) {
  const auto found = std::ranges::find_if(definition.columns, [&](const Column& column) {
    return text::EqualsIgnoringCase(column.name, storedName);
  });
  return found == definition.columns.end() ? nullptr : &*found;
}

const Column* FindById(const StoredDefinition& definition, std::uint16_t id) {
  const auto found = std::ranges::lower_bound(definition.columns, id, {}, &Column::id);
  return found == definition.columns.end() || found->id != id ? nullptr : &*found;
}

bool HasDeletedColumns(const StoredDefinition& definition) {
  return definition.columns.size() < definition.columnHighWater;
}

// Columns with values in the fixed area, in its order.
std::vector<const Column*> FixedColumns(const StoredDefinition& definition) {
  std::vector<const Column*> fixed;
  for (const Column& column : definition.columns) {
    if (column.isFixed && column.type != ColumnType::Boolean) fixed.push_back(&column);
  }
  std::ranges::sort(fixed, {}, &Column::fixedOffset);
  return fixed;
}

std::size_t FixedEnd(const Column& column) {
  return std::size_t{column.fixedOffset} + column.sizeBytes;
}

std::string CheckFixedArea(const std::vector<const Column*>& fixed, bool mayHaveGaps) {
  std::size_t end = 0;
  for (const Column* column : fixed) {
    if (column->fixedOffset < end) return "columns overlap in its rows";
    if (column->fixedOffset > end && !mayHaveGaps) return "there is a gap between its columns";
    end = FixedEnd(*column);
  }
  return {};
}

std::string CheckVariableSlots(const StoredDefinition& definition) {
  std::vector<bool> isTaken(definition.variableSlots);
  std::size_t count = 0;
  for (const Column& column : definition.columns) {
    if (column.isFixed) continue;
    ++count;
    if (column.variableSlot >= definition.variableSlots) {
      return "a column has the variable slot " + std::to_string(column.variableSlot) + " of " +
             std::to_string(definition.variableSlots);
    }
    if (isTaken[column.variableSlot]) return "two columns have the same variable slot";
    isTaken[column.variableSlot] = true;
  }
  if (count < definition.variableSlots && !HasDeletedColumns(definition)) {
    return "of its " + std::to_string(definition.variableSlots) + " variable slots " +
           std::to_string(count) + " have a column";
  }
  return {};
}

std::string CheckNames(const StoredDefinition& definition) {
  std::vector<std::string> names;
  for (const Column& column : definition.columns)
    names.push_back(text::AsciiLower(column.name));
  std::ranges::sort(names);
  if (!names.empty() && names.front().empty()) return "a column has no name";
  if (std::ranges::adjacent_find(names) != names.end()) return "two columns have the same name";
  return {};
}

std::string CheckRest(const StoredDefinition& definition) {
  if (!definition.brokenRest.empty()) return definition.brokenRest;
  for (const std::uint16_t id : definition.keyColumnIds) {
    if (FindById(definition, id) == nullptr) return "an index is of a column that there is not";
  }
  if (std::ranges::find(definition.otherMaps, definition.ownedPagesMap) !=
      definition.otherMaps.end()) {
    return "two of its usage maps are the same";
  }
  return {};
}

// What a row should look like by its table's definition. Columns that were added later do not
// count.
struct RowShape {
  std::size_t fixedBytes = 0;     // the end of the last column
  std::size_t variableSlots = 0;  // after the last column's
  std::size_t columnCount = 0;    // those of deleted columns not among them
};

RowShape ShapeOf(const StoredDefinition& definition, std::size_t rowColumnCount) {
  RowShape shape;
  for (const Column& column : definition.columns) {
    if (column.id >= rowColumnCount) continue;
    ++shape.columnCount;
    if (!column.isFixed) {
      shape.variableSlots = std::max<std::size_t>(shape.variableSlots, column.variableSlot + 1U);
    } else if (column.type != ColumnType::Boolean) {
      shape.fixedBytes = std::max(shape.fixedBytes, FixedEnd(column));
    }
  }
  return shape;
}

std::string CheckRow(const RowSample::WitnessRow& row, const StoredDefinition& definition) {
  const std::size_t count = row.view.ColumnCount();
  if (count > definition.columnHighWater) {
    return "its rows have " + std::to_string(count) + " columns, not " +
           std::to_string(definition.columnHighWater);
  }
  const RowShape shape = ShapeOf(definition, count);
  // Deleted columns have left their room in the rows.
  const bool mayHaveMore = shape.columnCount < count;
  const bool mayHaveSlots = shape.variableSlots > 0 || mayHaveMore;
  const auto fits = [mayHaveMore](std::size_t found, std::size_t wanted) {
    return found == wanted || (mayHaveMore && found > wanted);
  };
  if (shape.variableSlots == 0 && fits(row.fixedBytesAlone, shape.fixedBytes)) return {};
  if (mayHaveSlots && row.variableSlots && fits(*row.variableSlots, shape.variableSlots) &&
      fits(row.fixedBytesBeforeVariable, shape.fixedBytes)) {
    return {};
  }
  return "its rows do not have " + std::to_string(shape.fixedBytes) +
         " bytes of fixed values and " + std::to_string(shape.variableSlots) + " variable slots";
}

bool AreSame(const StoredDefinition& a, const StoredDefinition& b) {
  return a.columns == b.columns && a.ownedPagesMap == b.ownedPagesMap &&
         a.columnHighWater == b.columnHighWater;
}

// Goes through all changes of one bit of a definition and keeps the best one.
class Corrector {
 public:
  Corrector(const JetLayout& layout, std::span<const std::byte> damaged, std::uint32_t page,
            const DefinitionCheck& check)
      : layout_(layout), bytes_(damaged.begin(), damaged.end()), page_(page), check_(check) {
    try {
      const StoredDefinition asStored = ParseDefinition(layout_, bytes_, page_);
      if (check_.FindContradiction(asStored).empty()) {
        mostSurprises_ = check_.CountSurprises(asStored);
      }
    } catch (const DatabaseError&) {
      // Anything that can be read surprises less.
    }
  }

  std::optional<StoredDefinition> Run() {
    // What follows the last byte of a definition is zero.
    const auto last = std::ranges::find_if(bytes_.rbegin(), bytes_.rend(),
                                           [](std::byte byte) { return byte != std::byte{0}; });
    const std::span changed(bytes_.begin(), last.base());
    if (changed.size() > MAX_CORRECTED_BYTES) return std::nullopt;
    for (std::byte& byte : changed) {
      for (unsigned bit = 0; bit < 8; ++bit)
        TryWithout(byte, std::byte{1} << bit);
    }
    if (isAmbiguous_) return std::nullopt;
    return std::move(best_);
  }

 private:
  void TryWithout(std::byte& byte, std::byte bit) {
    byte ^= bit;
    try {
      StoredDefinition definition = ParseDefinition(layout_, bytes_, page_);
      if (check_.FindContradiction(definition).empty()) Consider(std::move(definition));
    } catch (const DatabaseError&) {
      // Not a definition.
    }
    byte ^= bit;
  }

  void Consider(StoredDefinition definition) {
    const std::size_t surprises = check_.CountSurprises(definition);
    if (mostSurprises_ && surprises >= *mostSurprises_) return;
    const std::pair oddness(surprises, check_.CountOddities(definition));
    if (best_ && oddness > oddness_) return;
    if (best_ && oddness == oddness_) {
      isAmbiguous_ = isAmbiguous_ || !AreSame(*best_, definition);
      return;
    }
    isAmbiguous_ = false;
    oddness_ = oddness;
    best_ = std::move(definition);
  }

  const JetLayout& layout_;
  std::vector<std::byte> bytes_;
  std::uint32_t page_;
  const DefinitionCheck& check_;
  std::optional<std::size_t> mostSurprises_;  // fewer than these; empty for any number
  std::optional<StoredDefinition> best_;
  std::pair<std::size_t, std::size_t> oddness_;  // surprises and oddities of the best one
  bool isAmbiguous_ = false;
};

}  // namespace

RowSample::RowSample(PageFile& file, std::span<const std::uint32_t> pages,
                     std::uint32_t definitionPage) {
  if (pages.empty()) return;
  pages_.reserve(2);
  for (const std::uint32_t page : {pages.front(), pages.back()}) {
    if (!pages_.empty() && page == pages.front()) break;
    try {
      pages_.emplace_back(file.Read(page), file.Layout(), definitionPage);
      AddRows(pages_.back(), file.Layout());
    } catch (const DatabaseError&) {
      // Said when the rows are asked for.
    }
  }
}

void RowSample::AddRows(const DataPage& page, const JetLayout& layout) {
  const std::size_t end = rows_.size() + MAX_WITNESS_ROWS;
  for (std::uint32_t slot = 0; slot < page.SlotCount() && rows_.size() < end; ++slot) {
    try {
      const Slot stored = page.GetSlot(slot);
      if (stored.flags != SLOT_LIVE) continue;
      WitnessRow row{.view = RowView(layout, stored.bytes), .variableSlots = std::nullopt};
      row.fixedBytesAlone = row.view.FixedBytesAlone();
      try {
        row.fixedBytesBeforeVariable = row.view.FixedBytesBeforeVariable();
        row.variableSlots = row.view.VariableSlotCount();
      } catch (const DatabaseError&) {
        // A row without variable slots.
      }
      rows_.push_back(row);
    } catch (const DatabaseError&) {
      // Said when the row is asked for.
    }
  }
}

DefinitionCheck::DefinitionCheck(const JetLayout& layout, const RowSample& rows,
                                 const KnownTable* known)
    : rows_(rows) {
  if (known == nullptr) return;
  for (const auto* columns : {&known->columns, &known->usualColumns, &known->otherColumns}) {
    for (const KnownColumn& column : *columns) {
      expected_.push_back({.storedName = ToStoredName(column.name, layout.text),
                           .name = column.name,
                           .use = column.use});
    }
  }
}

std::string DefinitionCheck::FindContradiction(const StoredDefinition& definition) const {
  if (definition.columnHighWater > MAX_COLUMNS) {
    return "its columns have ids below " + std::to_string(definition.columnHighWater);
  }
  for (const Column& column : definition.columns) {
    if (std::string damage = CheckColumn(column, definition); !damage.empty()) return damage;
  }
  const std::vector<const Column*> fixed = FixedColumns(definition);
  if (std::string damage = CheckFixedArea(fixed, HasDeletedColumns(definition)); !damage.empty()) {
    return damage;
  }
  for (auto* check : {&CheckVariableSlots, &CheckRest, &CheckNames}) {
    if (std::string damage = (*check)(definition); !damage.empty()) return damage;
  }
  return CheckRows(definition);
}

std::string DefinitionCheck::CheckColumn(const Column& column,
                                         const StoredDefinition& definition) const {
  const auto describe = [&column] { return "column " + std::to_string(column.id); };
  if (!IsKnownType(column)) {
    return describe() + " is of the type " + std::to_string(column.storedType) +
           ", which there is not";
  }
  if (!HasPossibleSize(column)) {
    return describe() + " of type " + std::to_string(column.storedType) + " cannot have " +
           std::to_string(column.sizeBytes) + " bytes";
  }
  if (!definition.brokenRest.empty()) return {};
  const auto& ids = definition.longValueColumnIds;
  if (IsLongValue(column.type) != (std::ranges::find(ids, column.id) != ids.end())) {
    return describe() + (IsLongValue(column.type)
                             ? " has long values, but no maps for them"
                             : " has maps for long values, which it cannot hold");
  }
  return {};
}

std::string DefinitionCheck::CheckRows(const StoredDefinition& definition) const {
  std::string damage;
  for (const RowSample::WitnessRow& row : rows_.Rows()) {
    damage = CheckRow(row, definition);
    // One row that bears it out is enough: others may be damaged themselves.
    if (damage.empty()) break;
  }
  return damage;
}

std::size_t DefinitionCheck::CountSurprises(const StoredDefinition& definition) const {
  return static_cast<std::size_t>(std::ranges::count_if(expected_, [&](const Expected& expected) {
    const Column* column = FindByName(definition, expected.storedName);
    return column == nullptr || !Suits(*column, expected.use);
  }));
}

std::size_t DefinitionCheck::CountOddities(const StoredDefinition& definition) const {
  std::size_t count = 0;
  const Column* before = nullptr;
  for (const Column& column : definition.columns) {
    if (!column.isFixed || column.type == ColumnType::Boolean) continue;
    if (before != nullptr && column.fixedOffset < before->fixedOffset) ++count;
    before = &column;
  }
  const bool knowsAll = std::ranges::any_of(rows_.Rows(), [&](const RowSample::WitnessRow& row) {
    return row.view.ColumnCount() >= definition.columnHighWater;
  });
  return knowsAll ? count : count + 1;
}

std::string DefinitionCheck::FindSuspicion(const StoredDefinition& definition) const {
  for (const Expected& expected : expected_) {
    const Column* column = FindByName(definition, expected.storedName);
    if (column != nullptr && !Suits(*column, expected.use)) {
      return "the column " + expected.name + " is of type " + std::to_string(column->storedType);
    }
    if (column == nullptr && std::ranges::any_of(definition.columns, [&](const Column& other) {
          return IsOneByteOff(other.name, expected.storedName);
        })) {
      return "the column " + expected.name + " has another name";
    }
  }
  return {};
}

bool DefinitionCheck::Suits(const Column& column, ColumnUse use) const {
  switch (use) {
    case ColumnUse::Any:
      return true;
    case ColumnUse::Text:
      return column.type == ColumnType::Text || column.type == ColumnType::Memo;
    case ColumnUse::Date:
      return column.type == ColumnType::DateTime ||
             (column.type == ColumnType::Text && !column.isFixed);
    case ColumnUse::Number:
      break;
  }
  switch (column.type) {
    case ColumnType::Byte:
    case ColumnType::Integer:
    case ColumnType::Long:
    case ColumnType::Numeric:
      return true;
    case ColumnType::Text:
      return !column.isFixed;
    case ColumnType::Single:
    case ColumnType::Double:
    case ColumnType::Currency:
      return HoldsWholeNumbers(column);
    default:
      return false;
  }
}

// Other bits than a number's own hardly ever make whole numbers.
bool DefinitionCheck::HoldsWholeNumbers(const Column& column) const {
  bool hasOthers = false;
  for (const RowSample::WitnessRow& row : rows_.Rows()) {
    try {
      if (!column.isFixed || !row.view.IsPresent(column.id)) continue;
      const auto bytes = row.view.FixedBytes(column.fixedOffset, column.sizeBytes);
      if (std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; })) continue;
      hasOthers = true;
      if (ToInteger(DecodePlain(row.view, column))) return true;
    } catch (const DatabaseError&) {
      // Said when the value is asked for.
    }
  }
  return !hasOthers;
}

StoredDefinition CheckedDefinition(const JetLayout& layout, std::span<const std::byte> stored,
                                   std::uint32_t page, const DefinitionCheck& check,
                                   bool isSalvaging,
                                   const std::function<void(const std::string&)>& onDamage) {
  std::optional<StoredDefinition> definition;
  std::exception_ptr failure;
  std::string damage;
  bool isCertain = true;
  try {
    definition = ParseDefinition(layout, stored, page);
    damage = check.FindContradiction(*definition);
    if (damage.empty()) {
      isCertain = false;
      damage = check.FindSuspicion(*definition);
    }
  } catch (const DatabaseError& error) {
    if (!isSalvaging) throw;
    failure = std::current_exception();
    damage = error.reason();
  }
  if (damage.empty()) return *std::move(definition);
  std::optional<StoredDefinition> corrected;
  if (isSalvaging || !isCertain) corrected = Corrector(layout, stored, page, check).Run();
  // A table may differ from what the caller knows and be sound.
  if (!isCertain && !corrected) return *std::move(definition);
  if (failure && !corrected) std::rethrow_exception(failure);
  onDamage("the table's definition is damaged: " + damage + (corrected ? "; corrected" : ""));
  return corrected ? *std::move(corrected) : *std::move(definition);
}

}  // namespace nimport::jet
