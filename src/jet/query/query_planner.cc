#include "jet/query/query_planner.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "jet/catalog/catalog.h"
#include "jet/database_error.h"
#include "jet/query/expression/expression_parser.h"
#include "jet/query/expression/sql_text.h"
#include "jet/query/query_join.h"
#include "jet/query/query_reader.h"
#include "jet/query/query_scope.h"
#include "jet/storage/stored_table.h"
#include "text/ascii.h"
#include "text/name_map.h"

namespace nimport::jet {
namespace {

// How deep queries may use one another. Jet gives up at fifty; people stay below ten.
constexpr std::size_t MAX_QUERY_DEPTH = 16;

// What * may add to one query's result. Jet's own limit for all columns is 255.
constexpr std::size_t MAX_OUTPUT_COLUMNS = 1024;

// Runs `work`; what it finds wrong with a clause is told together with the clause.
template <typename Work>
auto InClause(const std::string& clause, const std::string& text, Work work) {
  try {
    return work();
  } catch (const SqlError& error) {
    throw SqlError("its " + clause + ' ' + Quote(text) + ": " + error.what());
  }
}

void SplitConjuncts(const BoundPtr& condition, std::vector<BoundPtr>& conjuncts) {
  if (condition->operation != Operation::And) {
    conjuncts.push_back(condition);
    return;
  }
  for (const BoundPtr& operand : condition->operands)
    SplitConjuncts(operand, conjuncts);
}

// Sources that joins have brought together so far.
struct JoinGroup {
  JoinChain chain;
  std::vector<std::size_t> sources;
  std::optional<JoinKind> lastJoin;
};

// A column of the output before all names are known.
struct PendingColumn {
  std::string alias;
  FoundColumn origin;  // of a plain column
  BoundPtr expression;

  [[nodiscard]] std::string Name() const {
    if (!alias.empty()) return alias;
    return origin.column != nullptr ? origin.column->name : std::string();
  }
};

// What a computed column without an alias is called, as Jet counts.
std::string MakeExpressionName(std::size_t position) {
  constexpr std::size_t FIRST = 1000;
  return "Expr" + std::to_string(FIRST + position);
}

// Names that columns from different sources have.
text::NameSet FindSharedNames(const std::vector<PendingColumn>& pending) {
  text::NameMap<const ScopeSource*> sources;
  text::NameSet shared;
  for (const PendingColumn& column : pending) {
    const auto [known, isNew] = sources.emplace(column.Name(), column.origin.source);
    if (!isNew && known->second != column.origin.source) shared.insert(known->first);
  }
  return shared;
}

// Two plain columns of one name are called by their tables; the same column twice is counted.
std::vector<QueryPlan::Column> NameColumns(const std::vector<PendingColumn>& pending) {
  const auto shared = FindSharedNames(pending);
  text::NameSet taken;
  std::vector<QueryPlan::Column> columns;
  for (std::size_t i = 0; i < pending.size(); ++i) {
    const PendingColumn& column = pending[i];
    std::string name = column.Name();
    if (!column.alias.empty()) {
      if (taken.contains(name)) throw SqlError("two of its columns are called " + Quote(name));
    } else if (!name.empty() && shared.contains(name)) {
      name = column.origin.source->name + '.' + name;
    }
    if (name.empty() || taken.contains(name)) name = MakeExpressionName(i);
    taken.insert(name);
    columns.push_back({std::move(name), column.expression});
  }
  return columns;
}

class Planner {
 public:
  Planner(Catalog& catalog, QueryContext& context) : catalog_(catalog), context_(context) {}

  QueryPlan Plan(const std::string& name) {
    const std::shared_ptr<const StoredQuery> query = catalog_.FindQuery(name);
    if (!query) FailIn(name, "there is no such stored query");
    return PlanStored(*query);
  }

