#include "store/problem.h"

namespace nimport::store {

std::string Problem::Describe() const {
  std::string text = reason;
  // Many reasons name their file already.
  if (!file.empty() && reason.find(file) == std::string::npos) text += " [" + file + "]";
  if (!table.empty() && reason.find(table) == std::string::npos) text += " [table " + table + "]";
  return text;
}

Problem ToProblem(const jet::DatabaseError& error) {
  return {.reason = error.what(),
          .file = error.place().file,
          .page = error.place().page,
          .table = error.place().table,
          .slot = error.place().slot};
}

}  // namespace nimport::store
