// The rows of a query that sorts, removes duplicates or counts: all of them, made at once.
#ifndef NIMPORT_JET_QUERY_QUERY_RESULT_H_
#define NIMPORT_JET_QUERY_QUERY_RESULT_H_

#include "jet/query/query_plan.h"

namespace nimport::jet {

// All rows in order; made at the first call and kept in `plan`.
[[nodiscard]] const RowList& Materialize(QueryPlan& plan, const QueryContext& context);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_RESULT_H_
