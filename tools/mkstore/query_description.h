#ifndef NIMPORT_TOOLS_MKSTORE_QUERY_DESCRIPTION_H_
#define NIMPORT_TOOLS_MKSTORE_QUERY_DESCRIPTION_H_

#include <string>

#include "jetwriter/schema.h"
#include "mkstore/description.h"

namespace nimport::mkstore {

// A stored query as a description tells it: a SELECT by its parts, or "kind" and "rows", the rows
// of MSysQueries. Throws DescriptionError.
[[nodiscard]] jet::StoredQuery ReadQuery(const std::string& name, const Node& node);

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_QUERY_DESCRIPTION_H_
