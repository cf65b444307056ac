#include "wexmail/library.h"

#include <gtest/gtest.h>
#include <iconv.h>

namespace nimport::mime {
namespace {

std::string TakeText(char* text, std::int32_t length) {
  std::string result(text, static_cast<std::size_t>(length));
  MT_Free(text);
  return result;
}

// Copies the items of one pair of arrays and releases both.
std::vector<std::string> TakeItems(char** items, std::int32_t** lengths, std::int32_t count) {
  std::vector<std::string> result;
  for (std::int32_t i = 0; i < count; ++i) {
    result.emplace_back(items[i], static_cast<std::size_t>(*lengths[i]));
  }
  MT_Free(items);
  MT_Free(lengths);
  return result;
}

}  // namespace

void PrintTo(const MainPart& part, std::ostream* out) {
  *out << part.type << ": " << testing::PrintToString(part.contents);
}

void PrintTo(const Attachment& attachment, std::ostream* out) {
  *out << attachment.type << " \"" << attachment.fileName
       << "\": " << testing::PrintToString(attachment.contents);
}

std::int32_t Library::Parse(const std::string& mail) const {
  return MT_ParseMailText(session_, mail.c_str(), static_cast<std::int32_t>(mail.size() + 1));
}

std::optional<std::string> Library::HeaderText(wexmail::MT_GetHeaderTextFunction* function) const {
  char* text = nullptr;
  std::int32_t length = -1;
  if (function(session_, &text, &length) != 1) return std::nullopt;
  EXPECT_NE(text, nullptr);
  return TakeText(text, length);
}

std::vector<MainPart> Library::Mains() const {
  std::vector<MainPart> mains;
  std::int32_t position = MT_GetMainHeadPosition(session_);
  while (position != 0) {
    char* type = nullptr;
    char* contents = nullptr;
    std::int32_t typeLength = -1;
    std::int32_t contentsLength = -1;
    EXPECT_EQ(1, MT_GetMainNext(session_, &position, &type, &typeLength, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, &contents, &contentsLength, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    mains.push_back({TakeText(type, typeLength), TakeText(contents, contentsLength)});
  }
  return mains;
}

std::vector<Attachment> Library::Attachments() const {
  char** items[5] = {};
  std::int32_t** lengths[5] = {};
  const std::int32_t count =
      MT_GetAttach(session_, &items[0], &lengths[0], &items[1], &lengths[1], &items[2], &lengths[2],
                   &items[3], &lengths[3], &items[4], &lengths[4]);
  EXPECT_EQ(count, MT_GetAttachCount(session_));
  std::vector<std::string> answers[5];
  for (int i = 0; i < 5; ++i)
    answers[i] = TakeItems(items[i], lengths[i], count);
  std::vector<Attachment> attachments;
  for (std::size_t i = 0; i < answers[0].size(); ++i) {
    attachments.push_back({answers[0][i], answers[2][i], answers[4][i]});
  }
  return attachments;
}

std::vector<FoundPart> Library::Parts(const std::string& contentType) const {
  std::int32_t count = -1;
  void* unused4 = nullptr;
  void* unused5 = nullptr;
  char** headers = nullptr;
  char** bodies = nullptr;
  std::int32_t** headerLengths = nullptr;
  std::int32_t** bodyLengths = nullptr;
  EXPECT_EQ(1, MT_GetPartD(session_, contentType.c_str(), &count, &unused4, &unused5, &headers,
                           &headerLengths, &bodies, &bodyLengths));
  MT_Free(unused4);
  MT_Free(unused5);
  const std::vector<std::string> headerTexts = TakeItems(headers, headerLengths, count);
  const std::vector<std::string> bodyTexts = TakeItems(bodies, bodyLengths, count);
  std::vector<FoundPart> parts;
  for (std::size_t i = 0; i < headerTexts.size(); ++i) {
    parts.push_back({headerTexts[i], bodyTexts[i]});
  }
  return parts;
}

std::string Crlf(std::string_view text) {
  std::string result;
  for (const char character : text) {
    if (character == '\n') result += '\r';
    result += character;
  }
  return result;
}

std::string Cp932(std::string_view utf8) {
  const iconv_t handle = iconv_open("CP932", "UTF-8");
  std::string result(2 * utf8.size() + 1, '\0');
  char* in = const_cast<char*>(utf8.data());
  std::size_t inLeft = utf8.size();
  char* out = result.data();
  std::size_t outLeft = result.size();
  EXPECT_NE(iconv(handle, &in, &inLeft, &out, &outLeft), static_cast<std::size_t>(-1)) << utf8;
  iconv_close(handle);
  result.resize(result.size() - outLeft);
  return result;
}

}  // namespace nimport::mime
