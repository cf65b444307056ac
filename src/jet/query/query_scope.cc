#include "jet/query/query_scope.h"

#include <algorithm>
#include <utility>

#include "jet/query/expression/sql_text.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

[[noreturn]] void FailAmbiguous(std::string_view name, std::span<const FoundColumn> found) {
  std::string sources;
  for (const FoundColumn& each : found) {
    if (!sources.empty()) sources += " and ";
    sources += Quote(each.source->name);
  }
  throw SqlError("the column " + Quote(name) + " could be that of " + sources);
}

}  // namespace

void QueryScope::AddSource(ScopeSource source) {
  const auto isSame = [&source](const ScopeSource& other) {
    return text::EqualsIgnoringCase(other.name, source.name);
  };
  if (std::any_of(sources_.begin(), sources_.end(), isSame)) {
    throw SqlError("two of its sources are called " + Quote(source.name));
  }
  const ScopeSource& added = sources_.emplace_back(std::move(source));
  for (const ScopeSource::Column& column : added.columns) {
    std::vector<FoundColumn>& found = columns_[column.name];
    // Of several columns of one name in a source the first counts.
    if (found.empty() || found.back().source != &added) found.push_back({&added, &column});
  }
}

std::size_t QueryScope::FindSource(std::string_view name) const {
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    if (text::EqualsIgnoringCase(sources_[i].name, name)) return i;
  }
  throw SqlError("it has no source " + Quote(name));
}

std::span<const FoundColumn> QueryScope::FindAll(std::string_view columnName) const {
  const auto found = columns_.find(columnName);
  return found == columns_.end() ? std::span<const FoundColumn>() : found->second;
}

FoundColumn QueryScope::FindQualified(const std::string& source, const std::string& name) const {
  for (const FoundColumn& candidate : FindAll(name)) {
    if (text::EqualsIgnoringCase(candidate.source->name, source)) return candidate;
  }
  const auto isSource = [&source](const ScopeSource& candidate) {
    return text::EqualsIgnoringCase(candidate.name, source);
  };
  if (std::ranges::any_of(sources_, isSource)) {
    throw SqlError("the source " + Quote(source) + " has no column " + Quote(name));
  }
  // A query over a join calls columns "Table.Column", and the point need not be in brackets.
  const auto whole = FindAll(source + '.' + name);
  if (whole.size() == 1) return whole.front();
  throw SqlError("it has no source " + Quote(source) + " to take the column " + Quote(name) +
                 " from");
}

FoundColumn QueryScope::FindColumn(const std::string& source, const std::string& name) const {
  if (!source.empty()) return FindQualified(source, name);
  const auto all = FindAll(name);
  if (all.empty()) {
    throw SqlError("none of its sources has a column " + Quote(name) +
                   ", and parameters are not evaluated");
  }
  if (all.size() > 1) FailAmbiguous(name, all);
  return all.front();
}

BoundPtr QueryScope::FindOutput(std::string_view alias) const {
  const auto found = outputs_.find(alias);
  return found == outputs_.end() ? nullptr : found->second;
}

bool QueryScope::IsOutput(const Expression& column) const {
  return column.source.empty() && FindAll(column.name).empty() &&
         FindOutput(column.name) != nullptr;
}

BoundPtr QueryScope::BindName(const Expression& expression) const {
  if (IsOutput(expression)) return FindOutput(expression.name);
  return FindColumn(expression.source, expression.name).column->expression;
}

BoundPtr QueryScope::Bind(const Expression& expression) const {
  switch (expression.operation) {
    case Operation::Literal:
      return BindLiteral(expression.literal, texts_);
    case Operation::Column:
      return BindName(expression);
    case Operation::AllColumns:
      throw SqlError("\"*\" has no meaning there");
    default:
      break;
  }
  std::vector<BoundPtr> operands;
  for (const auto& operand : expression.operands)
    operands.push_back(Bind(*operand));
  return BindOperation(expression.operation, std::move(operands), texts_);
}

}  // namespace nimport::jet
