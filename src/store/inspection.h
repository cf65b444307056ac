// The state of a store's database files, page by page.
#ifndef NIMPORT_STORE_INSPECTION_H_
#define NIMPORT_STORE_INSPECTION_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace nimport::store {

// Texts are UTF-8.
struct TableState {
  std::string name;
  std::uint32_t declaredRows = 0;  // by the table's definition
  std::uint32_t rows = 0;          // that could be read
  std::string problem;             // why the table cannot be read; empty otherwise
};

struct QueryState {
  std::string name;
  bool isSelect = true;
  std::string problem;  // why it cannot be evaluated; empty otherwise
};

struct Damage {
  std::optional<std::uint32_t> page;
  std::string table;   // where it is known
  std::string reason;  // with the place
};

struct DatabaseState {
  std::string file;
  std::string failure;  // why it cannot be opened; nothing else is known then
  int version = 0;      // 3 or 4
  std::uint64_t sizeBytes = 0;
  std::uint32_t pageCount = 0;
  std::map<std::string, std::uint32_t> pagesByType;
  std::vector<TableState> tables;
  std::map<std::string, std::string> linkedTables;  // where their rows are, by name
  std::vector<QueryState> queries;
  std::vector<Damage> damage;

  [[nodiscard]] bool IsSound() const;
  // Without those that are damaged in several places counting twice.
  [[nodiscard]] std::uint32_t DamagedPageCount() const;
};

struct StoreState {
  DatabaseState mail;
  DatabaseState addressBook;
};

// Looks at the store that the platform's settings lead to. Throws Failure (-3) when they name no
// database directory.
[[nodiscard]] StoreState InspectStore(platform::Platform& platform);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_INSPECTION_H_
