#include "jetwriter/database_writer.h"

#include <array>
#include <cmath>
#include <map>
#include <span>

#include "jet/format/system_layout.h"
#include "jetwriter/byte_writer.h"
#include "jetwriter/definition_writer.h"
#include "jetwriter/usage_map_writer.h"
#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

using jet::Value;

constexpr std::uint64_t MAX_FILE_BYTES_JET3 = std::uint64_t{1} << 30;
constexpr std::uint64_t MAX_FILE_BYTES_JET4 = std::uint64_t{1} << 31;
constexpr std::size_t USUAL_MAX_INLINE_MAP_BYTES = 512;
constexpr std::int32_t FULL_ACCESS = 0xFFFFF;
// Who owns an object or may use it: everybody, and the engine itself.
constexpr std::array<std::uint8_t, 2> OWNER_USERS = {0xA6, 0x33};
constexpr std::array<std::uint8_t, 2> OWNER_ENGINE = {0xA6, 0x31};

const jet::JetLayout& LayoutOf(JetVersion version) {
  return version == JetVersion::Jet4 ? jet::JET4 : jet::JET3;
}

WriterOptions WithUsualSizes(WriterOptions options) {
  const jet::JetLayout& layout = LayoutOf(options.version);
  if (options.maxInlineLongValueBytes == 0) {
    options.maxInlineLongValueBytes = layout.maxInlineLongValueBytes;
  }
  if (options.maxSingleLongValueBytes == 0) {
    options.maxSingleLongValueBytes = layout.maxSingleLongValueBytes;
  }
  if (options.maxInlineMapBytes == 0) options.maxInlineMapBytes = USUAL_MAX_INLINE_MAP_BYTES;
  if (options.maxFileBytes == 0) {
    options.maxFileBytes =
        options.version == JetVersion::Jet4 ? MAX_FILE_BYTES_JET4 : MAX_FILE_BYTES_JET3;
  }
  return options;
}

TextEncoder MakeTextEncoder(const WriterOptions& options) {
  return options.version == JetVersion::Jet4 ? TextEncoder::ForUtf16()
                                             : TextEncoder::ForCodePage(options.codePage);
}

TableSpec MakeSystemTable(const WriterContext& context, std::string_view name,
                          std::span<const jet::SystemColumn> columns) {
  const bool isJet3 = context.layout.version == jet::JET3.version;
  TableSpec spec{.name = std::string(name), .columns = {}};
  for (const jet::SystemColumn& column : columns) {
    if (isJet3 && !column.inJet3) continue;
    const bool isWide = !isJet3 && column.type == jet::ColumnType::Binary;
    spec.columns.push_back(
        {.name = std::string(column.name),
         .type = column.type,
         .size = static_cast<std::uint16_t>(isWide ? 2 * column.size : column.size)});
  }
  return spec;
}

Value ToBinary(std::span<const std::uint8_t> bytes) {
  const auto* begin = reinterpret_cast<const std::byte*>(bytes.data());
  return jet::Binary{{begin, begin + bytes.size()}};
}

Value TextOrNull(const std::string& text) {
  return text.empty() ? Value() : Value(jet::Text{text});
}

// A row of MSysObjects.
struct CatalogObject {
  std::int32_t id = 0;
  std::int32_t parentId = 0;
  std::string_view name;
  std::int32_t type = 0;
  std::uint32_t flags = 0;
  const jet::LinkedTable* link = nullptr;
};

void AddObject(TableWriter& objects, TableWriter& permissions, const CatalogObject& object,
               double date) {
  const bool isEngine = (object.flags & jet::OBJECT_ENGINE_SYSTEM) != 0;
  std::vector<Value> row(jet::OBJECTS_COLUMNS.size());
  row[0] = object.id;
  row[1] = object.parentId;
  row[2] = jet::Text{std::string(object.name)};
  row[3] = static_cast<std::int16_t>(object.type);
  row[4] = jet::Date{date};
  row[5] = jet::Date{date};
  row[6] = ToBinary(isEngine ? OWNER_ENGINE : OWNER_USERS);
  row[7] = static_cast<std::int32_t>(object.flags);
  if (object.link != nullptr) {
    row[8] = TextOrNull(object.link->database);
    row[9] = TextOrNull(object.link->connect);
    row[10] = TextOrNull(object.link->foreignName);
  }
  objects.AddRow(row);
  permissions.AddRow(std::vector<Value>{object.id, ToBinary(OWNER_USERS), FULL_ACCESS,
                                        object.type == jet::OBJECT_CONTAINER});
}

