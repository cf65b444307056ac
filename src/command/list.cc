// nimport list: one line per mail.
#include <iomanip>
#include <iostream>

#include <nlohmann/json.hpp>

#include "archive/deleted_source.h"
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

ordered_json DescribeMail(store::Store& store, const archive::OpenSource& open,
                          std::size_t position, int& exitCode) {
  archive::MailHeaders headers;
  ordered_json json = {{"position", position}};
  const auto fail = [&](const std::string& reason) {
    json["error"] = reason;
    exitCode = EXIT_SOME_FAILED;
  };
  try {
    const archive::SourceMail mail = open.Read(position);
    for (const archive::HeaderText& field : mail.furtherFields) {
      if (field.name == archive::RECOVERED_FIELD) json["recovered"] = field.value;
    }
    std::optional<archive::MailContents> contents;
    try {
      contents = open.ReadContents(mail);
      if (!contents->missing.empty()) fail(contents->missing);
    } catch (const store::Error& error) {
      // The contents may be lost where the headers are not.
      fail(error.reason());
    }
    headers = archive::ReadHeaders(store, mail.record, contents ? &*contents : nullptr);
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
  if (mail.contains("recovered")) std::cout << "  [" << OneLine(mail["recovered"]) << ']';
  if (mail.contains("error")) std::cout << "  (" << OneLine(mail["error"]) << ')';
  std::cout << '\n';
}

// Mails are printed as they are read; those of several folders are gathered for JSON.
class Lister {
 public:
  Lister(store::Store& store, const Options& options) : store_(store), options_(options) {}

  // False when nobody reads on. Throws store::Interrupted.
  [[nodiscard]] bool Add(const std::string& name, std::optional<std::size_t> index,
                         const archive::OpenSource& open) {
    if (!options_.isJson) std::cout << text::Visible(name) << '\n';
    ordered_json mails = ordered_json::array();
    for (std::size_t position = 0; position < open.mailCount(); ++position) {
      if (!std::cout) return false;
      if (platform::Interruption::IsRequested()) throw store::Interrupted();
      ordered_json mail = DescribeMail(store_, open, position, exitCode_);
      if (options_.isJson) {
        mails.push_back(std::move(mail));
      } else {
        PrintMail(mail);
      }
    }
    ordered_json folder = ordered_json::object();
    if (index) folder["index"] = *index;
    folder["folder"] = name;
    folder["mails"] = std::move(mails);
    folders_.push_back(std::move(folder));
    return true;
  }

  // Returns the exit code.
  int Finish() {
    if (options_.isJson) std::cout << ToText(folders_);
    return PrintLosses(store_.TakeLosses()) ? EXIT_SOME_FAILED : exitCode_;
  }

 private:
  store::Store& store_;
  const Options& options_;
  int exitCode_ = EXIT_ALL_DONE;
  ordered_json folders_ = ordered_json::array();
};

int ListDeleted(store::Store& store, const Options& options) {
  archive::ArchiveNames names;
  const archive::MailSources sources = archive::DeletedSources(store, names);
  Lister lister(store, options);
  for (const auto& source : sources) {
    // A folder is named as it was before its mails were deleted.
    const std::string name = source->Name();
    if (!options.folder.empty() && !name.ends_with('/' + options.folder)) continue;
    if (!lister.Add(name, std::nullopt, *source->Open(store))) return EXIT_SOME_FAILED;
  }
  if (!options.isJson) std::cout << archive::Describe(store.FindDeleted().counts()) << '\n';
  return lister.Finish();
}

}  // namespace

int RunList(StorePlatform& platform, const Options& options) {
  const platform::Interruption::Pause pause;  // there is no report
  store::Store store(platform, {.interruption = &platform::Interruption::Flag()});
  if (options.isDeleted) return ListDeleted(store, options);
  Lister lister(store, options);
  for (const archive::FolderPlace& place : archive::FindFolders(store, options.folder)) {
    if (!lister.Add(place.Name(), place.index, *archive::OpenListed(store, *place.folder))) {
      return EXIT_SOME_FAILED;
    }
  }
  return lister.Finish();
}

}  // namespace nimport::command
