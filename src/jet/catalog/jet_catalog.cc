#include "jet/catalog/jet_catalog.h"

#include <algorithm>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "jet/format/jet_layout.h"
#include "jet/format/name_text.h"
#include "jet/format/system_layout.h"
#include "jet/salvage/definition_check.h"
#include "jet/salvage/query_substitute.h"
#include "jet/salvage/system_tables.h"
#include "jet/storage/usage_map.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

// Tables that are kept open though nobody holds them. A file may claim very many.
constexpr std::size_t MAX_IDLE_TABLES = 64;

// Where a table's definition begins, by the table's id.
std::uint32_t DefinitionPage(std::int32_t id) {
  return static_cast<std::uint32_t>(id) & ID_PAGE_MASK;
}

std::size_t RequireColumn(const StoredTable& table, std::string_view name) {
  if (const auto column = table.FindColumn(name)) return *column;
  throw DatabaseError({.table = table.Name(), .column = std::string(name)},
                      "the system table lacks this column");
}

// Empty for null.
std::string GetText(const StoredRow& row, std::size_t column) {
  Value value = row.Get(column);
  Text* text = std::get_if<Text>(&value);
  return text != nullptr ? std::move(text->bytes) : std::string();
}

// A text of a stored query. Some end with NUL characters.
std::string GetQueryText(const StoredRow& row, std::size_t column) {
  std::string text = GetText(row, column);
  text.resize(text.find_last_not_of('\0') + 1);
  return text;
}

std::string GetBytes(const StoredRow& row, std::size_t column) {
  const Value value = row.Get(column);
  const Binary* binary = std::get_if<Binary>(&value);
  if (binary == nullptr) return {};
  return {reinterpret_cast<const char*>(binary->bytes.data()), binary->bytes.size()};
}

bool HasColumns(const StoredDefinition& definition, const std::vector<KnownColumn>& known) {
  return std::ranges::all_of(known, [&](const KnownColumn& wanted) {
    return std::ranges::any_of(definition.columns, [&](const Column& column) {
      return text::EqualsIgnoringCase(column.name, wanted.name);
    });
  });
}

bool IsSoundDefinition(const JetLayout& layout, std::span<const std::byte> stored,
                       std::uint32_t page, const DefinitionCheck& check) {
  try {
    const StoredDefinition definition = ParseDefinition(layout, stored, page);
    return !definition.columns.empty() && check.FindContradiction(definition).empty();
  } catch (const DatabaseError&) {
    return false;
  }
}

bool LooksLike(const StoredDefinition& definition, const KnownTable& known) {
  return HasColumns(definition, known.columns) && HasColumns(definition, known.usualColumns);
}

}  // namespace

void JetCatalog::ObjectList::Add(Object object) {
  byName.emplace(text::AsciiLower(object.name), objects.size());
  objects.push_back(std::move(object));
}

const JetCatalog::Object* JetCatalog::ObjectList::Find(std::string_view name) const {
  const auto found = byName.find(text::AsciiLower(name));
  return found == byName.end() ? nullptr : &objects[found->second];
}

JetCatalog::JetCatalog(std::unique_ptr<RandomAccessFile> file,
                       const text::CodePageConverter& converter, const OpenOptions& options)
    : converter_(converter),
      options_(options),
      damage_(options.damageListener),
      file_(std::move(file), options.cacheBytes, damage_),
      survey_(file_) {
  Refresh();
}

QueryLimits JetCatalog::Limits() const {
  QueryLimits limits = QueryLimits::ForFile(file_.SizeBytes());
  limits.interruption = options_.interruption;
  return limits;
}

std::uint64_t JetCatalog::Generation() {
  if (file_.HasChanged()) {
    ++generation_;
    isRead_ = false;
    openTables_.clear();
    queriesTable_.reset();
    survey_.Forget();
    file_.Reopen();
  }
  return generation_;
}

void JetCatalog::Refresh() {
  (void)Generation();
  if (isRead_) return;
  tables_ = {};
  queries_ = {};
  links_.clear();
  tablePages_.clear();
  replacedQueries_.clear();
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
                                                         StoredDefinition definition,
                                                         unsigned codePage) {
  return std::make_shared<StoredTable>(
      TableContext{.file = file_, .damage = damage_, .survey = survey_}, name,
      std::move(definition), DecoderTo(codePage));
}

