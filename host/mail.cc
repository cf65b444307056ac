#include "host/mail.h"

#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "host/native_path.h"

namespace nimport::host {

namespace {

// How the names begin that the plug-in makes up.
constexpr std::string_view MADE_UP_NAME = "$$$nim";

std::string ReadWhole(const std::filesystem::path& path, const std::string& windowsPath) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("the temporary file " + windowsPath + " is not there");
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  std::string bytes(error ? 0 : static_cast<std::size_t>(size), '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

// Reads the file and removes it. Left in place, the next one would overwrite it, and some file
// systems hand overwritten files to the disk at once: measured, ten times the time of an export.
ExtractedFile TakeExtractedFile(const std::string& windowsPath) {
  const std::filesystem::path path = NativePath(windowsPath);
  ExtractedFile result;
  result.name = path.filename().string();
  if (result.name.starts_with(MADE_UP_NAME)) result.name.clear();
  result.extension = path.extension().string();
  result.bytes = ReadWhole(path, windowsPath);
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  return result;
}

}  // namespace

std::string Mail::Subject() const {
  return library_->Text(library_->functions().ML_GetMailSubject, session_, folder_, position_);
}

std::string Mail::From() const {
  return library_->Text(library_->functions().ML_GetMailFrom, session_, folder_, position_);
}

std::string Mail::To() const {
  return library_->Text(library_->functions().ML_GetMailTo, session_, folder_, position_);
}

std::string Mail::MessageId() const {
  return library_->Text(library_->functions().ML_GetMailMessageID, session_, folder_, position_);
}

std::int32_t Mail::Date() const {
  return library_->Number(library_->functions().ML_GetMailDate, session_, folder_, position_);
}

std::string Mail::Source() const {
  return library_->Bytes(library_->functions().ML_GetMailSource, session_, folder_, position_);
}

std::int32_t Mail::BodyCount() const {
  return library_->Number(library_->functions().ML_GetMailBodyCount, session_, folder_, position_);
}

std::string Mail::ContentType(std::int32_t body) const {
  return library_->Text(library_->functions().ML_GetMailContentType, session_, folder_, position_,
                        body);
}

ExtractedFile Mail::Body(std::int32_t body) const {
  return TakeExtractedFile(
      library_->Text(library_->functions().ML_GetMailBodyPath, session_, folder_, position_, body));
}

ResultCode Mail::TryBody(std::int32_t body, ExtractedFile& file) const {
  ResultText path(ENCODING_UTF16);
  const ResultCode code = library_->Try(library_->functions().ML_GetMailBodyPath, session_, folder_,
                                        position_, body, path.record());
  if (code == RESULT_OK) file = TakeExtractedFile(path.ToUtf8());
  return code;
}

std::int32_t Mail::AttachedCount() const {
  return library_->Number(library_->functions().ML_GetAttachedMailCount, session_, folder_,
                          position_);
}

ExtractedFile Mail::Attached(std::int32_t attached) const {
  return TakeExtractedFile(library_->Text(library_->functions().ML_GetAttachedMailPath, session_,
                                          folder_, position_, attached));
}

}  // namespace nimport::host
