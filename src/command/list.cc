// nimport list: one line per mail.
#include <iomanip>
#include <iostream>

#include <nlohmann/json.hpp>

#include "archive/compose_mail.h"
#include "archive/mail_date.h"
#include "archive/mail_reader.h"
#include "command/commands.h"
#include "command/interruption.h"
#include "command/json_text.h"
#include "command/losses.h"
#include "command/visible.h"
#include "host/result_error.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

ordered_json DescribeMail(const MailReader::OpenFolder& open, std::int32_t position,
                          int& exitCode) {
  const MailHeaders headers = open.Headers(position);
  ordered_json json = {{"position", position}};
  const auto add = [&](const char* name, const std::optional<std::string>& text) {
    json[name] = text ? ordered_json(*text) : ordered_json(nullptr);
  };
  std::optional<std::int64_t> instant;
  try {
    const MailContents contents = open.Contents(position);
    instant = InstantOf(headers, contents);
    if (!contents.missing.empty()) {
      json["error"] = contents.missing;
      exitCode = EXIT_SOME_FAILED;
    }
  } catch (const host::ResultError& error) {
    // The contents may be lost where the headers are not.
    if (headers.date) instant = InstantOfColumnDate(*headers.date);
    json["error"] = error.reason();
    exitCode = EXIT_SOME_FAILED;
  }
  add("date", instant ? std::optional(ToLocalText(*instant)) : std::nullopt);
  add("from", headers.from);
  add("to", headers.to);
  add("subject", headers.subject);
  return json;
}

std::string OneLine(const ordered_json& text) {
  return text.is_string() ? Visible(text.get<std::string>()) : "-";
}

void PrintMail(const ordered_json& mail) {
  std::cout << std::setw(5) << mail["position"].get<std::int32_t>() << "  " << std::left
            << std::setw(19) << OneLine(mail["date"]) << std::right << "  " << OneLine(mail["from"])
            << "  ->  " << OneLine(mail["to"]) << "  |  " << OneLine(mail["subject"]);
  if (mail.contains("error")) std::cout << "  (" << OneLine(mail["error"]) << ')';
  std::cout << '\n';
}

}  // namespace

int RunList(const host::Library& library, const Options& options) {
  const MailReader reader(library);
  int exitCode = EXIT_ALL_DONE;
  ordered_json folders = ordered_json::array();
  for (const FolderPlace& place : FindFolders(reader.session(), options.folder)) {
    const MailReader::OpenFolder open(reader, place);
    if (!options.isJson) std::cout << Visible(place.Name()) << '\n';
    ordered_json mails = ordered_json::array();
    for (std::int32_t position = 0; position < open.mailCount(); ++position) {
      // Nobody reads on, or the user has had enough.
      if (!std::cout || Interruption::IsRequested()) return EXIT_SOME_FAILED;
      ordered_json mail = DescribeMail(open, position, exitCode);
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
  return PrintLosses(library) ? EXIT_SOME_FAILED : exitCode;
}

}  // namespace nimport::command
