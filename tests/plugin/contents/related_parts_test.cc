#include "plugin/contents/related_parts.h"

#include <chrono>
#include <utility>

#include <gtest/gtest.h>

#include "common/failure.h"

namespace nimport::plugin {
namespace {

using plugin::RelatedPart;

// The parts as "type#occurrence, type#occurrence", and " !" after them where the scan fails.
std::string Scan(std::string_view text) {
  std::vector<RelatedPart> parts = {
      {.occurrence = 7, .contentType = text::ValueText::Cut("old/one")}};
  std::string suffix;
  try {
    BuildRelatedParts(text, parts);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), RESULT_INVALID);
    suffix = " !";
  }
  std::string result;
  for (const RelatedPart& part : parts) {
    result += (result.empty() ? "" : ", ") + part.contentType.str() + "#" +
              std::to_string(part.occurrence);
  }
  return result + suffix;
}

std::string Top(const std::string& boundary) {
  return "Subject: x\r\nContent-Type: multipart/related; type=\"text/html\";\r\n boundary=\"" +
         boundary + "\"\r\n\r\n";
}

std::string Part(const std::string& header) {
  return "--b1\r\n" + header + "\r\n\r\nbytes\r\n";
}

std::string Part(const std::string& header, const std::string& contentType) {
  return Part(header + "Content-Type: " + contentType);
}

// Which parts are found in which structures: see reachable_parts_test.cc.
TEST(BuildRelatedParts, RecordsPartsThatAreNeitherTextNorMultipart) {
  const std::string html = Part("", "text/html; charset=utf-8");
  const std::pair<std::string, std::string> cases[] = {
      {Top("b1") + html + Part("", "image/gif") + Part("", "image/gif") + Part("", "image/png") +
           "--b1--\r\n",
       "image/gif#0, image/gif#1, image/png#0"},
      {"Content-Type: text/plain\r\n\r\nno structure", ""},
      // The structure may stand inside another one.
      {"Content-Type: multipart/mixed; boundary=\"m\"\r\n\r\n--m\r\n" + Top("b1") + html +
           Part("", "image/gif") + "--b1--\r\n--m\r\nContent-Type: image/png\r\n\r\n--m--\r\n",
       "image/gif#0"},
      {Top("b1") + Part("X: y\r\n", "  image/gif ; name=\"a.gif\"\r\nContent-ID: <1>") + "--b1--",
       "image/gif #0"},
      {Top("b1") + Part("", "image/gif") + Part("", "IMAGE/GIF") + Part("", "text/css") +
           Part("", "multipart/alternative; boundary=x") + Part("", "image/gif; x=context") +
           "--b1--",
       "image/gif#0, IMAGE/GIF#0"},
      {Top("b1") + Part("content-TYPE: image/gif\r\nContent-Type: image/png") + "--b1--",
       "image/png#0"},
  };
  for (const auto& [text, wanted] : cases)
    EXPECT_EQ(Scan(text), wanted) << text;
}

TEST(BuildRelatedParts, KeepsWhatItFoundWhenTheStructureIsNotSound) {
  const std::string gif = Part("", "image/gif");
  using std::string_literals::operator""s;
  const std::pair<std::string, std::string> cases[] = {
      {"multipart/related; boundary=b1\r\n\r\n" + gif + "--b1--", " !"},
      {"multipart/related; boundary=\"b1", " !"},
      {"boundary=\"b1\" multipart/related; " + gif + "--b1--", " !"},
      {Top("b1") + gif, " !"},
      {Top("b1") + "\0--b1--"s, " !"},  // the text ends there
      {Top("b1") + gif + "--b1\r\n\r\n--b1--", "image/gif#0 !"},
      {Top("b1") + gif + "--b1\r\nContent-Type: image/png\r\n--b1--", "image/gif#0 !"},
      {Top("b1") + gif + Part("Content-Type image/png") + "--b1--", "image/gif#0 !"},
      // The content type that the last part lacks stands after the end of the structure.
      {Top("b1") + gif + Part("X: y") + "--b1--\r\n" + Part("", "image/png"),
       "image/gif#0, image/png#0 !"},
      {Top(std::string(4093, 'b')) + "x" + std::string(4093, 'b') + "--", ""},
      {Top(std::string(4094, 'b')) + "x" + std::string(4094, 'b') + "--", " !"},
      {Top("") + "Content-Type: image/gif\r\n\r\n--", "image/gif#0 !"},
  };
  for (const auto& [text, wanted] : cases)
    EXPECT_EQ(Scan(text), wanted) << text;
}

// Texts that make a simple search go back again and again.
TEST(BuildRelatedParts, TakesLinearTime) {
  constexpr std::size_t SIZE = 4'000'000;
  const auto begin = std::chrono::steady_clock::now();
  const std::string run(4000, 'a');
  EXPECT_EQ(Scan(Top(run + "b") + std::string(SIZE, 'a')), " !");
  EXPECT_EQ(Scan(Top("b" + run) + std::string(SIZE, 'a')), " !");
  std::string manyParts = Top("b1");
  for (int i = 0; manyParts.size() < SIZE; ++i) {
    manyParts += Part("", "image/" + std::to_string(i));
  }
  std::vector<RelatedPart> parts;
  BuildRelatedParts(manyParts + "--b1--", parts);
  EXPECT_GT(parts.size(), SIZE / 50);
  EXPECT_EQ(Scan(Top("b") + std::string(SIZE, 'b') + "--"), " !");
  // Each takes well under a second; starting over at every byte takes minutes.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

TEST(ExtensionForContentType, TakesTheSubtype) {
  const std::optional<std::string> none;
  const std::pair<std::string, std::optional<std::string>> cases[] = {
      {"text/plain", ".txt"},
      {"text/plain; charset=us-ascii", ".txt"},
      {"text/plain ; charset=us-ascii", ".txt"},
      {"text/x", ".txt"},
      {"text/plai", ".txt"},
      {"text/plain  ", ".plain  "},
      {"text/Plain", ".Plain"},
      {"text/html; charset=us-ascii", ".html"},
      {"text/html ;x", ".html "},
      {"image/gif", ".gif"},
      {"image/png", ".png"},
      {"application/octet-stream", ".octet-stream"},
      {"a/b/c", ".b/c"},
      {"text/", "."},
      {"text/;x", "."},
      {"text", none},
      {"", none},
      {"a/" + std::string(258, 'x') + ";y", "." + std::string(258, 'x')},
  };
  for (const auto& [contentType, wanted] : cases) {
    EXPECT_EQ(ExtensionForContentType(contentType), wanted) << contentType;
  }
  EXPECT_THROW((void)ExtensionForContentType("a/" + std::string(259, 'x')), Failure);
}

}  // namespace
}  // namespace nimport::plugin
