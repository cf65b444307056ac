// What undeclared or wrongly declared text is in. There is no other place that guesses.
#ifndef NIMPORT_TEXT_DETECTOR_H_
#define NIMPORT_TEXT_DETECTOR_H_

#include <optional>
#include <string_view>

namespace nimport::text {

enum class Encoding { CodePage932, EucJp, Iso2022Jp, Utf8, Western };

// The encoding of text that nobody labelled: ISO-2022-JP by its escape sequences; UTF-8, also with
// a character cut here and there; EUC-JP where all bytes are and enough of them are kana; code page
// 1252 where all that is beyond ASCII is an accent within a word; else code page 932.
[[nodiscard]] Encoding GuessEncoding(std::string_view bytes);

// What a label promises of the bytes after it.
enum class Label {
  CodePage932,
  EucJp,
  Utf8,
  Western,     // ISO 8859-1 and the like, in which any bytes are text
  SingleByte,  // another set of single bytes
  MultiByte,   // another set with lead and trail bytes
};

// The encoding of `bytes` where they contradict their label. A label wins as long as they make
// sense under it, except where that sense is none that anybody writes: quotation marks and accents
// in the order of kana, or nothing but whole characters of UTF-8.
[[nodiscard]] std::optional<Encoding> FindContradiction(std::string_view bytes, Label label);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_DETECTOR_H_