 private:
  [[noreturn]] void FailIn(const std::string& queryName, const std::string& reason) const {
    ErrorPlace place;
    place.file = context_.fileName;
    place.table = queryName;
    std::string user;
    if (!text::EqualsIgnoringCase(queryName, context_.queryName)) {
      user = " (used by the query " + Quote(context_.queryName) + ")";
    }
    throw DatabaseError(std::move(place), "the stored query cannot be evaluated: " + reason + user);
  }

  QueryPlan PlanStored(const StoredQuery& query) {
    const auto isSame = [&query](const std::string& name) {
      return text::EqualsIgnoringCase(name, query.name);
    };
    if (std::any_of(beingPlanned_.begin(), beingPlanned_.end(), isSame)) {
      FailIn(query.name, "it takes its rows from itself");
    }
    if (beingPlanned_.size() == MAX_QUERY_DEPTH) {
      FailIn(query.name, "queries use one another more than " + std::to_string(MAX_QUERY_DEPTH) +
                             " levels deep");
    }
    CountText(query);
    beingPlanned_.push_back(query.name);
    try {
      QueryPlan plan = PlanSelect(ReadSelect(query));
      beingPlanned_.pop_back();
      return plan;
    } catch (const SqlError& error) {
      FailIn(query.name, error.what());
    }
  }

  // A query that others use many times is read as often.
  void CountText(const StoredQuery& query) {
    std::uint64_t bytes = 0;
    for (const QueryRow& row : query.rows)
      bytes += sizeof row + row.name1.size() + row.name2.size() + row.expression.size();
    context_.budget->Work(STEPS_PER_SQL_BYTE * bytes);
  }

  QueryPlan PlanSelect(const SelectStatement& select) {
    QueryScope scope(context_.texts);
    std::vector<JoinGroup> groups = OpenSources(select, scope);
    for (const SelectStatement::Join& join : select.joins)
      AddJoinTo(groups, join, scope);
    QueryPlan plan;
    plan.chain = std::move(groups.front().chain);
    for (std::size_t i = 1; i < groups.size(); ++i) {
      AddJoin(plan.chain, std::move(groups[i].chain), false);
    }
    for (const std::string& condition : select.conditions)
      AddWhere(plan, condition, scope);
    PlanColumns(plan, select, scope);
    for (const SelectStatement::Order& order : select.order)
      AddOrder(plan, order, scope);
    plan.isDistinct = select.isDistinct;
    plan.top = select.top;
    plan.isTopPercent = select.isTopPercent;
    if (select.isDistinctRow) plan.distinctTables = FindDistinctTables(plan, scope);
    return plan;
  }

  std::vector<JoinGroup> OpenSources(const SelectStatement& select, QueryScope& scope) {
    std::vector<JoinGroup> groups;
    for (const SelectStatement::Source& source : select.sources) {
      ScopeSource opened;
      opened.name = source.KnownAs();
      JoinChain chain = OpenSource(source.name, opened);
      scope.AddSource(std::move(opened));
      groups.push_back(
          {.chain = std::move(chain), .sources = {groups.size()}, .lastJoin = std::nullopt});
    }
    return groups;
  }

  JoinChain OpenSource(const std::string& name, ScopeSource& opened) {
    if (auto table = catalog_.FindTable(name)) return OpenTable(std::move(table), opened);
    const auto query = catalog_.FindQuery(name);
    if (!query) throw SqlError("there is no table or query " + Quote(name) + " to take rows from");
    return OpenQuery(*query, opened);
  }

  JoinChain OpenTable(std::shared_ptr<const StoredTable> table, ScopeSource& opened) {
    if (context_.tables.size() == MAX_TABLES) {
      throw SqlError("with the queries beneath it reads more than " + std::to_string(MAX_TABLES) +
                     " tables");
    }
    const auto tableNumber = static_cast<TableNumber>(context_.tables.size());
    const std::vector<Column>& columns = table->Columns();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      opened.columns.push_back({columns[i].name, BindColumn(tableNumber, i, columns[i].type)});
    }
    opened.tables.set(tableNumber);
    context_.tables.push_back(std::move(table));
    return MakeTableChain(tableNumber);
  }

