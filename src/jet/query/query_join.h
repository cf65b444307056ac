// Puts chains of joins together and decides how matching rows are found.
#ifndef NIMPORT_JET_QUERY_QUERY_JOIN_H_
#define NIMPORT_JET_QUERY_QUERY_JOIN_H_

#include <memory>

#include "jet/query/query_plan.h"

namespace nimport::jet {

[[nodiscard]] JoinChain MakeTableChain(TableNumber tableNumber);

// The query's chain itself where it can be walked on from; else its rows drive a new one.
[[nodiscard]] JoinChain MakeQueryChain(std::shared_ptr<QueryPlan> query);

// Extends `left` by a join with `right`; every row matches until a condition is added.
void AddJoin(JoinChain& left, JoinChain right, bool keepsLeft);

// Adds a condition to the last join of `chain`. It reads nothing but the chain's tables.
void AddJoinCondition(JoinChain& chain, const BoundPtr& condition);

// Lets only those rows of `chain` pass in which `condition` holds. It reads nothing but the chain's
// tables. Tested as early as its columns are known; an equality of two sides of an inner join helps
// to find the matching rows.
void AddFilter(JoinChain& chain, const BoundPtr& condition);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_JOIN_H_
