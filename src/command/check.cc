// nimport check: can the store be read, and if not, what is missing?
#include <filesystem>
#include <iostream>
#include <set>
#include <system_error>

#include <nlohmann/json.hpp>
#include <stdlib.h>

#include "archive/balance.h"
#include "archive/store_folders.h"
#include "command/check_deep.h"
#include "command/commands.h"
#include "command/interruption.h"
#include "command/json_text.h"
#include "command/visible.h"
#include "host/address_book.h"
#include "host/native_path.h"
#include "host/result_error.h"
#include "host/store_location.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

// Where the plug-in looks.
ordered_json DescribeSettings() {
  ordered_json registry = ordered_json::array();
  for (const std::filesystem::path& file : host::RegistryFilesInUse()) {
    std::error_code error;
    registry.push_back({{"file", file.string()}, {"exists", std::filesystem::exists(file, error)}});
  }
  const char* const drives = secure_getenv("NIMPORT_DRIVES");
  ordered_json map = ordered_json::object();
  for (const auto& [letter, directory] : host::ParseDriveMap(drives == nullptr ? "" : drives)) {
    map[std::string(1, letter)] = directory.string();
  }
  return {{"registry", registry}, {"drives", map}};
}

ordered_json CheckMailer(const host::Library& library) {
  ordered_json answer;
  answer["installed"] = host::IsMailerInstalled(library);
  if (answer["installed"] == true) return answer;
  // The function answers 0 even then; its failure inside is recorded under another code.
  std::string reason = library.TakeReason("ML_IsExistMailer", RESULT_INVALID);
  for (const host::DiagnosticRecord& record : library.TakeLosses()) {
    if (reason.empty()) reason = record.Describe();
  }
  answer["reason"] = reason.empty()
                         ? "its settings or its program were not found, or it is older than 5.0"
                         : reason;
  return answer;
}

ordered_json CheckMail(const host::Library& library) {
  const host::MailSession session(library);
  ordered_json answer = {{"usable", true}, {"member", session.accountName()}};
  std::int64_t mailCount = 0;
  std::vector<std::string> problems;
  if (!session.failedListing().empty()) problems.push_back(session.failedListing());
  const std::vector<FolderPlace> places = AllFolders(session);
  std::vector<FoundFolder> found;
  for (const FolderPlace& place : places) {
    found.push_back({.name = place.Name(), .mailCount = std::nullopt});
    try {
      found.back().mailCount = host::OpenFolder(*place.folder).mailCount();
      mailCount += *found.back().mailCount;
    } catch (const host::ResultError& error) {
      problems.push_back(place.Name() + ": " + error.reason());
    }
  }
  const Balance balance = MakeBalance(inspection::ReadMailList(), found);
  for (const auto* remarks : {&balance.missing, &balance.unlisted}) {
    for (const Remark& remark : *remarks)
      problems.push_back(remark.folder + ": " + remark.reason);
  }
  answer["cabinets"] = session.cabinets().size();
  answer["folders"] = places.size();
  answer["mails"] = mailCount;
  answer["problems"] = problems;
  return answer;
}

ordered_json CheckAddressBook(const host::Library& library) {
  const host::AddressBook book(library);
  return {{"usable", true},
          {"groups", book.Groups().size()},
          {"addresses", book.AddressCount()},
          {"problems", ordered_json::array()}};
}

ordered_json CheckDatabase(const host::Library& library,
                           ordered_json (*check)(const host::Library&)) {
  ordered_json answer;
  try {
    answer = check(library);
  } catch (const host::ResultError& error) {
    answer = {{"usable", false}, {"reason", error.reason()}};
    return answer;
  }
  std::set<std::string> places;
  for (const host::DiagnosticRecord& record : library.TakeLosses()) {
    if (places.insert(record.Describe()).second) answer["problems"].push_back(record.Describe());
  }
  return answer;
}

void PrintDatabase(const char* title, const ordered_json& answer) {
  std::cout << title << ": ";
  if (answer["usable"] == false) {
    std::cout << "cannot be read: " << Visible(answer["reason"].get<std::string>()) << '\n';
    return;
  }
  std::cout << "can be read";
  for (const char* number : {"cabinets", "folders", "mails", "groups", "addresses"}) {
    if (answer.contains(number)) std::cout << ", " << answer[number] << ' ' << number;
  }
  if (answer.contains("member")) {
    std::cout << ", member " << Visible(answer["member"].get<std::string>());
  }
  std::cout << '\n';
  for (const ordered_json& problem : answer["problems"]) {
    std::cout << "  " << Visible(problem.get<std::string>()) << '\n';
  }
}

void Print(const ordered_json& answer) {
  std::cout << "plug-in: " << Visible(answer["library"].get<std::string>()) << '\n';
  for (const ordered_json& file : answer["settings"]["registry"]) {
    std::cout << "registry: " << Visible(file["file"].get<std::string>())
              << (file["exists"] == true ? "\n" : " (not there)\n");
  }
  for (const auto& [letter, directory] : answer["settings"]["drives"].items()) {
    std::cout << "drive " << letter << ": " << Visible(directory.get<std::string>()) << '\n';
  }
  const ordered_json& mailer = answer["mailClient"];
  std::cout << "mail client: ";
  if (mailer["installed"] == true) {
    std::cout << "installed\n";
  } else {
    std::cout << "not installed (not needed to read the store): "
              << Visible(mailer["reason"].get<std::string>()) << '\n';
  }
  PrintDatabase("mail", answer["mail"]);
  PrintDatabase("address book", answer["addressBook"]);
}

// What is known of the store after an interruption.
void PrintInterrupted(ordered_json& answer, const Options& options) {
  answer["interrupted"] = true;
  if (options.isJson) {
    std::cout << ToText(answer);
  } else if (answer.contains("addressBook")) {
    Print(answer);
    if (answer.contains("deep")) PrintDeepCheck(answer["deep"]);
  }
}

}  // namespace

int RunCheck(const host::Library& library, const Options& options) {
  ordered_json answer;
  const Interruption::Report report([&] { PrintInterrupted(answer, options); });
  answer["library"] = library.path().string();
  answer["settings"] = DescribeSettings();
  answer["mailClient"] = CheckMailer(library);
  answer["mail"] = CheckDatabase(library, CheckMail);
  answer["addressBook"] = CheckDatabase(library, CheckAddressBook);
  if (options.isDeep) CheckDeep(library, answer["deep"]);
  if (options.isJson) {
    std::cout << ToText(answer);
  } else {
    Print(answer);
    if (options.isDeep) PrintDeepCheck(answer["deep"]);
  }
  const bool hasMail = answer["mail"]["usable"] == true;
  const bool hasBook = answer["addressBook"]["usable"] == true;
  if (!hasMail && !hasBook) return EXIT_CANNOT_RUN;
  const bool isSound = hasMail && hasBook && answer["mail"]["problems"].empty() &&
                       answer["addressBook"]["problems"].empty() &&
                       (!options.isDeep || answer["deep"]["sound"] == true);
  return isSound ? EXIT_ALL_DONE : EXIT_SOME_FAILED;
}

}  // namespace nimport::command
