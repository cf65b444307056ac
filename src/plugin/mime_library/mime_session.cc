#include "plugin/mime_library/mime_session.h"

#include <limits>
#include <utility>

namespace nimport::plugin {
namespace {

// No text of a mail is longer, and no mail has more parts. What claims to be is the library's
// fault.
constexpr std::int32_t MAX_TEXT_BYTES = 1 << 30;
constexpr std::int32_t MAX_ITEMS = 1 << 20;

// A text of the library, which gives a pointer and a length.
std::optional<std::string_view> ToText(const void* text, std::int32_t length) {
  if (length < 0 || length > MAX_TEXT_BYTES) return std::nullopt;
  if (length == 0) return std::string_view();
  if (text == nullptr) return std::nullopt;
  return std::string_view(static_cast<const char*>(text), static_cast<std::size_t>(length));
}

// Takes `text` over into `target`; false when the library's claim about it cannot be true.
bool Take(std::string& target, const LibraryMemory& text, std::int32_t length) {
  const std::optional<std::string_view> view = ToText(text.get(), length);
  if (view) target = *view;
  return view.has_value();
}

}  // namespace

std::optional<std::string_view> ItemList::Find(std::int32_t index) const {
  const auto* items = static_cast<const char* const*>(items_.get());
  const auto* lengths = static_cast<const std::int32_t* const*>(lengths_.get());
  if (items == nullptr || lengths == nullptr || lengths[index] == nullptr) return std::nullopt;
  return ToText(items[index], *lengths[index]);
}

std::unique_ptr<MimeSession> MimeSession::Open(platform::ModuleLoader& loader) {
  std::unique_ptr<MimeLibrary> library = LoadMimeLibrary(loader);
  if (!library) return nullptr;
  std::unique_ptr<MimeSession> session(new MimeSession(std::move(library)));
  session->session_ =
      session->library_->EntryPoint<wexmail::MT_InitFunction>(EntryPointIndex("MT_Init"))();
  if (session->session_ == 0) return nullptr;
  return session;
}

MimeSession::MimeSession(std::unique_ptr<MimeLibrary> library) : library_(std::move(library)) {}

MimeSession::~MimeSession() {
  if (session_ == 0) return;
  library_->EntryPoint<wexmail::MT_TermFunction>(EntryPointIndex("MT_Term"))(session_);
}

LibraryMemory MimeSession::Own(void* memory) const {
  return {memory, {library_->EntryPoint<wexmail::MT_FreeFunction>(EntryPointIndex("MT_Free"))}};
}

std::int32_t MimeSession::Parse(const std::string& text) {
  if (text.size() >= std::numeric_limits<std::int32_t>::max()) return 0;
  auto* const parse =
      library_->EntryPoint<wexmail::MT_ParseMailTextFunction>(EntryPointIndex("MT_ParseMailText"));
  return parse(session_, text.c_str(), static_cast<std::int32_t>(text.size() + 1));
}

std::optional<std::string> MimeSession::GetHeader(std::size_t entryPoint) const {
  char* rawText = nullptr;
  std::int32_t length = 0;
  const std::int32_t result = library_->EntryPoint<wexmail::MT_GetHeaderTextFunction>(entryPoint)(
      session_, &rawText, &length);
  const LibraryMemory text = Own(rawText);
  std::string header;
  if (result != MIME_SUCCESS || !Take(header, text, length)) return std::nullopt;
  return header;
}

std::optional<std::string> MimeSession::GetSubject() const {
  return GetHeader(EntryPointIndex("MT_GetSubjectD"));
}

std::optional<std::string> MimeSession::GetFrom() const {
  return GetHeader(EntryPointIndex("MT_GetFromD"));
}

std::optional<std::string> MimeSession::GetTo() const {
  return GetHeader(EntryPointIndex("MT_GetToD"));
}

std::optional<std::string> MimeSession::GetMessageId() const {
  return GetHeader(EntryPointIndex("MT_GetMessageIDD"));
}

std::optional<std::string> MimeSession::GetSendDate() const {
  return GetHeader(EntryPointIndex("MT_GetSendDateD"));
}

std::int32_t MimeSession::MainHeadPosition() const {
  return library_->EntryPoint<wexmail::MT_GetMainHeadPositionFunction>(
      EntryPointIndex("MT_GetMainHeadPosition"))(session_);
}

MainPart MimeSession::MainNext(std::int32_t& position, MainPartWanted wanted) const {
  const bool wantsType = wanted != MainPartWanted::Nothing;
  const bool wantsContents = wanted == MainPartWanted::ContentTypeAndContents;
  char* rawType = nullptr;
  char* rawContents = nullptr;
  std::int32_t typeLength = 0;
  std::int32_t contentsLength = 0;
  const std::int32_t before = position;
  MainPart part;
  part.result = library_->EntryPoint<wexmail::MT_GetMainNextFunction>(
      EntryPointIndex("MT_GetMainNext"))(
      session_, &position, wantsType ? &rawType : nullptr, wantsType ? &typeLength : nullptr,
      nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, wantsContents ? &rawContents : nullptr,
      wantsContents ? &contentsLength : nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
      nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
  if (position == before) position = 0;
  const LibraryMemory type = Own(rawType);
  const LibraryMemory contents = Own(rawContents);
  if (!Take(part.contentType, type, typeLength) || !Take(part.contents, contents, contentsLength)) {
    part.result = 0;
  }
  return part;
}

std::int32_t MimeSession::AttachCount() const {
  return library_->EntryPoint<wexmail::MT_GetAttachCountFunction>(
      EntryPointIndex("MT_GetAttachCount"))(session_);
}

Attachments MimeSession::GetAttachments() const {
  constexpr std::size_t PAIRS = 5;  // content types, unused, file names, unused, contents
  std::array<char**, PAIRS> items{};
  std::array<std::int32_t**, PAIRS> lengths{};
  std::int32_t count =
      library_->EntryPoint<wexmail::MT_GetAttachFunction>(EntryPointIndex("MT_GetAttach"))(
          session_, &items[0], &lengths[0], &items[1], &lengths[1], &items[2], &lengths[2],
          &items[3], &lengths[3], &items[4], &lengths[4]);
  if (count > MAX_ITEMS) count = 0;
  const auto own = [&](std::size_t i) { return ItemList(Own(items[i]), Own(lengths[i])); };
  const ItemList unused[] = {own(1), own(3)};
  return {.count = count, .contentTypes = own(0), .fileNames = own(2), .contents = own(4)};
}

std::optional<Parts> MimeSession::GetParts(const std::string& contentType) const {
  std::int32_t count = 0;
  void* unused[2] = {};
  char** headers = nullptr;
  char** bodies = nullptr;
  std::int32_t** headerLengths = nullptr;
  std::int32_t** bodyLengths = nullptr;
  const std::int32_t result = library_->EntryPoint<wexmail::MT_GetPartDFunction>(
      EntryPointIndex("MT_GetPartD"))(session_, contentType.c_str(), &count, &unused[0], &unused[1],
                                      &headers, &headerLengths, &bodies, &bodyLengths);
  const LibraryMemory ownedUnused[] = {Own(unused[0]), Own(unused[1])};
  Parts parts{.count = count,
              .headers = ItemList(Own(headers), Own(headerLengths)),
              .bodies = ItemList(Own(bodies), Own(bodyLengths))};
  if (result != MIME_SUCCESS || count < 0 || count > MAX_ITEMS) return std::nullopt;
  return parts;
}

}  // namespace nimport::plugin
