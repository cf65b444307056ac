#include "platform/formats/registry_text.h"

#include <string>

#include <gtest/gtest.h>

#include "text/code_page_converter.h"

namespace nimport::platform {
namespace {

const text::CodePageConverter TEXT;
constexpr std::string_view KEY = "Software\\NIFTY\\NIFTY Manager\\Directory";

std::optional<std::string> Find(std::string_view file,
                                RegistryHive hive = RegistryHive::LocalMachine,
                                std::string_view key = KEY) {
  return FindRegistryString(file, {hive, key, "DatabaseDir"}, TEXT);
}

std::string ToUtf16File(std::string_view utf8) {
  std::string file = "\xFF\xFE";
  for (const char16_t unit : TEXT.ToUtf16(utf8, text::CODE_PAGE_UTF8)) {
    file += static_cast<char>(unit & 0xFF);
    file += static_cast<char>(unit >> 8);
  }
  return file;
}

const std::string KEY_LINE = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\NIFTY\\NIFTY Manager\\Directory]\r\n";
const std::string REGEDIT4 = "REGEDIT4\r\n\r\n" + KEY_LINE;
const std::string VERSION5 = "Windows Registry Editor Version 5.00\r\n\r\n" + KEY_LINE;
const std::string WINE =
    "WINE REGISTRY Version 2\n;; All keys relative to REGISTRY\\\\Machine\n\n#arch=win32\n\n"
    "[Software\\\\NIFTY\\\\NIFTY Manager\\\\Directory] 1234567890\n#time=1d8c0\n";

TEST(RegistryTextTest, ReadsEveryFormOfFileAndValue) {
  // Katakana SO has '\' as its second byte; "C:\ソ" in three encodings.
  const std::string wanted = "C:\\\x83\x5C";
  const std::string marked = "\xEF\xBB\xBF" + VERSION5;
  const struct {
    std::string head;
    const char* value;
    std::optional<std::string> wanted;
    const char* why;
    bool isUtf16 = false;
  } CASES[] = {
      {REGEDIT4, "\"C:\\\\\x83\x5C\"\r\n", wanted, "a second byte is no escape"},
      {REGEDIT4, "\"x\"\n\"databasedir\" = \"C:\\\\\x83\x5C\" ; mine", wanted, "blanks, case"},
      {REGEDIT4, "hex(2):43,3a,5c,\\\r\n  83,5C,00\r\n", wanted, "expandable, continued"},
      {REGEDIT4, "hex:43,3a,5c,83,5c", wanted, "binary, not terminated"},
      {REGEDIT4, "\"C:\\NIFTY \\\"x\\\"\"", "C:\\NIFTY \"x\"", "written by hand"},
      {VERSION5, "\"C:\\\\\u30BD\"\r\n", wanted, "UTF-16", true},
      {VERSION5, "\"\u300A\u0A41\u3000\"\n", "\x81\x73?\x81\x40", "bytes like a line end", true},
      {marked, "\"C:\\\\\u30BD\"\n", wanted, "UTF-8, mark"},
      {VERSION5, "\"C:\\\\\u30BD\"\n", wanted, "UTF-8, no mark"},
      {VERSION5, "\"C:\\\\\x83\x5C\"\n", wanted, "saved in the old code page"},
      {VERSION5, "hex(1):43,00,3a,00,5c,00,bd,\\\n  30,00,00\n", wanted, "UTF-16 in hexadecimal"},
      {VERSION5, "hex(7):43,00,00,00,44,00,00,00,00,00", "C", "first of several"},
      {WINE, "\"C:\\\\\\x30bd\"\n", wanted, "Wine's escape"},
      {WINE, "\"\\x30bdC\\101\\x9\"\n", "\x83\\CA\t", "digits end by count"},
      {WINE, "str(2):\"C:\\\\\\x30bd\"\n", wanted, "Wine's expandable text"},
      {WINE, "hex(2):43,00,3a,00,5c,00,bd,30,00,00\n", wanted, "Wine's data"},
      {REGEDIT4, "\"a\"\n\"DatabaseDir\"=\"b\"\n", "b", "the last one holds"},
      {REGEDIT4, "\"\"", "", "an empty text is a value"},
      {REGEDIT4, "hex(0):43,3a,00", "C:", "of no type"},
      {REGEDIT4, "hex(4):41,42,00,00", "AB", "a number in bytes"},
      {REGEDIT4, "dword:00005c43", "C\\", "a number, lowest byte first"},
      {VERSION5, "hex(0):43,3a,5c,83,5c", wanted, "of no type: bytes, not UTF-16"},
      {VERSION5, "hex:43,3a,5c,83,5c,00", wanted, "binary"},
      {VERSION5, "dword:44434241\r\n", "ABCD", "no NUL in it", true},
      {WINE, "dword:00000041\n", "A", "Wine's number"},
      {WINE, "str(7):\"C:\\0D:\\0\"\n", "C:", "Wine's several texts"},
      {WINE, "hex(0):43,3a\n", "C:", "Wine's data of no type"},
      {KEY_LINE, "\"a\"", std::nullopt, "no signature"},
      {REGEDIT4, "\"a\"\n\"DatabaseDir\"=-\n", std::nullopt, "deleted value"},
      {REGEDIT4 + "[HKEY_LOCAL_MACHINE\\Software\\NIFTY]\n", "\"a\"", std::nullopt, "other key"},
  };
  for (const auto& row : CASES) {
    const std::string file = row.head + "\"DatabaseDir\"=" + row.value;
    EXPECT_EQ(Find(row.isUtf16 ? ToUtf16File(file) : file), row.wanted) << row.why;
  }
  for (const std::string& file :
       {std::string(), std::string("\xFF\xFE"), REGEDIT4 + "\"DatabaseDir",
        WINE + "\"DatabaseDir\\\n",
        REGEDIT4 + "\"DatabaseDir2\"=\"a\"\n@=\"b\"\n;\"DatabaseDir\"=\"c\"",
        REGEDIT4 + "\"DatabaseDir\"=\"a\"\n[-" + KEY_LINE.substr(1)})
    EXPECT_EQ(Find(file), std::nullopt) << file;
}

TEST(RegistryTextTest, ValuesThatCannotBeUsedAreNamed) {
  std::string data = "hex:41";
  for (int i = 0; i < 100'000; ++i)
    data += ",\\\n 41";
  const std::pair<std::string, const char*> CASES[] = {
      {"\"C:\\", "cannot be understood"},
      {"hex(2):43,3a,\\", "cannot be understood"},
      {"hex(2):43,zz", "cannot be understood"},
      {"hex(2", "cannot be understood"},
      {"dword:", "cannot be understood"},
      {"C:", "cannot be understood"},
      {'"' + std::string(520, 'x') + '"', "takes more than 519 bytes"},
      {data, "takes more than 519 bytes"},
  };
  for (const auto& [value, why] : CASES) {
    for (const std::string& head : {REGEDIT4, VERSION5, WINE}) {
      try {
        ADD_FAILURE() << value << ": " << Find(head + "\"DatabaseDir\"=" + value).value_or("-");
      } catch (const UnusableValue& error) {
        EXPECT_NE(std::string(error.what()).find(why), std::string::npos) << error.what();
        EXPECT_NE(std::string(error.what()).find("DatabaseDir"), std::string::npos);
      }
    }
  }
  const std::string longest(519, 'x');
  EXPECT_EQ(Find(REGEDIT4 + "\"DatabaseDir\"=\"" + longest + "\""), longest);
  EXPECT_EQ(Find(REGEDIT4 + "\"DatabaseDir\"=hex(2\n[-" + KEY_LINE.substr(1)), std::nullopt);
}

TEST(RegistryTextTest, KeepsTheHivesApart) {
  const std::string both = REGEDIT4 + "\"DatabaseDir\"=\"machine\"\n" +
                           "[HKCU\\Software\\NIFTY\\NIFTY Manager\\Directory]\n" +
                           "\"DatabaseDir\"=\"user\"\n";
  EXPECT_EQ(Find(both, RegistryHive::LocalMachine), "machine");
  EXPECT_EQ(Find(both, RegistryHive::CurrentUser), "user");

  const std::string machine = WINE + "\"DatabaseDir\"=\"a\"\n";
  EXPECT_EQ(Find(machine, RegistryHive::LocalMachine), "a");
  EXPECT_EQ(Find(machine, RegistryHive::CurrentUser), std::nullopt);
  std::string user = machine;
  user.replace(user.find("Machine"), 7, "User\\\\S-1-5-21-0-0-0-1000");
  EXPECT_EQ(Find(user, RegistryHive::LocalMachine), std::nullopt);
  EXPECT_EQ(Find(user, RegistryHive::CurrentUser), "a");
}

// Every beginning of a file, in both widths: a cut never brings a wrong value.
TEST(RegistryTextTest, CutFilesGiveTheValueOrNothing) {
  const std::string narrow = VERSION5 + "\"DatabaseDir\"=hex(2):43,00,3a,00,\\\n  00,00\n\n";
  const std::string wide = ToUtf16File(narrow);
  for (const std::string& file : {narrow, wide, WINE + "\"DatabaseDir\"=\"C:\"\n"}) {
    for (std::size_t size = 0; size <= file.size(); ++size) {
      std::optional<std::string> value;
      try {
        value = Find(file.substr(0, size));
      } catch (const UnusableValue&) {
        continue;
      }
      // Data that is cut between two bytes looks whole.
      EXPECT_TRUE(!value || *value == "C:" || *value == "C" || value->empty()) << size;
    }
    EXPECT_EQ(Find(file), "C:");
  }
}

}  // namespace
}  // namespace nimport::platform
