#include "jet/jet_catalog.h"

#include <algorithm>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "jet/ascii_case.h"
#include "jet/jet_layout.h"

namespace nimport::jet {
namespace {

// Tables that are kept open though nobody holds them. A file may claim very many.
constexpr std::size_t MAX_IDLE_TABLES = 64;

// Where a table's definition begins, by the table's id.
std::uint32_t DefinitionPage(std::int32_t id) {
  return static_cast<std::uint32_t>(id) & ID_PAGE_MASK;
}

std::size_t RequireColumn(const Table& table, std::string_view name) {
  if (const auto column = table.FindColumn(name)) return *column;
  throw DatabaseError({.table = table.Name(), .column = std::string(name)},
                      "the system table lacks this column");
}

// Empty for null.
std::string GetText(const Row& row, std::size_t column) {
  Value value = row.Get(column);
  Text* text = std::get_if<Text>(&value);
  return text != nullptr ? std::move(text->bytes) : std::string();
}

// A text of a stored query. Some end with NUL characters.
std::string GetQueryText(const Row& row, std::size_t column) {
  std::string text = GetText(row, column);
  text.resize(text.find_last_not_of('\0') + 1);
  return text;
}

std::string GetBytes(const Row& row, std::size_t column) {
  const Value value = row.Get(column);
  const Binary* binary = std::get_if<Binary>(&value);
  if (binary == nullptr) return {};
  return {reinterpret_cast<const char*>(binary->bytes.data()), binary->bytes.size()};
}

}  // namespace

void JetCatalog::ObjectList::Add(Object object) {
  byName.emplace(ToAsciiLower(object.name), objects.size());
  objects.push_back(std::move(object));
}

const JetCatalog::Object* JetCatalog::ObjectList::Find(std::string_view name) const {
  const auto found = byName.find(ToAsciiLower(name));
  return found == byName.end() ? nullptr : &objects[found->second];
}

JetCatalog::JetCatalog(std::unique_ptr<RandomAccessFile> file, const TextConverter& converter,
                       const OpenOptions& options)
    : converter_(converter),
      options_(options),
      file_(std::move(file), options.cacheBytes),
      damage_(options.damageListener) {
  Refresh();
}

std::uint64_t JetCatalog::Generation() {
  if (file_.HasChanged()) {
    ++generation_;
    isRead_ = false;
    openTables_.clear();
    queriesTable_.reset();
    file_.Reopen();
  }
  return generation_;
}

void JetCatalog::Refresh() {
  (void)Generation();
  if (isRead_) return;
  tables_ = {};
  queries_ = {};
  try {
    ReadObjects();
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = file_.Name()});
  }
  isRead_ = true;
}

TextDecoder JetCatalog::DecoderTo(unsigned codePage) const {
  return {file_.Layout().text, file_.CodePage(), codePage, converter_};
}

std::shared_ptr<const StoredTable> JetCatalog::OpenTable(const std::string& name,
                                                         std::uint32_t page, unsigned codePage) {
  return std::make_shared<StoredTable>(TableContext{.file = file_, .damage = damage_}, name, page,
                                       DecoderTo(CODE_PAGE_UTF8), DecoderTo(codePage));
}

void JetCatalog::ReadObjects() {
  const auto objects = OpenTable(std::string(OBJECTS_TABLE), OBJECTS_PAGE, CODE_PAGE_UTF8);
  const std::size_t id = RequireColumn(*objects, "Id");
  const std::size_t parentId = RequireColumn(*objects, "ParentId");
  const std::size_t name = RequireColumn(*objects, "Name");
  const std::size_t type = RequireColumn(*objects, "Type");
  const std::size_t flags = RequireColumn(*objects, "Flags");
  std::unordered_set<std::uint32_t> pages;
  const auto row = objects->OpenScan();
  while (row->Next()) {
    // Names are unique only among the children of one container.
    if (row->GetInteger(parentId) != ID_TABLES) continue;
    const auto kind = row->GetInteger(type);
    if (kind != OBJECT_TABLE && kind != OBJECT_QUERY) continue;
    Object object{.name = GetText(*row, name),
                  .id = row->GetInteger(id).value_or(0),
                  .flags = static_cast<std::uint32_t>(row->GetInteger(flags).value_or(0))};
    if (kind == OBJECT_QUERY) {
      queries_.Add(std::move(object));
    } else if (pages.insert(DefinitionPage(object.id)).second) {
      tables_.Add(std::move(object));
    } else {
      objects->ReportDamage(
          DatabaseError({}, "the definition of " + object.name + " is on another table's page"),
          {.page = row->Id().Page(), .slot = row->Id().Slot()});
    }
  }
}

