// A store that another engine wrote, walked through the exports: every answer is compared with the
// ones that come with the sample. Skipped where the sample is absent.
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "plugin/plug_in.h"
#include "text/code_page_932.h"

namespace {

using nimport::test::AskNumber;
using nimport::test::AskText;
using nimport::test::MailSession;
using nimport::test::NumberAnswer;
using nimport::test::TextAnswer;
using nimport::text::Utf8FromCodePage932;
using nlohmann::json;

const std::string SAMPLE = NIMPORT_SHARED_SAMPLES "/demo-jet4";

std::string DecodeBase64(const std::string& text) {
  static const std::string digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  unsigned bits = 0;
  int count = 0;
  for (const char c : text) {
    const std::size_t digit = digits.find(c);
    if (digit == std::string::npos) break;
    bits = bits << 6 | static_cast<unsigned>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    out.push_back(static_cast<char>(bits >> count & 0xFF));
  }
  return out;
}

class SampleStore : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(SAMPLE)) GTEST_SKIP() << "no sample at " << SAMPLE;
    setenv("NIMPORT_REGISTRY", (SAMPLE + "/registry.reg").c_str(), 1);
    setenv("NIMPORT_DRIVES", ("C=" + SAMPLE + "/c").c_str(), 1);
    UseZone("Asia/Tokyo");
    std::ifstream(SAMPLE + "/expected.json") >> expected_;
  }

  static void UseZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }

  // Opens the folder of each listed mail on a session of its own and calls `check(session, folder,
  // position, mail)`.
  void ForEachMail(
      const std::function<void(HandleNode*, HandleNode*, std::int32_t, const json&)>& check) {
    for (const json& mail : expected_["mails"]) {
      SCOPED_TRACE("DataNo " + mail["dataNo"].dump() + ": " + mail["note"].get<std::string>());
      MailSession session;
      ASSERT_EQ(session.code(), RESULT_OK);
      HandleNode* folder = OpenFolder(session, mail["folderIndex"].get<int>());
      ASSERT_NE(folder, nullptr);
      check(session.get(), folder, mail["position"].get<std::int32_t>(), mail["answers"]);
    }
  }

  // The folder at a position of the list: the sample's cabinets are followed by their folders.
  HandleNode* OpenFolder(MailSession& session, int listIndex) {
    const json& folders = expected_["folders"];
    const int cabinet = folders[static_cast<std::size_t>(listIndex)]["parentIndex"].get<int>();
    int cabinetNumber = 0;
    for (int i = 0; i < cabinet; ++i) {
      if (folders[static_cast<std::size_t>(i)]["kind"] == "cabinet") ++cabinetNumber;
    }
    return session.OpenFolder(cabinetNumber, listIndex - cabinet - 1);
  }

  json expected_;
};

void ExpectText(const json& wanted, const TextAnswer& answer, const char* what) {
  if (wanted.is_null()) return;
  EXPECT_EQ(answer.code, wanted["code"].get<int>()) << what;
  if (answer.code != RESULT_OK) return;
  if (wanted.contains("text")) {
    EXPECT_EQ(Utf8FromCodePage932(answer.text), wanted["text"].get<std::string>()) << what;
  }
  if (wanted.contains("base64") && !wanted["base64"].is_null()) {
    EXPECT_EQ(answer.text, DecodeBase64(wanted["base64"].get<std::string>())) << what;
  }
}

void ExpectNumber(const json& wanted, const NumberAnswer& answer, const char* what) {
  if (wanted.is_null()) return;
  EXPECT_EQ(answer.code, wanted["code"].get<int>()) << what;
  if (wanted.contains("value")) {
    EXPECT_EQ(answer.value, wanted["value"].get<int>()) << what;
  }
}

// The file at an answered path, by its extension and contents.
void ExpectFile(const json& wanted, const TextAnswer& path, const std::string& what) {
  EXPECT_EQ(path.code, wanted["code"].get<int>()) << what;
  if (path.code != RESULT_OK || wanted["code"] != 0) return;
  EXPECT_EQ(path.text.substr(path.text.rfind('.')), wanted["extension"].get<std::string>()) << what;
  if (!wanted.contains("base64") || wanted["base64"].is_null()) return;
  EXPECT_EQ(nimport::test::ReadFile(nimport::test::NativePath(path.text)),
            DecodeBase64(wanted["base64"].get<std::string>()))
      << what;
}

TEST_F(SampleStore, TheMailClientIsInstalled) {
  std::int32_t exists = 0;
  EXPECT_EQ(ML_IsExistMailer(&exists), RESULT_OK);
  EXPECT_EQ(exists, 1);
}

