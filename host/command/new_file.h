#ifndef NIMPORT_HOST_COMMAND_NEW_FILE_H_
#define NIMPORT_HOST_COMMAND_NEW_FILE_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace nimport::command {

// A file that is written under a temporary name and gets its own when it is whole. Removed when
// destroyed before that. Failures are std::system_error.
class NewFile {
 public:
  // Replaces what an interrupted run left under the temporary name.
  explicit NewFile(const std::filesystem::path& temporaryName);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void Write(std::string_view bytes);

  // Closes the file and renames it to `name`, on the same file system. `instant`, seconds since
  // 1970-01-01 UTC, becomes the time of its last change.
  void PutInPlace(const std::filesystem::path& name, std::optional<std::int64_t> instant);

 private:
  void Flush();

  std::filesystem::path temporaryName_;
  int descriptor_ = -1;
  std::string buffer_;
};

}  // namespace nimport::command

#endif  // NIMPORT_HOST_COMMAND_NEW_FILE_H_
