// Whole mail texts through the exports.
#include "plugin/contents/mail_source.h"

#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

using nlohmann::json;

class MailSource : public MailTest {
 protected:
  TextAnswer Source(std::int32_t mail) { return Text(ML_GetMailSource, mail); }
};

TEST_F(MailSource, IsComposedByKind) {
  struct Case {
    int kind;
    json columns;
    TextAnswer wanted;
    const char* why;
  };
  const Case cases[] = {
      {17, json::object(), {RESULT_OK, "\r\n"}, "a file has no text"},
      {19, json::object(), {RESULT_OK, "\r\n"}, "a file has no text"},
      {23, json::object(), {RESULT_OK, "\r\n"}, "a file has no text"},
      {22, {{"TextData", "x\ny\r\nz"}}, {RESULT_OK, "\r\nx\r\ny\r\nz"}, "bare line feeds"},
      {22, {{"TextData", ""}}, {RESULT_OK, "\r\n"}, "empty: the header block alone"},
      {22, json::object(), {RESULT_OK, ""}, "null: no header block either"},
      {20, {{"EmailMode", 0}, {"TextData", "x"}}, {RESULT_OK, "\r\nx"}, "a text"},
      {20,
       {{"EmailMode", 1}, {"TextData", "S: x\n\ny"}},
       {RESULT_OK, "S: x\r\n\r\ny"},
       "a whole mail"},
      {20, {{"EmailMode", 1}}, {RESULT_OK, ""}, "a whole mail of nothing"},
      {38, {{"TextData", "a\n"}, {"ForwardText", "b\n"}}, {RESULT_OK, "a\r\nb\r\n"}, "two texts"},
      {38, {{"ForwardText", "x\n"}}, {RESULT_OK, "\r\nx\r\n"}, "the second alone"},
      {38, {{"TextData", "a"}}, {RESULT_INVALID, ""}, "without the second"},
      {34, json::object(), {RESULT_INVALID, ""}, "no MIME file is named"},
  };
  json mails = json::array();
  for (const Case& c : cases)
    mails.push_back(MailOf(c.kind, c.columns));
  OpenFolder(std::move(mails));
  std::int32_t mail = 0;
  for (const Case& c : cases)
    EXPECT_EQ(Source(mail++), c.wanted) << c.kind << " " << c.why;
  EXPECT_EQ(Source(mail).code, RESULT_DATABASE);
  EXPECT_EQ(Source(-1).code, RESULT_DATABASE);
}

TEST_F(MailSource, HasTheHeaderThatWasAskedForLast) {
  json received = MailOf(19, {{"OriginatorID", "QZA00001"}, {"OriginatorName", "Rin"}});
  OpenFolder(json::array({received, MailOf(22, {{"ToField", "QZB"}, {"TextData", "text"}}),
                          MailOf(20, {{"EmailMode", 1}, {"TextData", "Subject: other\n\n"}})}));
  for (const auto get : {ML_GetMailTo, ML_GetMailSubject})
    EXPECT_EQ(Text(get, 1).code, RESULT_OK);
  EXPECT_EQ(Text(ML_GetMailFrom, 0), (TextAnswer{RESULT_OK, "QZA00001 Rin"}));
  // Values from elsewhere than columns, and what stands for empty ones, are not remembered.
  EXPECT_EQ(Text(ML_GetMailSubject, 2), (TextAnswer{RESULT_OK, " other"}));
  EXPECT_EQ(Source(1),
            (TextAnswer{RESULT_OK, "From: QZA00001 Rin\r\nTo: QZB\r\nSubject: Title\r\n\r\ntext"}));
  // The message ID's fallback asks for the date, which is.
  const TextAnswer messageId = Text(ML_GetMailMessageID, 1);
  ASSERT_EQ(messageId.code, RESULT_OK);
  const std::string date = messageId.text.substr(std::string("DEFAULT").size());
  EXPECT_EQ(Source(0).text,
            "Date: " + date + "\r\nFrom: QZA00001 Rin\r\nTo: QZB\r\nSubject: Title\r\n\r\n");
  // An empty value takes an older one's place; one of blanks alone does not.
  EXPECT_EQ(Text(ML_GetMailTo, 0), (TextAnswer{RESULT_OK, "DEFAULT"}));
  EXPECT_EQ(Source(0).text, "Date: " + date + "\r\nFrom: QZA00001 Rin\r\nSubject: Title\r\n\r\n");
  CloseFolder();
  OpenFolder();
  EXPECT_EQ(Source(0).text, "\r\n");
}

TEST_F(MailSource, OfAMimeMailIsItsFile) {
  OpenMimeMails({"Subject: x\n\na\r\nb\rc\n", ""});
  EXPECT_EQ(Text(ML_GetMailSubject, 0).text, "DEFAULT");
  EXPECT_EQ(Source(0), (TextAnswer{RESULT_OK, "Subject: x\r\n\r\na\r\nb\rc\r\n"}));
  EXPECT_EQ(Source(1), (TextAnswer{RESULT_OK, ""}));
  std::filesystem::remove(MimePath(0));
  EXPECT_EQ(Source(0).code, RESULT_INVALID);
  std::filesystem::create_directory(MimePath(0));
  EXPECT_EQ(Source(0).code, RESULT_DATABASE);
}

}  // namespace
}  // namespace nimport::test
