// Directories and files that a program of ours writes, by the names that the system itself gives
// them: UTF-8, on Windows of any length.
#ifndef NIMPORT_PLATFORM_OUTPUT_DIRECTORY_H_
#define NIMPORT_PLATFORM_OUTPUT_DIRECTORY_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::platform {

// Makes the directory, and those above it, where they are missing; only the user can enter what is
// made. Returns `path`. Throws std::system_error.
const std::filesystem::path& MakeDirectories(const std::filesystem::path& path);

// A directory that is there, held open: names in it are found without a walk along its path.
// Failures are std::system_error.
class OutputDirectory {
 public:
  explicit OutputDirectory(std::filesystem::path path);
  ~OutputDirectory();
  OutputDirectory(const OutputDirectory&) = delete;
  OutputDirectory& operator=(const OutputDirectory&) = delete;

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  // Does nothing when the file is not there. False when it cannot be removed.
  [[nodiscard]] bool TryToRemove(const std::string& name) const noexcept;
  void Remove(const std::string& name) const;

  // Makes an empty file for the user alone. Does nothing when there is one of that name.
  void MakeEmptyFile(const std::string& name) const;

  // Renames `from` in `directory` to `to` in this one, on the same file system, replacing what has
  // that name.
  void Take(const OutputDirectory& directory, const std::string& from, const std::string& to) const;

  // Returns when the names in the directory would outlast a loss of power.
  void FlushNames() const;

  // Returns when these files of the directory would.
  void FlushFiles(const std::vector<std::string>& names) const;

  // Returns when everything on the directory's file system would, where the system lets a program
  // ask for that.
  void FlushFileSystem() const;

 private:
  friend class WritableFile;
  struct Handle;

  std::filesystem::path path_;
  std::unique_ptr<Handle> handle_;
};

// A file that is made and written from its beginning to its end. Failures are std::system_error.
class WritableFile {
 public:
  // For the user alone. What has the name already is removed first: it may be a pipe, or a file
  // that somebody else reads. `directory` outlives the file.
  WritableFile(const OutputDirectory& directory, std::string name);
  // Closes the file.
  ~WritableFile();
  WritableFile(const WritableFile&) = delete;
  WritableFile& operator=(const WritableFile&) = delete;

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] bool IsOpen() const;

  void Write(std::string_view bytes);
  void CutTo(std::uint64_t sizeBytes);

  // When it was last changed, in seconds since 1970-01-01 UTC. What is written later changes that.
  void SetTime(std::int64_t instant);

  // Returns when the file's bytes would outlast a loss of power.
  void Flush();

  // Some file systems say only here that the disk is full.
  void Close();

 private:
  struct Handle;

  [[noreturn]] void Fail(const char* what) const;

  const OutputDirectory& directory_;
  std::string name_;
  std::unique_ptr<Handle> handle_;
};

// While an object lives, no other process has one for the same directory.
class DirectoryLock {
 public:
  // Makes the directory where it is missing. Throws std::runtime_error when another process has it,
  // std::system_error.
  explicit DirectoryLock(const std::filesystem::path& path);
  ~DirectoryLock();
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

 private:
  struct Handle;
  std::unique_ptr<Handle> handle_;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_OUTPUT_DIRECTORY_H_