TEST_F(SampleStore, FoldersHaveTheirNamesPlacesAndMails) {
  MailSession session;
  ASSERT_EQ(session.code(), RESULT_OK);
  HandleNode* user = session.User();
  HandleNode* cabinet = nullptr;
  std::int32_t cabinets = -1;
  std::int32_t folders = 0;
  for (const json& wanted : expected_["folders"]) {
    const bool isCabinet = wanted["kind"] == "cabinet";
    HandleNode* node =
        isCabinet ? session.Child(user, ++cabinets) : session.Child(cabinet, folders++);
    ASSERT_NE(node, nullptr) << wanted["name"];
    if (isCabinet) {
      cabinet = node;
      folders = 0;
    }
    const TextAnswer name =
        AskText([&](ResultString* text) { return ML_GetName(session.get(), node, text); });
    EXPECT_EQ(Utf8FromCodePage932(name.text), wanted["shownName"].get<std::string>());
    EXPECT_EQ(ML_OpenMailDataFile(session.get(), node), RESULT_OK);
    const std::int32_t mails = isCabinet ? 0 : wanted["mailCount"].get<std::int32_t>();
    EXPECT_EQ(
        AskNumber([&](std::int32_t* out) { return ML_GetMailCount(session.get(), node, out); }),
        (NumberAnswer{RESULT_OK, mails}))
        << wanted["name"];
    EXPECT_EQ(ML_CloseMailDataFile(session.get(), node), RESULT_OK);
  }
  EXPECT_EQ(session.Child(user, cabinets + 1), nullptr);
}

TEST_F(SampleStore, HeaderFields) {
  ForEachMail([](HandleNode* s, HandleNode* f, std::int32_t i, const json& wanted) {
    const auto ask = [&](auto get) {
      return AskText([&](ResultString* text) { return get(s, f, i, text); });
    };
    ExpectText(wanted["subject"], ask(ML_GetMailSubject), "subject");
    ExpectText(wanted["from"], ask(ML_GetMailFrom), "from");
    ExpectText(wanted["to"], ask(ML_GetMailTo), "to");
    ExpectText(wanted["messageId"], ask(ML_GetMailMessageID), "messageId");
    ExpectText(wanted["contentType"],
               AskText([&](ResultString* text) { return ML_GetMailContentType(s, f, i, 0, text); }),
               "contentType");
  });
}

TEST_F(SampleStore, DatesInTwoZones) {
  for (const auto& [zone, key] : {std::pair("Asia/Tokyo", "time"), std::pair("UTC", "timeInUTC")}) {
    UseZone(zone);
    ForEachMail([&](HandleNode* s, HandleNode* f, std::int32_t i, const json& wanted) {
      const auto ask = [&](auto get) {
        return AskNumber([&](std::int32_t* out) { return get(s, f, i, out); });
      };
      ExpectNumber(wanted[key], ask(ML_GetMailDate), zone);
      EXPECT_EQ(ask(ML_GetMailTimeStamp), ask(ML_GetMailDate));
    });
  }
}

TEST_F(SampleStore, SourcesBeforeAndAfterHeaderFieldsWereAskedFor) {
  ForEachMail([](HandleNode* s, HandleNode* f, std::int32_t i, const json& wanted) {
    const auto ask = [&](auto get) {
      return AskText([&](ResultString* text) { return get(s, f, i, text); });
    };
    ExpectText(wanted["source"], ask(ML_GetMailSource), "source");
    for (const auto get : {ML_GetMailSubject, ML_GetMailFrom, ML_GetMailTo, ML_GetMailMessageID}) {
      static_cast<void>(ask(get));
    }
    std::int32_t date = 0;
    static_cast<void>(ML_GetMailDate(s, f, i, &date));
    ExpectText(wanted["sourceAfterGetters"], ask(ML_GetMailSource), "sourceAfterGetters");
  });
}

TEST_F(SampleStore, BodiesAsFiles) {
  ForEachMail([](HandleNode* s, HandleNode* f, std::int32_t i, const json& wanted) {
    ExpectNumber(wanted["bodyCount"],
                 AskNumber([&](std::int32_t* out) { return ML_GetMailBodyCount(s, f, i, out); }),
                 "bodyCount");
    std::int32_t body = 0;
    for (const json& wantedBody : wanted["bodies"]) {
      ExpectFile(wantedBody, AskText([&](ResultString* text) {
                   return ML_GetMailBodyPath(s, f, i, body, text);
                 }),
                 "body " + std::to_string(body));
      ++body;
    }
  });
}

TEST_F(SampleStore, AttachedFiles) {
  ForEachMail([](HandleNode* s, HandleNode* f, std::int32_t i, const json& wanted) {
    // The sample's account gives the parts of a structure that cannot be counted to nobody; they
    // are attachments (see tests/extraction/reachable_parts_test.cc).
    if (wanted.contains("relatedScan") && wanted["relatedScan"]["code"] != 0) return;
    ExpectNumber(wanted["attachedCount"], AskNumber([&](std::int32_t* out) {
                   return ML_GetAttachedMailCount(s, f, i, out);
                 }),
                 "attachedCount");
    std::int32_t number = 0;
    for (const json& wantedFile : wanted["attached"]) {
      ExpectFile(wantedFile, AskText([&](ResultString* text) {
                   return ML_GetAttachedMailPath(s, f, i, number, text);
                 }),
                 "attached " + std::to_string(number));
      ++number;
    }
  });
}

}  // namespace
