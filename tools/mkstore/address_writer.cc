#include "mkstore/address_writer.h"

#include <limits>

#include "jetwriter/write_error.h"

namespace nimport::mkstore {
namespace {

constexpr std::int64_t TYPE_GROUP = 0;
constexpr std::int64_t TYPE_ADDRESS = 2;
constexpr std::int64_t MAX_LONG = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t MIN_LONG = std::numeric_limits<std::int32_t>::min();

}  // namespace

void AddressWriter::AddEntry(const Node& entry, std::int64_t parentKey) {
  entry.ExpectMembers({"key", "parent", "type", "name", "userId", "comment", "columns", "members"});
  StoreTable& table = database_.Table("AddressBookTBL", entry);
  const std::int64_t key = entry.IntegerOr("key", nextKey_, MIN_LONG, MAX_LONG);
  nextKey_ = key + 1;
  StoreRow row(table);
  row.SetNumber("KeyNo", key);
  row.SetNumber("ParentKeyNo", entry.IntegerOr("parent", parentKey, MIN_LONG, MAX_LONG));
  row.SetNumber("Type", entry.IntegerOr("type", entry.Has("userId") ? TYPE_ADDRESS : TYPE_GROUP,
                                        MIN_LONG, MAX_LONG));
  if (const std::optional<Node> name = entry.Find("name")) row.Read("Name", *name);
  if (const std::optional<Node> userId = entry.Find("userId")) row.Read("UserID", *userId);
  if (const std::optional<Node> comment = entry.Find("comment")) row.Read("Comment", *comment);
  if (const std::optional<Node> columns = entry.Find("columns")) {
    for (const auto& [name, value] : columns->Members()) {
      if (!row.Read(name, value)) value.Fail("the table has no such column");
    }
  }
  try {
    table.AddRow(row.Take());
  } catch (const jetwriter::WriteError& error) {
    entry.Fail(error.what());
  }
  for (const Node& member : entry.ElementsOf("members"))
    AddEntry(member, key);
}

}  // namespace nimport::mkstore
