#include <array>
#include <cstdio>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "wexmail/library.h"

namespace nimport::mime {
namespace {

TEST(Exports, AreTheFourteenNamesAndNothingElse) {
  std::string wanted;
  for (const char* name : {"Free", "GetAttach", "GetAttachCount", "GetFromD", "GetMainHeadPosition",
                           "GetMainNext", "GetMessageIDD", "GetPartD", "GetSendDateD",
                           "GetSubjectD", "GetToD", "Init", "ParseMailText", "Term"})
    wanted += std::string(" MT_") + name + "\n";
  FILE* pipe = popen("LC_ALL=C nm -D --defined-only '" WEXMAIL_PATH "' | sed 's/.* / /'", "r");
  ASSERT_NE(pipe, nullptr);
  std::array<char, 4096> names{};
  static_cast<void>(std::fread(names.data(), 1, names.size() - 1, pipe));
  ASSERT_EQ(0, pclose(pipe));
  EXPECT_EQ(names.data(), wanted);
}

// Every question to `session` answers 0 and leaves nothing to be released.
void ExpectNoAnswers(std::int32_t session) {
  char anything = 'x';
  char* text = &anything;
  std::int32_t number = 7;
  EXPECT_EQ(0, MT_GetSubjectD(session, &text, &number));
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(0, number);
  EXPECT_EQ(0, MT_GetMainHeadPosition(session));
  EXPECT_EQ(0, MT_GetAttachCount(session));
  char* item = &anything;
  char** items = &item;
  std::int32_t** lengths = nullptr;
  EXPECT_EQ(0, MT_GetAttach(session, &items, &lengths, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr));
  EXPECT_EQ(items, nullptr);
  items = &item;
  EXPECT_EQ(0, MT_GetPartD(session, "text/plain", &number, nullptr, nullptr, &items, &lengths,
                           nullptr, nullptr));
  EXPECT_EQ(items, nullptr);
}

TEST(Sessions, UnknownEndedAndEmptyOnesAnswerNothing) {
  const std::int32_t session = MT_Init();
  ASSERT_NE(0, session);
  ExpectNoAnswers(session);  // nothing parsed yet
  ASSERT_EQ(1, MT_ParseMailText(session, "Subject: x\r\n\r\ny", 15));
  EXPECT_EQ(1, MT_GetMainHeadPosition(session));
  EXPECT_EQ(1, MT_Term(session));
  EXPECT_EQ(0, MT_Term(session));
  EXPECT_EQ(0, MT_ParseMailText(session, "x", 2));
  ExpectNoAnswers(session);
  ExpectNoAnswers(0);
  ExpectNoAnswers(-1);
}

TEST(Sessions, KeepTheirMailsApart) {
  const Library first;
  const Library second;
  ASSERT_EQ(1, first.Parse("Subject: first\r\n\r\n"));
  ASSERT_EQ(1, second.Parse("Subject: second\r\n\r\n"));
  EXPECT_EQ("first", first.HeaderText(MT_GetSubjectD));
  ASSERT_EQ(1, first.Parse("Subject: third\r\n\r\n"));
  EXPECT_EQ("third", first.HeaderText(MT_GetSubjectD));
  EXPECT_EQ("second", second.HeaderText(MT_GetSubjectD));
}

TEST(Sessions, WorkInSeveralThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([number] {
      for (int round = 0; round < 50; ++round) {
        const Library library;
        const std::string name = std::to_string(number) + "-" + std::to_string(round);
        ASSERT_EQ(1,
                  library.Parse("Subject: =?ISO-2022-JP?B?GyRCST0bKEI=?= " + name +
                                "\r\nContent-Type: text/plain; charset=koi8-r\r\n\r\n\xC1" + name));
        EXPECT_EQ("\x95\x5C " + name, library.HeaderText(MT_GetSubjectD));
        EXPECT_EQ(Cp932("\u0430") + name, library.Mains().at(0).contents);
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
}

TEST(Ownership, AnswersOutliveTheMailTheyCameFrom) {
  const Library library;
  ASSERT_EQ(1, library.Parse(Crlf("Content-Type: application/pdf; name=a.pdf\n"
                                  "Content-Transfer-Encoding: base64\n\nQUJD\n")));
  char** contents = nullptr;
  std::int32_t** lengths = nullptr;
  ASSERT_EQ(1, MT_GetAttach(library.session(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, &contents, &lengths));
  ASSERT_EQ(1, library.Parse("Subject: another\r\n\r\n"));
  EXPECT_EQ("ABC", std::string(contents[0], static_cast<std::size_t>(*lengths[0])));
  MT_Free(contents);
  MT_Free(lengths);
  MT_Free(nullptr);
}

// Places for results that are left out, and arguments that lead nowhere.
TEST(Arguments, MayBeNullOrLeadNowhere) {
  const Library library;
  ASSERT_EQ(1, library.Parse("Content-Type: a/b; name=c\r\n\r\nx"));
  const std::int32_t session = library.session();
  EXPECT_EQ(1, MT_GetSubjectD(session, nullptr, nullptr));
  EXPECT_EQ(1, MT_GetAttach(session, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr, nullptr));
  for (const char* type : {static_cast<const char*>("a/b"), static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(type == nullptr ? 0 : 1, MT_GetPartD(session, type, nullptr, nullptr, nullptr,
                                                   nullptr, nullptr, nullptr, nullptr));
  }
  for (std::int32_t position : {0, -1, 2, 1 << 30}) {
    char* contents = nullptr;
    const std::int32_t before = position;
    EXPECT_EQ(0, MT_GetMainNext(session, &position, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, &contents, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(contents, nullptr);
    EXPECT_EQ(before, position);
  }
  EXPECT_EQ(0, MT_ParseMailText(session, nullptr, 5));
  EXPECT_EQ(0, MT_ParseMailText(session, "x", 0));
  EXPECT_EQ(0, MT_ParseMailText(session, "x", -1));
}

}  // namespace
}  // namespace nimport::mime
