// The conversions beside those of the C library.
#include <string>

#include <gtest/gtest.h>
#include <iconv.h>

#include "text/charset.h"
#include "text/code_page_932.h"

namespace nimport::text {
namespace {

// Empty where the C library finds damage.
std::string ConvertBySystem(const char* toCharset, const char* fromCharset, std::string bytes) {
  const iconv_t handle = iconv_open(toCharset, fromCharset);
  std::string result(3 * bytes.size() + 1, '\0');
  char* in = bytes.data();
  std::size_t inLeft = bytes.size();
  char* out = result.data();
  std::size_t outLeft = result.size();
  const bool isWhole = iconv(handle, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1);
  iconv_close(handle);
  result.resize(isWhole ? result.size() - outLeft : 0);
  return result;
}

// The whole of JIS X 0208 and row 13, against the converter for Microsoft's EUC.
TEST(Charset, EveryRowAgreesWithTheSystemsConverter) {
  int count = 0;
  for (int row = 1; row <= 84; ++row) {
    for (int cell = 1; cell <= 94; ++cell) {
      const std::string jis = {static_cast<char>(0x20 + row), static_cast<char>(0x20 + cell)};
      const std::string euc = {static_cast<char>(0xA0 + row), static_cast<char>(0xA0 + cell)};
      const std::string shown = ToCodePage932("\x1B$B" + jis + "\x1B(B", "iso-2022-jp");
      EXPECT_EQ(shown, ToCodePage932(euc, "euc-jp"));
      const std::string utf8 = ConvertBySystem("UTF-8", "EUC-JP-MS", euc);
      EXPECT_EQ(utf8.empty() ? "?" : ConvertBySystem("CP932", "UTF-8", utf8), shown)
          << row << "-" << cell;
      count += utf8.empty() ? 0 : 1;
    }
  }
  EXPECT_GT(count, 6879);  // the characters of JIS X 0208
}

// Only here: Windows has no code page of this set. Bytes by Python's codec iso2022_jp_2004.
TEST(Charset, JisX0213) {
  EXPECT_EQ(ToUtf8("\x1B$(Q.!$w-!\x1B$(P!!\x1B(B", "iso-2022-jp-3"), "俱か゚①𠂉");
}

// Japanese text is read whatever its label says, as long as it has kana.
TEST(Charset, ALabelThatTheBytesContradictLoses) {
  const std::string text = "㈱ミドリの見積表を、お送りします。";
  for (const char* encoding : {"CP932", "EUC-JP-MS", "UTF-8"}) {
    const std::string bytes = ConvertBySystem(encoding, "UTF-8", text);
    for (const char* label : {"", "us-ascii", "iso-2022-jp", "shift_jis", "euc-jp", "utf-8",
                              "iso-8859-1", "windows-1252", "koi8-r", "no-such-set"}) {
      EXPECT_EQ(ToUtf8(bytes, label), text) << encoding << " under " << label;
    }
  }
}

// Every character of the basic plane that the system's own converter puts into the code page.
TEST(CodePage932, EveryCharacterGoesWhereTheSystemPutsIt) {
  int count = 0;
  for (unsigned unit = 0x80; unit < 0x10000; ++unit) {
    if (unit >= 0xD800 && unit < 0xE000) continue;
    const std::string utf16 = {static_cast<char>(unit & 0xFF), static_cast<char>(unit >> 8)};
    const std::string utf8 = ConvertBySystem("UTF-8", "UTF-16LE", utf16);
    const std::string wanted = ConvertBySystem("CP932", "UTF-8", utf8);
    if (wanted.empty()) continue;
    EXPECT_EQ(CodePage932FromUtf8(utf8), wanted) << std::hex << unit;
    ++count;
  }
  EXPECT_GE(count, 7724 - 398 + 1880);
}

}  // namespace
}  // namespace nimport::text
