#include "archive/formats/files_writer.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

#include "archive/formats/mail_form.h"
#include "archive/formats/old_mail.h"
#include "common/utf8_path.h"

namespace nimport::archive {

namespace fs = std::filesystem;

bool IsNul(std::string_view bytes) {
  return bytes.find_first_not_of('\0') == std::string_view::npos;
}

namespace {

// The beginning and the end of a file that holds a mail, which alone are looked at.
class FileEnds {
 public:
  explicit FileEnds(const fs::path& path) {
    constexpr std::uintmax_t MAX_BYTES = 4096;
    std::error_code error;
    size_ = fs::file_size(path, error);
    if (error) return;
    end_.resize(std::min(size_, MAX_BYTES));
    std::ifstream file(path, std::ios::binary);
    if (size_ > end_.size()) {
      begin_.resize(end_.size());
      file.read(begin_.data(), static_cast<std::streamsize>(begin_.size()));
    }
    file.seekg(static_cast<std::streamoff>(size_ - end_.size()));
    isRead_ = file.read(end_.data(), static_cast<std::streamsize>(end_.size())) || end_.empty();
  }

  // How much of `bytes` the file holds. It is torn where there is only their beginning, or NUL
  // bytes instead of their end: what file systems leave of a file whose name was on the disk before
  // its contents.
  [[nodiscard]] Extent ExtentOf(std::string_view bytes) const {
    if (!isRead_ || size_ > bytes.size()) return Extent::Different;
    const auto size = static_cast<std::size_t>(size_);
    if (end_ == bytes.substr(size - end_.size(), end_.size())) {
      return size < bytes.size() ? Extent::Torn : Extent::Whole;
    }
    return IsNul(end_) ? Extent::Torn : Extent::Different;
  }

  // Whether it begins as `bytes` do. What options change in a mail stands there.
  [[nodiscard]] bool BeginsAs(std::string_view bytes) const { return bytes.starts_with(begin_); }

 private:
  std::uintmax_t size_ = 0;
  std::string begin_;  // of a file that `end_` does not hold
  std::string end_;
  bool isRead_ = false;
};

}  // namespace

FilesWriter::Files::Files(const fs::path& from, const fs::path& to)
    : temporary(platform::MakeDirectories(from)),
      directory(platform::MakeDirectories(to)),
      batch(temporary, directory) {}

FilesWriter::FilesWriter(const fs::path& temporary, const fs::path& directory, LineEnds lineEnds,
                         bool isDryRun)
    : directory_(directory), lineEnds_(lineEnds) {
  if (!isDryRun) files_.emplace(temporary, directory);
}

void FilesWriter::Finish() {
  if (files_) files_->batch.PutInPlace();
}

void FilesWriter::GiveUp() noexcept {
  try {
    Finish();
  } catch (const std::exception&) {
    // The failure before this one is the one to report.
  }
}

void FilesWriter::VisitFiles(const fs::path& directory, const Visitor& visit) {
  if (!fs::exists(directory)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory))
    visit(entry.path());
}

void FilesWriter::RemoveLeftovers(bool (*isLeftover)(const std::string& name)) {
  if (!files_) return;
  VisitFiles(files_->temporary.path(), [&](const fs::path& path) {
    const std::string name = PathToUtf8(path.filename());
    if (isLeftover(name)) files_->temporary.Remove(name);
  });
}

FolderWriter::Present FilesWriter::Find(const std::string& key, FinishedMail& mail) {
  const fs::path* const path = present_.Find(key, mail.isComplete);
  if (path != nullptr) place_ = {.key = key, .path = *path};
  std::optional<FileEnds> there;
  if (path != nullptr) there.emplace(*path);
  const Extent former = there ? there->ExtentOf(mail.bytes) : Extent::Torn;
  if (lineEnds_ == LineEnds::Lf) ToLineFeeds(mail.bytes);
  MakeFieldOfSeparator(mail.bytes);
  const Extent extent = there ? there->ExtentOf(mail.bytes) : Extent::Torn;
  if (extent == Extent::Whole && there->BeginsAs(mail.bytes)) {
    return HasTimeOfOtherZone(*path, mail.instant) ? Present::Outdated : Present::Yes;
  }
  const bool isTorn = former == Extent::Torn || extent == Extent::Torn;
  if (isTorn && former != Extent::Whole && extent != Extent::Whole) return Present::No;
  // A mail with its file is better than any without.
  if (!mail.isComplete && present_.Find(key, true) != nullptr) return Present::Yes;
  return IsOutdated(*path, mail.bytes, mail.instant) ? Present::Outdated : Present::Yes;
}

void FilesWriter::Add(const std::string& temporaryName, const std::string& name,
                      const std::string& key, FinishedMail mail) {
  place_ = {.key = key, .path = directory_ / PathFromUtf8(name)};
  if (!files_) return;
  std::vector<fs::path> replaced;
  // One that is there is torn or outdated.
  for (const fs::path* path : {present_.Find(key, mail.isComplete), present_.FindIncomplete(key)})
    if (path != nullptr) replaced.push_back(*path);
  files_->batch.Add(temporaryName, name, std::move(mail.bytes), mail.instant, std::move(replaced));
}

}  // namespace nimport::archive