  JoinChain OpenQuery(const StoredQuery& query, ScopeSource& opened) {
    auto plan = std::make_shared<QueryPlan>(PlanStored(query));
    opened.tables = plan->chain.Tables();
    for (const QueryPlan::Column& column : plan->columns) {
      const bool isPlain = column.expression->operation == Operation::Column;
      opened.columns.push_back(
          {column.name,
           isPlain ? column.expression : BindNullUnlessMatched(column.expression, opened.tables)});
    }
    return MakeQueryChain(std::move(plan));
  }

  static std::size_t FindGroup(const std::vector<JoinGroup>& groups, std::size_t source) {
    const auto found = std::find_if(groups.begin(), groups.end(), [source](const JoinGroup& group) {
      return std::find(group.sources.begin(), group.sources.end(), source) != group.sources.end();
    });
    return static_cast<std::size_t>(found - groups.begin());
  }

  static void AddJoinTo(std::vector<JoinGroup>& groups, const SelectStatement::Join& join,
                        const QueryScope& scope) {
    InClause("join condition", join.condition, [&] {
      const std::size_t left = FindGroup(groups, scope.FindSource(join.left));
      const std::size_t right = FindGroup(groups, scope.FindSource(join.right));
      // Several rows for one join are conditions that must all hold.
      if (left == right && groups[left].lastJoin != join.kind) {
        throw SqlError(Quote(join.left) + " and " + Quote(join.right) +
                       " are joined already in another way");
      }
      const std::size_t joined = left == right ? left : MergeGroups(groups, left, right, join.kind);
      AddConditions(groups[joined].chain, scope.Bind(*ParseExpression(join.condition)));
    });
  }

  // Puts the join of both in the place of the one that stands first, and returns that place.
  static std::size_t MergeGroups(std::vector<JoinGroup>& groups, std::size_t left,
                                 std::size_t right, JoinKind kind) {
    const std::size_t place = std::min(left, right);
    JoinGroup merged;
    merged.lastJoin = kind;
    merged.sources = groups[left].sources;
    merged.sources.insert(merged.sources.end(), groups[right].sources.begin(),
                          groups[right].sources.end());
    // The side whose rows all stay drives.
    if (kind == JoinKind::Right) {
      merged.chain = std::move(groups[right].chain);
      AddJoin(merged.chain, std::move(groups[left].chain), true);
    } else {
      merged.chain = std::move(groups[left].chain);
      AddJoin(merged.chain, std::move(groups[right].chain), kind == JoinKind::Left);
    }
    groups[place] = std::move(merged);
    groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(std::max(left, right)));
    return place;
  }

  static void AddConditions(JoinChain& chain, const BoundPtr& condition) {
    if ((condition->tables & ~chain.Tables()).any()) {
      throw SqlError("it names a column of a source that is not joined yet");
    }
    std::vector<BoundPtr> conjuncts;
    SplitConjuncts(condition, conjuncts);
    for (const BoundPtr& conjunct : conjuncts)
      AddJoinCondition(chain, conjunct);
  }

  static void AddWhere(QueryPlan& plan, const std::string& text, const QueryScope& scope) {
    InClause("WHERE condition", text, [&] {
      std::vector<BoundPtr> conjuncts;
      SplitConjuncts(scope.Bind(*ParseExpression(text)), conjuncts);
      for (const BoundPtr& conjunct : conjuncts)
        AddFilter(plan.chain, conjunct);
    });
  }

  static void PlanColumns(QueryPlan& plan, const SelectStatement& select, QueryScope& scope) {
    std::vector<PendingColumn> pending;
    for (const SelectStatement::Column& column : select.columns) {
      InClause("column", column.expression, [&] { AddColumn(pending, column, scope); });
    }
    plan.columns = NameColumns(pending);
  }

