#ifndef NIMPORT_PLATFORM_WINDOWS_WINDOWS_FILE_SYSTEM_H_
#define NIMPORT_PLATFORM_WINDOWS_WINDOWS_FILE_SYSTEM_H_

#include "platform/file_system.h"
#include "platform/settings.h"
#include "platform/temporary_directories.h"
#include "platform/windows/native_paths.h"
#include "text/code_page_converter.h"

namespace nimport::platform::windows {

// What is read belongs to the store, whose drives NIMPORT_DRIVES may have moved; what is written
// and removed has this machine's own path, as the host uses it.
class WindowsFileSystem final : public FileSystem {
 public:
  // `text` must outlive this object.
  WindowsFileSystem(const Settings& settings, const text::CodePageConverter& text)
      : text_(text),
        paths_(settings, text),
        temporaryDirectories_(settings,
                              [this](const std::string& path) { return ToWindowsPath(path); }) {}

  void RequireExists(std::string_view path) const override;
  [[nodiscard]] std::optional<std::uint64_t> FindChangeStamp(std::string_view path) const override;
  [[nodiscard]] std::unique_ptr<RandomAccessFile> OpenForReading(
      std::string_view path) const override;
  [[nodiscard]] std::optional<std::uint64_t> FindStoredChangeStamp(
      const StoredPath& path) const override;
  [[nodiscard]] std::unique_ptr<RandomAccessFile> OpenStored(const StoredPath& path) const override;
  // The file has the rights that its directory passes on.
  std::vector<std::string> ListStored(const StoredPath& path,
                                      const StoredVisitor& visit) const override;
  [[nodiscard]] std::unique_ptr<OutputFile> OpenForWriting(std::string_view path) override;
  void Remove(std::string_view path) noexcept override;
  [[nodiscard]] std::string MakeTemporaryDirectory() override;
  void RemoveTemporaryDirectory(std::string_view path) noexcept override;
  [[nodiscard]] std::optional<std::string> ReadFileVersion(std::string_view path) const override;
  [[nodiscard]] std::string NativeName(std::string_view path) const override;

 private:
  // A path that hosts can be told. Throws FileError.
  [[nodiscard]] std::string ToWindowsPath(const std::string& native) const;

  const text::CodePageConverter& text_;
  NativePaths paths_;
  TemporaryDirectories temporaryDirectories_;
};

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_WINDOWS_FILE_SYSTEM_H_
