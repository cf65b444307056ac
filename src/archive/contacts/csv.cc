#include "archive/contacts/csv.h"

#include "text/byte_set.h"
#include "text/utf8.h"

namespace nimport::archive {

namespace {

void AppendQuoted(std::string_view text, std::string& out) {
  out += '"';
  for (std::size_t quote = text.find('"'); quote != text.npos; quote = text.find('"')) {
    out.append(text.substr(0, quote + 1)).append("\"");
    text.remove_prefix(quote + 1);
  }
  out.append(text).append("\"");
}

// Spreadsheets compute what begins with one of these characters. An apostrophe before it makes it a
// text; text that begins with apostrophes and such a character gets one more, so that whoever takes
// one away has every text as it was.
bool IsFormula(std::string_view text) {
  const std::size_t first = text.find_first_not_of('\'');
  return first != text.npos && std::string_view("=+-@\t\r\n").find(text[first]) != text.npos;
}

// Blanks at the ends are quoted too: some readers drop them otherwise.
bool NeedsQuotes(std::string_view text) {
  if (text.empty()) return false;
  constexpr text::ByteSet QUOTED(",\"\r\n");
  return QUOTED.IsAnyIn(text) || text.front() == ' ' || text.back() == ' ';
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
    row.append(separator);
    separator = ",";
    std::string guarded;
    if (IsFormula(text)) guarded = '\'' + std::string(text);
    const std::string_view cell = guarded.empty() ? text : guarded;
    if (NeedsQuotes(cell)) {
      AppendQuoted(cell, row);
    } else {
      row += cell;
    }
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