StoredDefinition JetCatalog::ReadDefinition(const std::string& name, std::uint32_t page) {
  const ErrorPlace place{.file = file_.Name(), .page = page, .table = name};
  try {
    std::string wrongType;
    const std::vector<std::byte> stored =
        ReadDefinitionBytes(file_, page, damage_.IsSalvaging() ? &wrongType : nullptr);
    const RowSample rows(file_, PagesOfRows(stored, page), page);
    const DefinitionCheck check(file_.Layout(), rows, FindExpectation(name));
    if (!wrongType.empty()) {
      // Only the type is wrong where everything else is right.
      if (!IsSoundDefinition(file_.Layout(), stored, page, check)) {
        throw DatabaseError(place, wrongType);
      }
      damage_.Report(DatabaseError(place, wrongType));
    }
    StoredDefinition definition = CheckedDefinition(
        file_.Layout(), stored, page, check, damage_.IsSalvaging(),
        [&](const std::string& damage) { damage_.Report(DatabaseError(place, damage)); });
    DecodeNames(definition, DecoderTo(text::CODE_PAGE_UTF8));
    return definition;
  } catch (const DatabaseError& error) {
    RethrowAt(error, place);
  }
}

std::vector<std::uint32_t> JetCatalog::PagesOfRows(std::span<const std::byte> definition,
                                                   std::uint32_t page) {
  if (damage_.IsSalvaging() && survey_.KnowsFreePages()) {
    const auto pages = survey_.PagesOf(page);
    return {pages.begin(), pages.end()};
  }
  try {
    const ByteReader reader(definition);
    const RowId map{reader.U32(file_.Layout().definition.ownedPagesMap)};
    return ReadUsageMap(file_, map).pages;
  } catch (const DatabaseError&) {
    return {};  // said when the rows are asked for
  }
}

std::shared_ptr<const StoredTable> JetCatalog::OpenSystemTable(
    std::string_view tableName, std::uint32_t page, std::span<const SystemColumn> columns) {
  const std::string name(tableName);
  StoredDefinition definition = MakeSystemDefinition(columns, page);
  try {
    // Nothing else is needed to tell whether it is right, or to do without it.
    StoredDefinition stored = ReadTableDefinition(file_, page, DecoderTo(text::CODE_PAGE_UTF8));
    if (!damage_.IsSalvaging() || HasSystemColumns(stored, columns)) {
      definition = std::move(stored);
    } else {
      throw DatabaseError({.page = page}, "the columns are not those of this system table");
    }
  } catch (const DatabaseError& error) {
    damage_.Report(DatabaseError({.file = file_.Name(), .page = error.place().page, .table = name},
                                 error.reason()));
  }
  return OpenTable(name, std::move(definition), text::CODE_PAGE_UTF8);
}

// Positions of the columns that are needed.
struct JetCatalog::ObjectColumns {
  explicit ObjectColumns(const StoredTable& objects)
      : id(RequireColumn(objects, "Id")),
        parentId(RequireColumn(objects, "ParentId")),
        name(RequireColumn(objects, "Name")),
        type(RequireColumn(objects, "Type")),
        flags(RequireColumn(objects, "Flags")),
        database(RequireColumn(objects, "Database")),
        connect(RequireColumn(objects, "Connect")),
        foreignName(RequireColumn(objects, "ForeignName")) {}

  std::size_t id;
  std::size_t parentId;
  std::size_t name;
  std::size_t type;
  std::size_t flags;
  std::size_t database;
  std::size_t connect;
  std::size_t foreignName;
};

void JetCatalog::ReadObjects() {
  const auto objects = OpenSystemTable(OBJECTS_TABLE, OBJECTS_PAGE, OBJECTS_COLUMNS);
  const ObjectColumns columns(*objects);
  StoredScan scan(*objects);
  while (scan.Next())
    ReadObject(scan.Row(), columns, *objects);
}

void JetCatalog::ReadObject(const StoredRow& row, const ObjectColumns& columns,
                            const StoredTable& objects) {
  // Names are unique only among the children of one container.
  if (row.GetInteger(columns.parentId) != ID_TABLES) return;
  const auto kind = row.GetInteger(columns.type);
  if (kind == OBJECT_LINK || kind == OBJECT_ODBC_LINK) {
    links_.push_back({.name = GetText(row, columns.name),
                      .database = GetText(row, columns.database),
                      .connect = GetText(row, columns.connect),
                      .foreignName = GetText(row, columns.foreignName)});
  }
  if (kind != OBJECT_TABLE && kind != OBJECT_QUERY) return;
  Object object{.name = GetText(row, columns.name),
                .id = row.GetInteger(columns.id).value_or(0),
                .flags = static_cast<std::uint32_t>(row.GetInteger(columns.flags).value_or(0))};
  if (kind == OBJECT_QUERY) {
    queries_.Add(std::move(object));
    return;
  }
  if (tablePages_.insert(DefinitionPage(object.id)).second) {
    tables_.Add(std::move(object));
    return;
  }
  objects.ReportDamage(
      DatabaseError({}, "the definition of " + object.name + " is on another table's page"),
      {.page = row.Id().Page(), .slot = row.Id().Slot()});
}

