// Lines, header lines and line ends of mail texts.
#include "fuzz_input.h"
#include "store/mails/mail_text.h"

using namespace nimport::store;
using nimport::fuzz::Check;
using nimport::fuzz::ToText;

namespace {

void CheckLines(std::string_view text) {
  std::size_t position = 0;
  for (std::size_t before = 0; const auto line = nimport::text::ReadTextLine(text, position);
       before = position) {
    Check(position > before && position <= text.size());
    Check(line->size() <= nimport::text::MAX_LINE_BYTES && line->size() <= position - before);
    Check(line->find_first_of(std::string_view("\n\x1A\0", 3)) == std::string_view::npos);
  }
  Check(position == text.size());
}

void CheckLineEnds(std::string_view text) {
  const std::string normalized = NormalizeLineEnds(std::string(text));
  Check(normalized.size() <= 2 * text.size());
  Check(NormalizeLineEnds(normalized) == normalized);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nimport::fuzz::TimeLimit limit(size);
  const std::string_view text = ToText(data, size);
  CheckLines(text);
  CheckLineEnds(text);
  for (int selector = 0; selector <= 6; ++selector) {
    (void)FindHeaderLine(text, static_cast<FieldSelector>(selector));
  }
  return 0;
}
