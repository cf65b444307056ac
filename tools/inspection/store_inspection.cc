#include "inspection/store_inspection.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

#include "common/failure.h"
#include "jet/inspection.h"
#include "platform/platform.h"
#include "plugin/discovery.h"
#include "store/addressbook/address_table.h"
#include "store/known_objects.h"
#include "store/mail_store.h"

namespace nimport::inspection {
namespace {

constexpr const char* ADDRESS_DATABASE_FILE = "\\Abook.mdb";

void CopyReport(const jet::FileReport& report, DatabaseState& state) {
  state.version = report.version;
  state.sizeBytes = report.sizeBytes;
  state.pageCount = report.pageCount;
  state.pagesByType = report.pagesByType;
  for (const jet::TableReport& table : report.tables) {
    state.tables.push_back({.name = table.name,
                            .declaredRows = table.declaredRows,
                            .rows = table.rows,
                            .problem = table.failure});
  }
  for (const jet::QueryReport& query : report.queries) {
    state.queries.push_back(
        {.name = query.name, .isSelect = query.isSelect, .problem = query.failure});
  }
  for (const jet::DatabaseError& damage : report.damage) {
    state.damage.push_back(
        {.page = damage.place().page, .table = damage.place().table, .reason = damage.what()});
  }
}

DatabaseState InspectDatabase(platform::Platform& platform, const std::string& path,
                              jet::KnownObjects known) {
  DatabaseState state;
  state.file = platform.files().NativeName(path);
  try {
    jet::OpenOptions options;
    options.textCodePage = text::CODE_PAGE_UTF8;
    options.known = std::move(known);
    CopyReport(jet::InspectFile(platform.files().OpenForReading(path), platform.text(), options),
               state);
  } catch (const FileError& error) {
    state.failure = error.what();
  } catch (const jet::DatabaseError& error) {
    state.failure = error.what();
  }
  return state;
}

// In the code page of the names that are asked for: they are all ASCII but for the queries'.
jet::KnownObjects InUtf8(platform::Platform& platform, jet::KnownObjects known) {
  for (jet::KnownQuery& query : known.queries) {
    query.name = platform.text().FromUtf16(
        platform.text().ToUtf16(query.name, text::CODE_PAGE_JAPANESE), text::CODE_PAGE_UTF8);
  }
  return known;
}

}  // namespace

bool DatabaseState::IsSound() const {
  const auto hasProblem = [](const auto& object) { return !object.problem.empty(); };
  return failure.empty() && damage.empty() && std::ranges::none_of(tables, hasProblem) &&
         std::ranges::none_of(queries, hasProblem);
}

std::uint32_t DatabaseState::DamagedPageCount() const {
  std::set<std::uint32_t> pages;
  for (const Damage& place : damage) {
    if (place.page) pages.insert(*place.page);
  }
  return static_cast<std::uint32_t>(pages.size());
}

StoreState InspectStore() {
  platform::Platform& platform = platform::SystemPlatform();
  std::string directory;
  try {
    directory = FindDatabaseDirectory(platform).str();
  } catch (const Failure& failure) {
    throw std::runtime_error(failure.what());
  }
  const std::string mailPath = directory + mailstore::MAIL_DATABASE_FILE;
  StoreState state;
  state.mail = InspectDatabase(platform, mailPath, InUtf8(platform, mailstore::KnownMailObjects()));
  state.addressBook = InspectDatabase(platform, directory + ADDRESS_DATABASE_FILE,
                                      addressbook::KnownAddressObjects());
  return state;
}

}  // namespace nimport::inspection
