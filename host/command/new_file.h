#ifndef NIMPORT_HOST_COMMAND_NEW_FILE_H_
#define NIMPORT_HOST_COMMAND_NEW_FILE_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace nimport::command {

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

  // Closes the file and renames it to `name` in `directory`, on the same file system. `instant`,
  // seconds since 1970-01-01 UTC, becomes the time of its last change.
  void PutInPlace(const Directory& directory, const std::string& name,
                  std::optional<std::int64_t> instant);

 private:
  void WriteAll(std::string_view bytes) const;
  [[noreturn]] void Fail(const char* what, const std::filesystem::path& path) const;
  [[nodiscard]] std::filesystem::path TemporaryPath() const;

  const Directory& directory_;
  std::string temporaryName_;
  int descriptor_ = -1;
  std::string buffer_;
};

}  // namespace nimport::command

#endif  // NIMPORT_HOST_COMMAND_NEW_FILE_H_
