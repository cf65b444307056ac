// The MIME library as the core uses it. Text is code page 932. Whatever the library hands out is
// released here, on every path.
#ifndef NIMPORT_PLUGIN_MIME_LIBRARY_MIME_SESSION_H_
#define NIMPORT_PLUGIN_MIME_LIBRARY_MIME_SESSION_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "plugin/mime_library/mime_library.h"

namespace nimport::plugin {

// The library's answer for "done".
inline constexpr std::int32_t MIME_SUCCESS = 1;

// Memory that the library has handed out; released by it. Must not outlive its MimeSession.
struct LibraryFree {
  wexmail::MT_FreeFunction* function = nullptr;
  void operator()(void* memory) const { function(memory); }
};
using LibraryMemory = std::unique_ptr<void, LibraryFree>;

// Texts that the library hands out together: an array of items and one of pointers to their
// lengths.
class ItemList {
 public:
  ItemList(LibraryMemory items, LibraryMemory lengths)
      : items_(std::move(items)), lengths_(std::move(lengths)) {}

  // The text, which lives as long as this list. Empty when the library gave none, or one of a
  // length that cannot be true. `index` is below the count that came with the list.
  [[nodiscard]] std::optional<std::string_view> Find(std::int32_t index) const;

 private:
  LibraryMemory items_;
  LibraryMemory lengths_;
};

// The attachments of a parsed mail. Must not outlive its MimeSession.
struct Attachments {
  std::int32_t count = 0;  // below 1 when there are none
  ItemList contentTypes;
  ItemList fileNames;
  ItemList contents;
};

// The parts of one content type. Must not outlive its MimeSession.
struct Parts {
  std::int32_t count = 0;
  ItemList headers;
  ItemList bodies;
};

enum class MainPartWanted {
  Nothing,  // only to move on
  ContentType,
  ContentTypeAndContents,
};

struct MainPart {
  std::int32_t result = 0;  // MIME_SUCCESS, or the library failed
  std::string contentType;  // empty unless wanted
  std::string contents;
};

// A session of the library, with one parsed mail at a time. Belongs to one thread at a time.
class MimeSession {
 public:
  // Loads the library and starts a session. Null when it cannot be loaded or cannot work.
  [[nodiscard]] static std::unique_ptr<MimeSession> Open(platform::ModuleLoader& loader);

  // Ends the session and unloads the library.
  ~MimeSession();
  MimeSession(const MimeSession&) = delete;
  MimeSession& operator=(const MimeSession&) = delete;

  // Makes `text` the parsed mail. The library's result: MIME_SUCCESS when it was parsed. 0 when it
  // is too long for the library.
  [[nodiscard]] std::int32_t Parse(const std::string& text);

  // Header fields of the parsed mail, decoded. Empty when the library fails.
  [[nodiscard]] std::optional<std::string> GetSubject() const;
  [[nodiscard]] std::optional<std::string> GetFrom() const;
  [[nodiscard]] std::optional<std::string> GetTo() const;
  [[nodiscard]] std::optional<std::string> GetMessageId() const;
  [[nodiscard]] std::optional<std::string> GetSendDate() const;

  // The position of the first main part; 0 when there is none.
  [[nodiscard]] std::int32_t MainHeadPosition() const;

  // The main part at `position`, which moves on to the next one, 0 after the last. Where the
  // library leaves the position as it was, it becomes 0, so that a walk always ends.
  [[nodiscard]] MainPart MainNext(std::int32_t& position, MainPartWanted wanted) const;

  // The number of attachments, as the library says it.
  [[nodiscard]] std::int32_t AttachCount() const;
  [[nodiscard]] Attachments GetAttachments() const;

  // The parts of a content type ("image/gif"). Empty when the library fails.
  [[nodiscard]] std::optional<Parts> GetParts(const std::string& contentType) const;

 private:
  explicit MimeSession(std::unique_ptr<MimeLibrary> library);

  [[nodiscard]] std::optional<std::string> GetHeader(std::size_t entryPoint) const;
  [[nodiscard]] LibraryMemory Own(void* memory) const;

  std::unique_ptr<MimeLibrary> library_;
  std::int32_t session_ = 0;
};

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MIME_LIBRARY_MIME_SESSION_H_
