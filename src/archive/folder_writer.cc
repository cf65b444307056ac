#include "archive/folder_writer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "archive/digest.h"
#include "archive/instant.h"
#include "archive/mailboxes.h"
#include "archive/new_file.h"
#include "archive/safe_name.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

// Stands after the key of a mail whose file was missing.
constexpr std::string_view INCOMPLETE = ".incomplete";

// The mails that are in a folder, by their keys.
class PresentMails {
 public:
  // `name` is a key, or one with INCOMPLETE after it.
  void Add(std::string_view name, const fs::path& path) {
    const bool isComplete = !name.ends_with(INCOMPLETE);
    if (!isComplete) name.remove_suffix(INCOMPLETE.size());
    (isComplete ? complete_ : incomplete_)[std::string(name)] = path;
  }

  // The mail that makes it needless to write one; null where there is none.
  [[nodiscard]] const fs::path* Find(const std::string& key, bool isComplete) const {
    const fs::path* const complete = FindIn(complete_, key);
    return complete != nullptr || isComplete ? complete : FindIn(incomplete_, key);
  }

  // The mail without its file, which goes when the whole mail is there; null where there is none.
  [[nodiscard]] const fs::path* FindIncomplete(const std::string& key) const {
    return FindIn(incomplete_, key);
  }

 private:
  using Paths = std::map<std::string, fs::path>;

  static const fs::path* FindIn(const Paths& paths, const std::string& key) {
    const auto found = paths.find(key);
    return found == paths.end() ? nullptr : &found->second;
  }

  Paths complete_;
  Paths incomplete_;
};

bool IsNul(std::string_view bytes) {
  return bytes.find_first_not_of('\0') == std::string_view::npos;
}

// Whether the file holds only the beginning of `bytes`, or NUL bytes instead of its end: what file
// systems leave of a file whose name was on the disk before its contents. Other differences are
// changes that somebody made. Looks at the end of the file alone.
bool IsTorn(const fs::path& path, std::string_view bytes) {
  constexpr std::size_t END_BYTES = 4096;
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  if (error || size > bytes.size()) return false;
  std::string end(std::min<std::size_t>(size, END_BYTES), '\0');
  const std::string_view wanted = bytes.substr(size - end.size(), end.size());
  std::ifstream file(path, std::ios::binary);
  file.seekg(static_cast<std::streamoff>(size - end.size()));
  if (!file.read(end.data(), static_cast<std::streamsize>(end.size()))) return false;
  if (end == wanted) return size < bytes.size();
  return IsNul(end);
}

// A folder with a file for each mail.
class FilesWriter : public FolderWriter {
 public:
  void Expect(std::size_t mails) override { keys_.Reserve(mails); }
  void Finish() override { batch_.PutInPlace(); }
  void GiveUp() noexcept override {
    try {
      batch_.PutInPlace();
    } catch (const std::exception&) {
      // The failure before this one is the one to report.
    }
  }
  [[nodiscard]] std::int64_t waiting() const override {
    return static_cast<std::int64_t>(batch_.waiting());
  }

 protected:
  // Mails are written in `temporary` and belong in `directory`.
  FilesWriter(const fs::path& temporary, const fs::path& directory)
      : temporary_(temporary), directory_(directory), batch_(temporary_, directory_) {}

  // Removes what a killed run left in the directory of temporary files.
  void RemoveLeftovers(bool (*isLeftover)(const std::string& name)) {
    for (const fs::directory_entry& entry : fs::directory_iterator(temporary_.path())) {
      const std::string name = entry.path().filename().string();
      if (isLeftover(name)) temporary_.Remove(name);
    }
  }

  // Whether the mail is there, whole.
  [[nodiscard]] bool IsThere(const std::string& key, const FinishedMail& mail) const {
    const fs::path* const path = present_.Find(key, mail.isComplete);
    return path != nullptr && !IsTorn(*path, mail.bytes);
  }

  void Add(const std::string& temporaryName, const std::string& name, const std::string& key,
           const FinishedMail& mail) {
    std::vector<fs::path> replaced;
    // One that is there is torn.
    for (const fs::path* path : {present_.Find(key, mail.isComplete), present_.FindIncomplete(key)})
      if (path != nullptr) replaced.push_back(*path);
    batch_.Add(temporaryName, name, mail.bytes, mail.instant, std::move(replaced));
  }

