#include "host/command/folder_writer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "host/command/mail_date.h"
#include "host/command/mailboxes.h"
#include "host/command/new_file.h"
#include "host/command/safe_name.h"

namespace nimport::command {

namespace {

namespace fs = std::filesystem;

// Stands behind the key of a mail whose file was missing.
constexpr std::string_view INCOMPLETE = ".incomplete";

// The mails that are in a folder, by their keys.
class PresentMails {
 public:
  // `name` is a key, or one with INCOMPLETE behind it.
  void Add(std::string_view name, const fs::path& path) {
    const bool isComplete = !name.ends_with(INCOMPLETE);
    if (!isComplete) name.remove_suffix(INCOMPLETE.size());
    (isComplete ? complete_ : incomplete_)[std::string(name)] = path;
  }

  // Whether a mail need not be written.
  [[nodiscard]] bool Has(const std::string& key, bool isComplete) const {
    return complete_.contains(key) || (!isComplete && incomplete_.contains(key));
  }

  // The path of the mail without its file, once the whole mail is there.
  [[nodiscard]] std::optional<fs::path> FindReplaced(const std::string& key) const {
    const auto found = incomplete_.find(key);
    return found == incomplete_.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  std::map<std::string, fs::path> complete_;
  std::map<std::string, fs::path> incomplete_;
};

const fs::path& Made(const fs::path& directory) {
  fs::create_directories(directory);
  return directory;
}

// FNV-1a, never 0.
std::uint64_t DigestOf(const std::string& key) {
  std::uint64_t digest = 0xCBF2'9CE4'8422'2325;
  for (const char c : key)
    digest = (digest ^ static_cast<unsigned char>(c)) * 0x100'0000'01B3;
  return digest == 0 ? 1 : digest;
}

std::string NameOfMail(const std::string& key, bool isComplete) {
  return isComplete ? key : key + std::string(INCOMPLETE);
}

// "SECONDS.KEY.nimport:2,S" in cur: old mail counts as read.
class MaildirWriter : public FolderWriter {
 public:
  explicit MaildirWriter(const fs::path& path)
      : temporary_(Made(path / "tmp")), current_(Made(path / "cur")) {
    FindMails(Made(path / "new"));
    FindMails(current_.path());
  }

  Outcome Write(const FinishedMail& mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.key);
    if (present_.Has(key, mail.isComplete)) return Outcome::AlreadyThere;
    const std::string name = std::to_string(mail.instant.value_or(0)) + '.' +
                             NameOfMail(key, mail.isComplete) + ".nimport";
    NewFile file(temporary_, name);
    file.Write(mail.bytes);
    file.PutInPlace(current_, name + ":2,S", mail.instant);
    if (const auto replaced = present_.FindReplaced(key)) fs::remove(*replaced);
    return Outcome::Written;
  }

 private:
  void FindMails(const fs::path& directory) {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
      const std::string name = entry.path().filename().string();
      const std::size_t begin = name.find('.') + 1;
      const std::size_t end = name.find(".nimport", begin);
      if (begin == 0 || end == std::string::npos) continue;
      present_.Add(std::string_view(name).substr(begin, end - begin), entry.path());
    }
  }

  Directory temporary_;
  Directory current_;
  MailKeys keys_;
  PresentMails present_;
};

// "NNNNN subject.KEY.eml", with the beginning of the key.
class EmlWriter : public FolderWriter {
 public:
  explicit EmlWriter(const fs::path& path) : directory_(Made(path)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
      if (entry.path().extension() == ENDING) FindMail(entry.path());
    }
  }

  Outcome Write(const FinishedMail& mail, std::int32_t position,
                const std::string& subject) override {
    const std::string key = keys_.Take(mail.key.substr(0, KEY_LENGTH));
    if (present_.Has(key, mail.isComplete)) return Outcome::AlreadyThere;
    std::array<char, 16> number;
    std::snprintf(number.data(), number.size(), "%05d", position);
    std::string name = number.data();
    if (!subject.empty()) name += ' ' + ToSafeName(subject);
    name += '.' + NameOfMail(key, mail.isComplete) + ENDING;
    NewFile file(directory_, '.' + std::string(number.data()) + ".tmp");
    file.Write(mail.bytes);
    file.PutInPlace(directory_, name, mail.instant);
    if (const auto replaced = present_.FindReplaced(key)) fs::remove(*replaced);
    return Outcome::Written;
  }

 private:
  // 48 bits: enough for the mails of one folder.
  static constexpr std::size_t KEY_LENGTH = 12;
  static constexpr const char* ENDING = ".eml";

