#include "host/mail.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/native_path.h"

namespace nimport::host {

namespace {

ExtractedFile ReadExtractedFile(const std::string& windowsPath) {
  const std::filesystem::path path = NativePath(windowsPath);
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("the temporary file " + windowsPath + " is not there");
  ExtractedFile result;
  result.extension = path.extension().string();
  result.bytes.assign(std::istreambuf_iterator<char>(file), {});
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
  return ReadExtractedFile(
      library_->Text(library_->functions().ML_GetMailBodyPath, session_, folder_, position_, body));
}

std::int32_t Mail::AttachedCount() const {
  return library_->Number(library_->functions().ML_GetAttachedMailCount, session_, folder_,
                          position_);
}

ExtractedFile Mail::Attached(std::int32_t attached) const {
  return ReadExtractedFile(library_->Text(library_->functions().ML_GetAttachedMailPath, session_,
                                          folder_, position_, attached));
}

}  // namespace nimport::host
