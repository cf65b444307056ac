#include "platform/posix/posix_file_system.h"

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/file_error.h"
#include "platform/formats/pe_version_resource.h"
#include "platform/native_file.h"
#include "platform/posix/confined_file.h"
#include "platform/posix/file_descriptor.h"
#include "platform/posix/posix_file.h"
#include "text/utf8.h"

namespace nimport::platform::posix {
namespace {

// The deepest directory on the way to a path that is there.
std::string NearestDirectory(std::string path) {
  struct stat status {};
  do {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    path.resize(slash);
  } while (stat(path.c_str(), &status) != 0);
  return path;
}

// Throws FileMissing: why there is nothing at a native path, where that is more than its absence.
// `errorNumber` is what looking there ended with.
[[noreturn]] void FailMissing(const std::string& path, int errorNumber) {
  if (errorNumber == EXDEV) throw FileMissing(path, "a link leads out of the drives of the store");
  if (errorNumber != ENOENT && errorNumber != ENOTDIR) {
    throw FileMissing(path, std::generic_category().message(errorNumber),
                      FileMissing::Certainty::Hidden);
  }
  // In a directory that cannot be read, a name that differs in letter case is not found.
  const std::string directory = NearestDirectory(path);
  const bool isReadable = faccessat(AT_FDCWD, directory.c_str(), R_OK | X_OK, AT_EACCESS) == 0;
  if (isReadable || errno != EACCES) throw FileMissing(path, "");
  throw FileMissing(path, directory + " cannot be read: " + std::generic_category().message(EACCES),
                    FileMissing::Certainty::Hidden);
}

// A place that a path in a store leads to.
class StoredFile {
 public:
  explicit StoredFile(StoredPlace place) : place_(std::move(place)) {
    if (!place_.roots.empty()) confined_.emplace(place_.path, place_.roots);
  }
  StoredFile(const StoredFile&) = delete;
  StoredFile& operator=(const StoredFile&) = delete;

  [[nodiscard]] const std::string& path() const { return place_.path; }

  // What is there, a link followed. Throws FileMissing.
  [[nodiscard]] struct stat Examine() const {
    struct stat status {};
    bool isThere = false;
    if (confined_) {
      const FileDescriptor file = confined_->Open(O_PATH);
      isThere = file.IsOpen() && fstat(file.get(), &status) == 0;
    } else {
      isThere = stat(path().c_str(), &status) == 0;
    }
    if (!isThere) FailMissing(path(), errno);
    return status;
  }

  // Not open on failure; errno says why.
  [[nodiscard]] FileDescriptor Open(int flags) const {
    return confined_ ? confined_->Open(flags)
                     : FileDescriptor(open(path().c_str(), flags | O_CLOEXEC));
  }

