// How a database is opened.
#ifndef NIMPORT_JET_OPEN_OPTIONS_H_
#define NIMPORT_JET_OPEN_OPTIONS_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "jet/database_error.h"
#include "text/code_page_converter.h"

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

// What a caller knows beforehand of the tables and stored queries that it is going to ask for. A
// definition that one changed bit has made into something else is known by it. With a damage
// listener it also finds tables that the list of objects has lost, and stands in for stored queries
// that are damaged. Names are in the database's text code page.
struct KnownObjects {
  std::vector<KnownTable> tables;
  std::vector<KnownQuery> queries;
};

struct OpenOptions {
  // Code page of all text that goes in and out.
  unsigned textCodePage = text::CODE_PAGE_JAPANESE;
  // Memory for pages that have been read.
  std::size_t cacheBytes = std::size_t{8} << 20;
  // When set, damaged pages and rows of a table are reported to it and left out of scans;
  // otherwise they throw. A damaged definition of a table throws in either case. Must outlive the
  // database.
  DamageListener* damageListener = nullptr;
  // When set, whatever evaluates a stored query ends with Interrupted within milliseconds of its
  // becoming true. Any thread or signal handler may set it. Must outlive the database.
  const std::atomic<bool>* interruption = nullptr;
  // Helps to tell a damaged definition from a sound one; with a listener, also where the list of
  // objects or a stored query is damaged.
  KnownObjects known{};
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_OPEN_OPTIONS_H_
