#include "jet/inspection.h"

#include <algorithm>
#include <utility>

#include "jet/catalog/jet_catalog.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/format/name_text.h"
#include "jet/query/query_recordset.h"

namespace nimport::jet {
namespace {

// A file of nothing but damage does not fill memory with sentences.
constexpr std::size_t MAX_DAMAGE = 100'000;

class DamageCollector final : public DamageListener {
 public:
  void OnDamage(const DatabaseError& damage) override {
    if (all_.size() < MAX_DAMAGE) all_.push_back(damage);
  }

  [[nodiscard]] std::vector<DatabaseError> Take() {
    std::ranges::stable_sort(
        all_, {}, [](const DatabaseError& error) { return error.place().page.value_or(0); });
    return std::move(all_);
  }

 private:
  std::vector<DatabaseError> all_;
};

std::string DataPageName(std::uint32_t owner) {
  switch (owner) {
    case OWNER_LONG_VALUES:
      return "long values";
    case OWNER_USAGE_MAPS:
    case OWNER_GLOBAL_MAP:
      return "usage maps";
    default:
      return "rows";
  }
}

// Empty for a type that there is not.
std::string NamePage(const Page& page) {
  const ByteReader reader(page.bytes);
  switch (PageType(reader.U8(PAGE_TYPE_OFFSET))) {
    case PageType::FileHeader:
      break;
    case PageType::Data:
      return DataPageName(reader.U32(DATA_PAGE_OWNER_OFFSET));
    case PageType::TableDefinition:
      return "table definition";
    case PageType::IndexNode:
    case PageType::IndexLeaf:
      return "index";
    case PageType::UsageBitmap:
      return "usage maps";
    case PageType::ReleasedDefinition:
    case PageType::ReleasedData:
      return "released";
  }
  const bool isEmpty =
      std::ranges::all_of(page.bytes, [](std::byte byte) { return byte == std::byte{0}; });
  return isEmpty ? "zero bytes" : "";
}

class Inspector {
 public:
  Inspector(std::unique_ptr<RandomAccessFile> file, const text::CodePageConverter& converter,
            OpenOptions options)
      : catalog_(std::move(file), converter, WithListener(std::move(options), damage_)) {}

  FileReport Inspect() {
    ReadPages();
    for (const std::string& name : catalog_.AllTableNames())
      report_.tables.push_back(InspectTable(name));
    report_.linkedTables = catalog_.LinkedTables();
    for (const std::string& name : catalog_.QueryNames())
      report_.queries.push_back(InspectQuery(name));
    report_.damage = damage_.Take();
    return std::move(report_);
  }

 private:
  static OpenOptions WithListener(OpenOptions options, DamageListener& listener) {
    options.damageListener = &listener;
    return options;
  }

  void ReadPages() {
    PageFile& file = catalog_.File();
    report_.version = &file.Layout() == &JET3 ? 3 : 4;
    report_.sizeBytes = file.SizeBytes();
    report_.pageCount = file.PageCount();
    report_.pagesByType["header"] = 1;
    for (std::uint32_t number = 1; number < file.PageCount(); ++number) {
      try {
        const Page page = file.Read(number, ReadHint::Once, file.PageCount() - number - 1);
        const std::string name = NamePage(page);
        ++report_.pagesByType[name.empty() ? "unknown" : name];
        if (!name.empty()) continue;
        const auto type = std::to_integer<unsigned>(page.bytes[PAGE_TYPE_OFFSET]);
        damage_.OnDamage(DatabaseError({.file = file.Name(), .page = number},
                                       "a page of unknown type " + std::to_string(type)));
      } catch (const DatabaseError& error) {
        ++report_.pagesByType["unreadable"];
        damage_.OnDamage(error);
      }
    }
  }

  TableReport InspectTable(const std::string& name) {
    TableReport result{.name = Outside(name)};
    try {
      const auto table = catalog_.FindTable(name);
      if (!table) return result;
      result.declaredRows = table->DeclaredRowCount();
      for (StoredScan scan(*table); scan.Next(); ++result.rows) {
        for (std::size_t column = 0; column < table->Columns().size(); ++column)
          (void)scan.Row().Get(column);
      }
    } catch (const DatabaseError& error) {
      result.failure = error.what();
    }
    return result;
  }

  QueryReport InspectQuery(const std::string& name) {
    QueryReport result{.name = Outside(name)};
    result.isSelect = catalog_.IsSelectQuery(name);
    if (!result.isSelect) return result;
    try {
      (void)PreparedQuery(catalog_, name);
    } catch (const DatabaseError& error) {
      result.failure = error.what();
    }
    return result;
  }

  [[nodiscard]] std::string Outside(const std::string& name) const {
    return FromUtf8(name, catalog_.TextCodePage(), catalog_.Converter());
  }

  DamageCollector damage_;
  JetCatalog catalog_;
  FileReport report_;
};

}  // namespace

FileReport InspectFile(std::unique_ptr<RandomAccessFile> file,
                       const text::CodePageConverter& converter, const OpenOptions& options) {
  return Inspector(std::move(file), converter, options).Inspect();
}

}  // namespace nimport::jet
