#include "mkstore/registry_file.h"

#include <gtest/gtest.h>

#include "platform/formats/registry_text.h"
#include "tests/tools/engine_reader.h"

namespace nimport::mkstore {
namespace {

const std::vector<RegistryValue> VALUES = {
    {RegistryHive::LocalMachine, "Software\\A B", "Dir", "C:\\表\\x"},
    {RegistryHive::LocalMachine, "Software\\A B", "Two", "a\"b"},
    {RegistryHive::CurrentUser, "Software\\A B\\S", "ID1", "QZA00123"}};

std::string Write(RegistryForm form, std::size_t file = 0) {
  const TemporaryFolder folder;
  return ReadWholeFile(WriteRegistry(folder.path(), VALUES, form, 932).at(file));
}

constexpr const char* EXPORT =
    "\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\A B]\r\n\"Dir\"=\"C:\\\\%\\\\x\"\r\n"
    "\"Two\"=\"a\\\"b\"\r\n\r\n[HKEY_CURRENT_USER\\Software\\A "
    "B\\S]\r\n\"ID1\"=\"QZA00123\"\r\n\r\n";

std::string Expected(const std::string& title, const std::string& hyou) {
  std::string text = title + EXPORT;
  return text.replace(text.find('%'), 1, hyou);
}

TEST(WriteRegistry, Regedit4InTheCodePage) {
  EXPECT_EQ(Write(RegistryForm::Regedit4), Expected("REGEDIT4", "\x95\x5C"));
}

TEST(WriteRegistry, Utf8) {
  EXPECT_EQ(Write(RegistryForm::Utf8), Expected("Windows Registry Editor Version 5.00", "表"));
}

TEST(WriteRegistry, UnicodeWithAByteOrderMark) {
  std::string wanted = "\xFF\xFE";
  for (const char c : Expected("Windows Registry Editor Version 5.00", "%")) {
    wanted += c == '%' ? std::string("\x68\x88") : std::string{c, '\0'};
  }
  EXPECT_EQ(Write(RegistryForm::Unicode), wanted);
}

TEST(WriteRegistry, WineHasAFilePerHive) {
  const std::string system = Write(RegistryForm::Wine, 0);
  const std::string user = Write(RegistryForm::Wine, 1);
  EXPECT_TRUE(system.starts_with("WINE REGISTRY Version 2\n;; All keys relative to \\\\Machine\n"));
  EXPECT_NE(system.find("\n[Software\\\\A B] "), std::string::npos);
  EXPECT_NE(system.find("\n\"Dir\"=\"C:\\\\\\x8868\\\\x\"\n"), std::string::npos) << system;
  EXPECT_EQ(system.find("ID1"), std::string::npos);
  EXPECT_NE(user.find("\n[Software\\\\A B\\\\S] "), std::string::npos);
  EXPECT_NE(user.find("\n\"ID1\"=\"QZA00123\"\n"), std::string::npos);
}

TEST(WriteRegistry, ThePlatformReadsEveryForm) {
  const text::CodePageConverter& text = platform::SystemPlatform().text();
  for (const RegistryForm form :
       {RegistryForm::Regedit4, RegistryForm::Unicode, RegistryForm::Utf8, RegistryForm::Wine}) {
    const platform::RegistryQuery query{platform::RegistryHive::LocalMachine, "software\\a b",
                                        "dir"};
    EXPECT_EQ(platform::FindRegistryString(Write(form), query, text), "C:\\\x95\x5C\\x")
        << static_cast<int>(form);
  }
}

}  // namespace
}  // namespace nimport::mkstore
