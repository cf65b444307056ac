// What a caller knows beforehand of the tables and stored queries that it is going to ask for. A
// definition that one changed bit has made into something else is known by it. While somebody
// listens to damage it also finds tables that the list of objects has lost, and stands in for
// stored queries that are damaged. Names are in the database's text code page.
#ifndef NIMPORT_JET_KNOWN_OBJECTS_H_
#define NIMPORT_JET_KNOWN_OBJECTS_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace nimport::jet {

// What the values of a column are read as.
enum class ColumnUse : std::uint8_t {
  Any,
  Number,  // whole numbers, of any type that holds such
  Text,
  Date,  // a date, or a text that spells one
};

struct KnownColumn {
  KnownColumn(const char* columnName, ColumnUse columnUse = ColumnUse::Any)
      : name(columnName), use(columnUse) {}
  KnownColumn(std::string columnName, ColumnUse columnUse)
      : name(std::move(columnName)), use(columnUse) {}

  std::string name;  // ASCII
  ColumnUse use;
};

struct KnownTable {
  std::string name;
  std::vector<KnownColumn> columns;            // that it has in any case
  std::vector<KnownColumn> usualColumns;       // by which, with the others, its definition is told
  std::vector<KnownColumn> otherColumns = {};  // that it may have
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
