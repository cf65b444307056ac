#include "plugin/mime_library/mime_session.h"

#include <map>
#include <set>

#include <gtest/gtest.h>

#include "fixtures/scripted_wexmail/scripted_wexmail.h"
#include "platform/platform.h"

namespace nimport::plugin {
namespace {

class MimeSessionTest : public testing::Test {
 protected:
  void SetUp() override {
    session_ = MimeSession::Open(loader_);
    ASSERT_TRUE(session_);
  }
  void TearDown() override {
    session_.reset();
    EXPECT_EQ(script_->liveAllocations, 0);
    EXPECT_EQ(script_->wrongFrees, 0);
    EXPECT_EQ(script_->openSessions, 0);
    EXPECT_EQ(loader_.loadedModules, 0);
  }

  tests::ScriptedWexmail script_;
  tests::ScriptedWexmailLoader loader_;
  std::unique_ptr<MimeSession> session_;
};

TEST_F(MimeSessionTest, OpensByNameAndOnlyWhereTheLibraryWorks) {
  EXPECT_EQ(loader_.loadedName, "Wexmail.dll");
  script_->initResult = 0;
  EXPECT_FALSE(MimeSession::Open(loader_));
  EXPECT_EQ(loader_.loadedModules, 1);  // the first session's alone
  script_->initResult = 1;
  loader_.hidden = {"MT_Init"};
  EXPECT_FALSE(MimeSession::Open(loader_));
  loader_.isMissing = true;
  EXPECT_FALSE(MimeSession::Open(loader_));
  EXPECT_EQ(loader_.loadedModules, 1);
  EXPECT_EQ(script_->openSessions, 1);
}

TEST_F(MimeSessionTest, ParsesWithTheTerminatorCounted) {
  EXPECT_EQ(session_->Parse("Subject: x"), 1);
  EXPECT_EQ(script_->parsedText, std::string("Subject: x\0", 11));
  script_->parseResult = -5;
  EXPECT_EQ(session_->Parse(""), -5);
  EXPECT_EQ(script_->parsedText, std::string(1, '\0'));
}

TEST_F(MimeSessionTest, AnswersEachHeaderFromItsOwnEntryPoint) {
  const std::pair<const char*, std::optional<std::string> (MimeSession::*)() const> HEADERS[] = {
      {"MT_GetSubjectD", &MimeSession::GetSubject},
      {"MT_GetFromD", &MimeSession::GetFrom},
      {"MT_GetToD", &MimeSession::GetTo},
      {"MT_GetMessageIDD", &MimeSession::GetMessageId},
      {"MT_GetSendDateD", &MimeSession::GetSendDate}};
  for (const auto& [name, get] : HEADERS) {
    EXPECT_EQ((*session_.*get)(), "") << name;
    script_->headers[name] = std::string(name) + std::string("\0x", 2);
    EXPECT_EQ((*session_.*get)(), script_->headers[name]);
  }
  for (const std::int32_t length : {-1, INT32_MIN, INT32_MAX}) {
    script_->claimedLength = length;
    EXPECT_EQ(session_->GetSubject(), std::nullopt) << length;
  }
  script_->claimedLength.reset();
  script_->getResult = 0;
  EXPECT_EQ(session_->GetSubject(), std::nullopt);
}

TEST_F(MimeSessionTest, WalksTheMainParts) {
  EXPECT_EQ(session_->MainHeadPosition(), 0);
  script_->mains = {{"text/plain", "", "one"}, {"text/html", "", "two"}};
  std::int32_t position = session_->MainHeadPosition();
  MainPart part = session_->MainNext(position, MainPartWanted::Nothing);
  EXPECT_EQ(part.contentType, "");
  EXPECT_NE(position, 0);
  part = session_->MainNext(position, MainPartWanted::ContentTypeAndContents);
  EXPECT_EQ(part.result, 1);
  EXPECT_EQ(part.contentType, "text/html");
  EXPECT_EQ(part.contents, "two");
  EXPECT_EQ(position, 0);

  position = session_->MainHeadPosition();
  part = session_->MainNext(position, MainPartWanted::ContentType);
  EXPECT_EQ(part.contentType, "text/plain");
  EXPECT_EQ(part.contents, "");

  script_->claimedLength = -1;
  position = session_->MainHeadPosition();
  EXPECT_EQ(session_->MainNext(position, MainPartWanted::ContentType).result, 0);
  script_->isStuck = true;
  position = session_->MainHeadPosition();
  (void)session_->MainNext(position, MainPartWanted::Nothing);
  EXPECT_EQ(position, 0);
}

TEST_F(MimeSessionTest, AnswersAttachmentsAndParts) {
  script_->attachments = {{"image/gif", "a.gif", "GIF"}, {"text/plain", "", ""}};
  script_->parts = {{"image/gif", "Content-ID: <1>", "1"},
                    {"image/png", "Content-ID: <2>", "2"},
                    {"image/gif", "Content-ID: <3>", "3"}};
  EXPECT_EQ(session_->AttachCount(), 2);
  {
    const Attachments attachments = session_->GetAttachments();
    EXPECT_EQ(attachments.count, 2);
    EXPECT_EQ(attachments.contentTypes.Find(1), "text/plain");
    EXPECT_EQ(attachments.fileNames.Find(0), "a.gif");
    EXPECT_EQ(attachments.contents.Find(0), "GIF");
    EXPECT_EQ(attachments.contents.Find(1), "");
    const auto parts = session_->GetParts("image/gif");
    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->count, 2);
    EXPECT_EQ(parts->headers.Find(1), "Content-ID: <3>");
    EXPECT_EQ(parts->bodies.Find(0), "1");
  }
  EXPECT_EQ(script_->liveAllocations, 0);

