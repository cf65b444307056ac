// Stores whose mail database is cut off or overwritten: every export answers a code, nothing
// crashes, and diagnostics name the file.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
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
  void MakeStore(jetwriter::JetVersion format) {
    mkstore::StoreOptions options;
    options.format = format;
    UseDamageable(UseStore(StoreWithMails(SomeMails()), options), format);
  }
  void UseDamageable(const mkstore::Store& store, jetwriter::JetVersion format) {
    store_ = store;
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

// Rows of every table that is looked at, on several pages of either version. Their texts say which
// they are, so that the file itself tells what stands before a damaged page.
std::string NumberedText(const char* table, int number) {
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
  void MakeNumberedStore(jetwriter::JetVersion format) {
    mkstore::StoreOptions options;
    options.format = format;
    UseDamageable(UseStore(NumberedStore(), options), format);
  }

  // The pages that rows of a table stand on.
  [[nodiscard]] std::vector<std::size_t> PagesOf(const std::string& table) const {
    std::vector<std::size_t> pages;
    for (std::size_t page = 0; page < whole_.size() / pageSize_; ++page) {
      if (!NumbersOn(page, table).empty()) pages.push_back(page);
    }
    return pages;
  }

  // The numbers of the rows of a table on a page.
  [[nodiscard]] std::set<int> NumbersOn(std::size_t page, const std::string& table) const {
    std::set<int> numbers;
    const std::string bytes = whole_.substr(page * pageSize_, pageSize_);
    for (std::size_t at = bytes.find(table); at != std::string::npos;
         at = bytes.find(table, at + 1)) {
      const int number = std::atoi(bytes.substr(at + table.size(), 4).c_str()) - 1000;
      if (number >= 0) numbers.insert(number);
    }
    return numbers;
  }

  // Overwrites the first, a middle or the last page of a table's rows, for each in both versions;
  // `check` gets the numbers of the rows before the page.
  void ForEachDamage(const std::string& table,
                     const std::function<void(const std::set<int>& before)>& check) {
    for (const auto format : {jetwriter::JetVersion::Jet3, jetwriter::JetVersion::Jet4}) {
      MakeNumberedStore(format);
      const std::vector<std::size_t> pages = PagesOf(table);
      ASSERT_GE(pages.size(), 3u) << table;
      for (const std::size_t damaged : {std::size_t{0}, pages.size() / 2, pages.size() - 1}) {
        SCOPED_TRACE(table + ", page " + std::to_string(damaged) + " of " +
                     std::to_string(pages.size()));
        WriteDatabase(whole_);
        std::set<int> before;
        for (std::size_t i = 0; i < damaged; ++i)
          before.merge(NumbersOn(pages[i], table));
        damaged_ = whole_;
        damaged_.replace(pages[damaged] * pageSize_, pageSize_, pageSize_, '\0');
        check(before);
      }
    }
  }

  std::string damaged_;
};

TEST_F(DamagedTable, CabinetsAndFoldersBeforeTheDamageAreListed) {
  const auto count = [](MailSession& session, HandleNode* parent) {
    return AskNumber([&](std::int32_t* number) {
      return ML_GetChildFolderCount(session.get(), parent, number);
    });
  };
  const auto list = [&](const std::function<void(MailSession&, HandleNode*)>& check) {
    WriteDatabase(damaged_);
    MailSession session;
    std::int32_t users = 0;
    EXPECT_EQ(ML_GetUserCount(session.get(), &users), RESULT_DATABASE);
    // The list stays as far as it was read.
    HandleNode* user = session.User();
    ASSERT_NE(user, nullptr);
    check(session, user);
  };
  ForEachDamage("Cab", [&](const std::set<int>& before) {
    list([&](MailSession& session, HandleNode* user) {
      const auto cabinets = static_cast<std::int32_t>(before.size());
      EXPECT_EQ(count(session, user), (NumberAnswer{RESULT_OK, cabinets}));
      if (before.empty()) return;
      EXPECT_EQ(count(session, session.Child(user, 0)), (NumberAnswer{RESULT_OK, 120}));
      HandleNode* last = session.Child(user, cabinets - 1);
      EXPECT_EQ(AskText([&](ResultString* text) { return ML_GetName(session.get(), last, text); }),
                (TextAnswer{RESULT_OK, NumberedText("Cab", cabinets - 1)}));
    });
  });
  ForEachDamage("Fold", [&](const std::set<int>& before) {
    list([&](MailSession& session, HandleNode* user) {
      EXPECT_EQ(count(session, user), (NumberAnswer{RESULT_OK, 1}));
      const auto ofFirst = static_cast<std::int32_t>(
          std::ranges::count_if(before, [](int number) { return number % 2 == 0; }));
      HandleNode* cabinet = session.Child(user, 0);
      EXPECT_EQ(count(session, cabinet), (NumberAnswer{RESULT_OK, ofFirst}));
      if (ofFirst == 0) return;
      HandleNode* last = session.Child(cabinet, ofFirst - 1);
      EXPECT_EQ(AskText([&](ResultString* text) { return ML_GetName(session.get(), last, text); }),
                (TextAnswer{RESULT_OK, NumberedText("Fold", 2 * (ofFirst - 1))}));
    });
  });
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
          const TextAnswer answer =
              AskText([&](ResultString* text) { return c.get(session.get(), folder, mail, text); });
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
