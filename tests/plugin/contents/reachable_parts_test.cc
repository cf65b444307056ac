// Every part of a MIME mail reaches a host once, whatever the structure: through the exports and
// the real MIME library.
#include <algorithm>

#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

#define MIXED "Content-Type: multipart/mixed; boundary=\"mm\"\n\n"
#define RELATED "Content-Type: multipart/related; boundary=\"rr\"\n\n"
#define HTML(text) "Content-Type: text/html\n\n" text "\n"
#define GIF(text) "Content-Type: image/gif\n\n" text "\n"

struct Case {
  const char* why;
  const char* mail;      // parts carry their name as contents
  const char* bodies;    // names with bars between them; "!" where the bodies cannot be counted
  const char* attached;  // likewise
};

// Together the two lists name every part once. A part whose body cannot be had is a "-".
const Case CASES[] = {
    {"a page and its pictures",
     RELATED "--rr\n" HTML("one") "--rr\n" GIF("two") "--rr\n" GIF("three") "--rr--\n",
     "one|two|three", ""},
    {"types that differ in letter case and blanks",
     RELATED "--rr\n" HTML("one") "--rr\n" GIF(
         "two") "--rr\nContent-Type: IMAGE/GIF\n\nthree\n"
                "--rr\nContent-Type: image/gif \n\nfour\n--rr\nContent-Type: image/gif ; "
                "x=y\n\nfive\n"
                "--rr\nContent-Type:\timage/gif\n\nsix\n--rr--\n",
     "one|two|three|four|five|six", ""},
    {"a type on the next line",
     RELATED "--rr\n" HTML("one") "--rr\nContent-Type:\n image/gif\n\ntwo\n"
                                  "--rr\n" GIF("three") "--rr--\n",
     "one|two|three", ""},
    {"a structure in capitals",
     "Content-Type: Multipart/Related; boundary=\"rr\"\n\n--rr\n" HTML("one") "--rr\n" GIF(
         "two") "--rr--\n",
     "one", "two"},
    {"a structure whose parameters stand on the next line",
     "Content-Type: multipart/related\n ; boundary=\"rr\"\n\n--rr\n" HTML("one") "--rr\n" GIF(
         "two") "--rr--\n",
     "one", "two"},
    {"a boundary without quotes",
     "Content-Type: multipart/related; boundary=rr\n\n--rr\n" HTML("one") "--rr\n" GIF(
         "two") "--rr--\n",
     "!", "two"},
    {"a structure that ends too early",
     RELATED "--rr\n" HTML("one") "--rr\n" GIF("two") "--rr\n\nthree\n--rr--\n", "!", "two|three"},
    {"pictures around the structure",
     MIXED "--mm\n" GIF("one") "--mm\n" RELATED "--rr\n" HTML("two") "--rr\n" GIF(
         "three") "--rr\n" GIF("four") "--rr--\n--mm\n" GIF("five") "--mm--\n",
     "two|three|four", "one|five"},
    {"two structures",
     MIXED "--mm\n" RELATED "--rr\n" HTML("one") "--rr\n" GIF(
         "two") "--rr--\n--mm\n"
                "Content-Type: multipart/related; boundary=\"ss\"\n\n--ss\n" HTML(
                    "three") "--ss\n" GIF("four") "--ss--\n--mm--\n",
     "one|three|two", "four"},
    {"a structure within another one",
     RELATED "--rr\n" HTML("one") "--rr\nContent-Type: multipart/related; boundary=\"ss\"\n\n"
                                  "--ss\n" HTML("two") "--ss\n" GIF("three") "--ss--\n--rr\n" GIF(
                                      "four") "--rr--\n",
     "one|two|four", "three"},
    {"texts beside the page",
     RELATED
     "--rr\n" HTML("one") "--rr\nContent-Type: text/css\n\ntwo\n"
                          "--rr\nContent-Type: text/plain; name=\"a.txt\"\n\nthree\n--rr\n" GIF(
                              "four") "--rr--\n",
     "one|four", "two|three"},
    {"a picture to be saved, in the form that is passed over",
     RELATED "--rr\n" HTML("one") "--rr\nContent-Type: image/gif\nContent-Disposition: "
                                  "attachment\n\ntwo\n--rr\n" GIF("three") "--rr--\n",
     "one|three|-", "two"},
    {"a picture to be saved, in another form",
     RELATED "--rr\n" HTML(
         "one") "--rr\nContent-Type: image/gif\nContent-Disposition: Attachment\n\ntwo\n--rr--\n",
     "one|two", ""},
    {"a part without a type takes the next one's",
     RELATED "--rr\n" HTML("one") "--rr\nX: y\n\ntwo\n--rr\n" GIF("three") "--rr--\n", "one|three",
     "two"},
    {"a type that is spoken of only",
     MIXED "--mm\n" GIF("one") "--mm\n" RELATED "--rr\n" HTML(
         "two") "--rr\n\nthree: Content-Type: image/gif\n\nthree\n--rr--\n--mm--\n",
     "two|-", "one|three"},
    {"a page in capitals counts as a picture does",
     RELATED "--rr\nContent-Type: Text/HTML\n\none\n--rr\n" GIF("two") "--rr--\n", "one|two", ""},
    {"a picture alone in a structure", RELATED "--rr\n" GIF("one") "--rr--\n", "one", ""},
    {"a picture alone", GIF("one"), "one", ""},
    {"an enclosed mail beside the page",
     RELATED
     "--rr\n" HTML("one") "--rr\nContent-Type: message/rfc822\n\nSubject: x\n\ntwo\n--rr--\n",
     "one|two", ""},
    {"alternatives, one of them no text",
     "Content-Type: multipart/alternative; boundary=\"rr\"\n\n--rr\n" HTML("one") "--rr\n" GIF(
         "two") "--rr--\n",
     "one", "two"},
};

class ReachableParts : public MailTest {
 protected:
  ReachableParts() { UseRealLibrary(); }

  // The names in the files of an export's answers.
  std::string Names(std::int32_t count, const std::function<TextAnswer(std::int32_t)>& ask) {
    static constexpr const char* NAMES[] = {"one", "two", "three", "four", "five", "six"};
    std::string result;
    for (std::int32_t i = 0; i < count; ++i) {
      const TextAnswer path = ask(i);
      const std::string contents = path.code == RESULT_OK ? Contents(path) : "";
      result += i == 0 ? "" : "|";
      if (contents.empty()) result += "-";
      for (const char* name : NAMES) {
        if (contents.find(name) != std::string::npos) result += name;
      }
    }
    return result;
  }
};

TEST_F(ReachableParts, AreBodiesOrAttachmentsButNeverBoth) {
  std::vector<std::string> texts;
  for (const Case& c : CASES)
    texts.emplace_back(c.mail);
  OpenMimeMails(texts);
  std::int32_t mail = 0;
  for (const Case& c : CASES) {
    SCOPED_TRACE(c.why);
    const NumberAnswer bodies = Number(ML_GetMailBodyCount, mail);
    const std::int32_t bodyCount = bodies.code == RESULT_OK ? bodies.value : 0;
    EXPECT_EQ(
        bodies.code == RESULT_OK ? Names(bodyCount, [&](auto i) { return Body(mail, i); }) : "!",
        c.bodies);
    const NumberAnswer attached = Number(ML_GetAttachedMailCount, mail);
    ASSERT_EQ(attached.code, RESULT_OK);
    EXPECT_EQ(Names(attached.value, [&](auto i) { return Attached(mail, i); }), c.attached);
    ++mail;
  }
}

}  // namespace
}  // namespace nimport::test
