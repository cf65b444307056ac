#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "wexmail/library.h"

namespace nimport::mime {
namespace {

struct Case {
  const char* why;
  const char* mail;         // parts carry their name as contents
  const char* mains;        // contents, with bars between them
  const char* attachments;  // likewise
};

#define MIXED "Content-Type: multipart/mixed; boundary=m\n\n"
#define RELATED "Content-Type: multipart/related; boundary=r\n\n"
#define ALTERNATIVE "Content-Type: multipart/alternative; boundary=a\n\n"

const Case CASES[] = {
    {"a text", "Subject: x\n\none", "one", ""},
    {"text that is to be saved", "Content-Type: text/plain\nContent-Disposition: attachment\n\none",
     "", "one"},
    {"a single picture", "Content-Type: image/gif\n\none", "one", ""},
    {"a single picture with a name", "Content-Type: image/gif; name=a.gif\n\none", "one", "one"},
    {"a container for the whole mail",
     "Content-Type: Application/pkcs7-MIME; name=smime.p7m\nContent-Disposition: attachment\n\none",
     "one", ""},
    {"a container among others",
     MIXED "--m\n\none\n--m\nContent-Type: application/pkcs7-mime; name=smime.p7m\n\ntwo\n--m--\n",
     "one", "two"},
    {"only a picture in a multipart", MIXED "--m\nContent-Type: image/gif; name=a\n\none\n--m--\n",
     "one", "one"},
    {"texts, pictures and files in a row",
     MIXED
     "--m\n\none\n--m\nContent-Type: image/gif\n\ntwo\n--m\nContent-Type: text/html\n\nthree\n"
     "--m\nContent-Type: text/plain; name=a.txt\n\nfour\n"
     "--m\nContent-Disposition: inline; filename=b.txt\n\nfive\n--m--\n",
     "one|three", "two|four|five"},
    {"the first text may have a name",
     MIXED "--m\nContent-Type: text/plain; name=a\n\none\n--m--\n", "one", ""},
    {"a named text after a file is a file",
     MIXED "--m\nContent-Type: a/b\n\none\n--m\nContent-Type: text/plain; name=a\n\ntwo\n--m--\n",
     "", "one|two"},
    {"alternatives, named or not",
     ALTERNATIVE "--a\n\none\n--a\nContent-Type: text/html; name=index.html\n\ntwo\n--a--\n",
     "one|two", ""},
    {"alternatives, the second with pictures",
     ALTERNATIVE "--a\n\none\n--a\n" RELATED
                 "--r\nContent-Type: text/html; name=x\n\ntwo\n--r\nContent-Type: image/gif; "
                 "name=a.gif\n\nthree\n"
                 "--r--\n--a--\n",
     "one|two", "three"},
    {"related around alternatives",
     RELATED "--r\n" ALTERNATIVE "--a\n\none\n--a\nContent-Type: text/html\n\ntwo\n--a--\n"
             "--r\nContent-Type: text/css\n\nthree\n--r--\n",
     "one|two", "three"},
    {"a related root that is not the first",
     "Content-Type: multipart/related; boundary=r; start=\"<x@y>\"\n\n"
     "--r\nContent-Type: image/gif\n\none\n--r\nContent-ID: <x@y>\nContent-Type: text/html\n\ntwo\n"
     "--r--\n",
     "two", "one"},
    {"a signed mail",
     "Content-Type: multipart/signed; boundary=m\n\n--m\n\none\n"
     "--m\nContent-Type: application/pkcs7-signature\n\ntwo\n--m--\n",
     "one", "two"},
    {"an enclosed mail, whatever lies in it",
     MIXED "--m\n\none\n--m\nContent-Type: message/rfc822\n\n" MIXED
           "--i\n\ntwo\n--i--\n--m\nContent-Type: text/html\n\nthree\n--m--\n",
     "one|three", "Content-Type: multipart/mixed; boundary=m\r\n\r\n--i\r\n\r\ntwo\r\n--i--"},
    {"an enclosed mail in a transfer encoding",
     MIXED "--m\n\none\n--m\nContent-Type: message/rfc822\nContent-Transfer-Encoding: base64\n\n"
           "U3ViamVjdDogeA0KDQp0d28=\n--m--\n",
     "one", "Subject: x\r\n\r\ntwo"},
    {"a digest", "Content-Type: multipart/digest; boundary=m\n\n--m\n\nSubject: a\n\none\n--m--\n",
     "Subject: a\r\n\r\none", "Subject: a\r\n\r\none"},
    {"a delivery report",
     "Content-Type: multipart/report; boundary=m\n\n--m\n\none\n"
     "--m\nContent-Type: message/delivery-status\n\ntwo\n"
     "--m\nContent-Type: text/rfc822-headers\n\nthree\n--m--\n",
     "one|three", "two"},
    {"an unknown disposition is an attachment",
     MIXED "--m\n\none\n--m\nContent-Disposition: save-me\n\ntwo\n--m--\n", "one", "two"},
    {"a content type from before MIME", "Content-Type: text\n\none", "one", ""},
    {"no content type at all, but a name",
     MIXED "--m\n\none\n--m\nContent-Type: junk; name=a.b\n\ntwo\n--m--\n", "one", "two"},
    {"attached text keeps its own charset",
     "Content-Type: text/plain; charset=utf-8\nContent-Disposition: attachment\n\n\xE8\xA1\xA8", "",
     "\xE8\xA1\xA8"},
};

template <typename Parts>
std::string JoinContents(const Parts& parts) {
  std::string result;
  for (const auto& part : parts)
    result += (result.empty() ? "" : "|") + part.contents;
  return result;
}

TEST(PartRoles, AreWhatAReaderExpects) {
  const Library library;
  for (const Case& row : CASES) {
    ASSERT_EQ(1, library.Parse(Crlf(row.mail)));
    EXPECT_EQ(row.mains, JoinContents(library.Mains())) << row.why;
    EXPECT_EQ(row.attachments, JoinContents(library.Attachments())) << row.why;
  }
}

TEST(PartRoles, PartsOfATypeComeInTheOrderOfTheMail) {
  const Library library;
  ASSERT_EQ(
      1, library.Parse(Crlf(
             MIXED
             "--m\nContent-Type: IMAGE/gif; name=a\nX: \x95\x5C\n\none\n"
             "--m\nContent-Type: message/rfc822\n\n" RELATED
             "--r\nContent-Type: text/html\n\n<p>\n--r\nContent-ID: <i>\nContent-Type: image/gif\n"
             "Content-Transfer-Encoding: base64\n\ndHdv\n--r--\n"
             "--m\nContent-Type: image/gif\nContent-Disposition: attachment;\n\tfilename=b\n\n"
             "three\n--m--\n")));
  const std::vector<FoundPart> found = library.Parts("image/gif ; x=y");
  ASSERT_EQ(3u, found.size());
  EXPECT_EQ("Content-Type: IMAGE/gif; name=a\r\nX: \x95\x5C\r\n", found[0].header);
  EXPECT_EQ("one", found[0].body);
  EXPECT_EQ("two", found[1].body);
  EXPECT_EQ("Content-Type: image/gif\r\nContent-Disposition: attachment;\r\n\tfilename=b\r\n",
            found[2].header);
  EXPECT_EQ("three", found[2].body);
  EXPECT_EQ(2u, library.Parts("image/gif").size()) << "written just so";
  EXPECT_TRUE(library.Parts("image/png").empty());
  EXPECT_TRUE(library.Parts("multipart/mixed").empty());
}

}  // namespace
}  // namespace nimport::mime
