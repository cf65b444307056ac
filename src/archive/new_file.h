#ifndef NIMPORT_ARCHIVE_NEW_FILE_H_
#define NIMPORT_ARCHIVE_NEW_FILE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::archive {

// A directory that is there, held open: names in it are found without a walk along its path.
// Failures are std::system_error.
class Directory {
 public:
  explicit Directory(std::filesystem::path path);
  ~Directory();
  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] int descriptor() const { return descriptor_; }

  // Does nothing when the file is not there.
  void Remove(const std::string& name) const;

  // Renames `from` in `directory` to `to` in this one, on the same file system, replacing what has
  // that name.
  void Take(const Directory& directory, const std::string& from, const std::string& to) const;

  // Return when the names in the directory, or everything on its file system, would outlast a
  // loss of power.
  void FlushNames() const;
  void FlushFileSystem() const;

 private:
  std::filesystem::path path_;
  int descriptor_ = -1;
};

// A file that is written under a temporary name and gets its own when it is whole. Removed when
// destroyed before that. Failures are std::system_error.
class NewFile {
 public:
  // Replaces what an interrupted run left under the temporary name. `directory` outlives the file.
  NewFile(const Directory& directory, std::string temporaryName);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void Write(std::string_view bytes);

  // Closes the file, flushes it and renames it to `name` in `directory`, on the same file system:
  // after a loss of power, whatever has that name is whole.
  void PutInPlace(const Directory& directory, const std::string& name);

 private:
  friend class FileBatch;

  // The file keeps its temporary name, even when this object is destroyed. `instant`, seconds since
  // 1970-01-01 UTC, becomes the time of its last change.
  void Close(std::optional<std::int64_t> instant);
  void WriteAll(std::string_view bytes) const;
  [[nodiscard]] std::filesystem::path TemporaryPath() const;

  const Directory& directory_;
  std::string temporaryName_;
  int descriptor_ = -1;
  std::string buffer_;
};

// Files that are written but keep their temporary names until many of them are flushed at once: a
// flush for each would take longer than all the rest. Those that are still waiting when the object
// is destroyed are removed. Failures are std::system_error.
class FileBatch {
 public:
  // Files are written in `from` and belong in `to`, on the same file system; both outlive the
  // batch.
  FileBatch(const Directory& from, const Directory& to) : from_(from), to_(to) {}
  ~FileBatch();
  FileBatch(const FileBatch&) = delete;
  FileBatch& operator=(const FileBatch&) = delete;

  // Writes a file of `bytes` that is to be called `name`; `instant` as for a NewFile. Those of
  // `replaced` that have another path are removed once it has its name. Puts everything in place
  // when enough is waiting.
  void Add(const std::string& temporaryName, const std::string& name, std::string_view bytes,
           std::optional<std::int64_t> instant, std::vector<std::filesystem::path> replaced);

  // Flushes what is waiting, then gives it its names, in the order in which it came.
  void PutInPlace();

  // How many files wait.
  [[nodiscard]] std::size_t waiting() const { return files_.size(); }

 private:
  struct File {
    std::string temporaryName;
    std::string name;
    std::vector<std::filesystem::path> replaced;
  };

  const Directory& from_;
  const Directory& to_;
  std::deque<File> files_;
  std::size_t bytes_ = 0;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_NEW_FILE_H_
