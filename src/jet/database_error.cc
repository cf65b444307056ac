#include "jet/database_error.h"

#include <utility>

namespace nimport::jet {
namespace {

std::string Sentence(const ErrorPlace& place, const std::string& reason) {
  std::string text;
  const auto add = [&text](const std::string& part) {
    if (!text.empty()) text += ", ";
    text += part;
  };
  if (!place.file.empty()) add(place.file);
  if (place.page) add("page " + std::to_string(*place.page));
  if (!place.table.empty()) add("table " + place.table);
  if (place.slot) add("slot " + std::to_string(*place.slot));
  if (!place.column.empty()) add("column " + place.column);
  return text.empty() ? reason : text + ": " + reason;
}

}  // namespace

DatabaseError::DatabaseError(ErrorPlace place, const std::string& reason)
    : std::runtime_error(Sentence(place, reason)), place_(std::move(place)), reason_(reason) {}

}  // namespace nimport::jet
