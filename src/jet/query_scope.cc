#include "jet/query_scope.h"

#include <algorithm>
#include <utility>

#include "jet/ascii_case.h"
#include "jet/sql_text.h"

namespace nimport::jet {
namespace {

const ScopeSource::Column* FindIn(const ScopeSource& source, std::string_view name) {
  const auto found = std::find_if(source.columns.begin(), source.columns.end(),
                                  [name](const ScopeSource::Column& column) {
                                    return EqualsIgnoringAsciiCase(column.name, name);
                                  });
  return found == source.columns.end() ? nullptr : &*found;
}

[[noreturn]] void FailAmbiguous(std::string_view name, const std::vector<FoundColumn>& found) {
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
    return EqualsIgnoringAsciiCase(other.name, source.name);
  };
  if (std::any_of(sources_.begin(), sources_.end(), isSame)) {
    throw SqlError("two of its sources are called " + Quote(source.name));
  }
  sources_.push_back(std::move(source));
}

std::size_t QueryScope::FindSource(std::string_view name) const {
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    if (EqualsIgnoringAsciiCase(sources_[i].name, name)) return i;
  }
  throw SqlError("it has no source " + Quote(name));
}

std::vector<FoundColumn> QueryScope::FindAll(std::string_view columnName) const {
  std::vector<FoundColumn> all;
  for (const ScopeSource& source : sources_) {
    if (const auto* column = FindIn(source, columnName)) all.push_back({&source, column});
  }
  return all;
}

FoundColumn QueryScope::FindQualified(const std::string& source, const std::string& name) const {
  for (const ScopeSource& candidate : sources_) {
    if (!EqualsIgnoringAsciiCase(candidate.name, source)) continue;
    if (const auto* column = FindIn(candidate, name)) return {&candidate, column};
    throw SqlError("the source " + Quote(source) + " has no column " + Quote(name));
  }
  // A query over a join calls columns "Table.Column", and the point need not be in brackets.
  const std::vector<FoundColumn> whole = FindAll(source + '.' + name);
  if (whole.size() == 1) return whole.front();
  throw SqlError("it has no source " + Quote(source) + " to take the column " + Quote(name) +
                 " from");
}

FoundColumn QueryScope::FindColumn(const std::string& source, const std::string& name) const {
  if (!source.empty()) return FindQualified(source, name);
  const std::vector<FoundColumn> all = FindAll(name);
  if (all.empty()) {
    throw SqlError("none of its sources has a column " + Quote(name) +
                   ", and parameters are not evaluated");
  }
  if (all.size() > 1) FailAmbiguous(name, all);
  return all.front();
}

BoundPtr QueryScope::FindOutput(std::string_view alias) const {
  const auto found = std::find_if(
      outputs_.begin(), outputs_.end(),
      [alias](const NamedOutput& output) { return EqualsIgnoringAsciiCase(output.alias, alias); });
  return found == outputs_.end() ? nullptr : found->expression;
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
