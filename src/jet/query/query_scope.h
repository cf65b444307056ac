// What the names in a query mean: its sources with their columns.
#ifndef NIMPORT_JET_QUERY_QUERY_SCOPE_H_
#define NIMPORT_JET_QUERY_QUERY_SCOPE_H_

#include <cstddef>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jet/query/expression/expression.h"
#include "jet/query/expression/expression_evaluator.h"
#include "jet/query/expression/expression_text.h"
#include "text/ascii.h"
#include "text/name_map.h"

namespace nimport::jet {

// A source of a query with its columns bound. Names are UTF-8.
struct ScopeSource {
  struct Column {
    std::string name;
    BoundPtr expression;
  };
  std::string name;  // what the source is known as
  std::vector<Column> columns;
  TableSet tables;
};

// A column found by its name.
struct FoundColumn {
  const ScopeSource* source = nullptr;
  const ScopeSource::Column* column = nullptr;
};

// Functions throw SqlError naming what is unknown or ambiguous. Names compare without regard to the
// case of ASCII letters.
class QueryScope {
 public:
  explicit QueryScope(const TextRules& texts) : texts_(texts) {}

  void AddSource(ScopeSource source);
  // A column of the output list that later ones and ORDER BY may name. Of several with one alias
  // the first counts.
  void AddOutput(const std::string& alias, BoundPtr expression) {
    outputs_.emplace(alias, std::move(expression));
  }

  // Their addresses stay when others are added.
  [[nodiscard]] const std::deque<ScopeSource>& Sources() const { return sources_; }
  // The position of a source; throws when there is none.
  [[nodiscard]] std::size_t FindSource(std::string_view name) const;

  // Throws when no source, or more than one, has such a column. `source` may be empty.
  [[nodiscard]] FoundColumn FindColumn(const std::string& source, const std::string& name) const;
  // Null when there is none.
  [[nodiscard]] BoundPtr FindOutput(std::string_view alias) const;

  // Whether a Column expression names an output: it is not qualified and no source has such a
  // column.
  [[nodiscard]] bool IsOutput(const Expression& column) const;

  // Binds to columns of the sources and, where none fits, to outputs.
  [[nodiscard]] BoundPtr Bind(const Expression& expression) const;

 private:
  // In the order of the sources, one of each at most.
  [[nodiscard]] std::span<const FoundColumn> FindAll(std::string_view columnName) const;
  [[nodiscard]] FoundColumn FindQualified(const std::string& source, const std::string& name) const;
  [[nodiscard]] BoundPtr BindName(const Expression& expression) const;

  const TextRules& texts_;
  std::deque<ScopeSource> sources_;
  text::NameMap<std::vector<FoundColumn>> columns_;  // of all sources
  text::NameMap<BoundPtr> outputs_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_SCOPE_H_
