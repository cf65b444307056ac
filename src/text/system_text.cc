#include "text/system_text.h"

#include <algorithm>
#include <map>
#include <mutex>

#include "common/library_lifetime.h"
#include "text/code_page_table.h"

namespace nimport::platform {
namespace {

CodePageTable& MakeTable(const CodePageForm& form) {
  return MakeForLibrary<CodePageTable>(form, *OpenCodePage(form));
}

struct Tables {
  std::mutex mutex;
  std::map<unsigned, const CodePageTable*> byNumber;
};

// A table is made when it is first asked for and then kept: at most one per known code page.
const CodePageTable& TableOf(unsigned codePage) {
  if (codePage == CODE_PAGE_JAPANESE) {
    static const CodePageTable& japanese = MakeTable(FindCodePageForm(CODE_PAGE_JAPANESE));
    return japanese;
  }
  const CodePageForm& form = FindCodePageForm(codePage);
  static auto& tables = MakeForLibrary<Tables>();
  const std::lock_guard lock(tables.mutex);
  const CodePageTable*& table = tables.byNumber[form.number];
  if (table == nullptr) table = &MakeTable(form);
  return *table;
}

bool IsAscii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return (c & 0x80) == 0; });
}

std::u16string Decode(std::string_view bytes, unsigned codePage, bool& isDamaged) {
  // Every code page here begins with ASCII.
  if (IsAscii(bytes)) return {bytes.begin(), bytes.end()};
  if (codePage == CODE_PAGE_UTF8) return Utf16FromUtf8(bytes, isDamaged);
  return TableOf(codePage).ToUtf16(bytes, isDamaged);
}

}  // namespace

std::string SystemText::FromUtf16(std::u16string_view text, unsigned codePage) const {
  const bool isAscii =
      std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
  if (isAscii) {
    std::string result(text.size(), '\0');
    std::transform(text.begin(), text.end(), result.begin(),
                   [](char16_t unit) { return static_cast<char>(unit); });
    return result;
  }
  if (codePage == CODE_PAGE_UTF8) return Utf8FromUtf16(text);
  return TableOf(codePage).FromUtf16(text);
}

std::u16string SystemText::ToUtf16(std::string_view bytes, unsigned codePage) const {
  bool isDamaged = false;
  return Decode(bytes, codePage, isDamaged);
}

std::optional<std::u16string> SystemText::ToUtf16Strict(std::string_view bytes,
                                                        unsigned codePage) const {
  bool isDamaged = false;
  std::u16string text = Decode(bytes, codePage, isDamaged);
  if (isDamaged) return std::nullopt;
  return text;
}

}  // namespace nimport::platform
