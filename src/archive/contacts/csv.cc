#include "archive/contacts/csv.h"

#include "text/utf8.h"

namespace nimport::archive {

namespace {

std::string Quote(std::string_view text) {
  std::string out = "\"";
  for (const char c : text)
    out.append(c == '"' ? 2 : 1, c);
  return out + '"';
}

// Spreadsheets compute what begins with one of these characters. An apostrophe before it makes it a
// text; text that begins with apostrophes and such a character gets one more, so that whoever takes
// one away has every text as it was.
std::string Guarded(std::string_view text) {
  const std::size_t first = text.find_first_not_of('\'');
  const bool isFormula =
      first != text.npos && std::string_view("=+-@\t\r\n").find(text[first]) != text.npos;
  return (isFormula ? "'" : "") + std::string(text);
}

// Blanks at the ends are quoted too: some readers drop them otherwise.
bool NeedsQuotes(std::string_view text) {
  if (text.empty()) return false;
  return text.find_first_of(",\"\r\n") != std::string_view::npos || text.front() == ' ' ||
         text.back() == ' ';
}

template <typename Texts>
std::string Join(const Texts& texts) {
  std::string all;
  for (const std::string& text : texts) {
    if (text.empty()) continue;
    if (!all.empty()) all += "; ";
    all += text;
  }
  return all;
}

}  // namespace

std::string ToCsvRow(std::initializer_list<std::string_view> cells) {
  std::string row;
  const char* separator = "";
  for (const std::string_view text : cells) {
    const std::string cell = Guarded(text);
    row.append(separator).append(NeedsQuotes(cell) ? Quote(cell) : cell);
    separator = ",";
  }
  return row + "\r\n";
}

CsvWriter::CsvWriter(TextSink sink, bool hasByteOrderMark) : ContactWriter(std::move(sink)) {
  if (hasByteOrderMark) Put(text::UTF8_BYTE_ORDER_MARK);
  Put(ToCsvRow({"Name", "E-mail Address", "User ID", "Notes", "Categories"}));
}

void CsvWriter::Write(const Contact& contact) {
  Put(ToCsvRow({contact.name, Join(contact.emails), contact.NativeId(), contact.comment,
                Join(contact.groups)}));
}

}  // namespace nimport::archive
