#include "archive/formats/mail_form.h"

#include <algorithm>
#include <cstddef>

namespace nimport::archive {

bool BeginsWithSeparator(std::string_view text) {
  const std::size_t begin = text.find_first_not_of('>');
  return begin != text.npos && text.substr(begin).starts_with(SEPARATOR);
}

void MakeFieldOfSeparator(std::string& mail) {
  if (BeginsWithSeparator(mail)) mail.insert(0, std::string(SEPARATOR_FIELD) + ": ");
}

// In place, since a mail may be big.
void ToLineFeeds(std::string& mail) {
  constexpr std::string_view LINE_END = "\r\n";
  std::size_t end = mail.find(LINE_END);
  if (end == mail.npos) return;
  for (std::size_t from = end; from != mail.size();) {
    const std::size_t next = std::min(mail.find(LINE_END, from + LINE_END.size()), mail.size());
    const std::size_t size = next - from - 1;  // without the CR
    std::string::traits_type::move(&mail[end], &mail[from + 1], size);
    end += size;
    from = next;
  }
  mail.resize(end);
}

}  // namespace nimport::archive
