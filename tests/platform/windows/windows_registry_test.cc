#include "platform/windows/windows_registry.h"

#include <random>
#include <string>

#include <gtest/gtest.h>
#include <windows.h>

#include "common/test_directory.h"
#include "platform/windows/wide_text.h"
#include "text/code_page_converter.h"

namespace nimport::platform::windows {
namespace {

// Whether there are two views of the registry.
bool Is64BitSystem() {
  BOOL isGuest = FALSE;
  IsWow64Process(GetCurrentProcess(), &isGuest);
  return sizeof(void*) == 8 || isGuest != FALSE;
}

// A key of this test in both hives, as 32-bit programs see them.
class WindowsRegistryTest : public testing::Test {
 protected:
  WindowsRegistryTest()
      : name_("Software\\nimport-test-" + std::to_string(std::random_device()())) {}
  ~WindowsRegistryTest() override {
    for (const HKEY hive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
      for (const REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY})
        RegDeleteKeyExW(hive, WideFromUtf8(name_).c_str(), view, 0);
    }
  }

  void Set(HKEY hive, REGSAM view, const wchar_t* value, DWORD type, std::string_view bytes) const {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(hive, WideFromUtf8(name_).c_str(), 0, nullptr, 0,
                              KEY_SET_VALUE | view, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(RegSetValueExW(key, value, 0, type, reinterpret_cast<const BYTE*>(bytes.data()),
                             static_cast<DWORD>(bytes.size())),
              ERROR_SUCCESS);
    RegCloseKey(key);
  }
  void SetText(HKEY hive, REGSAM view, const wchar_t* value, std::wstring_view text,
               DWORD type = REG_SZ) const {
    const std::wstring whole(text);
    const std::size_t size = (whole.size() + 1) * sizeof(wchar_t);
    Set(hive, view, value, type, {reinterpret_cast<const char*>(whole.c_str()), size});
  }

  std::optional<std::string> Read(std::string_view value,
                                  RegistryHive hive = RegistryHive::CurrentUser) const {
    return registry_.ReadString(hive, name_, value);
  }

  std::string name_;
  std::optional<std::string> registryFiles_;
  text::CodePageConverter text_;
  WindowsRegistry registry_{
      [this](const char* setting) {
        return std::string_view(setting) == "NIMPORT_REGISTRY" ? registryFiles_ : std::nullopt;
      },
      text_};
};

TEST_F(WindowsRegistryTest, SeesWhat32BitProgramsSee) {
  if (Is64BitSystem()) {
    SetText(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, L"BinDir", L"64");
    EXPECT_EQ(Read("BinDir", RegistryHive::LocalMachine), std::nullopt);
  }
  SetText(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, L"BinDir", L"32");
  EXPECT_EQ(Read("BinDir", RegistryHive::LocalMachine), "32");
  EXPECT_EQ(Read("bindir", RegistryHive::LocalMachine), "32");
  EXPECT_EQ(Read("BinDir"), std::nullopt) << "of another hive";
}

TEST_F(WindowsRegistryTest, ReadsTextOfEveryTypeInCodePage932) {
  const struct {
    DWORD type;
    std::string bytes;
    std::optional<std::string> wanted;
    const char* why;
  } CASES[] = {
      {REG_SZ, {"C\0:\0\\\0\x68\x88\0\0", 10}, "C:\\\x95\x5C", "a second byte that is a backslash"},
      {REG_SZ, {"a\0b\0", 4}, "ab", "stored without its terminator"},
      {REG_SZ, {"a\0\0\0b\0\0\0", 8}, "a", "ends at the first NUL"},
      {REG_SZ, {"\xE9\0\0\0", 4}, "?", "what the code page lacks"},
      {REG_SZ, {"a", 1}, "", "half a character"},
      {REG_SZ, {}, "", "nothing"},
      {REG_EXPAND_SZ, {"%\0T\0%\0\0\0", 8}, "%T%", "not expanded"},
      {REG_MULTI_SZ, {"a\0\0\0b\0\0\0\0\0", 10}, "a", "the first of several"},
      {REG_BINARY, "\x95\x5C", "\x95\x5C", "as it is"},
      {REG_DWORD, {"a\0\0\0", 4}, "a", "a number"},
      {REG_NONE, "\x95\x5C", "\x95\x5C", "of no type"},
  };
  for (const auto& row : CASES) {
    Set(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"Value", row.type, row.bytes);
    EXPECT_EQ(Read("Value"), row.wanted) << row.why;
  }
}

TEST_F(WindowsRegistryTest, RefusesWhatIsTooLong) {
  for (const auto& [length, fits] :
       {std::pair(519u, true), std::pair(520u, false), std::pair(5000u, false)}) {
    SetText(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"Value", std::wstring(length, L'x'));
    if (fits) {
      EXPECT_TRUE(Read("Value")) << length;
    } else {
      EXPECT_THROW((void)Read("Value"), UnusableValue) << length;
    }
  }
  SetText(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"Value", std::wstring(260, L'\u3042'));
  EXPECT_THROW((void)Read("Value"), UnusableValue) << "520 bytes in the code page";
}

TEST_F(WindowsRegistryTest, FilesTakeItsPlaceWhereTheyAreNamed) {
  SetText(HKEY_CURRENT_USER, KEY_WOW64_32KEY, L"ID1", L"system");
  const tests::TestDirectory directory;
  const std::string file = directory.Write(
      "a.reg", "REGEDIT4\n\n[HKEY_CURRENT_USER\\" + name_ + "]\n\"ID1\"=\"file\"\n");
  registryFiles_ = directory.str() + "\\missing.reg;" + file;
  EXPECT_EQ(Read("ID1"), "file");
  EXPECT_EQ(Read("Other"), std::nullopt);
  registryFiles_.reset();
  EXPECT_EQ(Read("ID1"), "system");
}

}  // namespace
}  // namespace nimport::platform::windows
