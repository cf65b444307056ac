// Prints what a database holds as JSON, row by row.
#ifndef NIMPORT_TOOLS_JETDUMP_JSON_DUMP_H_
#define NIMPORT_TOOLS_JETDUMP_JSON_DUMP_H_

#include <ostream>
#include <string>
#include <vector>

#include "jet/database.h"

namespace nimport::jetdump {

struct DumpOptions {
  std::vector<std::string> tables;   // UTF-8
  std::vector<std::string> queries;  // UTF-8
  bool withRows = true;
  bool withLinks = false;  // tables whose rows are in another database
};

// Writes one JSON object to `out`. `database` must have been opened with code page 65001. A table
// or query that cannot be read to its end gets a member "error"; for tables the error is also
// written to `errors`, one line each. Returns whether all tables could be read: a query may well
// ask for more than the engine evaluates.
bool DumpDatabase(jet::Database& database, const DumpOptions& options, std::ostream& out,
                  std::ostream& errors);

}  // namespace nimport::jetdump

#endif  // NIMPORT_TOOLS_JETDUMP_JSON_DUMP_H_
