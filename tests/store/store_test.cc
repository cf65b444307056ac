// A store as typed records in UTF-8, on stores of both versions.
#include "store/store.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/fake_platform.h"
#include "common/test_directory.h"
#include "mkstore/store_writer.h"

namespace nimport::store {
namespace {

using nlohmann::json;
using store::MailContent;
using testing::HasSubstr;
using testing::Optional;

// A made store and the platform that leads to it.
class Made {
 public:
  Made(const json& description, mkstore::JetVersion version)
      : store_(mkstore::MakeStore(description, directory_.path() / "disk", {.format = version})) {
    platform.settings["NIMPORT_REGISTRY"] = store_.RegistryVariable();
    platform.settings["NIMPORT_DRIVES"] = store_.DrivesVariable();
    platform.registryPart = &platform.system().registry();
    platform.isSalvaging = true;
  }

  tests::FakePlatform platform;

 private:
  tests::TestDirectory directory_;
  mkstore::Store store_;
};

json OneFolder(json mails) {
  return {{"cabinets",
           {{{"number", 1},
             {"name", "受信/1"},
             {"folders", {{{"number", 10}, {"name", "新着"}, {"mails", std::move(mails)}}}}}}}};
}

class Stores : public testing::TestWithParam<mkstore::JetVersion> {};

TEST_P(Stores, HaveAMailsWholeRow) {
  const json mails = json::parse(R"([
    {"kind": 20, "title": "例会", "date": "2031-09-21T20:15:42",
     "columns": {"OriginatorName": "佐倉", "OriginatorID": "QZB04567", "TextData": "来週"}},
    {"kind": 22, "title": null, "columns": {"ToField": "a@example.jp", "CcField": "QZA00009",
     "TextData": "x", "DataSize": 7}},
    {"kind": 38, "title": "t", "date": "1899-12-30", "columns": {"TextData": "a", "ForwardText": "b"}},
    {"kind": 20, "title": "s", "columns": {"EmailMode": 1, "TextData": "Subject: s\n\nx"}},
    {"kind": 34, "columns": {}, "mime": {"file": "1.MIM", "text": "Subject: m\n\nx"}},
    {"kind": 19, "title": "f", "storedFile": {"path": "C:\\A\\十月.XLS", "contents": "x"}}])");
  Made made(OneFolder(mails), GetParam());
  Store store(made.platform);
  ASSERT_EQ(store.cabinets().size(), 1U);
  EXPECT_EQ(store.cabinets()[0].name, "受信%2f1");
  ASSERT_EQ(store.cabinets()[0].folders.size(), 1U);
  EXPECT_EQ(store.cabinets()[0].folders[0].name, "新着");
  const OpenFolder folder = store.Open(store.cabinets()[0].folders[0]);
  ASSERT_EQ(folder.mailCount(), 6U);

  const MailRecord received = folder.Read(0);
  EXPECT_EQ(received.content, MailContent::Text);
  EXPECT_THAT(received.title.value, Optional(std::string("例会")));
  // This kind's two columns stand the other way round.
  EXPECT_THAT(received.senderId.value, Optional(std::string("佐倉")));
  EXPECT_THAT(received.senderName.value, Optional(std::string("QZB04567")));
  EXPECT_TRUE(received.recipients.IsAbsent());
  EXPECT_THAT(received.text.value, Optional(std::string("来週")));
  ASSERT_TRUE(received.date.value);
  EXPECT_EQ(received.date.value->year, 2031) << "beyond what hosts are told";
  EXPECT_TRUE(received.furtherColumns.empty()) << "only where they are asked for";

  const MailRecord sent = folder.Read(1, ColumnsWanted::All);
  EXPECT_TRUE(sent.title.IsAbsent());
  EXPECT_EQ(sent.size.value, 7);
  std::map<std::string, std::string> further;
  for (const FurtherColumn& column : sent.furtherColumns) {
    const bool isText = column.value.value && jet::ToText(*column.value.value);
    further[column.name] = isText ? std::string(*jet::ToText(*column.value.value)) : "";
  }
  EXPECT_THAT(sent.carbonCopies.value, Optional(std::string("QZA00009")));
  EXPECT_TRUE(further.contains("FileLink")) << "which mails of this kind do not use";
  EXPECT_FALSE(further.contains("ToField")) << "is the record's recipient";

  const MailRecord forwarded = folder.Read(2);
  EXPECT_EQ(forwarded.content, MailContent::ForwardedText);
  EXPECT_THAT(forwarded.forwardedText.value, Optional(std::string("b")));
  EXPECT_TRUE(forwarded.date.IsAbsent()) << "day 0 is no date";

