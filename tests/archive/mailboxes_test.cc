#include "archive/mailboxes.h"

#include <string>

#include <gtest/gtest.h>

namespace nimport::archive {
namespace {

// "NAME<ADDRESS>" for each mailbox, with '*' where the address was made up.
std::string Describe(std::string_view text) {
  std::string out;
  for (const Mailbox& mailbox : ToMailboxes(text)) {
    if (!out.empty()) out += " + ";
    out += mailbox.name + '<' + mailbox.address + '>' + (mailbox.isInternet ? "" : "*");
  }
  return out;
}

TEST(ToMailboxes, FindsWhoIsMeant) {
  const struct {
    const char* text;
    const char* mailboxes;
    const char* why;
  } cases[] = {
      {"", "", "nobody"},
      {" ,;\r\n", "", "separators alone"},
      {"QZB04567", "QZB04567<QZB04567@nifty-manager.invalid>*", "a member ID"},
      {"QZB04567 佐倉 美野里", "QZB04567 佐倉 美野里<QZB04567@nifty-manager.invalid>*",
       "the whole text is the name"},
      {"佐倉 No.1 QZB04567", "佐倉 No.1 QZB04567<QZB04567@nifty-manager.invalid>*",
       "the word of the common form counts, not the first"},
      {"桐谷", "桐谷<name-33be5c502ece@nifty-manager.invalid>*", "no word to make an address of"},
      {"QZB04567,QZC00089;QZD11223\nQZE00001",
       "QZB04567<QZB04567@nifty-manager.invalid>* + QZC00089<QZC00089@nifty-manager.invalid>* + "
       "QZD11223<QZD11223@nifty-manager.invalid>* + QZE00001<QZE00001@nifty-manager.invalid>*",
       "every separator"},
      {"a@example.jp", "<a@example.jp>", "an internet address"},
      {"桐谷 航 <a.b+c@example.jp>", "桐谷 航<a.b+c@example.jp>", "with a name"},
      {"a@example.jp (桐谷)", "桐谷<a@example.jp>", "name as a comment"},
      {"\"Kiritani, Wataru\" <a@example.jp>", "Kiritani, Wataru<a@example.jp>", "comma in quotes"},
      {"a@@b", "a@@b<a@nifty-manager.invalid>*", "no lawful address"},
      {".x@example.jp y@example..jp", ".x@example.jp y@example..jp<x@nifty-manager.invalid>*",
       "dots where none may be"},
      {"(open, a@example.jp\nQZB04567",
       "(open,<a@example.jp> + QZB04567<QZB04567@nifty-manager.invalid>*",
       "an open bracket ends with its line"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Describe(c.text), c.mailboxes) << c.why;
}

TEST(EncodeMailboxes, OneMailboxALine) {
  EXPECT_EQ(EncodeMailboxes(ToMailboxes("QZB04567, Taro <t@example.jp>, x@example.jp"), 4),
            "QZB04567 <QZB04567@nifty-manager.invalid>,\r\n Taro <t@example.jp>,\r\n x@example.jp");
}

}  // namespace
}  // namespace nimport::archive
