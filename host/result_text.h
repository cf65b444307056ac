#ifndef NIMPORT_HOST_RESULT_TEXT_H_
#define NIMPORT_HOST_RESULT_TEXT_H_

#include <string>

#include "nimport/nimport.h"

namespace nimport::host {

// A ResultString whose buffer is released when this object is destroyed.
class ResultText {
 public:
  // `encoding` is one of the ENCODING_ values.
  explicit ResultText(std::intptr_t encoding) { record_.encoding = encoding; }
  ~ResultText();
  ResultText(const ResultText&) = delete;
  ResultText& operator=(const ResultText&) = delete;

  // For the plug-in to fill.
  [[nodiscard]] ResultString* record() { return &record_; }

  // The text as UTF-8, whichever encoding was asked for.
  [[nodiscard]] std::string ToUtf8() const;

  // The bytes as they were answered. Needs ENCODING_CODE_PAGE_932.
  [[nodiscard]] std::string ToBytes() const;

 private:
  ResultString record_ = {};
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_RESULT_TEXT_H_