 private:
  StoredPlace place_;
  std::optional<ConfinedPath> confined_;
};

}  // namespace

void PosixFileSystem::RequireExists(std::string_view path) const {
  const std::optional<NativePath> native = paths_.Find(path);
  if (!native) throw FileMissing(NativeName(path), paths_.ExplainUnusable(path));
  struct stat status {};
  if (stat(native->str().c_str(), &status) != 0) FailMissing(native->str(), errno);
}

std::optional<std::uint64_t> PosixFileSystem::FindChangeStamp(std::string_view path) const {
  // A file that is there as written, as most are, is found with one look.
  const std::optional<std::string> literal = paths_.LiteralPath(path);
  if (!literal) return std::nullopt;
  if (const std::optional<std::uint64_t> stamp = FindNativeChangeStamp(*literal)) return stamp;
  const std::optional<NativePath> native = paths_.Find(path);
  if (!native || !native->exists) return std::nullopt;
  return FindNativeChangeStamp(native->str());
}

std::unique_ptr<RandomAccessFile> PosixFileSystem::OpenForReading(std::string_view path) const {
  const std::optional<NativePath> native = paths_.Find(path);
  if (!native) throw FileError(NativeName(path) + ": " + paths_.ExplainUnusable(path));
  return OpenNativeFile(native->str());
}

std::optional<std::uint64_t> PosixFileSystem::FindStoredChangeStamp(const StoredPath& path) const {
  return ChangeStampOf(StoredFile(paths_.FindStored(path)).Examine());
}

std::unique_ptr<RandomAccessFile> PosixFileSystem::OpenStored(const StoredPath& path) const {
  const StoredFile stored(paths_.FindStored(path));
  // The mere opening of a device may do something.
  if (!S_ISREG(stored.Examine().st_mode)) {
    throw FileError(stored.path() + ": is not a regular file");
  }
  FileDescriptor file = stored.Open(O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file.IsOpen()) FailFile(stored.path(), "cannot be opened", errno);
  return MakeFile(stored.path(), std::move(file));
}

std::vector<std::string> PosixFileSystem::ListStored(const StoredPath& path,
                                                     const StoredVisitor& visit) const {
  const StoredFile stored(paths_.FindStored(path));
  FileDescriptor opened = stored.Open(O_RDONLY | O_DIRECTORY);
  if (!opened.IsOpen()) FailMissing(stored.path(), errno);
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(fdopendir(opened.get()), closedir);
  if (directory == nullptr) FailFile(stored.path(), "cannot be read", errno);
  static_cast<void>(opened.Release());
  std::vector<std::string> nameless;
  errno = 0;
  for (const dirent* entry = readdir(directory.get()); entry != nullptr;
       entry = readdir(directory.get())) {
    const std::string_view name = entry->d_name;
    struct stat status {};
    const bool isThere = name != "." && name != ".." &&
                         fstatat(dirfd(directory.get()), entry->d_name, &status, 0) == 0;
    errno = 0;
    if (!isThere || !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode))) continue;
    // A name that is not UTF-8 is taken for code page 932, as everywhere.
    const bool isUtf8 = text::IsUtf8(name);
    const std::string stored932 =
        isUtf8
            ? text_.FromUtf16(text_.ToUtf16(name, text::CODE_PAGE_UTF8), text::CODE_PAGE_JAPANESE)
            : std::string(name);
    const std::string back =
        text_.FromUtf16(text_.ToUtf16(stored932, text::CODE_PAGE_JAPANESE), text::CODE_PAGE_UTF8);
    if (isUtf8 && back != name) {
      nameless.emplace_back(name);
    } else {
      visit(stored932, S_ISDIR(status.st_mode));
    }
  }
  if (errno != 0) FailFile(stored.path(), "cannot be read", errno);
  return nameless;
}

std::unique_ptr<OutputFile> PosixFileSystem::OpenForWriting(std::string_view path) {
  const std::optional<NativePath> native = paths_.FindParent(path);
  if (!native || native->name.empty()) {
    throw FileError(NativeName(path) + ": " + paths_.ExplainUnusable(path));
  }
  temporaryDirectories_.List(path, native->name);
  return CreateNativeFile(native->directory, native->name);
}

void PosixFileSystem::Remove(std::string_view path) noexcept {
  try {
    // As written, as for writing: a file that differs in letter case is not one that we wrote.
    const std::optional<NativePath> native = paths_.FindParent(path);
    if (native && native->exists) unlink(native->str().c_str());
  } catch (const std::exception&) {
    // Out of memory: the file stays.
  }
}

std::string PosixFileSystem::ToWindowsPath(const std::string& native) const {
  if (std::optional<std::string> path = paths_.ToWindows(native)) return *std::move(path);
  throw FileError(native + ": has no name in code page 932");
}

std::string PosixFileSystem::MakeTemporaryDirectory() {
  return temporaryDirectories_.Make();
}

void PosixFileSystem::RemoveTemporaryDirectory(std::string_view path) noexcept {
  temporaryDirectories_.Remove(path);
}

std::optional<std::string> PosixFileSystem::ReadFileVersion(std::string_view path) const {
  try {
    const std::optional<std::u16string> version = FindFileVersion(*OpenForReading(path));
    if (!version) return std::nullopt;
    return text_.FromUtf16(*version, text::CODE_PAGE_JAPANESE);
  } catch (const FileError&) {
    return std::nullopt;
  }
}

std::string PosixFileSystem::NativeName(std::string_view path) const {
  if (const std::optional<NativePath> native = paths_.Find(path)) return native->str();
  return DisplayPath(path, text_);
}

}  // namespace nimport::platform::posix
