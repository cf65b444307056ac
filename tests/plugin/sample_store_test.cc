// A store that another engine wrote, walked through the exports: every answer is compared with the
// ones that come with the sample. Skipped where the sample is absent.
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "mkstore/encodings.h"
#include "plugin/plug_in.h"
#include "text/code_page_932.h"

namespace {

using nimport::test::MailSession;
using nimport::test::NumberAnswer;
using nimport::test::TextAnswer;
using nimport::text::Utf8FromCodePage932;
using nlohmann::json;

const std::string SAMPLE = NIMPORT_SHARED_SAMPLES "/demo-jet4";

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

  // Opens the folder of each listed mail on a session of its own.
  void ForEachMail(const std::function<void(const MailSession&, HandleNode* folder,
                                            std::int32_t mail, const json& wanted)>& check) {
    for (const json& mail : expected_["mails"]) {
      SCOPED_TRACE("DataNo " + mail["dataNo"].dump() + ": " + mail["note"].get<std::string>());
      MailSession session;
      ASSERT_EQ(session.code(), RESULT_OK);
      HandleNode* folder = FolderList(session).at(mail["folderIndex"].get<std::size_t>());
      ASSERT_EQ(ML_OpenMailDataFile(session.get(), folder), RESULT_OK);
      check(session, folder, mail["position"].get<std::int32_t>(), mail["answers"]);
    }
  }

  // Cabinets, each followed by its folders.
  static std::vector<HandleNode*> FolderList(MailSession& session) {
    std::vector<HandleNode*> list;
    HandleNode* user = session.User();
    for (std::int32_t c = 0; HandleNode* cabinet = session.Child(user, c); ++c) {
      list.push_back(cabinet);
      for (std::int32_t f = 0; HandleNode* folder = session.Child(cabinet, f); ++f)
        list.push_back(folder);
    }
    return list;
  }

  json expected_;
};

// The bytes that are wanted, if they are known.
std::optional<std::string> WantedBytes(const json& wanted) {
  if (!wanted.contains("base64") || wanted["base64"].is_null()) return std::nullopt;
  return nimport::mkstore::DecodeBase64(wanted["base64"].get<std::string>());
}

void ExpectText(const json& wanted, const TextAnswer& answer, const char* what) {
  if (wanted.is_null()) return;
  EXPECT_EQ(answer.code, wanted["code"].get<int>()) << what;
  if (answer.code != RESULT_OK) return;
  if (wanted.contains("text")) {
    EXPECT_EQ(Utf8FromCodePage932(answer.text), wanted["text"].get<std::string>()) << what;
  }
  EXPECT_EQ(answer.text, WantedBytes(wanted).value_or(answer.text)) << what;
}

void ExpectNumber(const json& wanted, const NumberAnswer& answer, const char* what) {
  if (wanted.is_null()) return;
  EXPECT_EQ(answer.code, wanted["code"].get<int>()) << what;
  if (wanted.contains("value")) {
    EXPECT_EQ(answer.value, wanted["value"].get<int>()) << what;
  }
}

// The files at answered paths, by their extension and contents.
template <typename Get>
void ExpectFiles(const json& files, Get getPath) {
  std::int32_t number = 0;
  for (const json& wanted : files) {
    SCOPED_TRACE(number);
    const TextAnswer path = getPath(number++);
    EXPECT_EQ(path.code, wanted["code"].get<int>());
    if (path.code != RESULT_OK || wanted["code"] != 0) continue;
    EXPECT_EQ(path.text.substr(path.text.rfind('.')), wanted["extension"].get<std::string>());
    const std::string bytes = nimport::test::ReadFile(nimport::test::NativePath(path.text));
    EXPECT_EQ(bytes, WantedBytes(wanted).value_or(bytes));
  }
}

TEST_F(SampleStore, TheMailClientIsInstalled) {
  std::int32_t exists = 0;
  EXPECT_EQ(ML_IsExistMailer(&exists), RESULT_OK);
  EXPECT_EQ(exists, 1);
}

