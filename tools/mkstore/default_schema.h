#ifndef NIMPORT_TOOLS_MKSTORE_DEFAULT_SCHEMA_H_
#define NIMPORT_TOOLS_MKSTORE_DEFAULT_SCHEMA_H_

#include <nlohmann/json_fwd.hpp>

namespace nimport::mkstore {

// The tables and stored queries of the mail client:
// {"Cabdata.mdb": {"tables": [{"name", "columns"}], "queries": [{"name", ...}]}, "Abook.mdb": {}}.
// Columns and queries have the form that they have in a description.
[[nodiscard]] const nlohmann::json& DefaultSchema();

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_DEFAULT_SCHEMA_H_
