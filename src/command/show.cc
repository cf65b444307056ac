// nimport show: one mail.
#include <array>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "archive/compose_mail.h"
#include "archive/mail_contents.h"
#include "archive/safe_name.h"
#include "archive/store_folders.h"
#include "command/commands.h"
#include "command/json_text.h"
#include "command/losses.h"
#include "command/terminal.h"
#include "common/utf8_path.h"
#include "mime/mail.h"
#include "platform/interruption.h"
#include "platform/native_file.h"
#include "store/store.h"
#include "text/ascii.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

// The parts of a mail as an export writes it, by what they are to its reader.
class ShownParts {
 public:
  explicit ShownParts(std::string mail)
      : mail_(std::move(mail)), isAttached_(mail_.parts().size()) {
    for (const std::size_t part : mail_.roles().attachments)
      isAttached_[part] = true;
  }

  [[nodiscard]] const mime::Mail& mail() const { return mail_; }

  // What is shown, and then what the shown texts refer to; not what is an attachment too.
  [[nodiscard]] std::vector<std::size_t> Bodies() const {
    std::vector<std::size_t> bodies;
    const std::vector<mime::Part>& parts = mail_.parts();
    std::vector<bool> isKnown = isAttached_;
    for (const std::size_t part : mail_.roles().mains) {
      if (mail_.IsText(part) || !isAttached_[part]) bodies.push_back(part);
      isKnown[part] = true;
    }
    std::vector<bool> isEnclosed(parts.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const std::size_t parent = parts[i].parent;
      isEnclosed[i] = parent != mime::NO_PART &&
                      (isEnclosed[parent] || parts[parent].kind == mime::PartKind::Message);
      const bool isLeaf = parts[i].kind == mime::PartKind::Leaf;
      if (isLeaf && !isKnown[i] && !isEnclosed[i]) bodies.push_back(i);
    }
    return bodies;
  }

  // Texts come with their text, others with their size.
  [[nodiscard]] ordered_json DescribeBody(std::size_t part) const {
    if (!mail_.IsText(part)) return DescribeFile(part);
    const mime::Part& described = mail_.parts()[part];
    return {{"contentType", described.type},
            {"extension", mime::HasType(described, "text/html") ? ".html" : ".txt"},
            {"text", mail_.Text(part)}};
  }

  [[nodiscard]] ordered_json DescribeFile(std::size_t part) const {
    ordered_json json;
    const std::string name = mail_.SavedName(part);
    if (!name.empty()) json["name"] = name;
    const std::size_t dot = name.rfind('.');
    json["extension"] = dot == std::string::npos ? std::string() : name.substr(dot);
    json["contentType"] = mail_.parts()[part].type;
    std::uint64_t bytes = 0;
    Read(part, [&](std::string_view piece) { bytes += piece.size(); });
    json["size"] = bytes;
    return json;
  }

  // Hands out the part's bytes, piece by piece.
  template <typename Take>
  void Read(std::size_t part, Take&& take) const {
    mime::TransferDecoder contents = mail_.Contents(part);
    std::array<char, 8192> piece;
    while (const std::size_t size = contents.Read(piece))
      take(std::string_view(piece.data(), size));
  }

 private:
  mime::Mail mail_;
  std::vector<bool> isAttached_;  // by part
};

// What a part without a name is saved as.
std::string MakeName(std::size_t part, const std::string& type) {
  const std::string name = "part" + std::to_string(part);
  if (text::EqualsIgnoringCase(type, "text/plain")) return name + ".txt";
  for (const std::string_view media : {"text/", "image/", "audio/", "video/"}) {
    if (text::EqualsIgnoringCase(type.substr(0, media.size()), media))
      return name + '.' + text::AsciiLower(type.substr(media.size()));
  }
  return name + ".bin";
}

// Where the attachments of one mail go. What is there stays.
class SaveDirectory {
 public:
  // Made if missing, for its owner alone. Throws std::filesystem::filesystem_error.
  explicit SaveDirectory(fs::path path) : path_(std::move(path)) {
    if (fs::is_directory(path_)) return;
    if (path_.has_parent_path()) fs::create_directories(path_.parent_path());
    if (fs::create_directory(path_)) fs::permissions(path_, fs::perms::owner_all);
  }

  // Under `name`, made safe, or with a number in it. Answers the path. Throws FileError.
  [[nodiscard]] fs::path Save(const ShownParts& parts, std::size_t part, const std::string& name) {
    fs::path path;
    const std::unique_ptr<platform::OutputFile> file =
        Create(PathFromUtf8(archive::ToSafeName(name)), path);
    try {
      parts.Read(part,
                 [&](std::string_view piece) { file->Write(std::as_bytes(std::span(piece))); });
      file->Close();
    } catch (const FileError&) {
      std::error_code ignored;
      fs::remove(path, ignored);
      throw;
    }
    return path;
  }

