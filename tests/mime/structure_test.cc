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

TEST(Structure, ContentsKeepEveryByte) {
  const Library library;
  const std::string bytes("\0a\rb\n\x1A\xFF\0\n", 9);
  ASSERT_EQ(1, library.Parse("Content-Type: a/b\r\n\r\n" + bytes));
  EXPECT_EQ((std::vector<MainPart>{{"a/b", bytes}}), library.Mains());
}

// Wanted values by Python's base64, quopri and binascii.
TEST(Structure, TransferEncodingsAreUndone) {
  const Library library;
  const struct {
    const char *encoding, *contents, *wanted;
  } cases[] = {
      {"base64", "SGVsbG8=\r\n", "Hello"},
      {" Base64 ; x", "SGVs\r\n bG8*=\r\n", "Hello"},
      {"base64", "SGVsbG8=\r\n-- \r\nA list's footer\r\n", "Hello"},
      {"base64", "SGVsbG8", "Hello"},
      {"base64", "====", ""},
      {"base64", " S-G*V\r\n\r\n\x81s.bG\t8=\r\n", "Hello"},
      {"quoted-printable", "a=3Db=3d=\r\nc =\r\n d", "a=b=c  d"},
      {"quoted-printable", "a= \t\r\nb=\t\nc= d=  ", "abc= d"},
      {"quoted-printable", "=ZZ", "=ZZ"},
      {"x-uuencode", "begin 644 a\r\n%2&5L;&\\`\r\n`\r\nend\r\n", "Hello"},
      {"x-uue", "before\r\nbegin 644 a\r\n%2&5L;&\\`", "Hello"},
      {"8bit", "a\xFF", "a\xFF"},
      {"no-such", "a=3D", "a=3D"},
  };
  for (const auto& row : cases) {
    ASSERT_EQ(1, library.Parse("Content-Type: a/b\r\nContent-Transfer-Encoding:" +
                               std::string(row.encoding) + "\r\n\r\n" + row.contents));
    EXPECT_EQ(row.wanted, library.Mains().at(0).contents) << row.encoding << ": " << row.contents;
  }
}

}  // namespace
}  // namespace nimport::mime
