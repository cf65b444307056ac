#ifndef NIMPORT_JET_STORAGE_COLUMN_H_
#define NIMPORT_JET_STORAGE_COLUMN_H_

#include <cstdint>
#include <string>

#include "jet/value.h"

namespace nimport::jet {

// One column as its table's definition describes it.
struct Column {
  std::string name;  // UTF-8
  ColumnType type{};
  std::uint16_t id = 0;
  bool isFixed = false;
  std::uint16_t fixedOffset = 0;   // bytes, in the row's fixed area; fixed columns only
  std::uint16_t variableSlot = 0;  // variable columns only
  std::uint16_t sizeBytes = 0;     // as defined; 0 for long values
  std::uint8_t scale = 0;          // Numeric only
  std::uint8_t storedType = 0;     // the type's number; one that is not known reads as Binary

  friend bool operator==(const Column&, const Column&) = default;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_COLUMN_H_