 private:
  [[nodiscard]] std::unique_ptr<platform::OutputFile> Create(const fs::path& name,
                                                             fs::path& path) const {
    for (int number = 1;; ++number) {
      path = path_ / name.stem();
      if (number > 1) path += " (" + std::to_string(number) + ")";
      path += name.extension();
      if (auto file = platform::CreateNewNativeFile(PathToUtf8(path))) return file;
    }
  }

  fs::path path_;
};

// A mail as far as it can be read.
struct ShownMail {
  archive::MailHeaders headers;
  std::optional<archive::FinishedMail> finished;
  std::string failure;  // why there are no contents
  std::string missing;  // why its stored file is not there; empty when it is
};

ShownMail ReadMail(store::Store& store, const store::OpenFolder& open, std::size_t position) {
  ShownMail mail;
  const store::MailRecord record = open.Read(position);
  std::optional<archive::MailContents> contents;
  try {
    contents = archive::ReadContents(store, record);
  } catch (const store::Error& error) {
    mail.failure = error.reason();
  }
  mail.headers = archive::ReadHeaders(store, record, contents ? &*contents : nullptr);
  if (!contents) return mail;
  mail.missing = contents->missing;
  mail.finished = archive::ComposeMail(mail.headers, *contents, store.memberId());
  return mail;
}

void AddText(ordered_json& json, const char* name, const std::optional<std::string>& text) {
  json[name] = text && !text->empty() ? ordered_json(*text) : ordered_json(nullptr);
}

// What the store's own columns say of a mail whose contents cannot be read.
ordered_json DescribeHeaders(const ShownMail& mail) {
  ordered_json json;
  AddText(json, "date", mail.headers.DateText());
  AddText(json, "from", mail.headers.from);
  AddText(json, "to", mail.headers.to);
  AddText(json, "subject", mail.headers.subject);
  AddText(json, "messageId", mail.headers.messageId);
  const ordered_json error = {{"error", mail.failure}};
  json["error"] = mail.failure;
  json["bodies"] = error;
  json["attachments"] = error;
  return json;
}

// Saves a part where that is asked for.
void Save(const ShownParts& parts, std::size_t part, std::optional<SaveDirectory>& directory,
          ordered_json& json) {
  if (!directory) return;
  const std::string type = parts.mail().parts()[part].type;
  const std::string name = json.value("name", MakeName(part, type));
  json["savedAs"] = PathToUtf8(directory->Save(parts, part, name));
}

ordered_json DescribeMail(ShownMail mail, std::optional<SaveDirectory> directory) {
  if (!mail.finished) return DescribeHeaders(mail);
  ordered_json json;
  AddText(json, "date", mail.headers.DateText());
  const ShownParts parts(std::move(mail.finished->bytes));
  AddText(json, "from", parts.mail().HeaderText("From"));
  AddText(json, "to", parts.mail().HeaderText("To"));
  AddText(json, "cc", parts.mail().HeaderText("Cc"));
  AddText(json, "subject", parts.mail().HeaderText("Subject"));
  AddText(json, "messageId", parts.mail().HeaderText("Message-ID"));
  json["bodies"] = ordered_json::array();
  for (const std::size_t part : parts.Bodies()) {
    json["bodies"].push_back(parts.DescribeBody(part));
    if (!parts.mail().IsText(part)) Save(parts, part, directory, json["bodies"].back());
  }
  json["attachments"] = ordered_json::array();
  for (const std::size_t part : parts.mail().roles().attachments) {
    json["attachments"].push_back(parts.DescribeFile(part));
    Save(parts, part, directory, json["attachments"].back());
  }
  if (!mail.missing.empty()) json["attachments"].push_back({{"error", mail.missing}});
  return json;
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
              << title << ' ' << text::Visible(part.value("name", "(no name)")) << ", "
              << text::Visible(part["contentType"].get<std::string>()) << ", " << part["size"]
              << " bytes\n";
    if (part.contains("savedAs")) {
      std::cout << "saved as " << text::Visible(part["savedAs"].get<std::string>()) << '\n';
    }
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
  for (const char* name : {"date", "from", "to", "cc", "subject", "messageId", "error"}) {
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
  ShownMail mail = ReadMail(store, open, position);
  const bool isWhole = mail.finished && mail.missing.empty();
  if (mail.finished && mail.finished->isSenderUndisclosed) {
    std::cerr << "nimport: the owner sent this mail, and no member ID is known: --member ID\n";
  }
  if (options.isSource) {
    if (!mail.finished) throw std::runtime_error(mail.failure);
    std::cout << ForStandardOutput(mail.finished->bytes);
  } else {
    std::optional<SaveDirectory> directory;
    if (!options.saveDirectory.empty()) {
      RequireOutsideStore(platform, options.saveDirectory);
      directory.emplace(options.saveDirectory);
    }
    const ordered_json json = DescribeMail(std::move(mail), std::move(directory));
    if (options.isJson) {
      std::cout << ToText(json);
    } else {
      Print(json);
    }
  }
  return PrintLosses(store.TakeLosses()) || !isWhole ? EXIT_SOME_FAILED : EXIT_ALL_DONE;
}

}  // namespace nimport::command
