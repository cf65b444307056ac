// nimport show: one mail.
#include <algorithm>
#include <array>
#include <iostream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "archive/compose_mail.h"
#include "archive/mail_contents.h"
#include "archive/store_folders.h"
#include "command/commands.h"
#include "command/json_text.h"
#include "command/losses.h"
#include "command/terminal.h"
#include "mime/mail.h"
#include "platform/interruption.h"
#include "store/mails/mail_text.h"
#include "store/store.h"
#include "text/code_page_932.h"
#include "text/text_lines.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

// A name, the ending of a name, or neither, and the size.
ordered_json DescribeFile(const std::string& name, std::size_t sizeBytes) {
  ordered_json json;
  if (!name.empty()) json["name"] = name;
  const std::size_t dot = name.rfind('.');
  json["extension"] = dot == std::string::npos ? std::string() : name.substr(dot);
  json["size"] = sizeBytes;
  return json;
}

ordered_json DescribeText(std::string_view text) {
  return {{{"extension", ".txt"}, {"text", text}}};
}

// A MIME mail's parts by what they are to its reader.
class MimeParts {
 public:
  explicit MimeParts(std::string mail) : mail_(std::move(mail)) {}

  // What is shown, and what the shown texts refer to: texts come with their text, others with their
  // size.
  [[nodiscard]] ordered_json Bodies() {
    ordered_json list = ordered_json::array();
    for (const std::size_t part : mail_.roles().mains)
      list.push_back(DescribeBody(part));
    for (std::size_t part = 0; part < mail_.parts().size(); ++part) {
      if (IsRelated(part)) list.push_back(DescribeBody(part));
    }
    return list;
  }

  [[nodiscard]] ordered_json Attachments() {
    ordered_json list = ordered_json::array();
    for (const std::size_t part : mail_.roles().attachments)
      list.push_back(DescribeFile(mail_.SavedName(part), SizeOf(part)));
    return list;
  }

 private:
  [[nodiscard]] std::size_t SizeOf(std::size_t part) const {
    mime::TransferDecoder contents = mail_.Contents(part);
    std::array<char, 8192> piece;
    std::size_t bytes = 0;
    while (const std::size_t read = contents.Read(piece))
      bytes += read;
    return bytes;
  }

  // Whether nothing else names the part: it is neither shown nor saved, and stands in no enclosed
  // message.
  [[nodiscard]] bool IsRelated(std::size_t part) const {
    const std::vector<mime::Part>& parts = mail_.parts();
    if (parts[part].kind != mime::PartKind::Leaf) return false;
    for (const auto* list : {&mail_.roles().mains, &mail_.roles().attachments}) {
      if (std::ranges::find(*list, part) != list->end()) return false;
    }
    for (std::size_t i = parts[part].parent; i != mime::NO_PART; i = parts[i].parent) {
      if (parts[i].kind == mime::PartKind::Message) return false;
    }
    return true;
  }

  [[nodiscard]] ordered_json DescribeBody(std::size_t part) {
    const mime::Part& described = mail_.parts()[part];
    ordered_json json;
    if (mail_.IsText(part)) {
      json["extension"] = mime::HasType(described, "text/html") ? ".html" : ".txt";
      json["text"] = mail_.Text(part);
    } else {
      json = DescribeFile(mail_.SavedName(part), SizeOf(part));
    }
    json["contentType"] = described.type;
    return json;
  }

  mime::Mail mail_;
};

// The text after the header of a mail that is kept as one text.
std::string BodyOfWholeMail(const store::MailRecord& record) {
  const std::string text = store::NormalizeLineEnds(record.text.value.value_or(""));
  std::size_t position = 0;
  while (const auto line = text::ReadTextLine(text, position)) {
    if (line->empty()) break;
  }
  return text.substr(std::min(position, text.size()));
}

void DescribeParts(const store::MailRecord& record, archive::MailContents& contents,
                   ordered_json& json, int& exitCode) {
  json["bodies"] = ordered_json::array();
  json["attachments"] = ordered_json::array();
  switch (contents.kind) {
    case archive::ContentsKind::Text:
      json["bodies"] = DescribeText(contents.bytes);
      return;
    case archive::ContentsKind::WholeMail:
      json["bodies"] = DescribeText(BodyOfWholeMail(record));
      return;
    case archive::ContentsKind::MimeMail: {
      MimeParts parts(std::move(contents.bytes));
      json["bodies"] = parts.Bodies();
      json["attachments"] = parts.Attachments();
      return;
    }
    case archive::ContentsKind::StoredFile:
      if (contents.missing.empty()) {
        json["attachments"].push_back(DescribeFile(contents.fileName, contents.bytes.size()));
      } else {
        json["attachments"].push_back({{"error", contents.missing}});
        exitCode = EXIT_SOME_FAILED;
      }
  }
}

