#ifndef NIMPORT_TESTS_JET_ICONV_CONVERTER_H_
#define NIMPORT_TESTS_JET_ICONV_CONVERTER_H_

#include <cerrno>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#if defined(_WIN32)
#include "text/system_text.h"
#else
#include <iconv.h>
#endif

#include "text/text_converter.h"

namespace nimport {

#if defined(_WIN32)

// Code pages as the system knows them, there being no iconv.
class IconvConverter final : public TextConverter {
 public:
  [[nodiscard]] std::string FromUtf16(std::u16string_view text, unsigned codePage) const override {
    ++calls;
    return system_.FromUtf16(text, codePage);
  }
  [[nodiscard]] std::u16string ToUtf16(std::string_view bytes, unsigned codePage) const override {
    ++calls;
    return system_.ToUtf16(bytes, codePage);
  }
  [[nodiscard]] std::optional<std::u16string> ToUtf16Strict(std::string_view bytes,
                                                            unsigned codePage) const override {
    ++calls;
    return system_.ToUtf16Strict(bytes, codePage);
  }

  mutable int calls = 0;

 private:
  platform::SystemText system_;
};

#else

// Code pages as the system's iconv knows them. Counts its calls, so that a test can tell whether a
// text was converted at all.
class IconvConverter final : public TextConverter {
 public:
  [[nodiscard]] std::string FromUtf16(std::u16string_view text, unsigned codePage) const override {
    ++calls;
    const std::string_view bytes(reinterpret_cast<const char*>(text.data()), 2 * text.size());
    return Convert(bytes, "UTF-16LE", CodePageName(codePage), 2, "?").value;
  }

  [[nodiscard]] std::u16string ToUtf16(std::string_view bytes, unsigned codePage) const override {
    ++calls;
    return ToUnits(Convert(bytes, CodePageName(codePage), "UTF-16LE", 1, "\xFD\xFF").value);
  }

  [[nodiscard]] std::optional<std::u16string> ToUtf16Strict(std::string_view bytes,
                                                            unsigned codePage) const override {
    ++calls;
    const Converted result = Convert(bytes, CodePageName(codePage), "UTF-16LE", 1, "");
    if (result.wasDamaged) return std::nullopt;
    return ToUnits(result.value);
  }

  mutable int calls = 0;

 private:
  struct Converted {
    std::string value;
    bool wasDamaged = false;
  };

  static std::string CodePageName(unsigned codePage) {
    return codePage == CODE_PAGE_UTF8 ? "UTF-8" : "CP" + std::to_string(codePage);
  }

  static std::u16string ToUnits(std::string_view bytes) {
    std::u16string units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
      units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                     static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return units;
  }

  static Converted Convert(std::string_view bytes, const std::string& from, const std::string& to,
                           std::size_t skip, std::string_view replacement) {
    Converted result;
    const iconv_t handle = Open(from, to);
    char* in = const_cast<char*>(bytes.data());
    std::size_t inLeft = bytes.size();
    while (inLeft > 0) {
      char buffer[256];
      char* out = buffer;
      std::size_t outLeft = sizeof buffer;
      const std::size_t count = iconv(handle, &in, &inLeft, &out, &outLeft);
      const int error = errno;
      result.value.append(buffer, static_cast<std::size_t>(out - buffer));
      if (count == static_cast<std::size_t>(-1) && error != E2BIG) {
        result.wasDamaged = true;
        result.value += replacement;
        const std::size_t skipped = skip < inLeft ? skip : inLeft;
        in += skipped;
        inLeft -= skipped;
      }
    }
    return result;
  }

  struct Handle {
    iconv_t value = reinterpret_cast<iconv_t>(-1);
    Handle() = default;
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() {
      if (value != reinterpret_cast<iconv_t>(-1)) iconv_close(value);
    }
  };

  // Opening takes longer than most conversions, so handles are kept.
  static iconv_t Open(const std::string& from, const std::string& to) {
    thread_local std::map<std::string, Handle> handles;
    const auto [entry, isNew] = handles.try_emplace(from + ">" + to);
    iconv_t& handle = entry->second.value;
    if (isNew) handle = iconv_open(to.c_str(), from.c_str());
    if (handle == reinterpret_cast<iconv_t>(-1)) {
      // A code page that nobody knows.
      const bool isTarget = from.starts_with("UTF");
      return isTarget ? Open(from, "CP1252") : Open("CP1252", to);
    }
    iconv(handle, nullptr, nullptr, nullptr, nullptr);
    return handle;
  }
};

#endif

}  // namespace nimport

#endif  // NIMPORT_TESTS_JET_ICONV_CONVERTER_H_
