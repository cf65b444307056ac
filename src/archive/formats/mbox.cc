#include <algorithm>
#include <array>
#include <fstream>
#include <functional>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/digest.h"
#include "archive/formats/files_writer.h"
#include "archive/formats/formats.h"
#include "archive/formats/mail_form.h"
#include "archive/formats/mail_keys.h"
#include "archive/formats/old_mail.h"
#include "archive/formats/present_mails.h"
#include "archive/instant.h"
#include "archive/mailboxes.h"
#include "archive/new_file.h"
#include "common/utf8_path.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

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
    if (BeginsWithSeparator(line)) put(">");
    put(line);
    bytes.remove_prefix(line.size());
  }
}

// A mail as it stands in an mbox, `key` in the line that begins it and `header` before its own.
void PutMail(const std::string& key, const FinishedMail& mail, std::string_view header,
             const Sink& put) {
  put(std::string(SEPARATOR) + key + '@' + std::string(MEMBER_DOMAIN) + ' ' +
      ToUtcText(mail.instant.value_or(0)) + '\n');
  put(header);
  PutQuoted(mail.bytes, put);
  put(mail.bytes.ends_with('\n') ? "\n" : "\n\n");
}

// mboxrd. "From KEY@DOMAIN DATE" begins each mail; the key tells which one it is. The last mail
// that is there may be torn: it is told apart once the store's own is known.
class MboxWriter final : public FolderWriter {
 public:
  MboxWriter(const fs::path& path, bool isDryRun)
      : path_(path), name_(PathToUtf8(path.filename())) {
    if (!isDryRun) directory_.emplace(platform::MakeDirectories(path.parent_path()));
    std::ifstream file(path_, std::ios::binary);
    isThere_ = file.is_open();
    for (std::string line; std::getline(file, line); end_ += line.size() + (file.eof() ? 0 : 1)) {
      const std::string_view key = KeyInSeparator(line);
      if (key.empty()) continue;
      present_.Add(key, path_);
      EndFormer();
      formers_.push_back({.digest = ShortDigestOf(key), .begin = end_, .size = 0});
      last_ = key;
      lastBegin_ = end_;
    }
    if (last_.empty() && IsHalfSeparator(ReadOld(0))) end_ = 0;
    EndFormer();
    std::ranges::sort(formers_, {}, &Former::digest);
  }

  void Expect(std::size_t mails) override { keys_.Reserve(mails); }

