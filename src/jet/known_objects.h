// What a caller knows beforehand of the tables and stored queries that it is going to ask for. It
// is used only while somebody listens to damage: it finds tables that the list of objects has lost,
// and stands in for stored queries that are damaged. Names are in the database's text code page.
#ifndef NIMPORT_JET_KNOWN_OBJECTS_H_
#define NIMPORT_JET_KNOWN_OBJECTS_H_

#include <string>
#include <vector>

namespace nimport::jet {

struct KnownTable {
  std::string name;
  std::vector<std::string> columns;       // that it has in any case
  std::vector<std::string> usualColumns;  // by which, with the others, its definition is told
};

// A select query that joins two tables where the columns `key` of both are equal.
struct KnownQuery {
  std::string name;
  std::string table;   // all of its columns come out
  std::string joined;  // of its columns those that `table` lacks
  std::string key;
};

struct KnownObjects {
  std::vector<KnownTable> tables;
  std::vector<KnownQuery> queries;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_KNOWN_OBJECTS_H_