std::shared_ptr<const StoredTable> JetCatalog::FindStoredTable(std::string_view name) {
  Refresh();
  const Object* object = tables_.Find(name);
  if (object == nullptr) return nullptr;
  const std::uint32_t page = DefinitionPage(object->id);
  const auto found = openTables_.find(page);
  if (found != openTables_.end()) return found->second;
  auto table = OpenTable(object->name, page, options_.textCodePage);
  if (openTables_.size() >= MAX_IDLE_TABLES) {
    std::erase_if(openTables_, [](const auto& entry) { return entry.second.use_count() == 1; });
  }
  openTables_.emplace(page, table);
  return table;
}

std::shared_ptr<const Table> JetCatalog::FindTable(std::string_view name) {
  return FindStoredTable(name);
}

const Table& JetCatalog::QueriesTable() {
  if (!queriesTable_) {
    const Object* listed = tables_.Find(QUERIES_TABLE);
    const std::uint32_t page = listed != nullptr ? DefinitionPage(listed->id) : QUERIES_PAGE;
    queriesTable_ = OpenTable(std::string(QUERIES_TABLE), page, CODE_PAGE_UTF8);
  }
  return *queriesTable_;
}

std::shared_ptr<const StoredQuery> JetCatalog::FindQuery(std::string_view name) {
  Refresh();
  const Object* object = queries_.Find(name);
  if (object == nullptr) return nullptr;
  try {
    return std::make_shared<StoredQuery>(ReadQuery(*object));
  } catch (const DatabaseError& error) {
    RethrowAt(error, {.file = file_.Name()});
  }
}

StoredQuery JetCatalog::ReadQuery(const Object& object) {
  const Table& table = QueriesTable();
  const std::size_t objectId = RequireColumn(table, "ObjectId");
  const std::size_t attribute = RequireColumn(table, "Attribute");
  const std::size_t order = RequireColumn(table, "Order");
  const std::size_t name1 = RequireColumn(table, "Name1");
  const std::size_t name2 = RequireColumn(table, "Name2");
  const std::size_t expression = RequireColumn(table, "Expression");
  const std::size_t flag = RequireColumn(table, "Flag");

  StoredQuery query{.name = object.name, .flags = object.flags, .rows = {}};
  for (const IndexEntry& entry : FindInIndex(table.IntegerIndex(objectId), object.id)) {
    const auto row = table.ReadRow(entry.id);
    if (!row) continue;
    QueryRow& part = query.rows.emplace_back();
    part.attribute = static_cast<std::uint8_t>(row->GetInteger(attribute).value_or(0));
    part.order = GetBytes(*row, order);
    part.name1 = GetQueryText(*row, name1);
    part.name2 = GetQueryText(*row, name2);
    part.expression = GetQueryText(*row, expression);
    if (const auto stored = row->GetInteger(flag)) part.flag = static_cast<std::int16_t>(*stored);
  }
  std::stable_sort(query.rows.begin(), query.rows.end(), [](const QueryRow& a, const QueryRow& b) {
    return std::tie(a.attribute, a.order) < std::tie(b.attribute, b.order);
  });
  return query;
}

std::vector<std::string> JetCatalog::TableNames() {
  Refresh();
  std::vector<std::string> names;
  for (const Object& table : tables_.objects) {
    if ((table.flags & (OBJECT_ENGINE_SYSTEM | OBJECT_SYSTEM)) == 0) names.push_back(table.name);
  }
  return names;
}

std::vector<std::string> JetCatalog::QueryNames() {
  Refresh();
  std::vector<std::string> names;
  for (const Object& query : queries_.objects)
    names.push_back(query.name);
  return names;
}

}  // namespace nimport::jet
