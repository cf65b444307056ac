// nimport show: one mail.
#include <iostream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "archive/compose_mail.h"
#include "archive/mail_date.h"
#include "archive/mail_reader.h"
#include "command/commands.h"
#include "command/json_text.h"
#include "command/losses.h"
#include "command/visible.h"
#include "host/result_error.h"
#include "text/code_page_932.h"

namespace nimport::command {

namespace {

using nlohmann::ordered_json;

constexpr std::string_view PLACEHOLDER{"DEFAULT\0", 8};

ordered_json DescribeFile(const host::ExtractedFile& file) {
  ordered_json json;
  if (!file.name.empty()) json["name"] = file.name;
  json["extension"] = file.extension;
  json["size"] = file.bytes.size();
  return json;
}

// A body that is text comes with its text, others with their size.
ordered_json DescribeBody(const host::ExtractedFile& file) {
  std::string_view bytes = file.bytes;
  if (bytes == PLACEHOLDER) bytes = {};
  if (bytes.ends_with('\0')) bytes.remove_suffix(1);
  const bool isText = file.extension == ".txt" || file.extension == ".html";
  if (!isText) return DescribeFile(file);
  return {{"extension", file.extension}, {"text", text::Utf8FromCodePage932(bytes)}};
}

// The content type of a MIME mail's body; those of other mails are plain text.
std::optional<std::string> ReadContentType(const host::Mail& mail, std::int32_t body) {
  try {
    return mail.ContentType(body);
  } catch (const host::ResultError&) {
    return std::nullopt;
  }
}

// Asks for one thing of a mail; a failure stands in its place.
template <typename Ask>
ordered_json Try(Ask ask, int& exitCode) {
  try {
    return ask();
  } catch (const host::ResultError& error) {
    exitCode = EXIT_SOME_FAILED;
    return {{"error", error.reason()}};
  }
}

ordered_json DescribeAll(std::int32_t count, int& exitCode,
                         const std::function<ordered_json(std::int32_t)>& describe) {
  ordered_json list = ordered_json::array();
  for (std::int32_t i = 0; i < count; ++i) {
    list.push_back(Try([&] { return describe(i); }, exitCode));
  }
  return list;
}

// A forwarded text and the like stand in no body.
ordered_json DescribeBodies(const host::Mail& mail, const std::optional<MailContents>& contents,
                            int& exitCode) {
  if (contents && contents->kind == ContentsKind::Text) {
    return {{{"extension", ".txt"}, {"text", text::Utf8FromCodePage932(contents->bytes)}}};
  }
  if (contents && contents->kind == ContentsKind::StoredFile) return ordered_json::array();
  const bool isMime = contents && contents->kind == ContentsKind::MimeMail;
  return Try(
      [&] {
        return DescribeAll(mail.BodyCount(), exitCode, [&](std::int32_t i) {
          ordered_json json = DescribeBody(mail.Body(i));
          const auto contentType = isMime ? ReadContentType(mail, i) : std::nullopt;
          if (contentType) json["contentType"] = *contentType;
          return json;
        });
      },
      exitCode);
}

ordered_json DescribeMail(const MailReader::OpenFolder& open, std::int32_t position,
                          int& exitCode) {
  const MailHeaders headers = open.Headers(position);
  const host::Mail mail = open.MailAt(position);
  ordered_json json;
  const auto add = [&](const char* name, const std::optional<std::string>& text) {
    json[name] = text ? ordered_json(*text) : ordered_json(nullptr);
  };
  std::optional<MailContents> contents;
  std::optional<std::int64_t> instant;
  ordered_json error = Try(
      [&] {
        contents = open.Contents(position);
        instant = InstantOf(headers, *contents);
        return ordered_json();
      },
      exitCode);
  add("date", instant ? std::optional(ToLocalText(*instant)) : std::nullopt);
  add("from", headers.from);
  add("to", headers.to);
  add("subject", headers.subject);
  add("messageId", ReadMessageId(mail));
  if (!error.is_null()) json["error"] = error["error"];
  json["bodies"] = DescribeBodies(mail, contents, exitCode);
  json["attachments"] = Try(
      [&] {
        return DescribeAll(mail.AttachedCount(), exitCode,
                           [&](std::int32_t i) { return DescribeFile(mail.Attached(i)); });
      },
      exitCode);
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
    std::cout << '\n' << VisibleLines(part["text"].get<std::string>()) << '\n';
  } else if (part.contains("error")) {
    std::cout << '\n'
              << title << " (cannot be read: " << Visible(part["error"].get<std::string>())
              << ")\n";
  } else {
    std::cout << '\n'
              << title << ' ' << Visible(NameOf(part)) << ", " << part["size"] << " bytes\n";
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
      std::cout << name << ": " << Visible(mail[name].get<std::string>()) << '\n';
    }
  }
  PrintParts("body", mail["bodies"]);
  PrintParts("attachment", mail["attachments"]);
}

}  // namespace

int RunShow(const host::Library& library, const Options& options) {
  const MailReader reader(library);
  const FolderPlace place = FindFolders(reader.session(), options.folder).front();
  const MailReader::OpenFolder open(reader, place);
  if (options.mail < 0 || options.mail >= open.mailCount()) {
    throw std::runtime_error(place.Name() + " has no mail " + std::to_string(options.mail));
  }
  if (options.isSource) {
    const MailHeaders headers = open.Headers(options.mail);
    MailContents contents = open.Contents(options.mail);
    const std::string& member = reader.session().accountName();
    std::cout << ForStandardOutput(ComposeMail(headers, contents, member).bytes);
    return PrintLosses(library) ? EXIT_SOME_FAILED : EXIT_ALL_DONE;
  }
  int exitCode = EXIT_ALL_DONE;
  const ordered_json mail = DescribeMail(open, options.mail, exitCode);
  if (options.isJson) {
    std::cout << ToText(mail);
  } else {
    Print(mail);
  }
  return PrintLosses(library) ? EXIT_SOME_FAILED : exitCode;
}

}  // namespace nimport::command
