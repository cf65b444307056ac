// The state of a whole file: what its pages are, what its tables and stored queries give, and what
// is damaged.
#ifndef NIMPORT_JET_INSPECTION_H_
#define NIMPORT_JET_INSPECTION_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/random_access_file.h"
#include "jet/database.h"
#include "jet/open_options.h"
#include "text/code_page_converter.h"

namespace nimport::jet {

struct TableReport {
  std::string name;
  std::uint32_t declaredRows = 0;  // by the table's definition
  std::uint32_t rows = 0;          // that could be read
  std::string failure = {};        // why the table cannot be read; empty otherwise
};

struct QueryReport {
  std::string name;
  bool isSelect = true;      // others are not evaluated, and nothing is wrong with that
  std::string failure = {};  // why a select query cannot be evaluated; empty otherwise
};

struct FileReport {
  int version = 0;  // of the format: 3 or 4
  std::uint64_t sizeBytes = 0;
  std::uint32_t pageCount = 0;
  std::map<std::string, std::uint32_t> pagesByType;
  std::vector<TableReport> tables;        // those of the engine's own too
  std::vector<LinkedTable> linkedTables;  // UTF-8
  std::vector<QueryReport> queries;
  std::vector<DatabaseError> damage;  // by page, each place once
};

// Reads every page, every row and every value of the file, and prepares every query. Names are in
// the code page of `options`, whose listener is not used. Throws DatabaseError when the file cannot
// be opened at all.
[[nodiscard]] FileReport InspectFile(std::unique_ptr<RandomAccessFile> file,
                                     const text::CodePageConverter& converter,
                                     const OpenOptions& options);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_INSPECTION_H_