void AddQueryRows(TableWriter& queries, std::int32_t objectId, const jet::StoredQuery& query) {
  std::map<std::uint8_t, std::uint32_t> counters;
  for (const jet::QueryRow& spec : query.rows) {
    ByteWriter order;
    order.BigEndianU32(++counters[spec.attribute]);
    const std::string& bytes = order.View();
    std::vector<Value> row(queries.Columns().size());
    row[0] = objectId;
    row[1] = spec.attribute;
    row[2] = ToBinary({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    row[3] = TextOrNull(spec.name1);
    row[4] = TextOrNull(spec.name2);
    row[5] = TextOrNull(spec.expression);
    row[6] = spec.flag ? Value(*spec.flag) : Value();
    queries.AddRow(row);
  }
}

void ApplyMask(const jet::JetLayout& layout, std::string& page) {
  for (std::size_t i = 0; i < layout.maskedHeaderBytes; ++i) {
    char& byte = page[jet::MASKED_HEADER_OFFSET + i];
    byte = static_cast<char>(byte ^ jet::HEADER_MASK[i]);
  }
}

void SetJet4Header(const WriterOptions& options, std::uint16_t sortOrder, ByteWriter& page) {
  page.SetNumber(jet::DEFAULT_SORT_ORDER_OFFSET_JET4, sortOrder, 4);
  ByteWriter date;
  date.F64(options.creationDate);
  page.SetBytes(jet::CREATION_DATE_OFFSET_JET4, date.View());
  // The password, none, stands combined with the day that the file was made.
  const auto day = static_cast<std::uint32_t>(static_cast<std::int32_t>(options.creationDate));
  for (std::size_t i = 0; i < jet::JET4.passwordBytes; i += sizeof(day)) {
    page.SetNumber(jet::PASSWORD_OFFSET + i, day, sizeof(day));
  }
  page.SetNumber(jet::CONSTANT_OFFSET_JET4, jet::CONSTANT_JET4, 4);
  page.SetBytes(jet::VERSION_TEXT_OFFSET_JET4, jet::VERSION_TEXT_JET4);
}

}  // namespace

DatabaseWriter::DatabaseWriter(const std::filesystem::path& file, const WriterOptions& options)
    : context_(new WriterContext{WithUsualSizes(options),
                                 LayoutOf(options.version),
                                 MakeTextEncoder(options),
                                 {file,
                                  {.pageSize = LayoutOf(options.version).pageSize,
                                   .maxFileBytes = WithUsualSizes(options).maxFileBytes,
                                   .encodingKey = options.encodingKey}}}) {
  for (std::uint32_t page = 0; page < jet::OBJECTS_PAGE; ++page) {
    (void)context_->pages.Allocate();
  }
  const auto add = [this](std::string_view name, std::span<const jet::SystemColumn> columns) {
    systemTables_.push_back(
        std::make_unique<TableWriter>(*context_, MakeSystemTable(*context_, name, columns),
                                      context_->pages.Allocate(), TableWriter::Kind::System));
  };
  add(jet::OBJECTS_TABLE, jet::OBJECTS_COLUMNS);
  add(jet::PERMISSIONS_TABLE, jet::PERMISSIONS_COLUMNS);
  add(jet::QUERIES_TABLE, jet::QUERIES_COLUMNS);
  add(jet::RELATIONSHIPS_TABLE, jet::RELATIONSHIPS_COLUMNS);
}

DatabaseWriter::~DatabaseWriter() = default;

TableWriter& DatabaseWriter::AddTable(const TableSpec& spec) {
  tables_.push_back(std::make_unique<TableWriter>(*context_, spec, context_->pages.Allocate()));
  return *tables_.back();
}

void DatabaseWriter::AddQuery(const jet::StoredQuery& query) {
  queries_.push_back(query);
}

void DatabaseWriter::Finish() {
  WriteCatalog();
  UsageMapWriter maps(*context_);
  for (const auto* group : {&systemTables_, &tables_}) {
    for (const auto& table : *group)
      table->Flush();
  }
  for (const auto* group : {&systemTables_, &tables_}) {
    for (const auto& table : *group)
      table->WriteDefinition(maps);
  }
  maps.Flush();
  WriteGlobalMap(*context_);
  WriteHeader();
  context_->pages.Close();
}

void DatabaseWriter::WriteCatalog() {
  TableWriter& objects = *systemTables_[0];
  const auto add = [&](const CatalogObject& object) {
    AddObject(objects, *systemTables_[1], object, context_->options.creationDate);
  };
  const std::uint32_t engine = jet::OBJECT_ENGINE_SYSTEM;
  add({jet::ID_TABLES, jet::ID_ROOT, "Tables", jet::OBJECT_CONTAINER, engine});
  add({jet::ID_DATABASES, jet::ID_ROOT, "Databases", jet::OBJECT_CONTAINER, engine});
  add({jet::ID_RELATIONSHIPS, jet::ID_ROOT, "Relationships", jet::OBJECT_CONTAINER, engine});
  add({jet::ID_DATABASE_PROPERTIES, jet::ID_DATABASES, "MSysDb", jet::OBJECT_DATABASE, engine});
  for (const auto* group : {&systemTables_, &tables_}) {
    for (const auto& table : *group) {
      add({static_cast<std::int32_t>(table->DefinitionPage()), jet::ID_TABLES, table->Name(),
           jet::OBJECT_TABLE, group == &systemTables_ ? engine : 0});
    }
  }
  std::uint32_t id = jet::ID_FIRST_OTHER;
  for (const jet::StoredQuery& query : queries_) {
    const auto objectId = static_cast<std::int32_t>(id++);
    add({objectId, jet::ID_TABLES, query.name, jet::OBJECT_QUERY, query.flags});
    AddQueryRows(*systemTables_[2], objectId, query);
  }
  for (const jet::LinkedTable& link : links_) {
    const bool isFile = !link.database.empty();
    add({static_cast<std::int32_t>(id++), jet::ID_TABLES, link.name,
         isFile ? jet::OBJECT_LINK : jet::OBJECT_ODBC_LINK, 0, &link});
  }
}

void DatabaseWriter::WriteHeader() {
  const jet::JetLayout& layout = context_->layout;
  const WriterOptions& options = context_->options;
  const std::uint16_t sortOrder = SortOrderOf(options.codePage);
  ByteWriter page(layout.pageSize);
  page.SetNumber(0, jet::FILE_SIGNATURE, 4);
  page.SetBytes(jet::ENGINE_NAME_OFFSET, jet::ENGINE_NAME);
  page.SetNumber(jet::VERSION_OFFSET, layout.version, 1);
  page.SetNumber(jet::GLOBAL_MAP_POINTER_OFFSET, jet::GLOBAL_MAP_PAGE << 8, 4);
  page.SetNumber(jet::SECOND_MAP_POINTER_OFFSET, jet::GLOBAL_MAP_PAGE << 8 | 1, 4);
  for (std::uint32_t i = 0; i < systemTables_.size(); ++i) {
    page.SetNumber(jet::SYSTEM_TABLE_PAGES_OFFSET + 4 * i, jet::OBJECTS_PAGE + i, 4);
  }
  page.SetNumber(jet::CODE_PAGE_OFFSET, options.codePage, 2);
  page.SetNumber(jet::ENCODING_KEY_OFFSET, options.encodingKey, 4);
  if (options.version == JetVersion::Jet4) {
    SetJet4Header(options, sortOrder, page);
  } else {
    page.SetNumber(jet::DEFAULT_SORT_ORDER_OFFSET_JET3, sortOrder, 2);
  }
  std::string bytes = page.Take();
  ApplyMask(layout, bytes);
  for (std::size_t at = bytes.size() - jet::COMMIT_TABLE_BYTES; at < bytes.size(); at += 2) {
    bytes[at] = static_cast<char>(jet::COMMIT_IDLE[0]);
    bytes[at + 1] = static_cast<char>(jet::COMMIT_IDLE[1]);
  }
  context_->pages.Write(0, bytes);
}

}  // namespace nimport::jetwriter
