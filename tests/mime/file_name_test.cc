#include <string>

#include <gtest/gtest.h>

#include "wexmail/library.h"

namespace nimport::mime {
namespace {

struct Case {
  const char* fields;  // the attachment's header
  const char* wanted;  // UTF-8
  const char* why;
};

const Case CASES[] = {
    {"Content-Disposition: attachment; filename=plan.pdf", "plan.pdf", "plain"},
    {"Content-Disposition: attachment; FileName=\"my plan.pdf\" ; size=1", "my plan.pdf", "quoted"},
    {"Content-Disposition: attachment; filename=my plan.pdf; size=1", "my plan.pdf",
     "blanks without quotes"},
    {"Content-Disposition: attachment; filename=\"a\\\"b\\\\c;d.txt\"", "a\"b\\c;d.txt", "escapes"},
    {"Content-Disposition: attachment; filename=\"C:\\dir\\a.txt\"", "C:\\dir\\a.txt",
     "a path as old programs wrote it"},
    {"Content-Type: a/b; name=\"x.lzh\"\nContent-Disposition: attachment", "x.lzh",
     "only the content type names it"},
    {"Content-Type: a/b; name=old.doc\nContent-Disposition: attachment; filename=new.doc",
     "new.doc", "the disposition wins"},
    {"Content-Disposition: attachment;\n\tfilename*=utf-8'ja'%E4%BA%88%E5%AE%9A.pdf", "予定.pdf",
     "charset and language"},
    {"Content-Disposition: attachment; filename=\"x.pdf\"; filename*=UTF-8''%E4%BA%88.pdf",
     "予.pdf", "the extended form wins"},
    {"Content-Disposition: attachment; filename*0*=iso-2022-jp''%1B%24BM%3D%1B%28B;\n"
     " filename*1=\"-1.\"; filename*2*=%70df",
     "予-1.pdf", "continued, encoded and plain"},
    {"Content-Disposition: attachment; filename*1*=%88.pdf; filename*0*=utf-8''%E4%BA", "予.pdf",
     "out of order, cut within a character"},
    {"Content-Disposition: attachment; filename*0=long-; filename*1=\"name\"; filename*2=.txt",
     "long-name.txt", "continued without a charset"},
    {"Content-Disposition: attachment; filename*=%E4%BA%88.txt", "予.txt", "no charset: guessed"},
    {"Content-Disposition: attachment; filename*=utf-8''100%.txt", "100%.txt", "a lone percent"},
    {"Content-Disposition: attachment; filename=\"=?ISO-2022-JP?B?GyRCTT0bKEIucGRm?=\"", "予.pdf",
     "an encoded word in quotes"},
    {"Content-Disposition: attachment; filename==?ISO-2022-JP?B?GyRCTT0bKEIucGRm?=", "予.pdf",
     "and without"},
    {"Content-Disposition: attachment;\n filename=\"=?utf-8?B?5LqI?=\n =?utf-8?Q?.pdf?=\"",
     "予.pdf", "two encoded words with a fold between"},
    {"Content-Disposition: attachment; filename=\"\x97\x5C.txt\"", "予.txt",
     "raw code page 932 with a backslash within"},
    {"Content-Disposition: attachment; filename=\"\x95\x5C\"; x=\"y\"", "表",
     "the same before the closing quote"},
    {"Content-Disposition: attachment; filename=\"\xE4\xBA\x88.txt\"", "予.txt", "raw UTF-8"},
    {"Content-Disposition: attachment; filename=\"\x1B$BM=\x1B(B.txt\"", "予.txt",
     "raw ISO-2022-JP"},
    {"Content-Disposition: attachment; filename=\"\x1B$B\"\"\x1B(B.txt\"", "□.txt",
     "raw ISO-2022-JP that looks like quotes"},
    {"Content-Disposition: attachment (a \\) comment); filename=(other) a.txt", "a.txt",
     "comments"},
    {"Content-Disposition: attachment; filename=\"open.txt", "open.txt", "no closing quote"},
    {"Content-Disposition: attachment; filename=", "", "no value"},
    {"Content-Disposition: attachment;;; =x; filename; filename=a.b", "a.b", "noise"},
    {"Content-Disposition: attachment", "", "no name"},
    {"Content-Type: application/x-pkcs7-signature", "smime.p7s", "a signature without name"},
    {"Content-Type: message/rfc822\n\nSubject: =?utf-8?B?6KGo?=: a/b\n", "表_ a_b.eml",
     "an enclosed mail takes its subject"},
    {"Content-Type: message/rfc822\n\nTo: x\n", "message.eml", "or a name of its own"},
    {"Content-Type: message/rfc822; name=m.eml\n\nSubject: s\n", "m.eml", "unless it has one"},
};

TEST(FileName, IsDecodedWhateverItsForm) {
  const Library library;
  for (const Case& row : CASES) {
    const std::string fields = row.fields;
    ASSERT_EQ(1, library.Parse(Crlf("Content-Type: multipart/mixed; boundary=b\n\n--b\n\ntext\n"
                                    "--b\n" +
                                    fields + "\n\ncontents\n--b--\n")));
    const std::vector<Attachment> attachments = library.Attachments();
    ASSERT_EQ(1u, attachments.size()) << row.why;
    EXPECT_EQ(Cp932(row.wanted), attachments[0].fileName) << row.why;
  }
}

}  // namespace
}  // namespace nimport::mime
