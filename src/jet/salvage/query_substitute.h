#ifndef NIMPORT_JET_SALVAGE_QUERY_SUBSTITUTE_H_
#define NIMPORT_JET_SALVAGE_QUERY_SUBSTITUTE_H_

#include <string>

#include "jet/format/stored_query.h"

namespace nimport::jet {

class StoredTable;

// Whether the rows of a stored select query are all there, as far as they tell themselves: they are
// counted from 1 for each attribute, begin and end with rows of their own, and tie every source to
// another one.
[[nodiscard]] bool LooksWhole(const StoredQuery& query);

// A query that can be made without its stored rows: all columns of `table`, and those of `joined`
// that it lacks, where the columns `key` are equal. Names are UTF-8.
[[nodiscard]] StoredQuery MakeSubstitute(const std::string& name, const StoredTable& table,
                                         const StoredTable& joined, const std::string& key);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_SALVAGE_QUERY_SUBSTITUTE_H_
