#include "store/inspection.h"

#include <algorithm>
#include <set>
#include <utility>

#include "common/file_error.h"
#include "jet/inspection.h"
#include "store/addressbook/address_table.h"
#include "store/installation.h"
#include "store/known_objects.h"

namespace nimport::store {
namespace {

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
  for (const jet::LinkedTable& link : report.linkedTables)
    state.linkedTables.emplace(link.name, link.Describe());
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

StoreState InspectStore(platform::Platform& platform) {
  const std::string directory = FindDatabaseDirectory(platform).str();
  StoreState state;
  state.mail = InspectDatabase(platform, directory + std::string(MAIL_DATABASE_FILE),
                               KnownMailObjects(platform.text(), text::CODE_PAGE_UTF8));
  state.addressBook = InspectDatabase(platform, directory + std::string(ADDRESS_DATABASE_FILE),
                                      addressbook::KnownAddressObjects());
  return state;
}

}  // namespace nimport::store
