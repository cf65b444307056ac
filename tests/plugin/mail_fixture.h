// Sessions with one open folder, its mails asked for by position.
#ifndef NIMPORT_TESTS_INTERFACE_MAIL_FIXTURE_H_
#define NIMPORT_TESTS_INTERFACE_MAIL_FIXTURE_H_

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "plugin/session_fixture.h"

namespace nimport::test {

// Loads this project's MIME library, whatever else is in memory under its name. On Windows the
// scripted one takes its place.
class WexmailLoader final : public platform::ModuleLoader {
 public:
  std::unique_ptr<platform::Module> Load(std::string_view /*name*/) override {
    return std::make_unique<LoadedModule>();
  }

 private:
#if defined(_WIN32)
  static constexpr const char* PATH = NIMPORT_BINARY_DIR "/bin/Wexmail.dll";
#else
  static constexpr const char* PATH = NIMPORT_BINARY_DIR "/lib/libwexmail.so";
#endif

  class LoadedModule final : public platform::Module {
   public:
    platform::AnyFunction FindFunction(const char* name) const override {
      return library_.Find(name);
    }

   private:
    tests::LoadedLibrary library_{PATH};
  };
};

// Opens a folder of mails. At the end nothing may be left: no memory of the scripted MIME library,
// no file handle.
class MailTest : public SessionTest {
 protected:
  ~MailTest() override {
    CloseFolder();
    EXPECT_EQ(wexmail->liveAllocations, 0);
    EXPECT_EQ(wexmail->wrongFrees, 0);
    EXPECT_EQ(wexmail->openSessions, 0);
  }

  // From the next session on the real MIME library works, not the scripted one.
  void UseRealLibrary() { platform.modulesPart = &realLoader_; }

  // Makes a store with one folder of these mails and opens the folder in a new session.
  void OpenFolder(nlohmann::json mails) {
    CloseFolder();
    store_ = UseStore(StoreWithMails(std::move(mails)));
    OpenFolder();
  }
  // Opens it in a new session.
  void OpenFolder() {
    CloseFolder();
    handlesBefore_ = CountHandles();
    session_ = std::make_unique<MailSession>();
    ASSERT_EQ(session_->code(), RESULT_OK) << LastReason();
    folder_ = session_->OpenFolder(0, 0);
    ASSERT_NE(folder_, nullptr) << LastReason();
  }
  void CloseFolder() {
    if (session_ == nullptr) return;
    session_.reset();
    EXPECT_EQ(CountHandles(), handlesBefore_) << "file handles";
  }

  // The same with MIME mails of these texts.
  void OpenMimeMails(const std::vector<std::string>& texts, int kind = 34) {
    nlohmann::json mails = nlohmann::json::array();
    for (std::size_t i = 0; i < texts.size(); ++i) {
      mails.push_back({{"kind", kind},
                       {"date", "1998-01-13T10:00:00"},
                       {"mime", {{"file", "m" + std::to_string(i)}}}});
    }
    OpenFolder(std::move(mails));
    for (std::size_t i = 0; i < texts.size(); ++i)
      WriteMime(i, texts[i]);
  }
  void WriteMime(std::size_t mail, const std::string& text) const {
    std::filesystem::create_directories(MimePath(mail).parent_path());
    std::ofstream(MimePath(mail), std::ios::binary) << text;
  }
  [[nodiscard]] std::filesystem::path MimePath(std::size_t mail) const {
    return store_.databaseDirectory / "Mime" / ("m" + std::to_string(mail));
  }

  using TextExport = ResultCode NIMPORT_CALL(HandleNode*, HandleNode*, std::int32_t, ResultString*);
  template <typename Get, typename... Index>
  TextAnswer Text(Get get, std::int32_t mail, Index... index) {
    return session_->Text(get, folder_, mail, index...);
  }
  template <typename Get>
  NumberAnswer Number(Get get, std::int32_t mail) {
    return session_->Number(get, folder_, mail);
  }
  NumberAnswer BodyCount(std::int32_t mail) { return Number(ML_GetMailBodyCount, mail); }
  NumberAnswer AttachedCount(std::int32_t mail) { return Number(ML_GetAttachedMailCount, mail); }
  TextAnswer Source(std::int32_t mail) { return Text(ML_GetMailSource, mail); }
  TextAnswer Body(std::int32_t mail, std::int32_t body) {
    return Text(ML_GetMailBodyPath, mail, body);
  }
  TextAnswer Attached(std::int32_t mail, std::int32_t attached) {
    return Text(ML_GetAttachedMailPath, mail, attached);
  }
  ResultCode NameNextFile(const std::u16string& name) {
    return ML_SetTempFileName(session_->get(), AsArgument(name.c_str()));
  }

  // What an answered path's file holds; drives are those of the store and Z.
  [[nodiscard]] std::string Contents(const TextAnswer& path) const {
    EXPECT_EQ(path.code, RESULT_OK);
    if (path.code != RESULT_OK) return "no file";
#if defined(_WIN32)
    // What the plug-in writes has this machine's own path, whatever drives the store has.
    return ReadFile(path.text);
#else
    platform::FileSystem& files = const_cast<tests::FakePlatform&>(platform).system().files();
    return platform::ReadWholeFile(*files.OpenForReading(path.text));
#endif
  }

  static std::size_t CountHandles() {
#if defined(_WIN32)
    DWORD handles = 0;
    GetProcessHandleCount(GetCurrentProcess(), &handles);
    return handles;
#else
    std::size_t count = 0;
    for (const auto& handle : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      // But for those of tests that watch files.
      if (std::filesystem::read_symlink(handle, gone) != "anon_inode:inotify") ++count;
    }
    return count;
#endif
  }

  mkstore::Store store_;
  std::unique_ptr<MailSession> session_;
  HandleNode* folder_ = nullptr;

 private:
  WexmailLoader realLoader_;
  std::size_t handlesBefore_ = 0;
};

// A stored text, mails of every way to be kept, and so on: members of a description's mail.
inline nlohmann::json MailOf(int kind, nlohmann::json columns = nlohmann::json::object()) {
  return {{"kind", kind},
          {"title", "Title"},
          {"date", "1998-01-13T10:00:00"},
          {"columns", std::move(columns)}};
}

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_INTERFACE_MAIL_FIXTURE_H_
