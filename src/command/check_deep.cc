#include "command/check_deep.h"

#include <iostream>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "archive/account.h"
#include "archive/contacts/vcard.h"
#include "archive/contacts/write_contacts.h"
#include "archive/deleted_source.h"
#include "archive/exporter.h"
#include "command/progress.h"
#include "platform/interruption.h"
#include "store/inspection.h"
#include "store/mails/mail_list.h"
#include "store/problem.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

// How the reason begins for a MIME file that is not there.
constexpr std::string_view NO_MIME_FILE = "no MIME file";

class NoWriter final : public archive::FolderWriter {
 public:
  Outcome Write(archive::FinishedMail /*mail*/, std::int32_t /*position*/,
                const std::string& /*subject*/) override {
    return Outcome::Written;
  }
};

class NoTarget final : public archive::ExportTarget {
 public:
  void BeginCabinet(const std::filesystem::path& /*path*/) override {}
  [[nodiscard]] std::unique_ptr<archive::FolderWriter> OpenFolder(
      const std::filesystem::path& /*path*/) override {
    return std::make_unique<NoWriter>();
  }
  archive::WrittenContacts WriteContacts(const addressbook::AddressBook& book) override {
    archive::VCardWriter writer([](std::string_view) {}, archive::VCardVersion::V4_0);
    return {.count = archive::WriteContacts(book, writer)};
  }
};

ordered_json ToJson(const store::DatabaseState& state) {
  ordered_json json = {{"file", state.file}};
  if (!state.failure.empty()) {
    json["failure"] = state.failure;
    return json;
  }
  json["format"] = "Jet " + std::to_string(state.version);
  json["sizeBytes"] = state.sizeBytes;
  json["pages"] = state.pageCount;
  json["pagesByType"] = state.pagesByType;
  json["damagedPages"] = state.DamagedPageCount();
  json["tables"] = ordered_json::array();
  for (const store::TableState& table : state.tables) {
    json["tables"].push_back(
        {{"name", table.name}, {"declaredRows", table.declaredRows}, {"rows", table.rows}});
    if (!table.problem.empty()) json["tables"].back()["problem"] = table.problem;
  }
  json["linkedTables"] = ordered_json(state.linkedTables);
  json["queries"] = ordered_json::array();
  for (const store::QueryState& query : state.queries) {
    json["queries"].push_back({{"name", query.name}, {"isSelect", query.isSelect}});
    if (!query.problem.empty()) json["queries"].back()["problem"] = query.problem;
  }
  json["damage"] = ordered_json::array();
  for (const store::Damage& damage : state.damage) {
    ordered_json place = ordered_json::object();
    if (damage.page) place["page"] = *damage.page;
    if (!damage.table.empty()) place["table"] = damage.table;
    place["reason"] = damage.reason;
    json["damage"].push_back(std::move(place));
  }
  return json;
}

void AddMailKinds(const store::MailList& list, ordered_json& json) {
  json["mailsByKind"] = ordered_json::object();
  for (const auto& [kind, count] : list.rowsByKind)
    json["mailsByKind"][std::to_string(kind)] = count;
}

// The parts of an account that say what can be read.
void AddAccount(const archive::Account& exported, ordered_json& json) {
  const ordered_json account = exported.ToJson();
  const std::int64_t found = account["found"];
  json["mails"] = {{"found", found}, {"readable", account["written"]}};
  if (account.contains("rows")) json["rows"] = account["rows"];
  json["missingFiles"] = account["incomplete"];
  json["unreadable"] = ordered_json::array();
  for (const ordered_json& failure : account["failures"]) {
    const bool isMissing = failure["reason"].get<std::string>().starts_with(NO_MIME_FILE);
    json[isMissing ? "missingFiles" : "unreadable"].push_back(failure);
  }
  json["empty"] = account["skippedMails"];
  json["addresses"] =
      account.contains("contacts") ? account["contacts"]["written"] : ordered_json(0);
  json["unlisted"] = account["unlisted"];
  json["leftOut"] = account["leftOut"];
  json["losses"] = account["losses"];
  if (!exported.abortReason.empty()) json["failure"] = exported.abortReason;
  json["interrupted"] = exported.isInterrupted;
  if (exported.HasLosses()) {
    json["sound"] = false;
  } else if (json["sound"].is_null() && !exported.isInterrupted) {
    json["sound"] = true;
  }
}

// Mails that were deleted are no loss, and what cannot be found of them is none either.
void AddDeleted(StorePlatform& platform, ordered_json& json) {
  const platform::Interruption::Pause pause;
  try {
    store::Store store(platform, {.interruption = &platform::Interruption::Flag()});
    const store::DeletedMails& deleted = store.FindDeleted();
    json["deleted"] = archive::ToJson(deleted.counts());
    json["deleted"]["emptySlots"] = deleted.emptySlots();
  } catch (const store::Error& error) {
    json["deleted"] = {{"failure", error.reason()}};
  } catch (const store::Interrupted&) {
    json["interrupted"] = true;
  }
}

void PrintDeleted(const ordered_json& deleted) {
  if (deleted.contains("failure")) {
    std::cout << "deleted mails cannot be looked for: "
              << text::Visible(deleted["failure"].get<std::string>()) << '\n';
    return;
  }
  std::cout << archive::Describe({.whole = deleted["whole"],
                                  .partial = deleted["partial"],
                                  .onlyNumber = deleted["onlyNumber"]})
            << '\n';
}

