#ifndef NIMPORT_WEXMAIL_SESSION_TABLE_H_
#define NIMPORT_WEXMAIL_SESSION_TABLE_H_

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "wexmail/kept_mail.h"

namespace nimport::wexmail {

// What one MT_Init began: holds one mail. Whoever uses it locks `mutex` meanwhile.
struct Session {
  std::mutex mutex;
  std::unique_ptr<KeptMail> mail;  // null before the first parse

  // Makes `text` the session's mail. The very same text as before leaves the mail as it is.
  void Parse(std::string_view text);
};

// The sessions of the process by their numbers. Safe in any thread.
class SessionTable {
 public:
  // Begins a session; its number is never 0 and not in use.
  [[nodiscard]] std::int32_t Add();

  // Null for a number that no session has. The session lives as long as the result does.
  [[nodiscard]] std::shared_ptr<Session> Find(std::int32_t number);

  // Ends a session; false when there is none of this number.
  bool Remove(std::int32_t number);

 private:
  std::mutex mutex_;
  std::unordered_map<std::int32_t, std::shared_ptr<Session>> sessions_;
  std::int32_t lastNumber_ = 0;
};

}  // namespace nimport::wexmail

#endif  // NIMPORT_WEXMAIL_SESSION_TABLE_H_
