// Reading a description: every value knows its place, so that errors can name it.
#ifndef NIMPORT_TOOLS_MKSTORE_DESCRIPTION_H_
#define NIMPORT_TOOLS_MKSTORE_DESCRIPTION_H_

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "jet/value.h"
#include "jetwriter/schema.h"

namespace nimport::mkstore {

// A value of the description and its JSON pointer. Borrows the value. Functions that want a kind
// of value throw DescriptionError when the value is of another.
class Node {
 public:
  Node(const nlohmann::json& value, std::string pointer)
      : value_(&value), pointer_(std::move(pointer)) {}

  [[noreturn]] void Fail(const std::string& reason) const;

  [[nodiscard]] const nlohmann::json& Json() const { return *value_; }
  [[nodiscard]] const std::string& Pointer() const { return pointer_; }
  [[nodiscard]] bool IsNull() const;
  [[nodiscard]] bool IsObject() const;

  // Fails unless this is an object with none but these members and, for readers, a "note".
  void ExpectMembers(std::initializer_list<std::string_view> names) const;

  [[nodiscard]] bool Has(std::string_view name) const;
  [[nodiscard]] Node At(std::string_view name) const;
  // Empty when the member is absent; a null member is there.
  [[nodiscard]] std::optional<Node> Find(std::string_view name) const;
  // The elements of an array; of an absent member none.
  [[nodiscard]] std::vector<Node> Elements() const;
  [[nodiscard]] std::vector<Node> ElementsOf(std::string_view name) const;
  // Name and value of each member of an object.
  [[nodiscard]] std::vector<std::pair<std::string, Node>> Members() const;

  [[nodiscard]] std::string ToText() const;
  [[nodiscard]] bool ToBool() const;
  [[nodiscard]] std::int64_t ToInteger(std::int64_t min, std::int64_t max) const;
  [[nodiscard]] double ToNumber() const;

  // The member's value, or `absent`.
  [[nodiscard]] std::string TextOr(std::string_view name, const std::string& absent) const;
  [[nodiscard]] bool BoolOr(std::string_view name, bool absent) const;
  [[nodiscard]] std::int64_t IntegerOr(std::string_view name, std::int64_t absent, std::int64_t min,
                                       std::int64_t max) const;

 private:
  const nlohmann::json* value_;
  std::string pointer_;
};

// Contents that may be given as a string, {"repeat", "times"}, {"lines", "eol"}, {"concat"},
// {"base64"} or {"hex"}.
struct Contents {
  std::string bytes;
  bool isText = true;  // bytes are UTF-8; else they stand for themselves
};
[[nodiscard]] Contents ReadContents(const Node& node);

// A value for a column of that type.
[[nodiscard]] jet::Value ReadValue(const Node& node, const jetwriter::ColumnSpec& column);

// "Name Type" or "Name Text(64)".
[[nodiscard]] jetwriter::ColumnSpec ReadColumn(const Node& node);

// "1999-04-01T09:30:00", with fewer or more parts, as days since 1899-12-30; empty when it is no
// date.
[[nodiscard]] std::optional<double> ParseDate(std::string_view text);

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_DESCRIPTION_H_
