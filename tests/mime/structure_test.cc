#include "mime/structure.h"

#include <random>
#include <string>
#include <vector>

#include <gmime/gmime.h>
#include <gtest/gtest.h>

#include "wexmail/library.h"

namespace nimport::mime {
namespace {

// A leaf's type and place, as "type begin-end".
std::string Describe(const std::string& type, std::size_t begin, std::size_t end) {
  return type + " " + std::to_string(begin) + "-" + std::to_string(end);
}

void AddLeavesByGMime(GMimeObject* object, std::vector<std::string>& leaves) {
  if (GMIME_IS_MULTIPART(object)) {
    auto* multipart = GMIME_MULTIPART(object);
    for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i) {
      AddLeavesByGMime(g_mime_multipart_get_part(multipart, i), leaves);
    }
  } else if (GMIME_IS_MESSAGE_PART(object)) {
    GMimeMessage* message = g_mime_message_part_get_message(GMIME_MESSAGE_PART(object));
    if (message != nullptr) AddLeavesByGMime(g_mime_message_get_mime_part(message), leaves);
  } else if (object != nullptr) {
    char* type = g_mime_content_type_get_mime_type(g_mime_object_get_content_type(object));
    GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(object));
    const GMimeStream* stream = g_mime_data_wrapper_get_stream(content);
    leaves.push_back(Describe(type, static_cast<std::size_t>(stream->bound_start),
                              static_cast<std::size_t>(stream->bound_end)));
    g_free(type);
  }
}

std::vector<std::string> LeavesByGMime(const std::string& mail) {
  GMimeStream* stream = g_mime_stream_mem_new_with_buffer(mail.data(), mail.size());
  GMimeParser* parser = g_mime_parser_new_with_stream(stream);
  GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
  std::vector<std::string> leaves;
  if (message != nullptr) AddLeavesByGMime(g_mime_message_get_mime_part(message), leaves);
  if (message != nullptr) g_object_unref(message);
  g_object_unref(parser);
  g_object_unref(stream);
  return leaves;
}

std::vector<std::string> Leaves(const std::string& mail) {
  std::vector<std::string> leaves;
  for (const Part& part : ReadStructure(TextForm::Utf8, mail)) {
    if (part.kind != PartKind::Leaf) continue;
    leaves.push_back(Describe(part.type, part.contents.begin, part.contents.end));
  }
  return leaves;
}

// Makes mails of nested multiparts, enclosed mails and leaves, as programs write them.
class MailMaker {
 public:
  explicit MailMaker(unsigned seed) : random_(seed) {}

  // Ends with a line end: before a delimiter that ends without one, GMime keeps a CR too many.
  std::string Make() { return "Subject: x\r\n" + MakeEntity(0) + "\r\n"; }

 private:
  int Pick(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }

  std::string MakeEntity(int depth) {
    const int kind = depth < 4 ? Pick(6) : 5;
    if (kind <= 1) return MakeMultipart(depth);
    if (kind == 2) return "Content-Type: message/rfc822\r\n\r\nTo: y\r\n" + MakeEntity(depth + 1);
    const char* const headers[] = {"X: y\r\n", "Content-Type: text/html\r\n",
                                   "Content-Type:\r\n image/gif;\r\n\tname=\"--b\"\r\n"};
    const char* const contents[] = {
        "", "text", "text\r\n", "\r\n", "--\r\n--b\r\n-- \r\nx", "From x\r\nA: b\r\n\r\n.\r\n"};
    return headers[Pick(3)] + std::string("\r\n") + contents[Pick(6)];
  }

  std::string MakeMultipart(int depth) {
    const std::string boundary = "b" + std::to_string(++boundaryCount_);
    std::string mail = "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n";
    if (Pick(2) == 0) mail += "before\r\n";
    const int count = 1 + Pick(3);
    for (int i = 0; i < count; ++i) {
      mail +=
          "--" + boundary + (Pick(5) == 0 ? " \t" : "") + "\r\n" + MakeEntity(depth + 1) + "\r\n";
    }
    const bool isCutOff = Pick(8) == 0;
    if (!isCutOff) mail += "--" + boundary + "--" + (Pick(2) == 0 ? "\r\nbehind" : "");
    return mail;
  }

  std::mt19937 random_;
  int boundaryCount_ = 0;
};

TEST(Structure, AgreesWithGMime) {
  g_mime_init();
  for (unsigned seed = 0; seed < 2000; ++seed) {
    const std::string mail = MailMaker(seed).Make();
    ASSERT_EQ(LeavesByGMime(mail), Leaves(mail)) << "seed " << seed << "\n" << mail;
  }
}

