#ifndef NIMPORT_PLATFORM_POSIX_NATIVE_PATHS_H_
#define NIMPORT_PLATFORM_POSIX_NATIVE_PATHS_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/formats/windows_path.h"
#include "platform/posix/directory_index.h"
#include "platform/settings.h"
#include "platform/stored_path.h"
#include "text/code_page_converter.h"

namespace nimport::platform::posix {

// Where a path leads on this system.
struct NativePath {
  std::string directory;  // of the last part; ends with '/'
  std::string name;       // the last part; empty for a drive's root
  bool exists = false;

  [[nodiscard]] std::string str() const { return directory + name; }
};

// Where a path that stands in a store leads.
struct StoredPlace {
  std::string path;
  // Where stored paths are confined: the directories that may hold the file in the end. The first
  // is the one that `path` begins with.
  std::vector<std::string> roots;
};

// Translates between Windows paths in code page 932 and the system's own. Drives come from
// NIMPORT_DRIVES ("C=/mnt/disk;D=/srv/data"), else from the Wine prefix; Z is "/" unless mapped.
// Safe to use from several threads.
class NativePaths {
 public:
  NativePaths(Settings settings, const text::CodePageConverter& text);

  // Parts that are not there as written are looked for without regard to letter case; from the
  // first part that is not there at all on, the path is as written. Empty when it cannot be
  // understood.
  [[nodiscard]] std::optional<NativePath> Find(std::string_view path) const;

  // As Find, but the last part is taken as written: for a file that is about to be written.
  [[nodiscard]] std::optional<NativePath> FindParent(std::string_view path) const;

  // As Find, for a path that stands in a store, which reaches drives that are mapped and what lies
  // beneath the store's directory. With NIMPORT_CONFINE, of the drives only those of NIMPORT_DRIVES
  // and the store's own. Throws FileMissing for any other.
  [[nodiscard]] StoredPlace FindStored(const StoredPath& stored) const;

  // Why Find has no answer for a path.
  [[nodiscard]] std::string ExplainUnusable(std::string_view path) const;

  // The path as written, whether or not something is there.
  [[nodiscard]] std::optional<std::string> LiteralPath(std::string_view path) const;

  // The Windows form of an existing directory, without a trailing '\'; where no drive leads there,
  // its own path, which begins with '/'. Empty when its name does not exist in code page 932.
  [[nodiscard]] std::optional<std::string> ToWindows(const std::string& nativeDirectory) const;

 private:
  [[nodiscard]] std::optional<NativePath> Resolve(const WindowsPath& path, bool lastAsSpelt) const;
  [[nodiscard]] std::optional<std::string> FindWineDrive(char letter) const;
  // Of NIMPORT_DRIVES, else of the Wine prefix.
  [[nodiscard]] std::optional<std::string> FindMappedDrive(char letter) const;
  // The same, and the machine's root for Z.
  [[nodiscard]] std::optional<std::string> FindDrive(char letter) const;
  // The directories that a confined path may lead to; none when it may lead nowhere.
  [[nodiscard]] std::vector<std::string> FindRoots(const StoredPath& stored,
                                                   const StoredTarget& target) const;
  // The directory that a path begins in, with '/' after it.
  [[nodiscard]] std::optional<std::string> FindStart(const WindowsPath& path) const;
  // Empty where the part is not code page 932.
  [[nodiscard]] std::optional<std::string> ToNativeName(const std::string& part) const;
  [[nodiscard]] std::optional<NativePath> ToLiteral(const WindowsPath& path) const;
  // Goes one part down: as written, or to what is there.
  void Append(NativePath& path, const std::string& part) const;
  void Descend(NativePath& path, const std::string& part) const;
  [[nodiscard]] std::optional<std::string> ToWindowsOnDrive(const std::string& nativeDirectory,
                                                            char letter) const;
  // `start` and the path after it, if they lead to the directory.
  [[nodiscard]] std::optional<std::string> ToWindowsBelow(const std::string& start,
                                                          std::u16string_view below,
                                                          const std::string& nativeDirectory) const;

  Settings settings_;
  const text::CodePageConverter& text_;
  mutable DirectoryIndex directories_;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_NATIVE_PATHS_H_
