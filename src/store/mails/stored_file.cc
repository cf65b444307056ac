#include "store/mails/stored_file.h"

#include "common/failure.h"
#include "common/file_error.h"

namespace nimport::store {
namespace {

// In the directory of the databases.
constexpr const char* MIME_DIRECTORY = "\\Mime\\";

}  // namespace

platform::StoredPath MimeFilePath(const text::PathText& databaseDirectory,
                                  const std::optional<std::string>& link) {
  if (!link) FailInvalid("the mail names no MIME file");
  if (!text::NameText::Fit(*link)) FailInvalid("the name of the MIME file is too long");
  const auto path = text::PathText::Fit(databaseDirectory.str() + MIME_DIRECTORY + *link);
  if (!path) FailInvalid("the path of the MIME file is too long");
  return {.path = path->str(), .storeDirectory = databaseDirectory.str()};
}

std::string ReadStoredBytes(const platform::FileSystem& files,
                            const text::PathText& databaseDirectory,
                            const std::optional<std::string>& storedPath) {
  if (!storedPath) FailInvalid("the mail names no stored file");
  const auto path = text::PathText::Fit(*storedPath);
  if (!path) FailInvalid("the path of the stored file is too long");
  try {
    return platform::ReadWholeFile(
        *files.OpenStored({.path = path->str(), .storeDirectory = databaseDirectory.str()}));
  } catch (const FileMissing& error) {
    FailInvalid(error.Explain("stored file"));
  } catch (const FileError& error) {
    FailDatabase(error.what());
  }
}

}  // namespace nimport::store
