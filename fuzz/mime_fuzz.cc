// A mail through the MIME library, as the plug-in asks it: parsed, and everything got from it.
#include <memory>
#include <string>

#include "fuzz_input.h"
#include "platform/platform.h"
#include "plugin/mime_library/mime_session.h"

using nimport::fuzz::Check;
using namespace nimport::plugin;

namespace {

void ReadList(const ItemList& list, std::int32_t count) {
  std::size_t bytes = 0;
  for (std::int32_t i = 0; i < count; ++i) {
    for (const char byte : list.Find(i).value_or(""))
      bytes += static_cast<unsigned char>(byte);
  }
  Check(bytes + 1 != 0);
}

void ReadMain(const MimeSession& session) {
  std::int32_t position = session.MainHeadPosition();
  for (int count = 0; position != 0 && count < 10; ++count)
    (void)session.MainNext(position, MainPartWanted::ContentTypeAndContents);
}

void ReadAll(const MimeSession& session) {
  (void)session.GetSubject();
  (void)session.GetFrom();
  (void)session.GetTo();
  (void)session.GetMessageId();
  (void)session.GetSendDate();
  ReadMain(session);
  const Attachments attachments = session.GetAttachments();
  Check(attachments.count == session.AttachCount());
  ReadList(attachments.contentTypes, attachments.count);
  ReadList(attachments.fileNames, attachments.count);
  ReadList(attachments.contents, attachments.count);
  for (const char* type : {"text/html", "image/gif", "text/plain"}) {
    const auto parts = session.GetParts(type);
    if (!parts) continue;
    ReadList(parts->headers, parts->count);
    ReadList(parts->bodies, parts->count);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::unique_ptr<MimeSession> session =
      MimeSession::Open(nimport::platform::SystemPlatform().modules());
  Check(session != nullptr);
  nimport::fuzz::RunInTime(nimport::fuzz::ToText(data, size), [](std::string_view text) {
    if (session->Parse(std::string(text)) == MIME_SUCCESS) ReadAll(*session);
  });
  return 0;
}