  PresentMails present_;
  MailKeys keys_;

 private:
  Directory temporary_;
  Directory directory_;
  FileBatch batch_;
};

const fs::path& Made(const fs::path& directory) {
  fs::create_directories(directory);
  return directory;
}

// Never 0.
std::uint64_t SlotDigestOf(std::string_view key) {
  const std::uint64_t digest = ShortDigestOf(key);
  return digest == 0 ? 1 : digest;
}

std::string NameOfMail(const std::string& key, bool isComplete) {
  return isComplete ? key : key + std::string(INCOMPLETE);
}

// "SECONDS.KEY.nimport:2,S" in cur: old mail counts as read.
class MaildirWriter final : public FilesWriter {
 public:
  explicit MaildirWriter(const fs::path& path)
      : FilesWriter(Made(path / "tmp"), Made(path / "cur")) {
    RemoveLeftovers([](const std::string& name) { return name.ends_with(ENDING); });
    FindMails(Made(path / "new"));
    FindMails(path / "cur");
  }

  Outcome Write(const FinishedMail& mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.key);
    if (IsThere(key, mail)) return Outcome::AlreadyThere;
    const std::string name =
        std::to_string(mail.instant.value_or(0)) + '.' + NameOfMail(key, mail.isComplete) + ENDING;
    Add(name, name + ":2,S", key, mail);
    return Outcome::Written;
  }

 private:
  static constexpr const char* ENDING = ".nimport";

  void FindMails(const fs::path& directory) {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
      const std::string name = entry.path().filename().string();
      const std::size_t begin = name.find('.') + 1;
      const std::size_t end = name.find(ENDING, begin);
      if (begin == 0 || end == std::string::npos) continue;
      present_.Add(std::string_view(name).substr(begin, end - begin), entry.path());
    }
  }
};

// "NNNNN subject.KEY.eml", with the beginning of the key; ".NNNNN.tmp" until it is whole.
class EmlWriter final : public FilesWriter {
 public:
  explicit EmlWriter(const fs::path& path) : FilesWriter(Made(path), path) {
    RemoveLeftovers([](const std::string& name) {
      return name.starts_with('.') && name.ends_with(TEMPORARY_ENDING) &&
             name.find_first_not_of("0123456789", 1) == name.rfind('.');
    });
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
      if (entry.path().extension() == ENDING) FindMail(entry.path());
    }
  }

  Outcome Write(const FinishedMail& mail, std::int32_t position,
                const std::string& subject) override {
    const std::string key = keys_.Take(mail.key.substr(0, KEY_LENGTH));
    if (IsThere(key, mail)) return Outcome::AlreadyThere;
    std::array<char, 16> number;
    std::snprintf(number.data(), number.size(), "%05d", position);
    std::string name = number.data();
    if (!subject.empty()) name += ' ' + ToSafeName(subject);
    name += '.' + NameOfMail(key, mail.isComplete) + ENDING;
    Add('.' + std::string(number.data()) + TEMPORARY_ENDING, name, key, mail);
    return Outcome::Written;
  }

 private:
  // 48 bits: enough for the mails of one folder.
  static constexpr std::size_t KEY_LENGTH = 12;
  static constexpr const char* ENDING = ".eml";
  static constexpr const char* TEMPORARY_ENDING = ".tmp";

  void FindMail(const fs::path& path) {
    const std::string stem = path.stem().string();
    std::string_view rest = stem;
    if (rest.ends_with(INCOMPLETE)) rest.remove_suffix(INCOMPLETE.size());
    const std::size_t dot = rest.rfind('.');
    if (dot != std::string::npos) present_.Add(std::string_view(stem).substr(dot + 1), path);
  }
};

constexpr std::string_view SEPARATOR = "From ";

// The key in a line that begins a mail, or empty for any other line.
std::string_view KeyInSeparator(std::string_view line) {
  const std::size_t at = line.find('@');
  if (!line.starts_with(SEPARATOR) || at == std::string_view::npos) return {};
  return line.substr(SEPARATOR.size(), at - SEPARATOR.size());
}