TEST(Structure, NothingIsLostOfWhatCannotBeUnderstood) {
  const Library library;
  const std::pair<const char*, std::vector<MainPart>> cases[] = {
      {"no header\n\nat all", {{"text/plain", "no header\r\n\r\nat all"}}},
      {"Content-Type: multipart/mixed\n\n--b\n\nx\n--b--",
       {{"text/plain", "--b\r\n\r\nx\r\n--b--"}}},
      {"Content-Type: multipart/mixed; boundary=c\n\n--b\n\nx", {{"text/plain", "--b\r\n\r\nx"}}},
      {"Content-Type: multipart/mixed; boundary=b\n\n--b\n\none\n--b\n\ntwo",
       {{"text/plain", "one"}, {"text/plain", "two"}}},
      {"Content-Type: multipart/mixed; boundary=b\n\n--b\nno blank line\n--b--",
       {{"text/plain", "no blank line"}}},
      {"Content-Type: text/html\nContent-Type: image/gif\n\nfirst counts",
       {{"text/html", "first counts"}}},
      {"Content-Type: text/html\n \nFrom here on: text", {{"text/html", "From here on: text"}}},
      {"From: a\nContent-Type: text/html\n\t\nFrom: b\n\nx", {{"text/html", "From: b\r\n\r\nx"}}},
      {"Content-Type: text/html\nAll of this\n\nis text",
       {{"text/html", "All of this\r\n\r\nis text"}}},
      {"Content-Type: multipart/mixed; boundary=b\n\n--b\nX: y\none\n--b--",
       {{"text/plain", "one"}}},
      {"Content-Type: multipart/mixed; boundary=\"b \"\n\n--b\n\none\n--b--",
       {{"text/plain", "one"}}},
      {"Content-Type: multipart/mixed; boundary=b\n\n--bb\n--b\n\none\n--bb\n--b--",
       {{"text/plain", "one\r\n--bb"}}},
  };
  for (const auto& [mail, wanted] : cases) {
    ASSERT_EQ(1, library.Parse(Crlf(mail)));
    EXPECT_EQ(wanted, library.Mains()) << mail;
  }
}

TEST(Structure, LinesMayEndWithCarriageReturns) {
  const Library library;
  ASSERT_EQ(1, library.Parse("Content-Type: multipart/mixed; boundary=b\r\r--b\r\rone\rtwo\r"
                             "--b\rContent-Type: text/html\r\rthree\r--b--\r"));
  EXPECT_EQ((std::vector<MainPart>{{"text/plain", "one\ntwo"}, {"text/html", "three"}}),
            library.Mains());
}

TEST(Structure, ContentsKeepEveryByte) {
  const Library library;
  const std::string bytes("\0a\rb\n\x1A\xFF\0\n", 9);
  ASSERT_EQ(1, library.Parse("Content-Type: a/b\r\n\r\n" + bytes));
  EXPECT_EQ((std::vector<MainPart>{{"a/b", bytes}}), library.Mains());
}

// How the decoders work is tested beside them.
TEST(Structure, TransferEncodingsAndCharsetsAreUndone) {
  const Library library;
  const struct {
    const char *encoding, *contents, *wanted;
  } cases[] = {
      {" Base64 ; x", "SGVs\r\n bG8*=\r\n", "Hello"},
      {"quoted-printable", "a=3Db=3d=\r\nc =\r\n d", "a=b=c  d"},
      {"x-uuencode", "begin 644 a\r\n%2&5L;&\\`\r\n`\r\nend\r\n", "Hello"},
      {"x-uuencode", "begin 644 a\r\n b.txt\r\n%2&5L;&\\`\r\n`\r\nend\r\n", "Hello"},
      {"x-uue", "before\r\nbegin 644 a\r\n%2&5L;&\\`", "Hello"},
      {"8bit", "a\xFF", "a\xFF"},
      {"no-such", "a=3D", "a=3D"},
  };
  for (const auto& row : cases) {
    ASSERT_EQ(1, library.Parse("Content-Type: a/b\r\nContent-Transfer-Encoding:" +
                               std::string(row.encoding) + "\r\n\r\n" + row.contents));
    EXPECT_EQ(row.wanted, library.Mains().at(0).contents) << row.encoding << ": " << row.contents;
  }
  ASSERT_EQ(1, library.Parse(Crlf("Content-Type: TEXT/Html; CHARSET=Shift_JIS (comment)\n"
                                  "Content-Transfer-Encoding: Quoted-Printable\n\n"
                                  "=95\\=8E=\n=A6 =3D\n")));
  EXPECT_EQ((std::vector<MainPart>{{"TEXT/Html", Cp932("表示 =\r\n")}}), library.Mains());
}

// A part with a content type, and further fields after it.
std::string Leaf(const std::string& type, const std::string& contents) {
  return (type.empty() ? "" : "Content-Type: " + type + "\n") + "\n" + contents;
}

// A multipart of a subtype, and parameters after it.
std::string Multi(const std::string& subtype, const std::vector<std::string>& parts) {
  const std::string boundary = subtype.substr(0, subtype.find(';'));
  std::string text = "Content-Type: multipart/" + subtype + "; boundary=" + boundary + "\n\n";
  for (const std::string& part : parts)
    text += "--" + boundary + "\n" + part + "\n";
  return text + "--" + boundary + "--\n";
}

template <typename Parts>
std::string JoinContents(const Parts& parts) {
  std::string result;
  for (const auto& part : parts)
    result += (result.empty() ? "" : "|") + part.contents;
  return result;
}