const KnownTable* JetCatalog::FindKnownTable(std::string_view name) const {
  return damage_.IsSalvaging() ? FindExpectation(name) : nullptr;
}

const KnownTable* JetCatalog::FindExpectation(std::string_view name) const {
  return FindByName(options_.known.tables, name);
}

const KnownQuery* JetCatalog::FindKnownQuery(std::string_view name) const {
  return damage_.IsSalvaging() ? FindByName(options_.known.queries, name) : nullptr;
}

template <typename Known>
const Known* JetCatalog::FindByName(const std::vector<Known>& known, std::string_view name) const {
  const auto found = std::ranges::find_if(known, [&](const Known& each) {
    return text::EqualsIgnoringCase(ToUtf8(each.name, options_.textCodePage, converter_), name);
  });
  return found == known.end() ? nullptr : &*found;
}

std::optional<std::uint32_t> JetCatalog::GuessDefinition(std::string_view name) {
  const KnownTable* known = FindKnownTable(name);
  if (known == nullptr) return std::nullopt;
  std::optional<std::uint32_t> guess;
  for (const std::uint32_t page : survey_.DefinitionPages()) {
    const bool isTaken = std::ranges::any_of(tables_.objects, [&](const Object& other) {
      return DefinitionPage(other.id) == page && !text::EqualsIgnoringCase(other.name, name) &&
             (FindKnownTable(other.name) != nullptr || other.name.starts_with("MSys"));
    });
    if (isTaken) continue;
    try {
      if (!LooksLike(ReadTableDefinition(file_, page, DecoderTo(text::CODE_PAGE_UTF8)), *known))
        continue;
    } catch (const DatabaseError&) {
      continue;  // the continuation of another one, or damaged itself
    }
    if (guess) return std::nullopt;
    guess = page;
  }
  return guess;
}

StoredDefinition JetCatalog::FindDefinition(const Object& object) {
  const std::uint32_t page = DefinitionPage(object.id);
  const KnownTable* known = FindKnownTable(object.name);
  if (known == nullptr) return ReadDefinition(object.name, page);
  std::optional<StoredDefinition> definition;
  std::optional<DatabaseError> damage;
  try {
    definition = ReadDefinition(object.name, page);
    if (HasColumns(*definition, known->columns)) return *std::move(definition);
    damage = DatabaseError({.file = file_.Name(), .page = page, .table = object.name},
                           "the definition lacks columns that the table has");
  } catch (const DatabaseError& error) {
    damage = error;
  }
  damage_.Report(*damage);
  if (const auto guess = GuessDefinition(object.name)) return ReadDefinition(object.name, *guess);
  if (!definition) throw *damage;
  return *std::move(definition);
}

std::shared_ptr<const StoredTable> JetCatalog::FindTable(std::string_view name) {
  Refresh();
  const Object* object = tables_.Find(name);
  if (object == nullptr) {
    const auto link = std::ranges::find_if(
        links_, [&](const LinkedTable& each) { return text::EqualsIgnoringCase(each.name, name); });
    if (link != links_.end()) {
      throw DatabaseError({.file = file_.Name(), .table = link->name},
                          "is a linked table: its rows are in " + link->Describe());
    }
    const auto guess = GuessDefinition(name);
    if (!guess) return nullptr;
    damage_.Report(DatabaseError({.file = file_.Name(), .page = *guess, .table = std::string(name)},
                                 "the list of objects does not name the table, whose definition "
                                 "was found by its columns"));
    tables_.Add({.name = std::string(name), .id = static_cast<std::int32_t>(*guess), .flags = 0});
    object = tables_.Find(name);
  }
  const std::uint32_t page = DefinitionPage(object->id);
  const auto found = openTables_.find(page);
  if (found != openTables_.end()) return found->second;
  auto table = OpenTable(object->name, FindDefinition(*object), options_.textCodePage);
  if (openTables_.size() >= MAX_IDLE_TABLES) {
    std::erase_if(openTables_, [](const auto& entry) { return entry.second.use_count() == 1; });
  }
  openTables_.emplace(page, table);
  return table;
}

const StoredTable& JetCatalog::QueriesTable() {
  if (!queriesTable_) {
    const Object* listed = tables_.Find(QUERIES_TABLE);
    const std::uint32_t page = listed != nullptr ? DefinitionPage(listed->id) : QUERIES_PAGE;
    queriesTable_ = OpenSystemTable(QUERIES_TABLE, page, QUERIES_COLUMNS);
  }
  return *queriesTable_;
}

