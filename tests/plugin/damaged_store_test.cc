// Stores whose mail database is cut off or overwritten: every export answers a code, nothing
// crashes, and diagnostics name the file.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "plugin/session_fixture.h"

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
  void MakeStore(jetwriter::JetVersion format, const json& description) {
    mkstore::StoreOptions options;
    options.format = format;
    store_ = UseStore(description, options);
    whole_ = ReadFile(Database().string());
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
    for (std::int32_t mail = 0; mail < count; ++mail) {
      const auto ask = [&](auto get, auto... index) {
        return *codes_.insert(session.Text(get, folder, mail, index...).code).first;
      };
      answered += ask(ML_GetMailSubject) == RESULT_OK ? 1 : 0;
      ask(ML_GetMailFrom);
      ask(ML_GetMailSource);
      ask(ML_GetMailBodyPath, 0);
    }
    return answered;
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

// Whatever page is lost, each answer is a code and what is lost is reported.
TEST_F(DamagedStore, EveryPageCutOffOrOverwritten) {
  const struct {
    const char* name;
    bool isCut;
    bool isSalvaging;
  } damages[] = {{"cut off", true, false}, {"zeros", false, false}, {"salvaged", false, true}};
  for (const auto format : {jetwriter::JetVersion::Jet3, jetwriter::JetVersion::Jet4}) {
    MakeStore(format, StoreWithMails(SomeMails()));
    EXPECT_EQ(Walk(), MAILS);
    for (const auto& damage : damages) {
      platform.isSalvaging = damage.isSalvaging;
      int pagesWithLoss = 0;
      int pagesWithSomeLeft = 0;
      for (std::size_t at = 0; at < whole_.size(); at += pageSize_) {
        std::string damaged = whole_.substr(0, at);
        if (!damage.isCut) {
          damaged += std::string(pageSize_, '\0') + whole_.substr(at + pageSize_);
        }
        WriteDatabase(damaged);
        const int answered = Walk();
        const std::string what = std::string(damage.name) + " at " + std::to_string(at);
        ExpectOrdinaryAnswers(what);
        if (answered == MAILS) continue;
        EXPECT_FALSE(platform.recorder.records.empty()) << what;
        ++pagesWithLoss;
        if (answered > 0) ++pagesWithSomeLeft;
      }
      EXPECT_GT(pagesWithLoss, 0) << damage.name;
      EXPECT_TRUE(damage.isCut || pagesWithSomeLeft > 0) << damage.name;
    }
    platform.isSalvaging = false;
  }
}

// Rows of every table that is looked at, on several pages of either version. Their texts say which
// they are, so that the file itself tells what stands before a damaged page.
std::string NumberedText(const std::string& table, int number) {
  return table + std::to_string(1000 + number) + std::string(200, '.').substr(0, 50);
}

json NumberedStore() {
  constexpr int ROWS = 240;
  json store = {{"cabinets", json::array()}, {"folders", json::array()}, {"mails", json::array()}};
  for (int i = 0; i < ROWS; ++i) {
    store["cabinets"].push_back({{"number", i}, {"name", NumberedText("Cab", i)}});
    store["folders"].push_back(
        {{"number", 1 + i}, {"cabinet", i % 2}, {"name", NumberedText("Fold", i)}});
    // The query of one kind joins two tables, that of the other has one alone.
    const bool isJoined = i % 2 != 0;
    store["mails"].push_back({{"folder", 1},
                              {"kind", isJoined ? 20 : 21},
                              {"title", isJoined ? NumberedText("Mail", i) : std::string(50, '.')},
                              {"date", "1998-01-02T03:04:05"},
                              {"columns",
                               {{isJoined ? "OriginatorName" : "OriginatorID",
                                 NumberedText(isJoined ? "Text" : "Abrd", i)}}}});
  }
  return store;
}

class DamagedTable : public DamagedStore {
 protected:
  // The pages that rows of a table stand on, with the rows' numbers.
  [[nodiscard]] std::vector<std::pair<std::size_t, std::set<int>>> PagesOf(
      const std::string& table) const {
    std::map<std::size_t, std::set<int>> pages;
    for (std::size_t at = whole_.find(table); at != std::string::npos;
         at = whole_.find(table, at + 1)) {
      const int number = std::atoi(whole_.substr(at + table.size(), 4).c_str()) - 1000;
      if (number >= 0) pages[at / pageSize_ * pageSize_].insert(number);
    }
    return {pages.begin(), pages.end()};
  }

  // Overwrites the first, a middle or the last page of a table's rows, for each in both versions;
  // `check` gets the numbers of the rows before the page.
  void ForEachDamage(const std::string& table,
                     const std::function<void(const std::set<int>& before)>& check) {
    for (const auto format : {jetwriter::JetVersion::Jet3, jetwriter::JetVersion::Jet4}) {
      MakeStore(format, NumberedStore());
      const auto pages = PagesOf(table);
      ASSERT_GE(pages.size(), 3u) << table;
      for (const std::size_t damaged : {std::size_t{0}, pages.size() / 2, pages.size() - 1}) {
        SCOPED_TRACE(table + ", page " + std::to_string(damaged) + " of " +
                     std::to_string(pages.size()));
        WriteDatabase(whole_);
        std::set<int> before;
        for (std::size_t i = 0; i < damaged; ++i)
          before.insert(pages[i].second.begin(), pages[i].second.end());
        damaged_ = whole_;
        damaged_.replace(pages[damaged].first, pageSize_, pageSize_, '\0');
        check(before);
      }
    }
  }

  std::string damaged_;
};

TEST_F(DamagedTable, CabinetsAndFoldersBeforeTheDamageAreListed) {
  for (const std::string table : {"Cab", "Fold"}) {
    const bool isOfCabinets = table == "Cab";
    ForEachDamage(table, [&](const std::set<int>& before) {
      WriteDatabase(damaged_);
      MailSession session;
      const auto count = [&](HandleNode* parent) {
        return session.Number(ML_GetChildFolderCount, parent);
      };
      std::int32_t users = 0;
      EXPECT_EQ(ML_GetUserCount(session.get(), &users), RESULT_DATABASE);
      // The list stays as far as it was read.
      HandleNode* user = session.User();
      const int cabinets = isOfCabinets ? static_cast<int>(before.size()) : 1;
      EXPECT_EQ(count(user), (NumberAnswer{RESULT_OK, cabinets}));
      if (cabinets == 0) return;
      HandleNode* first = session.Child(user, 0);
      const auto even = std::ranges::count_if(before, [](int number) { return number % 2 == 0; });
      const int folders = isOfCabinets ? 120 : static_cast<int>(even);
      EXPECT_EQ(count(first), (NumberAnswer{RESULT_OK, folders}));
      if (folders == 0) return;
      HandleNode* last =
          isOfCabinets ? session.Child(user, cabinets - 1) : session.Child(first, folders - 1);
      const int number = isOfCabinets ? cabinets - 1 : 2 * (folders - 1);
      EXPECT_EQ(session.Text(ML_GetName, last),
                (TextAnswer{RESULT_OK, NumberedText(table, number)}));
    });
  }
}

TEST_F(DamagedTable, MailsBeforeTheDamageAreFound) {
  const struct {
    const char* table;
    decltype(&ML_GetMailFrom) get;
    int first;
  } cases[] = {
      {"Mail", ML_GetMailSubject, 1}, {"Text", ML_GetMailFrom, 1}, {"Abrd", ML_GetMailFrom, 0}};
  for (const auto& c : cases) {
    ForEachDamage(c.table, [&](const std::set<int>& before) {
      MailSession session;
      HandleNode* folder = session.OpenFolder(0, 0);
      ASSERT_NE(folder, nullptr);
      // From here on the table is damaged. Asked in both orders: before and after failures.
      const auto written = std::filesystem::last_write_time(Database());
      WriteDatabase(damaged_);
      // However short a time has passed.
      std::filesystem::last_write_time(Database(), written + std::chrono::seconds(10));
      std::vector<int> mails;
      for (int mail = c.first; mail < 240; mail += 2)
        mails.push_back(mail);
      for (int pass = 0; pass < 2; ++pass) {
        std::ranges::reverse(mails);
        for (const int mail : mails) {
          const TextAnswer answer = session.Text(c.get, folder, mail);
          EXPECT_EQ(answer.code, before.contains(mail) ? RESULT_OK : RESULT_DATABASE) << mail;
          if (answer.code == RESULT_OK) {
            EXPECT_NE(answer.text.find(NumberedText(c.table, mail)), std::string::npos)
                << answer.text;
          }
        }
      }
      // A folder is opened with all its mails or not at all.
      ML_CloseMailDataFile(session.get(), folder);
      EXPECT_EQ(ML_OpenMailDataFile(session.get(), folder),
                c.table == std::string("Mail") ? RESULT_DATABASE : RESULT_OK);
    });
  }
}

}  // namespace
}  // namespace nimport::test
