// The exports as tests call them: answers as values, handles found by position.
#ifndef NIMPORT_TESTS_INTERFACE_PLUG_IN_H_
#define NIMPORT_TESTS_INTERFACE_PLUG_IN_H_

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>

#include "nimport/nimport.h"

namespace nimport::test {

// A text answer: the code, and the bytes in code page 932 when it is 0.
struct TextAnswer {
  ResultCode code = 77;
  std::string text;
  friend bool operator==(const TextAnswer&, const TextAnswer&) = default;
  friend std::ostream& operator<<(std::ostream& out, const TextAnswer& answer) {
    return out << "{" << answer.code << ", \"" << answer.text << "\"}";
  }
};

// Calls `get(&record)` and takes the text out of the record.
template <typename Get>
TextAnswer AskText(Get get) {
  ResultString record{nullptr, ENCODING_CODE_PAGE_932, 0, nullptr};
  TextAnswer answer;
  answer.code = get(&record);
  if (answer.code == RESULT_OK && record.buffer != nullptr) {
    answer.text.assign(static_cast<const char*>(record.buffer),
                       static_cast<std::size_t>(record.length));
  }
  if (record.release != nullptr) record.release(record.buffer);
  return answer;
}

struct NumberAnswer {
  ResultCode code = 77;
  std::int32_t value = 77;  // 77 where nothing was written
  friend bool operator==(const NumberAnswer&, const NumberAnswer&) = default;
  friend std::ostream& operator<<(std::ostream& out, const NumberAnswer& answer) {
    return out << "{" << answer.code << ", " << answer.value << "}";
  }
};

template <typename Get>
NumberAnswer AskNumber(Get get) {
  NumberAnswer answer;
  answer.code = get(&answer.value);
  return answer;
}

// UTF-16 as the exports take it, which is wchar_t on Windows.
inline const NimportChar16* AsArgument(const char16_t* text) {
  return reinterpret_cast<const NimportChar16*>(text);
}

// The native path of a temporary file: elsewhere than on Windows tests run with drive Z as the root
// of the file system.
inline std::string NativePath(std::string windowsPath) {
#if defined(_WIN32)
  return windowsPath;
#endif
  std::ranges::replace(windowsPath, '\\', '/');
  return windowsPath.substr(2);
}

// The inverse, for names that a host gives.
inline std::string HostPath(const std::filesystem::path& nativePath) {
  std::string path = nativePath.string();
#if !defined(_WIN32)
  path = "Z:" + path;
  std::replace(path.begin(), path.end(), '/', '\\');
#endif
  return path;
}

inline std::string ReadFile(const std::string& nativePath) {
  std::ifstream file(nativePath, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A mail session, closed at the end.
class MailSession {
 public:
  MailSession() { code_ = ML_Initialize(&session_); }
  ~MailSession() {
    if (session_ != nullptr) ML_Terminate(session_);
  }
  MailSession(const MailSession&) = delete;
  MailSession& operator=(const MailSession&) = delete;

  [[nodiscard]] ResultCode code() const { return code_; }
  [[nodiscard]] HandleNode* get() const { return session_; }

  // What an export that takes a session first and a place for a text, or a number, last answers.
  template <typename Get, typename... Arguments>
  [[nodiscard]] TextAnswer Text(Get ask, Arguments... arguments) const {
    return AskText([&](ResultString* out) { return ask(session_, arguments..., out); });
  }
  template <typename Get, typename... Arguments>
  [[nodiscard]] NumberAnswer Number(Get ask, Arguments... arguments) const {
    return AskNumber([&](std::int32_t* out) { return ask(session_, arguments..., out); });
  }

  // The user, with the folders loaded; null on failure.
  HandleNode* User() {
    std::int32_t count = 0;
    HandleNode* user = nullptr;
    if (ML_GetUserCount(session_, &count) != RESULT_OK) return nullptr;
    ML_GetUser(session_, 0, &user);
    return user;
  }

  HandleNode* Child(HandleNode* parent, std::int32_t index) {
    HandleNode* child = nullptr;
    ML_GetChildFolder(session_, parent, index, &child);
    return child;
  }

  // Folder `folder` of cabinet `cabinet`, both by position, opened.
  HandleNode* OpenFolder(std::int32_t cabinet, std::int32_t folder) {
    HandleNode* node = Child(Child(User(), cabinet), folder);
    return ML_OpenMailDataFile(session_, node) == RESULT_OK ? node : nullptr;
  }

 private:
  HandleNode* session_ = nullptr;
  ResultCode code_;
};

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_INTERFACE_PLUG_IN_H_