std::shared_ptr<const StoredQuery> JetCatalog::FindQuery(std::string_view name) {
  Refresh();
  const KnownQuery* known = FindKnownQuery(name);
  if (known != nullptr && replacedQueries_.contains(text::AsciiLower(name))) {
    return MakeSubstituteFor(*known);
  }
  const Object* object = queries_.Find(name);
  if (object == nullptr && known == nullptr) return nullptr;
  std::shared_ptr<const StoredQuery> query;
  try {
    if (object != nullptr) query = std::make_shared<StoredQuery>(ReadQuery(*object));
  } catch (const DatabaseError& error) {
    if (known == nullptr || !ReplaceQuery(std::string(name), error)) {
      RethrowAt(error, {.file = file_.Name()});
    }
    return MakeSubstituteFor(*known);
  }
  if (query != nullptr && (known == nullptr || LooksWhole(*query))) return query;
  const DatabaseError damage({.file = file_.Name(), .table = std::string(name)},
                             query != nullptr ? "rows of the stored query are missing"
                                              : "the list of objects does not name it");
  if (!ReplaceQuery(std::string(name), damage)) throw damage;
  return MakeSubstituteFor(*known);
}

bool JetCatalog::ReplaceQuery(const std::string& name, const DatabaseError& error) {
  const KnownQuery* known = FindKnownQuery(name);
  if (known == nullptr || replacedQueries_.contains(text::AsciiLower(name))) return false;
  if (!MakeSubstituteFor(*known)) return false;
  replacedQueries_.insert(text::AsciiLower(name));
  damage_.Report(DatabaseError(
      {.file = file_.Name(), .table = name},
      "the stored query is damaged (" + error.reason() + "); its tables are read without it"));
  return true;
}

std::shared_ptr<const StoredQuery> JetCatalog::MakeSubstituteFor(const KnownQuery& known) {
  const auto toUtf8 = [this](const std::string& name) {
    return ToUtf8(name, options_.textCodePage, converter_);
  };
  const auto table = FindTable(toUtf8(known.table));
  const auto joined = FindTable(toUtf8(known.joined));
  const std::string key = toUtf8(known.key);
  if (!table || !joined || !table->FindColumn(key) || !joined->FindColumn(key)) return nullptr;
  return std::make_shared<StoredQuery>(MakeSubstitute(toUtf8(known.name), *table, *joined, key));
}

StoredQuery JetCatalog::ReadQuery(const Object& object) {
  const StoredTable& table = QueriesTable();
  const std::size_t objectId = RequireColumn(table, "ObjectId");
  const std::size_t attribute = RequireColumn(table, "Attribute");
  const std::size_t order = RequireColumn(table, "Order");
  const std::size_t name1 = RequireColumn(table, "Name1");
  const std::size_t name2 = RequireColumn(table, "Name2");
  const std::size_t expression = RequireColumn(table, "Expression");
  const std::size_t flag = RequireColumn(table, "Flag");

  StoredQuery query{.name = object.name, .flags = object.flags, .rows = {}};
  const auto entries = FindInIndex(table.WholeIntegerIndex(objectId), object.id);
  std::size_t textBytes = 0;
  // One more than there may be, for whoever refuses them.
  for (const IndexEntry& entry : entries.first(std::min(entries.size(), MAX_QUERY_ROWS + 1))) {
    const auto row = table.ReadRow(RowId{entry.row});
    if (!row) continue;
    QueryRow& part = query.rows.emplace_back();
    part.attribute = static_cast<std::uint8_t>(row->GetInteger(attribute).value_or(0));
    part.order = GetBytes(*row, order);
    part.name1 = GetQueryText(*row, name1);
    part.name2 = GetQueryText(*row, name2);
    part.expression = GetQueryText(*row, expression);
    if (const auto stored = row->GetInteger(flag)) part.flag = static_cast<std::int16_t>(*stored);
    textBytes += part.order.size() + part.name1.size() + part.name2.size() + part.expression.size();
    if (textBytes > MAX_QUERY_TEXT_BYTES) {
      throw DatabaseError({.table = object.name}, "the stored query has more than " +
                                                      std::to_string(MAX_QUERY_TEXT_BYTES >> 20) +
                                                      " MiB of text");
    }
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

const std::vector<LinkedTable>& JetCatalog::LinkedTables() {
  Refresh();
  return links_;
}

std::vector<std::string> JetCatalog::AllTableNames() {
  Refresh();
  std::vector<std::string> names;
  for (const Object& table : tables_.objects)
    names.push_back(table.name);
  return names;
}

bool JetCatalog::IsSelectQuery(std::string_view name) {
  Refresh();
  const Object* query = queries_.Find(name);
  return query != nullptr && (query->flags & OBJECT_QUERY_KIND_MASK) == QUERY_SELECT;
}

std::vector<std::string> JetCatalog::QueryNames() {
  Refresh();
  std::vector<std::string> names;
  for (const Object& query : queries_.objects)
    names.push_back(query.name);
  return names;
}

}  // namespace nimport::jet