// Whether the text is, or would become with more characters, a line that begins a mail but has no
// end; or NUL bytes, which some file systems leave in its place.
bool IsHalfSeparator(std::string_view text) {
  if (IsNul(text)) return true;
  return text.find('\n') == text.npos &&
         text.substr(0, SEPARATOR.size()) == SEPARATOR.substr(0, text.size());
}

// Where the pieces of a text go, one after the other.
using Sink = std::function<void(std::string_view)>;

// Puts '>' before every line that reads "From " after any number of '>'.
void PutQuoted(std::string_view bytes, const Sink& put) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    const std::string_view line = bytes.substr(0, end == bytes.npos ? end : end + 1);
    const std::size_t text = line.find_first_not_of('>');
    const bool needsQuote = text != line.npos && line.substr(text).starts_with(SEPARATOR);
    if (needsQuote) put(">");
    put(line);
    bytes.remove_prefix(line.size());
  }
}

// A mail as it stands in an mbox, `key` in the line that begins it.
void PutMail(const std::string& key, const FinishedMail& mail, const Sink& put) {
  put(std::string(SEPARATOR) + key + '@' + std::string(MEMBER_DOMAIN) + ' ' +
      ToUtcText(mail.instant.value_or(0)) + '\n');
  PutQuoted(mail.bytes, put);
  put(mail.bytes.ends_with('\n') ? "\n" : "\n\n");
}

// mboxrd. "From KEY@DOMAIN DATE" begins each mail; the key tells which one it is. The last mail
// that is there may be torn: it is told apart once the store's own is known.
class MboxWriter final : public FolderWriter {
 public:
  explicit MboxWriter(const fs::path& path)
      : directory_(Made(path.parent_path())), path_(path), name_(path.filename().string()) {
    std::ifstream file(path_, std::ios::binary);
    isThere_ = file.is_open();
    for (std::string line; std::getline(file, line); end_ += line.size() + (file.eof() ? 0 : 1)) {
      const std::string_view key = KeyInSeparator(line);
      if (key.empty()) continue;
      present_.Add(key, path_);
      last_ = key;
      lastBegin_ = end_;
    }
    if (last_.empty() && IsHalfSeparator(ReadOld(0))) end_ = 0;
  }

  void Expect(std::size_t mails) override { keys_.Reserve(mails); }