  Outcome Write(FinishedMail mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.key);
    const std::string name = NameOfMail(key, mail.isComplete);
    place_ = {.key = key, .path = path_};
    const bool isLast = (!file_ || keepsLastBack_) && name == last_;
    // As version 0.2.0 wrote it: with CR LF, and without a header of the format's own.
    Extent there = isLast ? CutTornEnd(name, mail, "") : Extent::Different;
    ToLineFeeds(mail.bytes);
    MakeFieldOfSeparator(mail.bytes);
    if (isLast && there == Extent::Different) there = CutTornEnd(name, mail, HEADER);
    if (isLast) last_.clear();
    const bool isThere = there != Extent::Torn && present_.Find(key, mail.isComplete) != nullptr;
    const bool isOutdated = isThere && IsOutdated(name, mail);
    const Outcome outcome = OutcomeFor(!isThere     ? Present::No
                                       : isOutdated ? Present::Outdated
                                                    : Present::Yes);
    if (!Writes(outcome) || !directory_) return outcome;
    if (present_.FindIncomplete(key) != nullptr && mail.isComplete) {
      replaced_.insert(NameOfMail(key, false));
    }
    if (isOutdated) replaced_.insert(name);
    if (!file_) BeginFile();
    PutMail(name, mail, HEADER, [this](std::string_view piece) { file_->Write(piece); });
    ++waiting_;
    return outcome;
  }

  void Finish() override {
    if (!directory_) return;
    if (!file_ && (!isThere_ || end_ != fs::file_size(path_))) BeginFile();
    if (file_) {
      if (keepsLastBack_) Copy(lastBegin_, end_);
      file_->PutInPlace(*directory_, replaced_.empty() ? name_ : WithReplacedName());
    }
    file_.reset();
    waiting_ = 0;
    if (!replaced_.empty()) RemoveReplaced();
  }

  [[nodiscard]] std::int64_t waiting() const override { return waiting_; }

 private:
  // Readers take a mail without it for a new one.
  static constexpr std::string_view HEADER = "Status: RO\n";

  // A mail that was there: the digest of its name, and where it stands.
  struct Former {
    std::uint64_t digest;
    std::uintmax_t begin;
    std::uintmax_t size;
  };

  void EndFormer() {
    if (!formers_.empty() && formers_.back().size == 0)
      formers_.back().size = end_ - formers_.back().begin;
  }

  [[nodiscard]] std::string TemporaryName() const { return '.' + name_ + ".tmp"; }
  // Of the file while it has both the mails that are replaced and those that replace them.
  [[nodiscard]] std::string WithReplacedName() const { return '.' + name_ + ".all.tmp"; }

  // Whether the mail that is there under this name is one that an earlier run wrote otherwise.
  [[nodiscard]] bool IsOutdated(const std::string& name, const FinishedMail& mail) const {
    const auto place = std::ranges::lower_bound(formers_, ShortDigestOf(name), {}, &Former::digest);
    if (place == formers_.end() || place->digest != ShortDigestOf(name)) return false;
    if (IsAt(*place, name, mail) || place->size > MAX_COMPARED_BYTES) return false;
    const std::string there = WithoutFirstLine(ReadFormer(*place));
    // Version 0.2.0 wrote no header of the format's own.
    for (const std::string_view header : {HEADER, std::string_view()}) {
      std::string wanted;
      PutMail(name, mail, header, [&](std::string_view piece) { wanted += piece; });
      if (DifferByOptionsAlone(there, WithoutFirstLine(std::move(wanted)))) return true;
    }
    return false;
  }

  // Whether the mail stands there, byte for byte.
  [[nodiscard]] bool IsAt(const Former& place, const std::string& name,
                          const FinishedMail& mail) const {
    std::ifstream old(path_, std::ios::binary);
    old.seekg(static_cast<std::streamoff>(place.begin));
    std::uintmax_t left = place.size;
    bool isSame = true;
    std::string buffer;
    PutMail(name, mail, HEADER, [&](std::string_view piece) {
      isSame = isSame && piece.size() <= left;
      if (!isSame) return;
      buffer.resize(piece.size());
      old.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
      left -= piece.size();
      isSame = buffer == piece;
    });
    return isSame && left == 0;
  }

  [[nodiscard]] std::string ReadFormer(const Former& place) const {
    std::string bytes(static_cast<std::size_t>(place.size), '\0');
    std::ifstream old(path_, std::ios::binary);
    old.seekg(static_cast<std::streamoff>(place.begin));
    old.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
  }

  static std::string WithoutFirstLine(std::string mail) {
    return mail.erase(0, mail.find('\n') + 1);
  }

  // What is there stays at the beginning, changed by mail readers or not. A mail at the end that
  // does not end as we write it comes last: by then it is known whether it is to be kept.
  void BeginFile() {
    file_.emplace(*directory_, TemporaryName());
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
  // or NUL bytes. `mail` is the last one there, as the store has it, with `header` before its own.
  // How much of it is there; where it is torn, it is to be written again.
  Extent CutTornEnd(const std::string& name, const FinishedMail& mail, std::string_view header) {
    std::ifstream old(path_, std::ios::binary);
    old.seekg(static_cast<std::streamoff>(lastBegin_));
    std::uintmax_t size = 0;  // of the mail, when it is whole
    std::uintmax_t same = 0;  // so much of it is there
    PutMail(name, mail, header, [&](std::string_view piece) {
      const bool isSame = same == size;
      size += piece.size();
      for (std::size_t i = 0; isSame && i < piece.size() && old.peek() == Byte(piece[i]); ++i) {
        old.get();
        ++same;
      }
    });
    const bool isWhole = same == size;
    const std::string rest = ReadOld(lastBegin_ + same);
    if (!(isWhole ? IsHalfSeparator(rest) : IsNul(rest))) return Extent::Different;
    keepsLastBack_ = keepsLastBack_ && isWhole;
    end_ = lastBegin_ + (isWhole ? size : 0);
    return isWhole ? Extent::Whole : Extent::Torn;
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

  // Takes the mails away that have come again, with their files or written otherwise: those that
  // stand before the others of their name.
  void RemoveReplaced() const {
    NewFile file(*directory_, TemporaryName());
    std::ifstream old(directory_->path() / PathFromUtf8(WithReplacedName()), std::ios::binary);
    std::set<std::string> replaced = replaced_;
    bool isKept = true;
    for (std::string line; std::getline(old, line);) {
      if (line.starts_with(SEPARATOR)) {
        isKept = replaced.erase(std::string(KeyInSeparator(line))) == 0;
      }
      if (isKept) file.Write(line += '\n');
    }
    file.PutInPlace(*directory_, name_);
    directory_->Remove(WithReplacedName());
  }

  std::optional<platform::OutputDirectory> directory_;  // empty in a dry run
  fs::path path_;
  std::string name_;
  bool isThere_ = false;
  std::uintmax_t end_ = 0;        // of what stays of the old file
  std::string last_;              // the key of its last mail, until it is known to be whole
  std::uintmax_t lastBegin_ = 0;  // where that mail begins
  bool keepsLastBack_ = false;    // until it is known to be whole
  MailKeys keys_;
  PresentMails present_;
  std::vector<Former> formers_;  // by their digests
  std::set<std::string> replaced_;
  std::optional<NewFile> file_;
  std::int64_t waiting_ = 0;
};

}  // namespace

std::unique_ptr<FolderWriter> OpenMbox(const fs::path& path, bool isDryRun) {
  return std::make_unique<MboxWriter>(path, isDryRun);
}

}  // namespace nimport::archive
