// Whether a table's definition is what it was when it was written. Files have no checksums, but the
// same is told several times over: by the fields of a column record, by the layout that follows
// from all of them, by indexes and maps, by every row, and by what the caller knows of the table.
#ifndef NIMPORT_JET_SALVAGE_DEFINITION_CHECK_H_
#define NIMPORT_JET_SALVAGE_DEFINITION_CHECK_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "jet/open_options.h"
#include "jet/storage/data_page.h"
#include "jet/storage/row_view.h"
#include "jet/storage/table_definition.h"

namespace nimport::jet {

class PageFile;

// A few rows of a table, which bear witness to its definition.
class RowSample {
 public:
  // Rows of the first and the last of `pages`, those of the table with the definition on
  // `definitionPage`. Rows and pages that cannot be read are left out.
  RowSample(PageFile& file, std::span<const std::uint32_t> pages, std::uint32_t definitionPage);

  struct WitnessRow {
    RowView view;
    // Where the fixed area ends, and the number of variable slots, if the row has such at all;
    // empty where the row cannot have any.
    std::optional<std::size_t> variableSlots;
    std::size_t fixedBytesBeforeVariable = 0;
    std::size_t fixedBytesAlone = 0;  // as a row without variable slots
  };
  [[nodiscard]] std::span<const WitnessRow> Rows() const { return rows_; }

 private:
  void AddRows(const DataPage& page, const JetLayout& layout);

  std::vector<DataPage> pages_;  // keep the rows' bytes
  std::vector<WitnessRow> rows_;
};

class DefinitionCheck {
 public:
  // `rows` must outlive the check; `known` may be null. Definitions that are handed in have their
  // names as stored.
  DefinitionCheck(const JetLayout& layout, const RowSample& rows, const KnownTable* known);

  // What the definition says in contradiction to itself or to the rows, in a sentence; empty when
  // there is nothing. Files that Access wrote never have such, those with deleted and with added
  // columns included.
  [[nodiscard]] std::string FindContradiction(const StoredDefinition& definition) const;

  // How many columns are not there or not of the kind that the caller knows them to be. A sound
  // table may have some.
  [[nodiscard]] std::size_t CountSurprises(const StoredDefinition& definition) const;
  // How far it is from a table whose columns were made once, in the order of their ids: most are.
  [[nodiscard]] std::size_t CountOddities(const StoredDefinition& definition) const;
  // Those surprises that look like damage: a kind that does not fit, a name that is one byte off.
  [[nodiscard]] std::string FindSuspicion(const StoredDefinition& definition) const;

 private:
  struct Expected {
    std::string storedName;
    std::string name;
    ColumnUse use = ColumnUse::Any;
  };

  [[nodiscard]] std::string CheckColumn(const Column& column,
                                        const StoredDefinition& definition) const;
  [[nodiscard]] std::string CheckRows(const StoredDefinition& definition) const;
  [[nodiscard]] bool Suits(const Column& column, ColumnUse use) const;
  [[nodiscard]] bool HoldsWholeNumbers(const Column& column) const;

  const RowSample& rows_;
  std::vector<Expected> expected_;
};

// Parses a joined definition and checks it. What is damaged is told to `onDamage`, which may throw;
// the definition is then the one that was there before one bit of it changed, where only one such
// agrees with everything, and otherwise as it is stored. `isSalvaging` is whether `onDamage`
// returns at all: what nobody gets is not looked for. Throws DatabaseError, without a place, when
// the definition cannot be parsed.
[[nodiscard]] StoredDefinition CheckedDefinition(
    const JetLayout& layout, std::span<const std::byte> stored, std::uint32_t page,
    const DefinitionCheck& check, bool isSalvaging,
    const std::function<void(const std::string&)>& onDamage);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_SALVAGE_DEFINITION_CHECK_H_
