// Files by their Windows paths in code page 932, the form in which the mail client's data names
// them.
#ifndef NIMPORT_PLATFORM_FILE_SYSTEM_H_
#define NIMPORT_PLATFORM_FILE_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "common/file_error.h"
#include "common/random_access_file.h"

namespace nimport::platform {

// A file being written from its start. Closed when destroyed.
class OutputFile {
 public:
  virtual ~OutputFile() = default;
  // Appends all of `bytes`. Throws FileError.
  virtual void Write(std::span<const std::byte> bytes) = 0;
  // Hands everything to the system and closes the file. Throws FileError when that fails; without
  // this call a failure at the end goes unnoticed.
  virtual void Close() = 0;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Whether there is a file (or directory) at `path`. A path that cannot be understood names
  // nothing.
  [[nodiscard]] virtual bool Exists(std::string_view path) const = 0;

  // A number for the regular file at `path` that differs from an earlier one whenever the file may
  // have changed in between, or another may have come in its place. Cheap. Empty when there is no
  // such file, or the system cannot tell.
  [[nodiscard]] virtual std::optional<std::uint64_t> FindChangeStamp(
      std::string_view /*path*/) const {
    return std::nullopt;
  }

  // Throws FileError. The file may be open in other programs, for writing too.
  [[nodiscard]] virtual std::unique_ptr<RandomAccessFile> OpenForReading(
      std::string_view path) const = 0;

  // Creates the file, or empties the regular file that is there; mode 0600, never through a
  // symbolic link. Throws FileError, also when the directory is missing or the last part of the
  // path holds a colon or a NUL.
  [[nodiscard]] virtual std::unique_ptr<OutputFile> OpenForWriting(std::string_view path) = 0;

  // Removes a file if it is there. Never fails.
  virtual void Remove(std::string_view path) noexcept = 0;

  // A new directory for one session's temporary files, in Windows form and without a trailing '\'.
  // Nobody else can foresee its name or look into it. It goes, with what it contains, through
  // RemoveTemporaryDirectory or when the process ends. Empty when none can be had.
  [[nodiscard]] virtual std::optional<std::string> MakeTemporaryDirectory() = 0;
  virtual void RemoveTemporaryDirectory(std::string_view path) noexcept = 0;

  // The text at "\StringFileInfo\041104b0\FileVersion" of an executable's version resource, in code
  // page 932. Empty when the file cannot be read or has no such text.
  [[nodiscard]] virtual std::optional<std::string> ReadFileVersion(std::string_view path) const = 0;

  // `path` as the system knows it, UTF-8, for messages.
  [[nodiscard]] virtual std::string NativeName(std::string_view path) const = 0;
};

// The whole of an open file. Throws FileError when it cannot be read or has 2 GiB or more,
// std::bad_alloc.
[[nodiscard]] std::string ReadWholeFile(const RandomAccessFile& file);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_FILE_SYSTEM_H_
