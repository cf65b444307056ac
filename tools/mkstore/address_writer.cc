#include "mkstore/address_writer.h"

#include <limits>

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
  row.ReadMember("Name", entry, "name");
  row.ReadMember("UserID", entry, "userId");
  row.ReadMember("Comment", entry, "comment");
  if (const std::optional<Node> columns = entry.Find("columns")) row.ReadAll(*columns);
  table.AddRow(row.Take(), entry);
  for (const Node& member : entry.ElementsOf("members"))
    AddEntry(member, key);
}

}  // namespace nimport::mkstore
