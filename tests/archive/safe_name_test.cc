#include "archive/safe_name.h"

#include <gtest/gtest.h>

namespace nimport::archive {
namespace {

TEST(SafeName, NeverLeavesItsDirectory) {
  const struct {
    std::string text;
    std::string name;
  } cases[] = {
      {"受信 #1", "受信 #1"},
      {"a/b\\c:d*e?f\"g<h>i|j", "a_b_c_d_e_f_g_h_i_j"},
      {".", "_"},
      {"..", "_"},
      {"../../etc/passwd", "_._.._etc_passwd"},
      {".hidden", "_hidden"},
      {"", "_"},
      {"  ", "_"},
      {"end. ", "end"},
      {std::string("a\0b\nc\x7F", 6), "a_b_c_"},
      {"\xC2\x85x", "_x"},
      {"\u202Elme.exe\u2069", "_lme.exe_"},
      {"caf\u00E9 \U0001F600", "caf\u00E9 \U0001F600"},
      {"a\xFF\xE8\xA1", "a__"},
      {"con", "_con"},
      {"NUL.old.txt", "_NUL.old.txt"},
      {"Aux .x", "_Aux .x"},
      {"COM1. ", "_COM1"},
      {"lpt\u00B2", "_lpt\u00B2"},
      {"CONTENTS", "CONTENTS"},
      {"COM10", "COM10"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ToSafeName(c.text), c.name);
  EXPECT_EQ(ToSafeName(std::string(300, 'x')).size(), MAX_NAME_BYTES);
  EXPECT_EQ(ToSafeName("表表", 4), "表");
}

TEST(UniqueNames, EachNameOnce) {
  UniqueNames names;
  EXPECT_EQ(names.Take("a"), "a");
  EXPECT_EQ(names.Take("A"), "A (2)");
  EXPECT_EQ(names.Take("a (2)"), "a (2) (2)");
  EXPECT_EQ(names.Take("a"), "a (3)");
  EXPECT_EQ(names.Take("\u00C9ｶﾞ"), "\u00C9ｶﾞ");
  EXPECT_EQ(names.Take("\u00E9ｶﾞ"), "\u00E9ｶﾞ (2)");
  EXPECT_EQ(names.Take("が"), "が");
  EXPECT_EQ(names.Take("か\u3099"), "か\u3099 (2)") << "some systems store one for the other";
}

}  // namespace
}  // namespace nimport::archive
