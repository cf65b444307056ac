#include "plugin/contents/temporary_files.h"

#include <memory>
#include <span>

#include "common/failure.h"
#include "platform/file_system.h"

namespace nimport::plugin {
namespace {

std::unique_ptr<platform::OutputFile> OpenTemporaryFile(platform::FileSystem& files,
                                                        const std::string& path) {
  try {
    return files.OpenForWriting(path);
  } catch (const FileError& error) {
    FailDatabase(error.what());
  }
}

}  // namespace

std::string WriteTemporaryFile(Extraction& extraction, std::string_view contents,
                               const TemporaryFileOptions& options) {
  std::string path = extraction.names.MakeTempName(options.extension);
  const auto file = OpenTemporaryFile(extraction.store.platform.files(), path);
  if (contents.empty() && options.emptyContents == EmptyContents::AreIncomplete) {
    throw Failure(options.incompleteCode, "there is nothing to write to the temporary file");
  }
  try {
    file->Write(std::as_bytes(std::span(contents)));
    file->Close();
  } catch (const FileError& error) {
    throw Failure(options.incompleteCode, error.what());
  }
  return path;
}

TemporaryNames MakeTemporaryNames(platform::FileSystem& files) {
  return TemporaryNames([&files] {
    try {
      return files.MakeTemporaryDirectory();
    } catch (const FileError& error) {
      FailDatabase(error.what());
    }
  });
}

void RemoveTemporaryFiles(const TemporaryNames& names, platform::FileSystem& files) noexcept {
  for (const std::string& path : names.tempFiles())
    files.Remove(path);
  if (!names.tempDir().empty()) files.RemoveTemporaryDirectory(names.tempDir());
}

}  // namespace nimport::plugin
