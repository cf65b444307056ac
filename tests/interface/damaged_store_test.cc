// Stores whose mail database is cut off or overwritten: every export answers a code, nothing
// crashes, and diagnostics name the file.
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "interface/session_fixture.h"

namespace nimport::test {
namespace {

using nlohmann::json;

constexpr int MAILS = 16;

// Mails whose texts lie in long values, several tables and a stored query.
json SomeMails() {
  json mails = json::array();
  for (int i = 0; i < MAILS; ++i) {
    mails.push_back({{"kind", i % 2 == 0 ? 22 : 20},
                     {"title", "mail " + std::to_string(i)},
                     {"date", "1998-01-02T03:04:05"},
                     {"columns", {{"TextData", {{"repeat", "line\n"}, {"times", 70 * i}}}}}});
  }
  return mails;
}

class DamagedStore : public SessionTest {
 protected:
  void MakeStore(jetwriter::JetVersion format) {
    mkstore::StoreOptions options;
    options.format = format;
    store_ = UseStore(StoreWithMails(SomeMails()), options);
    std::ifstream file(Database(), std::ios::binary);
    whole_.assign(std::istreambuf_iterator<char>(file), {});
    pageSize_ = format == jetwriter::JetVersion::Jet3 ? 2048 : 4096;
  }

  [[nodiscard]] std::filesystem::path Database() const {
    return store_.databaseDirectory / "Cabdata.mdb";
  }

  void WriteDatabase(std::string_view bytes) const {
    std::ofstream(Database(), std::ios::binary).write(bytes.data(), std::ssize(bytes));
  }

  // Asks everything of every mail. Returns the number of subjects that were answered.
  int Walk() {
    platform.recorder.records.clear();
    codes_.clear();
    MailSession session;
    codes_.insert(session.code());
    if (session.code() != RESULT_OK) return 0;
    std::int32_t count = 0;
    codes_.insert(ML_GetUserCount(session.get(), &count));
    HandleNode* cabinet = session.Child(session.User(), 0);
    HandleNode* folder = cabinet == nullptr ? nullptr : session.Child(cabinet, 0);
    if (folder == nullptr) return 0;
    codes_.insert(ML_OpenMailDataFile(session.get(), folder));
    codes_.insert(ML_GetMailCount(session.get(), folder, &count));
    int answered = 0;
    for (std::int32_t mail = 0; mail < count; ++mail)
      answered += Ask(session.get(), folder, mail);
    return answered;
  }

  int Ask(HandleNode* session, HandleNode* folder, std::int32_t mail) {
    const auto ask = [&](auto get) {
      const ResultCode code =
          AskText([&](ResultString* text) { return get(session, folder, mail, text); }).code;
      codes_.insert(code);
      return code;
    };
    const bool isAnswered = ask(ML_GetMailSubject) == RESULT_OK;
    ask(ML_GetMailFrom);
    ask(ML_GetMailSource);
    ask([](HandleNode* s, HandleNode* f, std::int32_t i, ResultString* text) {
      return ML_GetMailBodyPath(s, f, i, 0, text);
    });
    return isAnswered ? 1 : 0;
  }

  void ExpectOrdinaryAnswers(const std::string& what) {
    for (const ResultCode code : codes_) {
      EXPECT_TRUE(code <= RESULT_OK && code >= RESULT_INVALID) << what << ": " << code;
    }
    if (codes_.contains(RESULT_DATABASE)) {
      bool isNamed = false;
      for (const auto& record : platform.recorder.records) {
        isNamed = isNamed || record.file.find("Cabdata.mdb") != std::string::npos;
      }
      EXPECT_TRUE(isNamed) << what;
    }
  }

  mkstore::Store store_;
  std::string whole_;
  std::size_t pageSize_ = 0;
  std::set<ResultCode> codes_;
};

TEST_F(DamagedStore, CutOffAtEveryPage) {
  for (const auto format : {jetwriter::JetVersion::Jet3, jetwriter::JetVersion::Jet4}) {
    MakeStore(format);
    EXPECT_EQ(Walk(), MAILS);
    for (std::size_t size = 0; size < whole_.size(); size += pageSize_) {
      WriteDatabase(std::string_view(whole_).substr(0, size));
      const int answered = Walk();
      ExpectOrdinaryAnswers("cut at " + std::to_string(size));
      // The last pages of the file may belong to nothing that is asked for.
      EXPECT_TRUE(answered == MAILS || codes_.contains(RESULT_DATABASE) ||
                  codes_.contains(RESULT_INVALID))
          << size;
    }
  }
}

TEST_F(DamagedStore, EachPageOverwrittenWithZeros) {
  for (const auto format : {jetwriter::JetVersion::Jet3, jetwriter::JetVersion::Jet4}) {
    MakeStore(format);
    for (std::size_t page = 0; page < whole_.size() / pageSize_; ++page) {
      std::string damaged = whole_;
      damaged.replace(page * pageSize_, pageSize_, pageSize_, '\0');
      WriteDatabase(damaged);
      Walk();
      ExpectOrdinaryAnswers("page " + std::to_string(page));
    }
  }
}

TEST_F(DamagedStore, SalvagingStepsOverWhatIsDamagedAndSaysSo) {
  platform.isSalvaging = true;
  MakeStore(jetwriter::JetVersion::Jet3);
  // Whatever single page is lost, hardly any page holds more than a few mails.
  int pagesWithLoss = 0;
  int pagesWithSomeLeft = 0;
  for (std::size_t page = 1; page < whole_.size() / pageSize_; ++page) {
    std::string damaged = whole_;
    damaged.replace(page * pageSize_, pageSize_, pageSize_, '\0');
    WriteDatabase(damaged);
    const int answered = Walk();
    ExpectOrdinaryAnswers("page " + std::to_string(page));
    if (answered == MAILS) continue;
    ++pagesWithLoss;
    if (answered > 0) ++pagesWithSomeLeft;
    EXPECT_FALSE(platform.recorder.records.empty()) << page;
  }
  EXPECT_GT(pagesWithLoss, 0);
  EXPECT_GT(pagesWithSomeLeft, 0);
}

TEST_F(DamagedStore, AFileThatShrinksWhileItIsOpenIsAnError) {
  MakeStore(jetwriter::JetVersion::Jet3);
  MailSession session;
  HandleNode* folder = session.OpenFolder(0, 0);
  ASSERT_NE(folder, nullptr);
  WriteDatabase(std::string_view(whole_).substr(0, 3 * pageSize_));
  EXPECT_EQ(AskText([&](ResultString* text) {
              return ML_GetMailSubject(session.get(), folder, 0, text);
            }).code,
            RESULT_DATABASE);
}

}  // namespace
}  // namespace nimport::test