  script_->claimedLength = -1;
  EXPECT_EQ(session_->GetAttachments().contents.Find(0), std::nullopt);
  script_->claimedCount = 0x7FFFFFFF;
  EXPECT_LT(session_->GetAttachments().count, 1);
  EXPECT_FALSE(session_->GetParts("image/gif"));
  script_->claimedCount = -1;
  EXPECT_FALSE(session_->GetParts("image/gif"));
  script_->claimedCount.reset();
  script_->getResult = 0;
  EXPECT_FALSE(session_->GetParts("image/gif"));
}

TEST_F(MimeSessionTest, MissingEntryPointsAnswerZero) {
  session_.reset();
  for (const char* name : {"ParseMailText", "GetSubjectD", "GetMainNext", "GetAttachCount",
                           "GetMainHeadPosition", "GetAttach", "GetPartD"})
    loader_.hidden.insert(std::string("MT_") + name);
  session_ = MimeSession::Open(loader_);
  ASSERT_TRUE(session_);
  script_->mains = {{"text/plain", "", "one"}};
  EXPECT_EQ(session_->Parse("x"), 0);
  EXPECT_EQ(session_->GetSubject(), std::nullopt);
  EXPECT_EQ(session_->GetFrom(), "");
  EXPECT_EQ(session_->MainHeadPosition(), 0);
  std::int32_t position = 1;
  EXPECT_EQ(session_->MainNext(position, MainPartWanted::ContentTypeAndContents).result, 0);
  EXPECT_EQ(position, 0);
  EXPECT_EQ(session_->AttachCount(), 0);
  EXPECT_EQ(session_->GetAttachments().count, 0);
  EXPECT_FALSE(session_->GetParts("image/gif"));
}

TEST_F(MimeSessionTest, OneSessionsEndLeavesTheOther) {
  auto second = MimeSession::Open(loader_);
  ASSERT_TRUE(second);
  session_.reset();
  script_->headers = {{"MT_GetToD", "t"}};
  EXPECT_EQ(second->GetTo(), "t");
  EXPECT_EQ(script_->openSessions, 1);
  EXPECT_EQ(loader_.loadedModules, 1);
}

TEST(MimeLibraryTest, AsksForEachNameOnceInTheFixedOrder) {
  class ListeningModule final : public platform::Module {
   public:
    explicit ListeningModule(std::vector<std::string>& names) : names_(names) {}
    platform::AnyFunction FindFunction(const char* name) const override {
      names_.emplace_back(name);
      return nullptr;
    }

   private:
    std::vector<std::string>& names_;
  };
  std::vector<std::string> names;
  const MimeLibrary library(std::make_unique<ListeningModule>(names));
  ASSERT_EQ(names.size(), 173u);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), 173u);
  const std::map<std::size_t, std::string> PLACES = {{0, "QZB_GarbageCollection"},
                                                     {4, "QZB_TraceMemManager"},
                                                     {5, "QZB_GetWexmailVersion"},
                                                     {6, "MT_Free"},
                                                     {97, "MT_GetPartE"},
                                                     {98, "DT_Free"},
                                                     {113, "P3_Free"},
                                                     {132, "SP_Free"},
                                                     {144, "MB_Free"},
                                                     {161, "MU_Free"},
                                                     {172, "MU_MapGetNextAssoc"}};
  for (const auto& [place, name] : PLACES)
    EXPECT_EQ(names[place], name);
  EXPECT_EQ(library.EntryPoint<wexmail::MT_InitFunction>(EntryPointIndex("MT_Init"))(), 0);
}

TEST(SystemModuleLoader, LoadsByBareNameOnly) {
  platform::ModuleLoader& loader = platform::SystemPlatform().modules();
  {
    // A library that is in memory is found by its name, without the search of directories.
    tests::ScriptedWexmail script;
    script->headers = {{"MT_GetToD", "t"}};
    const auto session = MimeSession::Open(loader);
    ASSERT_TRUE(session);
    EXPECT_EQ(session->GetTo(), "t");
    EXPECT_EQ(loader.Load("WEXMAIL.DLL")->FindFunction("no_such_function"), nullptr);
  }
  EXPECT_FALSE(loader.Load("No-Such-Library.dll"));
  EXPECT_FALSE(loader.Load("..\\Wexmail.dll"));
  EXPECT_FALSE(loader.Load("x/../../" + tests::ScriptedWexmail::Path()));
  EXPECT_FALSE(loader.Load(""));
}

}  // namespace
}  // namespace nimport::plugin
