#ifndef NIMPORT_PLUGIN_CONTENTS_TEMPORARY_NAMES_H_
#define NIMPORT_PLUGIN_CONTENTS_TEMPORARY_NAMES_H_

#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>

namespace nimport::plugin {

// The base name of temporary files that the host does not name.
inline constexpr std::string_view TEMP_BASE_NAME = "$$$nim";

// What a temporary file is called when its contents ask for no extension.
inline constexpr std::string_view DEFAULT_TEMP_EXTENSION = ".TMP";

struct NoExtension {};
struct KeepExtension {};

// The contents ask for no extension: the file gets DEFAULT_TEMP_EXTENSION.
inline constexpr NoExtension NO_EXTENSION;

// As NO_EXTENSION, but an extension that the host's own name has is kept.
inline constexpr KeepExtension KEEP_EXTENSION;

// The file is to have a name of its own, in the temporary directory. Where the host has named it,
// the name's extension counts alone.
struct FileName {
  std::string name;
};

// What a writer asks of a temporary file's name: one of those above, or an extension with its
// leading dot, for example ".txt".
using ExtensionRequest = std::variant<NoExtension, KeepExtension, FileName, std::string>;

// Chooses the paths of a session's temporary files and remembers them until the session ends. Paths
// are Windows paths in code page 932 of at most 519 bytes.
//
// A session works with one base name at a time: a file is called as the one before it, with another
// extension where the contents ask for one, so a later file may overwrite an earlier one. The host
// takes each file away before it asks for the next, or names each one itself.
class TemporaryNames {
 public:
  // Makes the directory for files that the host does not name, and answers its path without a
  // trailing separator. Called when the first such file is asked for; what it throws is passed on.
  using DirectoryMaker = std::function<std::string()>;

  explicit TemporaryNames(DirectoryMaker makeDirectory)
      : makeDirectory_(std::move(makeDirectory)) {}

  TemporaryNames(TemporaryNames&&) = default;
  TemporaryNames& operator=(TemporaryNames&&) = default;

  // Sets the path of the next temporary file, in place of one that is still pending. Throws Failure
  // (RESULT_INVALID) when `path` is empty or too long; an earlier one then stays pending.
  void SetPendingName(std::string_view path);

  // The path of the next temporary file, which the caller is about to create or to overwrite. It is
  // remembered whether or not that succeeds, and the host's pending name is used up.
  //
  // Throws Failure, after which no name is pending either: RESULT_INVALID when the path would be
  // too long. RESULT_DATABASE, as for a file that cannot be opened, where the directory cannot be
  // made, and for an extension or a file name with a
  // separator, a colon or a NUL, with which a mail could choose the file that is overwritten here
  // and deleted at the session's end; such a path is not remembered, and the next one differs from
  // it in its extension. A file with a name of its own does not count as the one before.
  [[nodiscard]] std::string MakeTempName(const ExtensionRequest& request);

  // Makes `path` the last one used, without a second entry where it has been used before.
  void RegisterTempName(std::string path);

  // Forgets the directory and every path, but not the host's pending name.
  void Forget() noexcept;

  // The directory, empty while none has been needed.
  [[nodiscard]] const std::string& tempDir() const { return tempDir_; }

  // Every path handed out so far, once each, in the order of last use.
  [[nodiscard]] const std::list<std::string>& tempFiles() const { return tempFiles_; }

 private:
  [[nodiscard]] std::string ChoosePath(const ExtensionRequest& request);
  [[nodiscard]] std::string NextPath(const ExtensionRequest& request);
  [[nodiscard]] std::string PathInTempDir(std::string_view name);
  void Remember(std::string path);

  DirectoryMaker makeDirectory_;
  std::string tempDir_;
  std::string pendingTempName_;  // empty when none is pending
  std::string lastPath_;         // that the next path differs from in its extension alone
  std::list<std::string> tempFiles_;
  // Where each path stands in the list. The keys are views of the list's own strings.
  std::unordered_map<std::string_view, std::list<std::string>::iterator> entries_;
};

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_CONTENTS_TEMPORARY_NAMES_H_
