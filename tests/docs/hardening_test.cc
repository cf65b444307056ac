// What cmake/hardening.cmake asks for stands in the built files.
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

std::string Output(const std::string& command) {
  return RunProgram({"/bin/sh", "-c", command}).out;
}

struct Product {
  std::string file;
  std::string symbol;  // a function that is called through a pointer
  bool isProgram;
  bool hasCheckedCalls;       // of functions of which the C library has a checked form
  bool hasCheckedContainers;  // in some of its parts
};

const std::vector<Product> PRODUCTS = {
    {NIMPORT_BINARY_DIR "/lib/libnimport.so", "ML_Initialize", false, true, true},
    {NIMPORT_BINARY_DIR "/lib/libwexmail.so", "MT_Init", false, false, true},
    {NIMPORT_BINARY_DIR "/bin/nimport", "main", true, true, false},
    {NIMPORT_BINARY_DIR "/bin/mkstore", "main", true, true, false},
    {NIMPORT_BINARY_DIR "/bin/jetdump", "main", true, true, false},
};

class Hardening : public testing::TestWithParam<Product> {
 protected:
  void SetUp() override {
    if (std::string(NIMPORT_SANITIZE).empty()) return;
    GTEST_SKIP() << "sanitizers are built without it: " << NIMPORT_SANITIZE;
  }
};

TEST_P(Hardening, OfMemoryIsInTheHeaders) {
  const std::string headers = Output("readelf -W -h -l -d " + GetParam().file);
  EXPECT_THAT(headers, HasSubstr("GNU_RELRO"));
  EXPECT_THAT(headers, ContainsRegex("FLAGS_1[^\n]*NOW"));
  EXPECT_THAT(headers, ContainsRegex("GNU_STACK [^\n]* RW  0x"));
  EXPECT_THAT(headers, Not(HasSubstr("RWE")));
  EXPECT_THAT(headers, Not(HasSubstr("TEXTREL")));
  EXPECT_THAT(headers, ContainsRegex("Type: +DYN"));
  EXPECT_EQ(headers.find("Flags: NOW PIE") != headers.npos, GetParam().isProgram);
}

TEST_P(Hardening, OfFunctionsIsInTheCode) {
  const std::string needed = Output("nm -D --undefined-only " + GetParam().file);
  EXPECT_THAT(needed, HasSubstr("__stack_chk_fail@"));
#ifdef __GLIBCXX__
  if (GetParam().hasCheckedContainers) {
    EXPECT_THAT(needed, HasSubstr("__glibcxx_assert_fail"));
  }
#endif
#ifdef NIMPORT_IS_FORTIFIED
  if (GetParam().hasCheckedCalls) {
    EXPECT_THAT(needed, ContainsRegex("__[a-z]+_chk@"));
  }
#endif
#ifdef __x86_64__
  EXPECT_THAT(Output("readelf -n " + GetParam().file), HasSubstr("SHSTK"));
  const std::string code = Output(
      "objdump -d --no-show-raw-insn --disassemble=" + GetParam().symbol + ' ' + GetParam().file);
  EXPECT_THAT(code, ContainsRegex(GetParam().symbol + ">:\n[^\n]*endbr64"));
#endif
}

INSTANTIATE_TEST_SUITE_P(Products, Hardening, testing::ValuesIn(PRODUCTS),
                         [](const auto& instance) {
                           const std::string& file = instance.param.file;
                           const std::string name = file.substr(file.rfind('/') + 1);
                           return name.substr(0, name.find('.'));
                         });

}  // namespace
}  // namespace nimport::tests