  const MailRecord whole = folder.Read(3);
  EXPECT_EQ(whole.content, MailContent::WholeMail);
  EXPECT_TRUE(whole.title.IsAbsent()) << "stands in the text";
  EXPECT_EQ(store.ReadRawText(whole), "Subject: s\n\nx");
  EXPECT_EQ(store.ReadMimeFile(folder.Read(4)), "Subject: m\r\n\r\nx");
  const StoredFile file = store.ReadStoredFile(folder.Read(5));
  EXPECT_EQ(file.name, "十月.XLS");
  EXPECT_EQ(file.bytes, "x");
  EXPECT_THAT(store.TakeLosses(), testing::IsEmpty());
}

TEST_P(Stores, SayWhatIsMissing) {
  const json mails = json::parse(R"([
    {"kind": 34, "columns": {}, "mime": {"file": "GONE.MIM"}},
    {"kind": 19, "title": "t", "storedFile": {"path": "C:\\A\\LOST.ZIP"}},
    {"kind": 22, "title": "t", "noFamilyRow": true, "dataNo": 77},
    {"kind": 17, "title": "t", "columns": {"MailID": "nobody's"}}])");
  Made made(OneFolder(mails), GetParam());
  Store store(made.platform);
  const OpenFolder folder = store.Open(store.cabinets()[0].folders[0]);
  const auto reasonOf = [&](auto read) -> std::string {
    try {
      read();
      return "nothing is missing";
    } catch (const Error& error) {
      return error.reason();
    }
  };
  EXPECT_THAT(reasonOf([&] { static_cast<void>(store.ReadMimeFile(folder.Read(0))); }),
              HasSubstr("GONE.MIM"));
  EXPECT_THAT(reasonOf([&] { static_cast<void>(store.ReadStoredFile(folder.Read(1))); }),
              HasSubstr("LOST.ZIP"));
  EXPECT_THAT(reasonOf([&] { static_cast<void>(store.ReadStoredFile(folder.Read(3))); }),
              HasSubstr("MailID"));
  made.platform.settings["NIMPORT_REGISTRY"] = "/nonexistent";
  EXPECT_THAT(reasonOf([&] { const Store none(made.platform); }), HasSubstr("DatabaseDir"));
}

TEST_P(Stores, HaveAnAddressBookWithItsStrays) {
  const std::string longComment(9'000, 'c');  // longer than any host's buffer
  json description = json::parse(R"({"addressBook": [
    {"name": "山", "members": [{"name": "①", "userId": "y@example.jp"}]},
    {"userId": "top@example.jp"}, {"type": 1, "name": "t"}]})");
  description["addressBook"][0]["members"][0]["comment"] = longComment;
  Made made(description, GetParam());
  std::vector<Problem> losses;
  const OpenAddressBook open(made.platform, losses);
  ASSERT_EQ(open.book().GroupCount(), 2);
  EXPECT_EQ(open.book().At(0).name, "山");
  EXPECT_EQ(open.book().ResolveAddress(0, 0).name, "①");
  EXPECT_EQ(open.book().ResolveAddress(0, 0).comment, longComment);
  EXPECT_EQ(open.book().ResolveAddress(1, 0).userId, "top@example.jp");
  ASSERT_EQ(open.notes().size(), 1U);
  EXPECT_THAT(open.notes()[0].Describe(), HasSubstr("1 rows of other kinds than"));
  EXPECT_THAT(losses, testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(BothVersions, Stores,
                         testing::Values(mkstore::JetVersion::Jet3, mkstore::JetVersion::Jet4));

// Only Jet 4 can hold them: a Hangul syllable and a Latin letter with a tilde, as UTF-16.
TEST(StoresInUnicode, KeepLettersOutsideCodePage932) {
  const json mails = json::parse(R"([{"kind": 22, "title": {"hex": "5cd5f100"},
    "columns": {"ToField": {"hex": "f100"}, "TextData": {"hex": "5cd5f100"}}}])");
  Made made(OneFolder(mails), mkstore::JetVersion::Jet4);
  Store store(made.platform);
  const MailRecord record = store.Open(store.cabinets()[0].folders[0]).Read(0);
  EXPECT_THAT(record.title.value, Optional(std::string("한ñ")));
  EXPECT_THAT(record.recipients.value, Optional(std::string("ñ")));
  EXPECT_THAT(record.text.value, Optional(std::string("한ñ")));
}

}  // namespace
}  // namespace nimport::store