ordered_json DescribeMail(store::Store& store, const store::OpenFolder& open, std::size_t position,
                          int& exitCode) {
  const store::MailRecord record = open.Read(position);
  std::optional<archive::MailContents> contents;
  ordered_json error;
  try {
    contents = archive::ReadContents(store, record);
  } catch (const store::Error& failure) {
    exitCode = EXIT_SOME_FAILED;
    error = {{"error", failure.reason()}};
  }
  const archive::MailHeaders headers =
      archive::ReadHeaders(store, record, contents ? &*contents : nullptr);
  ordered_json json;
  const auto add = [&](const char* name, const std::optional<std::string>& text) {
    json[name] = text ? ordered_json(*text) : ordered_json(nullptr);
  };
  add("date", headers.DateText());
  add("from", headers.from);
  add("to", headers.to);
  add("subject", headers.subject);
  add("messageId", headers.messageId);
  if (contents) {
    DescribeParts(record, *contents, json, exitCode);
  } else {
    json["error"] = error["error"];
    json["bodies"] = error;
    json["attachments"] = error;
  }
  return json;
}

// What is best known of a file: its name, its type or "*.EXTENSION".
std::string NameOf(const ordered_json& file) {
  for (const char* member : {"name", "contentType"}) {
    if (file.contains(member)) return file[member].get<std::string>();
  }
  return '*' + file["extension"].get<std::string>();
}

void PrintPart(const char* title, const ordered_json& part) {
  if (part.contains("text")) {
    std::cout << '\n' << text::VisibleLines(part["text"].get<std::string>()) << '\n';
  } else if (part.contains("error")) {
    std::cout << '\n'
              << title << " (cannot be read: " << text::Visible(part["error"].get<std::string>())
              << ")\n";
  } else {
    std::cout << '\n'
              << title << ' ' << text::Visible(NameOf(part)) << ", " << part["size"] << " bytes\n";
  }
}

void PrintParts(const char* title, const ordered_json& parts) {
  if (parts.is_object()) {
    PrintPart(title, parts);
    return;
  }
  for (const ordered_json& part : parts)
    PrintPart(title, part);
}

void Print(const ordered_json& mail) {
  for (const char* name : {"date", "from", "to", "subject", "messageId", "error"}) {
    if (mail.contains(name) && mail[name].is_string()) {
      std::cout << name << ": " << text::Visible(mail[name].get<std::string>()) << '\n';
    }
  }
  PrintParts("body", mail["bodies"]);
  PrintParts("attachment", mail["attachments"]);
}

}  // namespace

int RunShow(StorePlatform& platform, const Options& options) {
  const platform::Interruption::Pause pause;  // there is no report
  store::Store store(platform, {.interruption = &platform::Interruption::Flag()});
  const archive::FolderPlace place = archive::FindFolders(store, options.folder).front();
  const store::OpenFolder open = store.Open(*place.folder);
  const auto position = static_cast<std::size_t>(options.mail);
  if (options.mail < 0 || position >= open.mailCount()) {
    throw std::runtime_error(place.Name() + " has no mail " + std::to_string(options.mail));
  }
  if (options.isSource) {
    const store::MailRecord record = open.Read(position);
    archive::MailContents contents = archive::ReadContents(store, record);
    const archive::MailHeaders headers = archive::ReadHeaders(store, record, &contents);
    const archive::FinishedMail mail = archive::ComposeMail(headers, contents, store.memberId());
    std::cout << ForStandardOutput(mail.bytes);
    if (mail.isSenderUndisclosed) {
      std::cerr << "nimport: the owner sent this mail, and no member ID is known: --member ID\n";
    }
    return PrintLosses(store.TakeLosses()) ? EXIT_SOME_FAILED : EXIT_ALL_DONE;
  }
  int exitCode = EXIT_ALL_DONE;
  const ordered_json mail = DescribeMail(store, open, position, exitCode);
  if (options.isJson) {
    std::cout << ToText(mail);
  } else {
    Print(mail);
  }
  return PrintLosses(store.TakeLosses()) ? EXIT_SOME_FAILED : exitCode;
}

}  // namespace nimport::command
