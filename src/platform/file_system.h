// Files by their Windows paths in code page 932, the form in which the mail client's data names
// them.
#ifndef NIMPORT_PLATFORM_FILE_SYSTEM_H_
#define NIMPORT_PLATFORM_FILE_SYSTEM_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/file_error.h"
#include "common/random_access_file.h"
#include "platform/stored_path.h"

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

  // Throws FileMissing, with the reason where one is known, unless there is a file (or directory)
  // at `path`. A path that cannot be understood names nothing.
  virtual void RequireExists(std::string_view path) const = 0;

  // The same as an answer.
  [[nodiscard]] bool Exists(std::string_view path) const;

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

  // As FindChangeStamp, for a path that stands in a store. Throws FileMissing when nothing is there
  // or the path leads where no path of a store may lead; what is there but no regular file has no
  // number.
  [[nodiscard]] virtual std::optional<std::uint64_t> FindStoredChangeStamp(
      const StoredPath& path) const = 0;

  // As OpenForReading, for a path that stands in a store: regular files only, and nothing else is
  // opened on the way. Throws FileMissing as above, else FileError.
  [[nodiscard]] virtual std::unique_ptr<RandomAccessFile> OpenStored(
      const StoredPath& path) const = 0;

  // What stands in a directory that a path in a store leads to: for each regular file and each
  // directory in it, links followed, `visit` hears its name in code page 932 and which it is; in no
  // order. Returns the names, UTF-8, of those that have none in that code page. Throws FileMissing
  // as above, else FileError.
  using StoredVisitor = std::function<void(std::string_view name, bool isDirectory)>;
  virtual std::vector<std::string> ListStored(const StoredPath& path,
                                              const StoredVisitor& visit) const = 0;

  // Creates the file, or empties the regular file that is there; mode 0600, never through a
  // symbolic link. Throws FileError, also when the directory is missing or the last part of the
  // path holds a colon or a NUL.
  [[nodiscard]] virtual std::unique_ptr<OutputFile> OpenForWriting(std::string_view path) = 0;

  // Removes a file if it is there. Never fails.
  virtual void Remove(std::string_view path) noexcept = 0;

  // A new directory for one session's temporary files, without a trailing separator: in Windows
  // form, or the system's own where no drive leads there. Nobody else can foresee its name or look
  // into it. Through RemoveTemporaryDirectory or when the process ends, the files that
  // OpenForWriting made in it go, and the directory if nothing else is in it. Throws FileError,
  // which names each place that was tried and what is wrong with it.
  [[nodiscard]] virtual std::string MakeTemporaryDirectory() = 0;
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
