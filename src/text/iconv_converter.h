#ifndef NIMPORT_TEXT_ICONV_CONVERTER_H_
#define NIMPORT_TEXT_ICONV_CONVERTER_H_

#include <optional>
#include <string>
#include <string_view>

namespace nimport::mime {

// One open conversion between two of the system's charsets. Not for use by two threads at once.
class IconvConverter {
 public:
  // Throws std::runtime_error when the system does not know one of them.
  IconvConverter(const char* toCharset, const char* fromCharset);
  ~IconvConverter();
  IconvConverter(const IconvConverter&) = delete;
  IconvConverter& operator=(const IconvConverter&) = delete;

  // Whether the system knows the conversion.
  [[nodiscard]] static bool Exists(const char* toCharset, const char* fromCharset);

  // `bytes` converted, each byte that the charset cannot explain as '?'. Only for targets in which
  // '?' is the one byte of ASCII.
  [[nodiscard]] std::string Convert(std::string_view bytes);

  // `bytes` converted, or nothing when they are damaged.
  [[nodiscard]] std::optional<std::string> ConvertStrict(std::string_view bytes);

 private:
  // Converts up to the first damage and takes what was converted off `bytes`. True when all was.
  bool ConvertSome(std::string_view& bytes, std::string& result);
  void Reset();

  void* handle_;
};

}  // namespace nimport::mime

#endif  // NIMPORT_TEXT_ICONV_CONVERTER_H_
