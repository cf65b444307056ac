// nimport check: can the store be read, and if not, what is missing?
#include <filesystem>
#include <iostream>
#include <set>
#include <system_error>

#include <nlohmann/json.hpp>

#include "archive/balance.h"
#include "archive/store_folders.h"
#include "command/check_deep.h"
#include "command/commands.h"
#include "command/drive_hints.h"
#include "command/json_text.h"
#include "common/failure.h"
#include "common/utf8_path.h"
#include "platform/interruption.h"
#include "store/installation.h"
#include "store/mails/mail_list.h"
#include "store/store.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

// Where the store is looked for.
ordered_json DescribeSettings(const StorePlatform& platform) {
  ordered_json registry = ordered_json::array();
  for (const std::filesystem::path& file : platform.RegistryFiles()) {
    std::error_code error;
    registry.push_back(
        {{"file", PathToUtf8(file)}, {"exists", std::filesystem::exists(file, error)}});
    if (error) registry.back()["problem"] = error.message();
  }
  ordered_json map = ordered_json::object();
  for (const auto& [letter, directory] : platform.Drives())
    map[std::string(1, letter)] = PathToUtf8(directory);
  return {{"registry", registry}, {"drives", map}};
}

ordered_json CheckMailer(StorePlatform& platform) {
  try {
    store::CheckInstallation(platform);
    return {{"installed", true}};
  } catch (const Failure& failure) {
    return {{"installed", false}, {"reason", failure.what()}};
  }
}

void AddLosses(const std::vector<store::Problem>& losses, ordered_json& answer) {
  std::set<std::string> places;
  for (const store::Problem& loss : losses) {
    if (places.insert(loss.Describe()).second) answer["problems"].push_back(loss.Describe());
  }
}

ordered_json CheckMail(StorePlatform& platform) {
  store::Store store(platform, {.interruption = &platform::Interruption::Flag()});
  ordered_json answer = {{"usable", true}, {"member", nullptr}};
  if (!store.memberId().empty()) answer["member"] = store.memberId();
  std::uint64_t mailCount = 0;
  std::vector<std::string> problems;
  if (!store.failedListing().empty()) problems.push_back(store.failedListing());
  const std::vector<archive::FolderPlace> places = archive::AllFolders(store);
  std::vector<archive::FoundFolder> found;
  for (const archive::FolderPlace& place : places) {
    found.push_back({.name = place.Name(), .mailCount = std::nullopt});
    try {
      const std::size_t mails = store.Open(*place.folder).mailCount();
      found.back().mailCount = static_cast<std::int64_t>(mails);
      mailCount += mails;
    } catch (const store::Error& error) {
      problems.push_back(place.Name() + ": " + error.reason());
    }
  }
  const store::MailList list = store::ReadMailList(platform);
  for (const archive::Remark& remark : archive::FindMissingRows(list, found))
    problems.push_back(remark.folder + ": " + remark.reason);
  std::uint64_t unlisted = 0;
  for (const auto& [number, mails] : list.unlisted)
    unlisted += mails.mails.size();
  answer["cabinets"] = store.cabinets().size();
  answer["folders"] = places.size();
  answer["mails"] = mailCount;
  answer["rows"] = list.rowCount;
  answer["notListed"] = unlisted;
  answer["missingDrives"] = FindDriveHints(platform);
  for (const ordered_json& hint : answer["missingDrives"])
    problems.push_back(ToSentence(hint));
  answer["problems"] = problems;
  AddLosses(store.TakeLosses(), answer);
  return answer;
}

ordered_json CheckAddressBook(StorePlatform& platform) {
  std::vector<store::Problem> losses;
  const store::OpenAddressBook open(platform, losses,
                                    {.interruption = &platform::Interruption::Flag()});
  const addressbook::AddressBook& book = open.book();
  ordered_json answer = {{"usable", true},
                         {"groups", book.GroupCount()},
                         {"addresses", book.AddressCount(addressbook::AddressBook::WHOLE_BOOK)},
                         {"problems", ordered_json::array()}};
  AddLosses(losses, answer);
  return answer;
}

ordered_json CheckDatabase(StorePlatform& platform, ordered_json (*check)(StorePlatform&)) {
  const platform::Interruption::Pause pause;
  try {
    return check(platform);
  } catch (const store::Error& error) {
    return {{"usable", false}, {"reason", error.reason()}};
  }
}

void PrintDatabase(const char* title, const ordered_json& answer) {
  std::cout << title << ": ";
  if (answer["usable"] == false) {
    std::cout << "cannot be read: " << text::Visible(answer["reason"].get<std::string>()) << '\n';
    return;
  }
  std::cout << "can be read";
  for (const char* number : {"cabinets", "folders", "mails", "groups", "addresses"}) {
    if (answer.contains(number)) std::cout << ", " << answer[number] << ' ' << number;
  }
  if (answer.value("notListed", 0) > 0) {
    std::cout << ", " << answer["notListed"] << " rows that no folder lists";
  }
  if (answer.contains("member")) {
    const ordered_json& member = answer["member"];
    std::cout << ", member "
              << (member.is_string() ? text::Visible(member.get<std::string>())
                                     : "not known (--member ID says who the owner is)");
  }
  std::cout << '\n';
  for (const ordered_json& problem : answer["problems"]) {
    std::cout << "  " << text::Visible(problem.get<std::string>()) << '\n';
  }
}

void Print(const ordered_json& answer) {
  for (const ordered_json& file : answer["settings"]["registry"]) {
    std::cout << "registry: " << text::Visible(file["file"].get<std::string>())
              << (file["exists"] == true ? "" : " (" + file.value("problem", "not there") + ')')
              << '\n';
  }
  for (const auto& [letter, directory] : answer["settings"]["drives"].items()) {
    std::cout << "drive " << letter << ": " << text::Visible(directory.get<std::string>()) << '\n';
  }
  const ordered_json& mailer = answer["mailClient"];
  std::cout << "mail client: ";
  if (mailer["installed"] == true) {
    std::cout << "installed\n";
  } else {
    std::cout << "not installed (not needed to read the store): "
              << text::Visible(mailer["reason"].get<std::string>()) << '\n';
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

int RunCheck(StorePlatform& platform, const Options& options) {
  ordered_json answer;
  const platform::Interruption::Report report([&] { PrintInterrupted(answer, options); });
  try {
    answer["settings"] = DescribeSettings(platform);
    answer["mailClient"] = CheckMailer(platform);
    answer["mail"] = CheckDatabase(platform, CheckMail);
    answer["addressBook"] = CheckDatabase(platform, CheckAddressBook);
    if (options.isDeep) CheckDeep(platform, answer["deep"]);
  } catch (const store::Interrupted&) {
    PrintInterrupted(answer, options);
    throw;
  }
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
