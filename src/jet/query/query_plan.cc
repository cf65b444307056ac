#include "jet/query/query_plan.h"

#include <algorithm>

namespace nimport::jet {

TableSet JoinChain::Tables() const {
  TableSet tables = drivingTables;
  for (const JoinStep& step : steps)
    tables |= step.rightTables;
  return tables;
}

std::vector<TableNumber> ToList(const TableSet& tables) {
  std::vector<TableNumber> list;
  for (std::size_t tableNumber = 0; tableNumber < tables.size(); ++tableNumber) {
    if (tables.test(tableNumber)) list.push_back(static_cast<TableNumber>(tableNumber));
  }
  return list;
}

std::optional<std::size_t> FindDrivingColumn(const JoinChain& chain, const BoundExpression& column,
                                             QueryBudget& budget) {
  if (column.operation != Operation::Column || chain.driving.query) return std::nullopt;
  std::vector<ColumnPlace> reached{{column.tableNumber, column.column}};
  for (std::size_t i = 0; i < reached.size(); ++i) {
    const ColumnPlace place = reached[i];
    if (place.tableNumber == chain.driving.tableNumber) return place.column;
    budget.Work(STEPS_PER_OPERATION * (chain.equalities.size() + 1));
    for (const ColumnEquality& equality : chain.equalities) {
      if (!(equality.from == place)) continue;
      if (std::find(reached.begin(), reached.end(), equality.to) != reached.end()) continue;
      reached.push_back(equality.to);
    }
  }
  return std::nullopt;
}

}  // namespace nimport::jet
