#include "plugin/exports/result_string.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "common/failure.h"
#include "text/code_page_932.h"

namespace nimport::plugin {
namespace {

// Zero bytes after every text: room for a terminator in either encoding.
constexpr std::size_t BYTES_BEHIND_TEXT = 5;

// A zero-filled block that begins with the `size` bytes at `bytes`.
void* MakeBuffer(const void* bytes, std::size_t size) {
  void* buffer = std::calloc(size + BYTES_BEHIND_TEXT, 1);
  if (buffer == nullptr) throw std::bad_alloc();
  if (size > 0) std::memcpy(buffer, bytes, size);
  return buffer;
}

}  // namespace

void WriteResultString(ResultString* record, std::string_view text,
                       const text::CodePageConverter& converter, TextEnd end) {
  if (record == nullptr) FailInvalid("no record for the text");
  const std::string_view whole = end == TextEnd::AtFirstNul ? text::UpToNul(text) : text;
  // The C library's own function, not one of this library: it still works after this one has been
  // unloaded.
  record->release = std::free;
  record->length = 0;
  record->buffer = nullptr;
  switch (record->encoding) {
    case ENCODING_CODE_PAGE_932:
      record->buffer = MakeBuffer(whole.data(), whole.size());
      record->length = static_cast<std::intptr_t>(whole.size());
      return;
    case ENCODING_UTF16: {
      const std::u16string utf16 = converter.ToUtf16(whole, text::CODE_PAGE_JAPANESE);
      record->buffer = MakeBuffer(utf16.data(), utf16.size() * sizeof(char16_t));
      record->length = static_cast<std::intptr_t>(utf16.size());
      return;
    }
    default:
      FailInvalid("unknown text encoding " + std::to_string(record->encoding));
  }
}

}  // namespace nimport::plugin
