#include "host/diagnostics.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace nimport::host {
namespace {

// Writes as the plug-in does: to the descriptor that the environment names.
void WriteLine(const std::string& line) {
  const std::string target = std::getenv("NIMPORT_DIAGNOSTICS");
  ASSERT_TRUE(target.starts_with("fd:")) << target;
  const std::string text = line + '\n';
  ASSERT_EQ(write(std::stoi(target.substr(3)), text.data(), text.size()), std::ssize(text));
}

TEST(Diagnostics, ReasonBelongsToTheCallThatFailed) {
  Diagnostics diagnostics;
  WriteLine(R"({"function":"ML_GetMailTo","code":-3,"reason":"other"})");
  WriteLine(
      R"({"function":"ML_GetMailSource","code":-2,"reason":"page 7 is torn","file":"/a.mdb"})");
  EXPECT_EQ(diagnostics.TakeReason("ML_GetMailSource", -2), "page 7 is torn [/a.mdb]");
  EXPECT_EQ(diagnostics.TakeReason("ML_GetMailSource", -2), "")
      << "an old reason must not come back";
}

TEST(Diagnostics, DamageThatWasSteppedOverIsKeptApart) {
  Diagnostics diagnostics;
  WriteLine(R"({"function":"ML_OpenMailDataFile","code":0,"reason":"row lost","page":9,"slot":2})");
  EXPECT_EQ(diagnostics.TakeReason("ML_OpenMailDataFile", 0), "");
  const std::vector<DiagnosticRecord> losses = diagnostics.TakeLosses();
  ASSERT_EQ(losses.size(), 1U);
  EXPECT_EQ(losses[0].reason, "row lost");
  EXPECT_EQ(losses[0].page, 9);
  EXPECT_TRUE(diagnostics.TakeLosses().empty());
}

TEST(Diagnostics, MoreThanAPipeHoldsDoesNotBlock) {
  Diagnostics diagnostics;
  for (int i = 0; i < 20'000; ++i) {
    WriteLine(R"({"function":"F","code":-3,"reason":"number )" + std::to_string(i) + "\"}");
  }
  EXPECT_EQ(diagnostics.TakeReason("F", -3), "number 19999");
  WriteLine(R"({"function":"F","code":-3,"reason":"after"})");
  EXPECT_EQ(diagnostics.TakeReason("F", -3), "after");
}

TEST(Diagnostics, WhatIsNoRecordIsIgnored) {
  for (const char* line : {"", "x", "[1]", "{\"function\":", "3"}) {
    EXPECT_FALSE(ParseDiagnosticRecord(line)) << line;
  }
  const auto odd = ParseDiagnosticRecord(R"({"function":5,"code":"x","page":-1.5,"reason":null})");
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->function, "");
  EXPECT_FALSE(odd->page);
}

TEST(Diagnostics, SilenceEnds) {
  const Diagnostics diagnostics;
  {
    const Diagnostics::Silence silence(diagnostics);
    EXPECT_EQ(std::getenv("NIMPORT_DIAGNOSTICS"), nullptr);
    EXPECT_STREQ(std::getenv("NIMPORT_SALVAGE"), "1");
  }
  ASSERT_NE(std::getenv("NIMPORT_DIAGNOSTICS"), nullptr);
}

}  // namespace
}  // namespace nimport::host
