#include "host/command/folder_writer.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string_view>

#include "host/command/mail_date.h"
#include "host/command/mailboxes.h"
#include "host/command/new_file.h"
#include "host/command/safe_name.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;

// "SECONDS.KEY.nimport:2,S" in cur: old mail counts as read.
class MaildirWriter : public FolderWriter {
 public:
  explicit MaildirWriter(const fs::path& path) : path_(path) {
    for (const char* name : {"tmp", "new", "cur"})
      fs::create_directories(path_ / name);
    for (const char* name : {"new", "cur"})
      FindMails(path_ / name);
  }

  Outcome Write(const FinishedMail& mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.digest);
    if (present_.contains(key)) return Outcome::AlreadyThere;
    const std::string name = std::to_string(mail.instant.value_or(0)) + '.' + key + ".nimport";
    NewFile file(path_ / "tmp" / name);
    file.Write(mail.bytes);
    file.PutInPlace(path_ / "cur" / (name + ":2,S"), mail.instant);
    return Outcome::Written;
  }

 private:
  void FindMails(const fs::path& directory) {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
      const std::string name = entry.path().filename().string();
      const std::size_t begin = name.find('.') + 1;
      const std::size_t end = name.find(".nimport", begin);
      if (begin != 0 && end != std::string::npos) present_.insert(name.substr(begin, end - begin));
    }
  }

  fs::path path_;
  MailKeys keys_;
  std::set<std::string> present_;
};

// "NNNNN subject.eml"
class EmlWriter : public FolderWriter {
 public:
  explicit EmlWriter(const fs::path& path) : path_(path) {
    fs::create_directories(path_);
    for (const fs::directory_entry& entry : fs::directory_iterator(path_)) {
      if (entry.path().extension() != ".eml") continue;
      const std::string name = entry.path().filename().string();
      std::int32_t position = 0;
      const auto parsed = std::from_chars(name.data(), name.data() + name.size(), position);
      if (parsed.ec == std::errc()) present_.insert(position);
    }
  }

  Outcome Write(const FinishedMail& mail, std::int32_t position,
                const std::string& subject) override {
    if (present_.contains(position)) return Outcome::AlreadyThere;
    std::array<char, 16> number;
    std::snprintf(number.data(), number.size(), "%05d", position);
    const std::string ending = subject.empty() ? "" : ' ' + ToSafeName(subject);
    NewFile file(path_ / ('.' + std::string(number.data()) + ".tmp"));
    file.Write(mail.bytes);
    file.PutInPlace(path_ / (number.data() + ending + ".eml"), mail.instant);
    return Outcome::Written;
  }

 private:
  fs::path path_;
  std::set<std::int32_t> present_;
};

constexpr std::string_view SEPARATOR = "From ";

// mboxrd. "From KEY@DOMAIN DATE" begins each mail; the key tells which one it is.
class MboxWriter : public FolderWriter {
 public:
  explicit MboxWriter(const fs::path& path) : path_(path) {
    fs::create_directories(path_.parent_path());
    std::ifstream file(path_, std::ios::binary);
    isThere_ = file.is_open();
    for (std::string line; std::getline(file, line);) {
      if (!line.starts_with(SEPARATOR)) continue;
      const std::size_t at = line.find('@');
      if (at != std::string::npos) present_.insert(line.substr(5, at - 5));
    }
  }

  Outcome Write(const FinishedMail& mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.digest);
    if (present_.contains(key)) return Outcome::AlreadyThere;
    if (!file_) BeginFile();
    file_->Write(std::string(SEPARATOR) + key + '@' + std::string(MEMBER_DOMAIN) + ' ' +
                 ToUtcText(mail.instant.value_or(0)) + '\n');
    WriteQuoted(mail.bytes);
    file_->Write(mail.bytes.ends_with('\n') ? "\n" : "\n\n");
    return Outcome::Written;
  }

  void Finish() override {
    if (!file_ && !isThere_) BeginFile();
    if (file_) file_->PutInPlace(path_, std::nullopt);
    file_.reset();
  }

  [[nodiscard]] bool KeepsUnfinished() const override { return false; }

 private:
  // What is there stays at the beginning, changed by mail readers or not.
  void BeginFile() {
    file_.emplace(path_.parent_path() / ('.' + path_.filename().string() + ".tmp"));
    std::ifstream old(path_, std::ios::binary);
    std::array<char, 65536> buffer;
    while (old.read(buffer.data(), buffer.size()), old.gcount() > 0) {
      file_->Write({buffer.data(), static_cast<std::size_t>(old.gcount())});
    }
  }

  // Puts '>' before every line that reads "From " behind any number of '>'.
  void WriteQuoted(std::string_view bytes) {
    while (!bytes.empty()) {
      const std::size_t end = bytes.find('\n');
      const std::string_view line = bytes.substr(0, end == bytes.npos ? end : end + 1);
      const std::size_t text = line.find_first_not_of('>');
      const bool needsQuote = text != line.npos && line.substr(text).starts_with(SEPARATOR);
      if (needsQuote) file_->Write(">");
      file_->Write(line);
      bytes.remove_prefix(line.size());
    }
  }

  fs::path path_;
  bool isThere_ = false;
  MailKeys keys_;
  std::set<std::string> present_;
  std::optional<NewFile> file_;
};

}  // namespace

std::string MailKeys::Take(const std::string& digest) {
  const int count = ++counts_[digest];
  return count == 1 ? digest : digest + '-' + std::to_string(count);
}

const char* FolderEnding(ExportFormat format) {
  return format == ExportFormat::Mbox ? ".mbox" : "";
}

std::unique_ptr<FolderWriter> OpenFolderWriter(ExportFormat format, const fs::path& path) {
  fs::path target = path;
  target += FolderEnding(format);
  switch (format) {
    case ExportFormat::Maildir:
      return std::make_unique<MaildirWriter>(target);
    case ExportFormat::Mbox:
      return std::make_unique<MboxWriter>(target);
    case ExportFormat::Eml:
      return std::make_unique<EmlWriter>(target);
  }
  return nullptr;
}

}  // namespace nimport::command
