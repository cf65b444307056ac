#include "archive/formats/files_writer.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <system_error>
#include <utility>
#include <vector>

namespace nimport::archive {

namespace fs = std::filesystem;

bool IsNul(std::string_view bytes) {
  return bytes.find_first_not_of('\0') == std::string_view::npos;
}

const fs::path& Made(const fs::path& directory) {
  fs::create_directories(directory);
  return directory;
}

namespace {

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

}  // namespace

void FilesWriter::GiveUp() noexcept {
  try {
    batch_.PutInPlace();
  } catch (const std::exception&) {
    // The failure before this one is the one to report.
  }
}

void FilesWriter::RemoveLeftovers(bool (*isLeftover)(const std::string& name)) {
  for (const fs::directory_entry& entry : fs::directory_iterator(temporary_.path())) {
    const std::string name = entry.path().filename().string();
    if (isLeftover(name)) temporary_.Remove(name);
  }
}

bool FilesWriter::IsThere(const std::string& key, const FinishedMail& mail) {
  const fs::path* const path = present_.Find(key, mail.isComplete);
  if (path == nullptr || IsTorn(*path, mail.bytes)) return false;
  place_ = {.key = key, .path = *path};
  return true;
}

void FilesWriter::Add(const std::string& temporaryName, const std::string& name,
                      const std::string& key, const FinishedMail& mail) {
  std::vector<fs::path> replaced;
  // One that is there is torn.
  for (const fs::path* path : {present_.Find(key, mail.isComplete), present_.FindIncomplete(key)})
    if (path != nullptr) replaced.push_back(*path);
  place_ = {.key = key, .path = directory_.path() / name};
  batch_.Add(temporaryName, name, mail.bytes, mail.instant, std::move(replaced));
}

}  // namespace nimport::archive