const char* Verdict(const ordered_json& answer) {
  if (answer.value("interrupted", false)) return "interrupted: not everything was looked at\n";
  return answer["sound"] == true ? "the store is sound\n" : "the store has losses\n";
}

void PrintDatabase(const ordered_json& database) {
  std::cout << text::Visible(database["file"].get<std::string>()) << ": ";
  if (database.contains("failure")) {
    std::cout << "cannot be read: " << text::Visible(database["failure"].get<std::string>())
              << '\n';
    return;
  }
  std::cout << text::Visible(database["format"].get<std::string>()) << ", " << database["sizeBytes"]
            << " bytes, " << database["pages"] << " pages, " << database["damagedPages"]
            << " damaged\n  pages:";
  for (const auto& [type, count] : database["pagesByType"].items())
    std::cout << ' ' << count << ' ' << type
              << (type == database["pagesByType"].rbegin().key() ? "\n" : ",");
  for (const ordered_json& table : database["tables"]) {
    std::cout << "  table " << text::Visible(table["name"].get<std::string>()) << ": "
              << table["rows"] << " rows";
    if (table["rows"] != table["declaredRows"]) std::cout << " of " << table["declaredRows"];
    if (table.contains("problem"))
      std::cout << ": " << text::Visible(table["problem"].get<std::string>());
    std::cout << '\n';
  }
  for (const auto& [name, place] : database["linkedTables"].items()) {
    std::cout << "  table " << text::Visible(name) << ": linked, its rows are in "
              << text::Visible(place.get<std::string>()) << '\n';
  }
  for (const ordered_json& query : database["queries"]) {
    std::cout << "  query " << text::Visible(query["name"].get<std::string>());
    if (query["isSelect"] == false) std::cout << ": selects nothing, not looked at";
    if (query.contains("problem"))
      std::cout << ": " << text::Visible(query["problem"].get<std::string>());
    std::cout << '\n';
  }
  for (const ordered_json& damage : database["damage"])
    std::cout << "  damage: " << text::Visible(damage["reason"].get<std::string>()) << '\n';
}

void PrintRemarks(const char* title, const ordered_json& remarks) {
  if (remarks.empty()) return;
  std::cout << title << ":\n";
  for (const ordered_json& remark : remarks) {
    std::cout << "  " << text::Visible(remark["folder"].get<std::string>());
    if (remark.contains("position")) std::cout << ", " << remark["position"];
    if (remark.contains("subject")) {
      std::cout << " \"" << text::Visible(remark["subject"].get<std::string>()) << '"';
    }
    std::cout << ": " << text::Visible(remark["reason"].get<std::string>()) << '\n';
  }
}

}  // namespace

void CheckDeep(StorePlatform& platform, ordered_json& json) {
  json = {{"sound", nullptr}};
  store::StoreState state;
  store::MailList list;
  Progress progress(Progress::Work::Reading);
  {
    const platform::Interruption::Pause pause;
    progress.Show("reading every page of the databases");
    state = store::InspectStore(platform);
    list = store::ReadMailList(platform);
  }
  json["databases"] = {ToJson(state.mail), ToJson(state.addressBook)};
  AddMailKinds(list, json);
  const bool isSound = state.mail.IsSound() && state.addressBook.IsSound();
  if (!isSound) json["sound"] = false;
  try {
    archive::Exporter exporter(platform, {}, progress);
    NoTarget target;
    const platform::Interruption::Report report(
        [&] { AddAccount(exporter.InterruptedAccount(), json); });
    AddAccount(exporter.Run(target), json);
    if (!platform::Interruption::IsRequested()) AddDeleted(platform, json);
  } catch (const store::Error& error) {
    json["failure"] = error.reason();
    json["sound"] = false;
  }
}

void PrintDeepCheck(const ordered_json& answer) {
  if (!answer.contains("databases")) return;
  for (const ordered_json& database : answer["databases"])
    PrintDatabase(database);
  for (const auto& [kind, count] : answer["mailsByKind"].items())
    std::cout << "mails of kind " << kind << ": " << count << '\n';
  if (answer.contains("failure")) {
    std::cout << "cannot be read: " << text::Visible(answer["failure"].get<std::string>()) << '\n';
  }
  if (!answer.contains("mails")) return;
  PrintRemarks("files that are missing", answer["missingFiles"]);
  PrintRemarks("cannot be read", answer["unreadable"]);
  PrintRemarks("mails that hold nothing", answer["empty"]);
  PrintRemarks("in no folder, not exported", answer["unlisted"]);
  PrintRemarks("left out by every export", answer["leftOut"]);
  PrintRemarks("damage that an export steps over", answer["losses"]);
  if (answer.contains("rows")) {
    const ordered_json& rows = answer["rows"];
    std::cout << rows["found"] << " rows in the list of mails: " << rows["written"]
              << " can be read, " << rows["skipped"] << " hold nothing, " << rows["failed"]
              << " cannot be read\n";
  }
  if (answer.contains("deleted")) PrintDeleted(answer["deleted"]);
  std::cout << answer["mails"]["found"] << " mails found, " << answer["mails"]["readable"]
            << " can be read, " << answer["missingFiles"].size() << " lack their file\n"
            << answer["addresses"] << " addresses\n"
            << Verdict(answer);
}

}  // namespace nimport::command
