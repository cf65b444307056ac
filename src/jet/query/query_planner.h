#ifndef NIMPORT_JET_QUERY_QUERY_PLANNER_H_
#define NIMPORT_JET_QUERY_QUERY_PLANNER_H_

#include "jet/query/query_plan.h"

namespace nimport::jet {

class Catalog;

// Reads the stored query `context.queryName` and plans its evaluation; puts the tables that it and
// the queries beneath it read into `context.tables`. Throws DatabaseError naming the query and the
// clause that cannot be evaluated.
[[nodiscard]] QueryPlan PlanQuery(Catalog& catalog, QueryContext& context);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_PLANNER_H_
