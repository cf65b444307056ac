#include "host/command/check_deep.h"

#include <iostream>
#include <stdexcept>
#include <string>

#include <gmime/gmime.h>
#include <nlohmann/json.hpp>

#include "host/command/account.h"
#include "host/command/contacts.h"
#include "host/command/exporter.h"
#include "host/command/vcard.h"
#include "host/result_error.h"
#include "inspection/store_inspection.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

// What the plug-in says of a MIME file that is not there.
constexpr std::string_view NO_MIME_FILE = "no MIME file";

class NoWriter final : public FolderWriter {
 public:
  Outcome Write(const FinishedMail& /*mail*/, std::int32_t /*position*/,
                const std::string& /*subject*/) override {
    return Outcome::Written;
  }
};

class NoTarget final : public ExportTarget {
 public:
  void BeginCabinet(const std::filesystem::path& /*path*/) override {}
  [[nodiscard]] std::unique_ptr<FolderWriter> OpenFolder(
      const std::filesystem::path& /*path*/) override {
    return std::make_unique<NoWriter>();
  }
  std::int64_t WriteContacts(const host::Library& library) override {
    VCardWriter writer([](std::string_view) {}, VCardVersion::V4_0);
    return command::WriteContacts(host::AddressBook(library), writer);
  }
};

ordered_json ToJson(const inspection::DatabaseState& state) {
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
  for (const inspection::TableState& table : state.tables) {
    json["tables"].push_back(
        {{"name", table.name}, {"declaredRows", table.declaredRows}, {"rows", table.rows}});
    if (!table.problem.empty()) json["tables"].back()["problem"] = table.problem;
  }
  json["queries"] = ordered_json::array();
  for (const inspection::QueryState& query : state.queries) {
    json["queries"].push_back({{"name", query.name}, {"isSelect", query.isSelect}});
    if (!query.problem.empty()) json["queries"].back()["problem"] = query.problem;
  }
  json["damage"] = ordered_json::array();
  for (const inspection::Damage& damage : state.damage) {
    ordered_json place = ordered_json::object();
    if (damage.page) place["page"] = *damage.page;
    if (!damage.table.empty()) place["table"] = damage.table;
    place["reason"] = damage.reason;
    json["damage"].push_back(std::move(place));
  }
  return json;
}

void AddMailKinds(const inspection::StoreState& state, ordered_json& json) {
  json["mailsByKind"] = ordered_json::object();
  for (const auto& [kind, count] : state.mailsByKind)
    json["mailsByKind"][std::to_string(kind)] = count;
}

// The parts of an account that tell what can be read.
void AddAccount(const ordered_json& account, ordered_json& json) {
  const std::int64_t found = account["found"];
  json["mails"] = {{"found", found}, {"readable", account["written"]}};
  json["missingFiles"] = account["incomplete"];
  json["unreadable"] = ordered_json::array();
  for (const ordered_json& failure : account["failures"]) {
    const bool isMissing = failure["reason"].get<std::string>().starts_with(NO_MIME_FILE);
    json[isMissing ? "missingFiles" : "unreadable"].push_back(failure);
  }
  json["empty"] = account["skippedMails"];
  json["addresses"] =
      account.contains("contacts") ? account["contacts"]["written"] : ordered_json(0);
  json["leftOut"] = account["leftOut"];
  json["losses"] = account["losses"];
}

void PrintDatabase(const ordered_json& database) {
  std::cout << database["file"].get<std::string>() << ": ";
  if (database.contains("failure")) {
    std::cout << "cannot be read: " << database["failure"].get<std::string>() << '\n';
    return;
  }
  std::cout << database["format"].get<std::string>() << ", " << database["sizeBytes"] << " bytes, "
            << database["pages"] << " pages, " << database["damagedPages"] << " damaged\n  pages:";
  for (const auto& [type, count] : database["pagesByType"].items())
    std::cout << ' ' << count << ' ' << type
              << (type == database["pagesByType"].rbegin().key() ? "\n" : ",");
  for (const ordered_json& table : database["tables"]) {
    std::cout << "  table " << table["name"].get<std::string>() << ": " << table["rows"] << " rows";
    if (table["rows"] != table["declaredRows"]) std::cout << " of " << table["declaredRows"];
    if (table.contains("problem")) std::cout << ": " << table["problem"].get<std::string>();
    std::cout << '\n';
  }
  for (const ordered_json& query : database["queries"]) {
    std::cout << "  query " << query["name"].get<std::string>();
    if (query["isSelect"] == false) std::cout << ": selects nothing, not looked at";
    if (query.contains("problem")) std::cout << ": " << query["problem"].get<std::string>();
    std::cout << '\n';
  }
  for (const ordered_json& damage : database["damage"])
    std::cout << "  damage: " << damage["reason"].get<std::string>() << '\n';
}

void PrintRemarks(const char* title, const ordered_json& remarks) {
  if (remarks.empty()) return;
  std::cout << title << ":\n";
  for (const ordered_json& remark : remarks) {
    std::cout << "  " << remark["folder"].get<std::string>();
    if (remark.contains("position")) std::cout << ", " << remark["position"];
    if (remark.contains("subject")) {
      std::cout << " \"" << remark["subject"].get<std::string>() << '"';
    }
    std::cout << ": " << remark["reason"].get<std::string>() << '\n';
  }
}

}  // namespace

ordered_json CheckDeep(const host::Library& library) {
  g_mime_init();
  const inspection::StoreState state = inspection::InspectStore();
  ordered_json json;
  json["databases"] = {ToJson(state.mail), ToJson(state.addressBook)};
  AddMailKinds(state, json);
  bool isSound = state.mail.IsSound() && state.addressBook.IsSound();
  try {
    Exporter exporter(library, ExportFormat::Maildir);
    NoTarget target;
    const Account& account = exporter.Run(target);
    AddAccount(account.ToJson(), json);
    if (!account.abortReason.empty()) json["failure"] = account.abortReason;
    json["interrupted"] = account.isInterrupted;
    isSound = isSound && account.IsAllDone();
  } catch (const host::ResultError& error) {
    json["failure"] = error.reason();
    isSound = false;
  }
  json["sound"] = isSound;
  return json;
}

void PrintDeepCheck(const ordered_json& answer) {
  for (const ordered_json& database : answer["databases"])
    PrintDatabase(database);
  for (const auto& [kind, count] : answer["mailsByKind"].items())
    std::cout << "mails of kind " << kind << ": " << count << '\n';
  if (answer.contains("failure")) {
    std::cout << "cannot be read: " << answer["failure"].get<std::string>() << '\n';
  }
  if (!answer.contains("mails")) return;
  PrintRemarks("files that are missing", answer["missingFiles"]);
  PrintRemarks("cannot be read", answer["unreadable"]);
  PrintRemarks("mails that hold nothing", answer["empty"]);
  PrintRemarks("left out by every export", answer["leftOut"]);
  PrintRemarks("damage that an export steps over", answer["losses"]);
  std::cout << answer["mails"]["found"] << " mails found, " << answer["mails"]["readable"]
            << " can be read, " << answer["missingFiles"].size() << " lack their file\n"
            << answer["addresses"] << " addresses\n"
            << (answer["sound"] == true ? "the store is sound\n" : "the store has losses\n");
}

}  // namespace nimport::command
