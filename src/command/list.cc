// nimport list: one line per mail.
#include <iomanip>
#include <iostream>

#include <nlohmann/json.hpp>

#include "archive/mail_contents.h"
#include "archive/store_folders.h"
#include "command/commands.h"
#include "command/json_text.h"
#include "command/losses.h"
#include "platform/interruption.h"
#include "store/store.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

ordered_json DescribeMail(store::Store& store, const store::OpenFolder& open, std::size_t position,
                          int& exitCode) {
  archive::MailHeaders headers;
  ordered_json json = {{"position", position}};
  const auto fail = [&](const std::string& reason) {
    json["error"] = reason;
    exitCode = EXIT_SOME_FAILED;
  };
  try {
    const store::MailRecord record = open.Read(position);
    std::optional<archive::MailContents> contents;
    try {
      contents = archive::ReadContents(store, record);
      if (!contents->missing.empty()) fail(contents->missing);
    } catch (const store::Error& error) {
      // The contents may be lost where the headers are not.
      fail(error.reason());
    }
    headers = archive::ReadHeaders(store, record, contents ? &*contents : nullptr);
  } catch (const store::Error& error) {
    fail(error.reason());
  }
  const auto add = [&](const char* name, const std::optional<std::string>& text) {
    json[name] = text ? ordered_json(*text) : ordered_json(nullptr);
  };
  add("date", headers.DateText());
  add("from", headers.from);
  add("to", headers.to);
  add("subject", headers.subject);
  return json;
}

std::string OneLine(const ordered_json& text) {
  return text.is_string() ? text::Visible(text.get<std::string>()) : "-";
}

void PrintMail(const ordered_json& mail) {
  std::cout << std::setw(5) << mail["position"].get<std::int32_t>() << "  " << std::left
            << std::setw(19) << OneLine(mail["date"]) << std::right << "  " << OneLine(mail["from"])
            << "  ->  " << OneLine(mail["to"]) << "  |  " << OneLine(mail["subject"]);
  if (mail.contains("error")) std::cout << "  (" << OneLine(mail["error"]) << ')';
  std::cout << '\n';
}

}  // namespace

int RunList(StorePlatform& platform, const Options& options) {
  const platform::Interruption::Pause pause;  // there is no report
  store::Store store(platform, {.interruption = &platform::Interruption::Flag()});
  int exitCode = EXIT_ALL_DONE;
  ordered_json folders = ordered_json::array();
  for (const archive::FolderPlace& place : archive::FindFolders(store, options.folder)) {
    const store::OpenFolder open = store.Open(*place.folder);
    if (!options.isJson) std::cout << text::Visible(place.Name()) << '\n';
    ordered_json mails = ordered_json::array();
    for (std::size_t position = 0; position < open.mailCount(); ++position) {
      if (!std::cout) return EXIT_SOME_FAILED;  // nobody reads on
      if (platform::Interruption::IsRequested()) throw store::Interrupted();
      ordered_json mail = DescribeMail(store, open, position, exitCode);
      if (options.isJson) {
        mails.push_back(std::move(mail));
      } else {
        PrintMail(mail);
      }
    }
    folders.push_back({{"index", place.index}, {"folder", place.Name()}, {"mails", mails}});
  }
  if (options.isJson) {
    std::cout << ToText(folders);
  }
  return PrintLosses(store.TakeLosses()) ? EXIT_SOME_FAILED : exitCode;
}

}  // namespace nimport::command
