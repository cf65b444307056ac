// Real-looking MIME files with what they were made from. They lie outside the project; without them
// the test is skipped.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "wexmail/library.h"

namespace nimport::mime {
namespace {

const std::filesystem::path STORE = std::filesystem::path(NIMPORT_SHARED_SAMPLES) / "demo-jet4";

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The file with bare line feeds made CR LF, as callers hand it to the library.
std::string ReadMail(const std::filesystem::path& path) {
  std::string mail;
  for (const char character : ReadFile(path)) {
    if (character == '\n' && !mail.ends_with('\r')) mail += '\r';
    mail += character;
  }
  return mail;
}

std::string DecodeBase64(const std::string& text) {
  constexpr std::string_view ALPHABET =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  unsigned bits = 0;
  int count = 0;
  for (const char character : text) {
    if (character == '=') break;
    bits = bits << 6 | static_cast<unsigned>(ALPHABET.find(character));
    count += 6;
    if (count >= 8) result += static_cast<char>(bits >> (count -= 8));
  }
  return result;
}

// What code page 932 lacks in the samples is this one letter.
std::string Cp932WithMark(std::string text) {
  for (std::size_t at = text.find("é"); at != std::string::npos; at = text.find("é")) {
    text.replace(at, std::string_view("é").size(), "?");
  }
  return Cp932(text);
}

std::string Contents(const nlohmann::json& part) {
  return part.contains("text") ? Cp932WithMark(part["text"]) : DecodeBase64(part["base64"]);
}

void ExpectMail(const Library& library, const nlohmann::json& mime) {
  EXPECT_EQ(Cp932(mime["subject"].get<std::string>()), library.HeaderText(MT_GetSubjectD));
  EXPECT_EQ(Cp932(mime["from"].get<std::string>()), library.HeaderText(MT_GetFromD));
  EXPECT_EQ(Cp932(mime["to"].get<std::string>()), library.HeaderText(MT_GetToD));
  EXPECT_EQ(mime["messageId"], library.HeaderText(MT_GetMessageIDD).value());
  EXPECT_EQ(mime["date"], library.HeaderText(MT_GetSendDateD).value());
  std::vector<MainPart> mains;
  for (const auto& part : mime["mainParts"])
    mains.push_back({part["contentType"], Contents(part)});
  EXPECT_EQ(mains, library.Mains());
  std::vector<Attachment> attachments;
  for (const auto& part : mime["attachments"]) {
    attachments.push_back(
        {part["contentType"], Cp932(part["name"].get<std::string>()), Contents(part)});
  }
  // Without quotes around its boundary no structure is one to the plug-in: its parts are
  // attachments.
  const std::size_t more = mime["subject"] == "unquoted boundary" ? mime["relatedParts"].size() : 0;
  EXPECT_EQ(attachments.size() + more, library.Attachments().size());
  if (more == 0) {
    EXPECT_EQ(attachments, library.Attachments());
  }
  std::map<std::string, std::size_t> occurrences;
  for (const auto& part : mime["relatedParts"]) {
    const std::string type = part["contentType"];
    EXPECT_EQ(Contents(part), library.Parts(type).at(occurrences[type]++).body);
  }
}

TEST(SampleMails, AnswerWhatTheyWereMadeFrom) {
  if (!std::filesystem::exists(STORE / "expected.json")) GTEST_SKIP() << "no samples at " << STORE;
  const nlohmann::json expected = nlohmann::json::parse(ReadFile(STORE / "expected.json"));
  const Library library;
  int count = 0;
  for (const auto& mail : expected["mails"]) {
    if (!mail.contains("mime")) continue;
    const std::string file = mail["mime"]["file"];
    SCOPED_TRACE(file);
    ASSERT_EQ(1, library.Parse(ReadMail(STORE / "c/NIFTY/Data" / file)));
    ExpectMail(library, mail["mime"]);
    ++count;
  }
  EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace nimport::mime