  void FindMail(const fs::path& path) {
    const std::string stem = path.stem().string();
    std::string_view rest = stem;
    if (rest.ends_with(INCOMPLETE)) rest.remove_suffix(INCOMPLETE.size());
    const std::size_t dot = rest.rfind('.');
    if (dot != std::string::npos) present_.Add(std::string_view(stem).substr(dot + 1), path);
  }

  Directory directory_;
  MailKeys keys_;
  PresentMails present_;
};

constexpr std::string_view SEPARATOR = "From ";

// The key in a line that begins a mail, or empty for any other line.
std::string_view KeyInSeparator(std::string_view line) {
  const std::size_t at = line.find('@');
  if (!line.starts_with(SEPARATOR) || at == std::string_view::npos) return {};
  return line.substr(SEPARATOR.size(), at - SEPARATOR.size());
}

// mboxrd. "From KEY@DOMAIN DATE" begins each mail; the key tells which one it is.
class MboxWriter : public FolderWriter {
 public:
  explicit MboxWriter(const fs::path& path)
      : directory_(Made(path.parent_path())), path_(path), name_(path.filename().string()) {
    std::ifstream file(path_, std::ios::binary);
    isThere_ = file.is_open();
    for (std::string line; std::getline(file, line);) {
      const std::string_view key = KeyInSeparator(line);
      if (!key.empty()) present_.Add(key, path_);
    }
  }

  Outcome Write(const FinishedMail& mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.key);
    if (present_.Has(key, mail.isComplete)) return Outcome::AlreadyThere;
    if (present_.FindReplaced(key)) replaced_.insert(NameOfMail(key, false));
    if (!file_) BeginFile();
    file_->Write(std::string(SEPARATOR) + NameOfMail(key, mail.isComplete) + '@' +
                 std::string(MEMBER_DOMAIN) + ' ' + ToUtcText(mail.instant.value_or(0)) + '\n');
    WriteQuoted(mail.bytes);
    file_->Write(mail.bytes.ends_with('\n') ? "\n" : "\n\n");
    return Outcome::Written;
  }

  void Finish() override {
    if (!file_ && !isThere_) BeginFile();
    if (file_) file_->PutInPlace(directory_, name_, std::nullopt);
    file_.reset();
    if (!replaced_.empty()) RemoveReplaced();
  }

  [[nodiscard]] bool KeepsUnfinished() const override { return false; }

 private:
  [[nodiscard]] std::string TemporaryName() const { return '.' + name_ + ".tmp"; }

  // What is there stays at the beginning, changed by mail readers or not.
  void BeginFile() {
    file_.emplace(directory_, TemporaryName());
    std::ifstream old(path_, std::ios::binary);
    std::array<char, 65536> buffer;
    while (old.read(buffer.data(), buffer.size()), old.gcount() > 0) {
      file_->Write({buffer.data(), static_cast<std::size_t>(old.gcount())});
    }
  }

  // Takes the mails away that have come again with their files.
  void RemoveReplaced() const {
    NewFile file(directory_, TemporaryName());
    std::ifstream old(path_, std::ios::binary);
    bool isKept = true;
    for (std::string line; std::getline(old, line);) {
      if (line.starts_with(SEPARATOR)) {
        isKept = !replaced_.contains(std::string(KeyInSeparator(line)));
      }
      if (isKept) file.Write(line += '\n');
    }
    file.PutInPlace(directory_, name_, std::nullopt);
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

  Directory directory_;
  fs::path path_;
  std::string name_;
  bool isThere_ = false;
  MailKeys keys_;
  PresentMails present_;
  std::set<std::string> replaced_;
  std::optional<NewFile> file_;
};

}  // namespace

std::string MailKeys::Take(const std::string& key) {
  const std::uint64_t digest = DigestOf(key);
  if (Insert(digest)) return key;
  const int count = ++counts_.try_emplace(digest, 1).first->second;
  return key + '-' + std::to_string(count);
}

bool MailKeys::Insert(std::uint64_t digest) {
  if (2 * (used_ + 1) > slots_.size()) Grow();
  std::size_t slot = digest % slots_.size();
  for (; slots_[slot] != 0; slot = (slot + 1) % slots_.size()) {
    if (slots_[slot] == digest) return false;
  }
  slots_[slot] = digest;
  ++used_;
  return true;
}

void MailKeys::Grow() {
  const std::vector<std::uint64_t> old = std::move(slots_);
  slots_.assign(std::max<std::size_t>(2 * old.size(), 64), 0);
  used_ = 0;
  for (const std::uint64_t digest : old) {
    if (digest != 0) Insert(digest);
  }
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
