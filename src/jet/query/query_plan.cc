#include "jet/query/query_plan.h"

#include <algorithm>

namespace nimport::jet {

SlotSet JoinChain::Slots() const {
  SlotSet slots = drivingSlots;
  for (const JoinStep& step : steps)
    slots |= step.rightSlots;
  return slots;
}

std::vector<Slot> ToList(const SlotSet& slots) {
  std::vector<Slot> list;
  for (std::size_t slot = 0; slot < slots.size(); ++slot) {
    if (slots.test(slot)) list.push_back(static_cast<Slot>(slot));
  }
  return list;
}

std::optional<std::size_t> FindDrivingColumn(const JoinChain& chain, const BoundExpression& column,
                                             QueryBudget& budget) {
  if (column.operation != Operation::Column || chain.driving.query) return std::nullopt;
  std::vector<ColumnPlace> reached{{column.slot, column.column}};
  for (std::size_t i = 0; i < reached.size(); ++i) {
    const ColumnPlace place = reached[i];
    if (place.slot == chain.driving.slot) return place.column;
    budget.Work(STEPS_PER_OPERATION * (chain.implications.size() + 1));
    for (const Implication& implication : chain.implications) {
      if (!(implication.from == place)) continue;
      if (std::find(reached.begin(), reached.end(), implication.to) != reached.end()) continue;
      reached.push_back(implication.to);
    }
  }
  return std::nullopt;
}

}  // namespace nimport::jet
