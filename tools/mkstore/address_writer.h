#ifndef NIMPORT_TOOLS_MKSTORE_ADDRESS_WRITER_H_
#define NIMPORT_TOOLS_MKSTORE_ADDRESS_WRITER_H_

#include <cstdint>

#include "mkstore/store_table.h"

namespace nimport::mkstore {

// Writes the rows of the address book.
class AddressWriter {
 public:
  // `database` must outlive the writer.
  explicit AddressWriter(StoreDatabase& database) : database_(database) {}

  // An entry, which is a group or an address, and its members beneath it.
  void AddEntry(const Node& entry) { AddEntry(entry, 0); }

 private:
  void AddEntry(const Node& entry, std::int64_t parentKey);

  StoreDatabase& database_;
  std::int64_t nextKey_ = 1;
};

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_ADDRESS_WRITER_H_