  static void AddColumn(std::vector<PendingColumn>& pending, const SelectStatement::Column& column,
                        QueryScope& scope) {
    const auto parsed = ParseExpression(column.expression);
    if (parsed->operation == Operation::AllColumns) {
      AddAllColumns(pending, parsed->source, scope);
      return;
    }
    PendingColumn added{.alias = column.alias, .origin = {}, .expression = scope.Bind(*parsed)};
    if (parsed->operation == Operation::Column && !scope.IsOutput(*parsed)) {
      added.origin = scope.FindColumn(parsed->source, parsed->name);
    }
    if (!column.alias.empty()) scope.AddOutput(column.alias, added.expression);
    pending.push_back(std::move(added));
  }

  static void AddAllColumns(std::vector<PendingColumn>& pending, const std::string& sourceName,
                            const QueryScope& scope) {
    if (!sourceName.empty()) {
      AddColumnsOf(pending, scope.Sources()[scope.FindSource(sourceName)]);
      return;
    }
    for (const ScopeSource& source : scope.Sources())
      AddColumnsOf(pending, source);
  }

  static void AddColumnsOf(std::vector<PendingColumn>& pending, const ScopeSource& source) {
    if (pending.size() + source.columns.size() > MAX_OUTPUT_COLUMNS) {
      throw SqlError("it has more than " + std::to_string(MAX_OUTPUT_COLUMNS) + " columns");
    }
    for (const ScopeSource::Column& column : source.columns) {
      pending.push_back(
          {.alias = {}, .origin = {&source, &column}, .expression = column.expression});
    }
  }

  // An alias goes before a column of the same name; a number is the position of a column.
  static BoundPtr BindOrder(const QueryPlan& plan, const Expression& parsed,
                            const QueryScope& scope) {
    if (parsed.operation == Operation::Column && parsed.source.empty()) {
      if (BoundPtr output = scope.FindOutput(parsed.name)) return output;
    }
    const auto* position = std::get_if<std::int32_t>(&parsed.literal);
    if (position == nullptr || parsed.operation != Operation::Literal) return scope.Bind(parsed);
    if (*position < 1 || static_cast<std::size_t>(*position) > plan.columns.size()) {
      throw SqlError("there is no column of this number");
    }
    return plan.columns[static_cast<std::size_t>(*position) - 1].expression;
  }

  static void AddOrder(QueryPlan& plan, const SelectStatement::Order& order,
                       const QueryScope& scope) {
    InClause("ORDER BY expression", order.expression, [&] {
      BoundPtr expression = BindOrder(plan, *ParseExpression(order.expression), scope);
      const auto isSame = [&expression](const QueryPlan::SortKey& key) {
        return IsSameColumn(*key.expression, *expression);
      };
      // A column that is named again decides nothing: rows that come to it agree in it.
      if (std::ranges::any_of(plan.sortKeys, isSame)) return;
      plan.sortKeys.push_back(
          {.expression = std::move(expression), .isDescending = order.isDescending});
    });
  }

  static bool IsSameColumn(const BoundExpression& a, const BoundExpression& b) {
    if (&a == &b) return true;
    return a.operation == Operation::Column && b.operation == Operation::Column &&
           a.tableNumber == b.tableNumber && a.column == b.column;
  }

  // DISTINCTROW matters where the output leaves out some of the sources, but not all: then rows
  // that differ only in those are one.
  static TableSet FindDistinctTables(const QueryPlan& plan, const QueryScope& scope) {
    TableSet read;
    for (const QueryPlan::Column& column : plan.columns)
      read |= column.expression->tables;
    TableSet used;
    for (const ScopeSource& source : scope.Sources()) {
      if ((source.tables & read).any()) used |= source.tables;
    }
    return used == plan.chain.Tables() ? TableSet() : used;
  }

  Catalog& catalog_;
  QueryContext& context_;
  std::vector<std::string> beingPlanned_;  // this query and those that use it
};

}  // namespace

QueryPlan PlanQuery(Catalog& catalog, QueryContext& context) {
  return Planner(catalog, context).Plan(context.queryName);
}

}  // namespace nimport::jet
