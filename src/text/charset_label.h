// What mails say of their texts' charsets, and how far today's programs get with it.
#ifndef NIMPORT_TEXT_CHARSET_LABEL_H_
#define NIMPORT_TEXT_CHARSET_LABEL_H_

#include <string_view>

namespace nimport::text {

enum class LabelTruth {
  True,   // a program that knows the standards shows what ToUtf8 reads
  Loose,  // the charset is meant, but the text has letters that its standard lacks (circled digits,
          // single-byte katakana in ISO-2022-JP), or few programs know it under this name
  False,  // nothing is said of text that is not ASCII, or what is said is not so
};

// Judges `charset`, what a mail says of `bytes`. A character that is damaged or cut makes no label
// less true: every program shows a mark in its place.
[[nodiscard]] LabelTruth JudgeLabel(std::string_view bytes, std::string_view charset);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_CHARSET_LABEL_H_
