#include "platform/posix/posix_file_system.h"

#include <exception>

#include <sys/stat.h>
#include <unistd.h>

#include "common/file_error.h"
#include "platform/native_file.h"
#include "platform/pe_version_resource.h"
#include "platform/posix/posix_file.h"

namespace nimport::platform::posix {

bool PosixFileSystem::Exists(std::string_view path) const {
  const std::optional<NativePath> native = paths_.Find(path);
  struct stat status {};
  return native && native->exists && stat(native->str().c_str(), &status) == 0;
}

std::optional<std::uint64_t> PosixFileSystem::FindChangeStamp(std::string_view path) const {
  // A file that is there as spelt, as most are, is found with one look.
  const std::optional<std::string> spelt = paths_.SpellOnly(path);
  if (!spelt) return std::nullopt;
  if (const std::optional<std::uint64_t> stamp = FindNativeChangeStamp(*spelt)) return stamp;
  const std::optional<NativePath> native = paths_.Find(path);
  if (!native || !native->exists) return std::nullopt;
  return FindNativeChangeStamp(native->str());
}

std::unique_ptr<RandomAccessFile> PosixFileSystem::OpenForReading(std::string_view path) const {
  const std::optional<NativePath> native = paths_.Find(path);
  if (!native) throw FileError(NativeName(path) + ": is not a path that can be opened");
  return OpenNativeFile(native->str());
}

std::unique_ptr<OutputFile> PosixFileSystem::OpenForWriting(std::string_view path) {
  const std::optional<NativePath> native = paths_.FindParent(path);
  if (!native || native->name.empty()) {
    throw FileError(NativeName(path) + ": is not a path that can be opened");
  }
  return CreateNativeFile(native->directory, native->name);
}

void PosixFileSystem::Remove(std::string_view path) noexcept {
  try {
    // As spelt, as for writing: a file that differs in letter case is not one that we wrote.
    const std::optional<NativePath> native = paths_.FindParent(path);
    if (native && native->exists) unlink(native->str().c_str());
  } catch (const std::exception&) {
    // Out of memory: the file stays.
  }
}

std::optional<std::string> PosixFileSystem::MakeTemporaryDirectory() {
  return temporaryDirectories_.Make();
}

void PosixFileSystem::RemoveTemporaryDirectory(std::string_view path) noexcept {
  temporaryDirectories_.Remove(path);
}

std::optional<std::string> PosixFileSystem::ReadFileVersion(std::string_view path) const {
  try {
    const std::optional<std::u16string> version = FindFileVersion(*OpenForReading(path));
    if (!version) return std::nullopt;
    return text_.FromUtf16(*version, CODE_PAGE_JAPANESE);
  } catch (const FileError&) {
    return std::nullopt;
  }
}

std::string PosixFileSystem::NativeName(std::string_view path) const {
  if (const std::optional<NativePath> native = paths_.Find(path)) return native->str();
  return text_.FromUtf16(text_.ToUtf16(path, CODE_PAGE_JAPANESE), CODE_PAGE_UTF8);
}

}  // namespace nimport::platform::posix
