#ifndef NIMPORT_JET_STORAGE_LONG_VALUE_H_
#define NIMPORT_JET_STORAGE_LONG_VALUE_H_

#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "jet/database_error.h"
#include "jet/storage/data_page.h"

namespace nimport::jet {

class PageFile;

// A memo or OLE value: the bytes of its row's own share, or of the pages that this leads to.
class LongValue {
 public:
  // `descriptor` is what the row holds and must outlive the value. When it, or a page that it leads
  // to, is damaged, the value is what could be read before that: the beginning of a chain, or
  // nothing.
  LongValue(PageFile& file, std::span<const std::byte> descriptor);
  LongValue(const LongValue&) = delete;
  LongValue& operator=(const LongValue&) = delete;

  // What is wrong; a part's page and slot are in the text. Empty when the value is whole.
  [[nodiscard]] std::unique_ptr<DatabaseError> TakeDamage() { return std::move(damage_); }

  // Borrowed from the descriptor or from this object.
  [[nodiscard]] std::span<const std::byte> Bytes() const { return bytes_; }

 private:
  void Read(PageFile& file, std::span<const std::byte> descriptor);

  // Not within the object, which is made for every value, whole or not: setting the 168 bytes of an
  // empty std::optional to zero each time made a scan take 131 ms instead of 97.
  std::unique_ptr<DatabaseError> damage_;
  DataPage page_;                     // of a value that is one row of another page
  std::vector<std::byte> collected_;  // of a chain
  std::span<const std::byte> bytes_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_LONG_VALUE_H_
