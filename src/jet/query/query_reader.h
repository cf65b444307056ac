// Reads the parts of a stored query off its rows in the system table.
#ifndef NIMPORT_JET_QUERY_QUERY_READER_H_
#define NIMPORT_JET_QUERY_QUERY_READER_H_

#include "jet/format/stored_query.h"

namespace nimport::jet {

// In every case it has a column; expressions are not parsed. Throws SqlError when it is no select
// query or has a clause that is not evaluated.
[[nodiscard]] SelectStatement ReadSelect(const StoredQuery& query);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_READER_H_