TEST(PartRoles, AreWhatAReaderExpects) {
  const std::string FILE = "\nContent-Disposition: attachment";
  const std::string ENCLOSED = "Content-Type: multipart/mixed; boundary=m\n\n--i\n\ntwo\n--i--";
  const struct {
    const char* why;
    std::string mail;              // parts carry their name as contents
    std::string mains;             // contents, with bars between them
    std::string attachments = "";  // likewise
  } cases[] = {
      {"a text", "Subject: x\n\none", "one"},
      {"text that is to be saved", Leaf("text/plain" + FILE, "one"), "", "one"},
      {"a single picture", Leaf("image/gif", "one"), "one"},
      {"a single picture with a name", Leaf("image/gif; name=a.gif", "one"), "one", "one"},
      {"a container for the whole mail",
       Leaf("Application/pkcs7-MIME; name=smime.p7m" + FILE, "one"), "one"},
      {"a container among others",
       Multi("mixed", {Leaf("", "one"), Leaf("application/pkcs7-mime; name=smime.p7m", "two")}),
       "one", "two"},
      {"only a picture", Multi("mixed", {Leaf("image/gif; name=a", "one")}), "one", "one"},
      {"texts, pictures and files in a row",
       Multi("mixed", {Leaf("", "one"), Leaf("image/gif", "two"), Leaf("text/html", "three"),
                       Leaf("text/plain; name=a.txt", "four"),
                       Leaf("text/plain\nContent-Disposition: inline; filename=b.txt", "five")}),
       "one|three", "two|four|five"},
      {"a first text with a name", Multi("mixed", {Leaf("text/plain; name=a", "one")}), "one"},
      {"a named text after a file is a file",
       Multi("mixed", {Leaf("a/b", "one"), Leaf("text/plain; name=a", "two")}), "", "one|two"},
      {"alternatives, named or not",
       Multi("alternative", {Leaf("", "one"), Leaf("text/html; name=i.html", "two")}), "one|two"},
      {"alternatives, the second with pictures",
       Multi("alternative",
             {Leaf("", "one"), Multi("related", {Leaf("text/html; name=x", "two"),
                                                 Leaf("image/gif; name=a.gif", "three")})}),
       "one|two", "three"},
      {"related around alternatives",
       Multi("related", {Multi("alternative", {Leaf("", "one"), Leaf("text/html", "two")}),
                         Leaf("text/css", "three")}),
       "one|two", "three"},
      {"a related root that is not the first",
       Multi("related; start=\"<x@y>\"",
             {Leaf("image/gif", "one"), Leaf("text/html\nContent-ID: <x@y>", "two")}),
       "two", "one"},
      {"a signed mail",
       Multi("signed", {Leaf("", "one"), Leaf("application/pkcs7-signature", "two")}), "one",
       "two"},
      {"an enclosed mail, whatever lies in it",
       Multi("mixed",
             {Leaf("", "one"), Leaf("message/rfc822", ENCLOSED), Leaf("text/html", "three")}),
       "one|three", Crlf(ENCLOSED)},
      {"an enclosed mail in a transfer encoding",
       Multi("mixed", {Leaf("", "one"), Leaf("message/rfc822\nContent-Transfer-Encoding: base64",
                                             "U3ViamVjdDogeA0KDQp0d28=")}),
       "one", "Subject: x\r\n\r\ntwo"},
      {"a digest", Multi("digest", {"\nSubject: a\n\none"}), "Subject: a\r\n\r\none",
       "Subject: a\r\n\r\none"},
      {"a delivery report",
       Multi("report", {Leaf("", "one"), Leaf("message/delivery-status", "two"),
                        Leaf("text/rfc822-headers", "three")}),
       "one|three", "two"},
      {"an unknown disposition is an attachment",
       Multi("mixed", {Leaf("", "one"), "Content-Disposition: save-me\n\ntwo"}), "one", "two"},
      {"a content type from before MIME", Leaf("text", "one"), "one"},
      {"no content type at all, but a name",
       Multi("mixed", {Leaf("", "one"), Leaf("junk; name=a.b", "two")}), "one", "two"},
      {"attached text keeps its own charset",
       Leaf("text/plain; charset=utf-8" + FILE, "\xE8\xA1\xA8"), "", "\xE8\xA1\xA8"},
  };
  const Library library;
  for (const auto& c : cases) {
    ASSERT_EQ(1, library.Parse(Crlf(c.mail)));
    EXPECT_EQ(c.mains, JoinContents(library.Mains())) << c.why;
    EXPECT_EQ(c.attachments, JoinContents(library.Attachments())) << c.why;
  }
}

TEST(PartRoles, PartsOfATypeComeInTheOrderOfTheMail) {
  const Library library;
  ASSERT_EQ(
      1,
      library.Parse(Crlf(Multi(
          "mixed",
          {Leaf("IMAGE/gif; name=a\nX: \x95\x5C", "one"),
           Leaf("message/rfc822",
                Multi("related", {Leaf("text/html", "<p>"),
                                  Leaf("image/gif\nContent-Transfer-Encoding: base64", "dHdv")})),
           Leaf("image/gif\nContent-Disposition: attachment;\n\tfilename=b", "three")}))));
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
