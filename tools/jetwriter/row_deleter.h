// Deletes rows of a finished database file, of whatever writer, as engines do it.
#ifndef NIMPORT_TOOLS_JETWRITER_ROW_DELETER_H_
#define NIMPORT_TOOLS_JETWRITER_ROW_DELETER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace nimport::jetwriter {

// What becomes of a deleted row's bytes.
enum class DeletedBytes : std::uint8_t {
  Stay,     // its slot is marked as deleted and keeps them: some writers leave it so
  GoUnder,  // the rows after it in the page move up over them: files of Access are so
};

struct Deletion {
  std::string table;
  std::string column;                         // of whole numbers
  std::function<bool(std::int32_t)> isMeant;  // by the row's number in that column
  DeletedBytes bytes = DeletedBytes::Stay;
};

// Deletes the rows that are meant, in the file's order, with their long values; pages that have no
// row left are given back. `file` is the whole file. Its tables have no indexes. Returns the number
// of rows. Throws WriteError, jet::DatabaseError.
std::size_t DeleteRows(std::vector<std::byte>& file, const Deletion& deletion);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_ROW_DELETER_H_
