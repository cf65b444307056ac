#ifndef NIMPORT_TOOLS_JETWRITER_ICONV_CONVERTER_H_
#define NIMPORT_TOOLS_JETWRITER_ICONV_CONVERTER_H_

#include <string>
#include <string_view>

namespace nimport::jetwriter {

// Turns UTF-8 into another character set, by the system's iconv. Not for several threads at once.
class IconvConverter {
 public:
  // `charset` as iconv names it. Throws WriteError when there is none of that name.
  explicit IconvConverter(const std::string& charset);
  ~IconvConverter();
  IconvConverter(const IconvConverter&) = delete;
  IconvConverter& operator=(const IconvConverter&) = delete;

  // Ends in the character set's initial state (ISO-2022-JP goes back to ASCII). Throws WriteError
  // naming the character that the set lacks, or the byte where `utf8` is damaged.
  [[nodiscard]] std::string Convert(std::string_view utf8) const;

 private:
  std::string charset_;
  void* handle_;  // an iconv_t
};

// iconv's name of a Windows code page: 932 is "CP932", Microsoft's mapping with the extensions of
// NEC and IBM.
[[nodiscard]] std::string IconvNameOf(unsigned codePage);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_ICONV_CONVERTER_H_
