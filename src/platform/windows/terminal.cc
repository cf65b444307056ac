#include "platform/terminal.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <streambuf>
#include <string_view>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

// After windows.h, whose types they use.
#include <shellapi.h>

#include "platform/windows/wide_text.h"

namespace nimport::platform {
namespace {

constexpr std::size_t USUAL_COLUMNS = 80;

HANDLE HandleOf(StandardStream stream) {
  return GetStdHandle(stream == StandardStream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

// Shows UTF-8 on a console.
class ConsoleBuffer final : public std::streambuf {
 public:
  explicit ConsoleBuffer(HANDLE console) : console_(console) {}

 protected:
  int_type overflow(int_type byte) override {
    if (traits_type::eq_int_type(byte, traits_type::eof())) return traits_type::not_eof(byte);
    const char character = traits_type::to_char_type(byte);
    return xsputn(&character, 1) == 1 ? byte : traits_type::eof();
  }
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    waiting_.append(bytes, static_cast<std::size_t>(count));
    return waiting_.size() < MAX_WAITING || sync() == 0 ? count : 0;
  }
  int sync() override {
    const std::size_t size = WholeCharacters();
    const std::wstring wide = windows::WideFromUtf8(std::string_view(waiting_).substr(0, size));
    waiting_.erase(0, size);
    for (std::size_t done = 0; done < wide.size();) {
      // The console refuses much at once.
      const auto wanted = static_cast<DWORD>(std::min<std::size_t>(wide.size() - done, 4096));
      DWORD written = 0;
      if (WriteConsoleW(console_, wide.data() + done, wanted, &written, nullptr) == FALSE)
        return -1;
      done += written;
    }
    return 0;
  }

 private:
  static constexpr std::size_t MAX_WAITING = 4096;

  // Without the beginning of a character at the end.
  [[nodiscard]] std::size_t WholeCharacters() const {
    std::size_t size = waiting_.size();
    for (std::size_t tail = 1; tail <= 3 && tail <= waiting_.size(); ++tail) {
      const auto byte = static_cast<unsigned char>(waiting_[waiting_.size() - tail]);
      if (byte < 0x80) break;
      if (byte < 0xC0) continue;
      const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
      if (length > tail) size -= tail;
      break;
    }
    return size;
  }

  HANDLE console_;
  std::string waiting_;
};

}  // namespace

bool IsTerminal(StandardStream stream) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != FALSE;
}

std::size_t TerminalColumns(StandardStream stream) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(HandleOf(stream), &info) == FALSE) return USUAL_COLUMNS;
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left) + 1;
}

bool HasOutputNoReader() {
  // Writing to a pipe without a reader fails, and nothing else tells.
  return GetLastError() == ERROR_NO_DATA || GetLastError() == ERROR_BROKEN_PIPE;
}

// Those that the C library has made of them have lost what is not in the system's code page.
std::vector<std::string> ReadArguments(int /*argc*/, const char* const* /*argv*/) {
  int count = 0;
  const std::unique_ptr<wchar_t*, decltype(&LocalFree)> wide(
      CommandLineToArgvW(GetCommandLineW(), &count), LocalFree);
  std::vector<std::string> arguments;
  for (int i = 0; i < count; ++i)
    arguments.push_back(windows::Utf8FromWide(wide.get()[i]));
  return arguments;
}

namespace {

// Puts a buffer of our own beneath a stream whose handle is a console's.
class Redirection {
 public:
  Redirection(std::ostream& stream, StandardStream which) : stream_(stream) {
    if (!IsTerminal(which)) return;
    buffer_.emplace(HandleOf(which));
    former_ = stream.rdbuf(&*buffer_);
  }
  ~Redirection() {
    stream_.flush();
    if (buffer_) stream_.rdbuf(former_);
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  std::ostream& stream_;
  std::optional<ConsoleBuffer> buffer_;
  std::streambuf* former_ = nullptr;
};

}  // namespace

struct StandardStreams::State {
  Redirection output{std::cout, StandardStream::Output};
  Redirection error{std::cerr, StandardStream::Error};
};

StandardStreams::StandardStreams() {
  // Line ends stay as they are.
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  state_ = std::make_unique<State>();
}

StandardStreams::~StandardStreams() = default;

}  // namespace nimport::platform
