// Every part of a MIME mail reaches a host once, whatever the structure: through the exports and
// the real MIME library.
#include <algorithm>

#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

using Parts = std::vector<std::string>;

std::string Part(const std::string& header, const std::string& name) {
  return header + "\n\n" + name + "\n";
}
std::string Html(const std::string& name) {
  return Part("Content-Type: text/html", name);
}
std::string Gif(const std::string& name) {
  return Part("Content-Type: image/gif", name);
}

std::string Multipart(const std::string& type, const Parts& parts,
                      const std::string& boundary = "rr") {
  std::string text = "Content-Type: " + type + "\n\n";
  for (const std::string& part : parts)
    text += "--" + boundary + "\n" + part;
  return text + "--" + boundary + "--\n";
}
std::string Related(const Parts& parts) {
  return Multipart("multipart/related; boundary=\"rr\"", parts);
}
std::string Mixed(const Parts& parts) {
  return Multipart("multipart/mixed; boundary=\"mm\"", parts, "mm");
}
std::string OtherRelated(const Parts& parts) {
  return Multipart("multipart/related; boundary=\"ss\"", parts, "ss");
}

struct Case {
  const char* why;
  std::string mail;      // parts carry their name as contents
  const char* bodies;    // names with bars between them; "!" where the bodies cannot be counted
  const char* attached;  // likewise
};

// Together the two lists name every part once. A part whose body cannot be had is a "-".
const Case CASES[] = {
    {"a page and its pictures", Related({Html("one"), Gif("two"), Gif("three")}), "one|two|three",
     ""},
    {"types that differ in letter case and blanks",
     Related({Html("one"), Gif("two"), Part("Content-Type: IMAGE/GIF", "three"),
              Part("Content-Type: image/gif ", "four"),
              Part("Content-Type: image/gif ; x=y", "five"),
              Part("Content-Type:\timage/gif", "six")}),
     "one|two|three|four|five|six", ""},
    {"a type on the next line",
     Related({Html("one"), Part("Content-Type:\n image/gif", "two"), Gif("three")}),
     "one|two|three", ""},
    {"a structure in capitals",
     Multipart("Multipart/Related; boundary=\"rr\"", {Html("one"), Gif("two")}), "one", "two"},
    {"a structure whose parameters stand on the next line",
     Multipart("multipart/related\n ; boundary=\"rr\"", {Html("one"), Gif("two")}), "one", "two"},
    {"a boundary without quotes",
     Multipart("multipart/related; boundary=rr", {Html("one"), Gif("two")}), "!", "two"},
    {"a structure that ends too early", Related({Html("one"), Gif("two"), "\nthree\n"}), "!",
     "two|three"},
    {"pictures around the structure",
     Mixed({Gif("one"), Related({Html("two"), Gif("three"), Gif("four")}), Gif("five")}),
     "two|three|four", "one|five"},
    {"two structures",
     Mixed({Related({Html("one"), Gif("two")}), OtherRelated({Html("three"), Gif("four")})}),
     "one|three|two", "four"},
    {"a structure within another one",
     Related({Html("one"), OtherRelated({Html("two"), Gif("three")}), Gif("four")}), "one|two|four",
     "three"},
    {"texts beside the page",
     Related({Html("one"), Part("Content-Type: text/css", "two"),
              Part("Content-Type: text/plain; name=\"a.txt\"", "three"), Gif("four")}),
     "one|four", "two|three"},
    {"a picture to be saved, in the form that is passed over",
     Related({Html("one"), Part("Content-Type: image/gif\nContent-Disposition: attachment", "two"),
              Gif("three")}),
     "one|three|-", "two"},
    {"a picture to be saved, in another form",
     Related(
         {Html("one"), Part("Content-Type: image/gif\nContent-Disposition: Attachment", "two")}),
     "one|two", ""},
    {"a part without a type takes the next one's",
     Related({Html("one"), Part("X: y", "two"), Gif("three")}), "one|three", "two"},
    {"a type that is spoken of only",
     Mixed({Gif("one"), Related({Html("two"), "\nthree: Content-Type: image/gif\n\nthree\n"})}),
     "two|-", "one|three"},
    {"a page in capitals counts as a picture does",
     Related({Part("Content-Type: Text/HTML", "one"), Gif("two")}), "one|two", ""},
    {"a picture alone in a structure", Related({Gif("one")}), "one", ""},
    {"a picture alone", Gif("one"), "one", ""},
    {"an enclosed mail beside the page",
     Related({Html("one"), Part("Content-Type: message/rfc822\n\nSubject: x", "two")}), "one|two",
     ""},
    {"alternatives, one of them no text",
     Multipart("multipart/alternative; boundary=\"rr\"", {Html("one"), Gif("two")}), "one", "two"},
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
    const NumberAnswer bodies = BodyCount(mail);
    const std::int32_t bodyCount = bodies.code == RESULT_OK ? bodies.value : 0;
    EXPECT_EQ(
        bodies.code == RESULT_OK ? Names(bodyCount, [&](auto i) { return Body(mail, i); }) : "!",
        c.bodies);
    const NumberAnswer attached = AttachedCount(mail);
    ASSERT_EQ(attached.code, RESULT_OK);
    EXPECT_EQ(Names(attached.value, [&](auto i) { return Attached(mail, i); }), c.attached);
    ++mail;
  }
}

}  // namespace
}  // namespace nimport::test