TEST_F(SampleStore, FoldersHaveTheirNamesPlacesAndMails) {
  MailSession session;
  const std::vector<HandleNode*> list = FolderList(session);
  ASSERT_EQ(list.size(), expected_["folders"].size());
  for (std::size_t i = 0; i < list.size(); ++i) {
    const json& wanted = expected_["folders"][i];
    HandleNode* node = list[i];
    const TextAnswer name = session.Text(ML_GetName, node);
    EXPECT_EQ(Utf8FromCodePage932(name.text), wanted["shownName"].get<std::string>());
    EXPECT_EQ(ML_OpenMailDataFile(session.get(), node), RESULT_OK);
    EXPECT_EQ(session.Number(ML_GetMailCount, node),
              (NumberAnswer{RESULT_OK, wanted.value("mailCount", 0)}))
        << wanted["name"];
    EXPECT_EQ(ML_CloseMailDataFile(session.get(), node), RESULT_OK);
  }
}

TEST_F(SampleStore, HeaderFields) {
  ForEachMail([](const MailSession& s, HandleNode* f, std::int32_t i, const json& wanted) {
    ExpectText(wanted["subject"], s.Text(ML_GetMailSubject, f, i), "subject");
    ExpectText(wanted["from"], s.Text(ML_GetMailFrom, f, i), "from");
    ExpectText(wanted["to"], s.Text(ML_GetMailTo, f, i), "to");
    ExpectText(wanted["messageId"], s.Text(ML_GetMailMessageID, f, i), "messageId");
    ExpectText(wanted["contentType"], s.Text(ML_GetMailContentType, f, i, 0), "contentType");
  });
}

TEST_F(SampleStore, DatesInTwoZones) {
  for (const auto& [zone, key] : {std::pair("Asia/Tokyo", "time"), std::pair("UTC", "timeInUTC")}) {
    UseZone(zone);
    ForEachMail([&](const MailSession& s, HandleNode* f, std::int32_t i, const json& wanted) {
      ExpectNumber(wanted[key], s.Number(ML_GetMailDate, f, i), zone);
      EXPECT_EQ(s.Number(ML_GetMailTimeStamp, f, i), s.Number(ML_GetMailDate, f, i));
    });
  }
}

TEST_F(SampleStore, SourcesBeforeAndAfterHeaderFieldsWereAskedFor) {
  ForEachMail([](const MailSession& s, HandleNode* f, std::int32_t i, const json& wanted) {
    ExpectText(wanted["source"], s.Text(ML_GetMailSource, f, i), "source");
    for (const auto get : {ML_GetMailSubject, ML_GetMailFrom, ML_GetMailTo, ML_GetMailMessageID})
      static_cast<void>(s.Text(get, f, i));
    static_cast<void>(s.Number(ML_GetMailDate, f, i));
    ExpectText(wanted["sourceAfterGetters"], s.Text(ML_GetMailSource, f, i), "sourceAfterGetters");
  });
}

TEST_F(SampleStore, BodiesAndAttachedFiles) {
  ForEachMail([](const MailSession& s, HandleNode* f, std::int32_t i, const json& wanted) {
    ExpectNumber(wanted["bodyCount"], s.Number(ML_GetMailBodyCount, f, i), "bodyCount");
    ExpectFiles(wanted["bodies"], [&](auto n) { return s.Text(ML_GetMailBodyPath, f, i, n); });
    // The sample's account gives the parts of a structure that cannot be counted to nobody; they
    // are attachments (see reachable_parts_test.cc).
    if (wanted.contains("relatedScan") && wanted["relatedScan"]["code"] != 0) return;
    ExpectNumber(wanted["attachedCount"], s.Number(ML_GetAttachedMailCount, f, i), "attachedCount");
    ExpectFiles(wanted["attached"],
                [&](auto n) { return s.Text(ML_GetAttachedMailPath, f, i, n); });
  });
}

}  // namespace