  Outcome Write(const FinishedMail& mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.key);
    const std::string name = NameOfMail(key, mail.isComplete);
    const bool isOpen = !file_ || keepsLastBack_;
    const bool isTorn = isOpen && name == last_ && CutTornEnd(name, mail);
    if (!isTorn && present_.Find(key, mail.isComplete) != nullptr) return Outcome::AlreadyThere;
    if (present_.FindIncomplete(key) != nullptr && mail.isComplete) {
      replaced_.insert(NameOfMail(key, false));
    }
    if (!file_) BeginFile();
    PutMail(name, mail, [this](std::string_view piece) { file_->Write(piece); });
    ++waiting_;
    return Outcome::Written;
  }

  void Finish() override {
    if (!file_ && (!isThere_ || end_ != fs::file_size(path_))) BeginFile();
    if (file_) {
      if (keepsLastBack_) Copy(lastBegin_, end_);
      file_->PutInPlace(directory_, name_);
    }
    file_.reset();
    waiting_ = 0;
    if (!replaced_.empty()) RemoveReplaced();
  }

  [[nodiscard]] std::int64_t waiting() const override { return waiting_; }

 private:
  [[nodiscard]] std::string TemporaryName() const { return '.' + name_ + ".tmp"; }

  // What is there stays at the beginning, changed by mail readers or not. A mail at the end that
  // does not end as we write it comes last: by then it is known whether it is to be kept.
  void BeginFile() {
    file_.emplace(directory_, TemporaryName());
    keepsLastBack_ = !last_.empty() && !EndsWithEmptyLine();
    Copy(0, keepsLastBack_ ? lastBegin_ : end_);
  }

  [[nodiscard]] bool EndsWithEmptyLine() const {
    std::ifstream old(path_, std::ios::binary);
    old.seekg(static_cast<std::streamoff>(std::max<std::uintmax_t>(end_, 2) - 2));
    return old.get() == '\n' && old.get() == '\n';
  }

  // Copies from `begin` to `end` of the old file, with the line end that may be missing there.
  void Copy(std::uintmax_t begin, std::uintmax_t end) {
    std::ifstream old(path_, std::ios::binary);
    old.seekg(static_cast<std::streamoff>(begin));
    std::array<char, 65536> buffer;
    char last = '\n';
    for (std::uintmax_t left = end - begin; left > 0;) {
      old.read(buffer.data(),
               static_cast<std::streamsize>(std::min<std::uintmax_t>(left, buffer.size())));
      if (old.gcount() <= 0) break;
      const auto got = static_cast<std::size_t>(old.gcount());
      file_->Write({buffer.data(), got});
      last = buffer[got - 1];
      left -= got;
    }
    if (last != '\n') file_->Write("\n\n");
  }

  // Takes a torn end away from what is there: half a mail, half the line that begins the next one,
  // or NUL bytes. `mail` is the last one there, as the store has it. Whether it is to be written
  // again.
  bool CutTornEnd(const std::string& name, const FinishedMail& mail) {
    last_.clear();
    std::ifstream old(path_, std::ios::binary);
    old.seekg(static_cast<std::streamoff>(lastBegin_));
    std::uintmax_t size = 0;  // of the mail, when it is whole
    std::uintmax_t same = 0;  // so much of it is there
    PutMail(name, mail, [&](std::string_view piece) {
      const bool isSame = same == size;
      size += piece.size();
      for (std::size_t i = 0; isSame && i < piece.size() && old.peek() == Byte(piece[i]); ++i) {
        old.get();
        ++same;
      }
    });
    const bool isWhole = same == size;
    const std::string rest = ReadOld(lastBegin_ + same);
    if (!(isWhole ? IsHalfSeparator(rest) : IsNul(rest))) return false;
    keepsLastBack_ = keepsLastBack_ && isWhole;
    end_ = lastBegin_ + (isWhole ? size : 0);
    return !isWhole;
  }

  // The beginning of what the old file has from `begin` on.
  [[nodiscard]] std::string ReadOld(std::uintmax_t begin) const {
    // Longer than any line that begins a mail.
    constexpr std::uintmax_t MAX_BYTES = 1 << 16;
    std::string bytes(std::min(end_ - begin, MAX_BYTES), '\0');
    std::ifstream old(path_, std::ios::binary);
    old.seekg(static_cast<std::streamoff>(begin));
    old.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
  }

  static int Byte(char character) { return static_cast<unsigned char>(character); }

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
    file.PutInPlace(directory_, name_);
  }

  Directory directory_;
  fs::path path_;
  std::string name_;
  bool isThere_ = false;
  std::uintmax_t end_ = 0;        // of what stays of the old file
  std::string last_;              // the key of its last mail, until it is known to be whole
  std::uintmax_t lastBegin_ = 0;  // where that mail begins
  bool keepsLastBack_ = false;    // until it is known to be whole
  MailKeys keys_;
  PresentMails present_;
  std::set<std::string> replaced_;
  std::optional<NewFile> file_;
  std::int64_t waiting_ = 0;
};

}  // namespace

std::string MailKeys::Take(const std::string& key) {
  const std::uint64_t digest = SlotDigestOf(key);
  if (Insert(digest)) return key;
  const int count = ++counts_.try_emplace(digest, 1).first->second;
  return key + '-' + std::to_string(count);
}

bool MailKeys::Insert(std::uint64_t digest) {
  if (used_ + 1 > slots_.size() / 4 * 3) Rebuild(slots_.size() * 3 / 2 + 64);
  std::size_t slot = digest % slots_.size();
  for (; slots_[slot] != 0; slot = (slot + 1) % slots_.size()) {
    if (slots_[slot] == digest) return false;
  }
  slots_[slot] = digest;
  ++used_;
  return true;
}

void MailKeys::Rebuild(std::size_t slots) {
  const std::vector<std::uint64_t> old = std::move(slots_);
  slots_.assign(slots, 0);
  used_ = 0;
  for (const std::uint64_t digest : old) {
    if (digest != 0) Insert(digest);
  }
}

void MailKeys::Reserve(std::size_t count) {
  const std::size_t slots = count / 3 * 4 + 64;
  if (slots > slots_.size()) Rebuild(slots);
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

}  // namespace nimport::archive
