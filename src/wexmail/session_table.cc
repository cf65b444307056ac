#include "wexmail/session_table.h"

#include <limits>

namespace nimport::wexmail {

void Session::Parse(std::string_view text) {
  if (mail != nullptr && mail->mail().text() == text) return;
  // The old mail goes first, so that there are never two in memory.
  mail.reset();
  mail = std::make_unique<KeptMail>(text);
}

std::int32_t SessionTable::Add() {
  const std::lock_guard lock(mutex_);
  do {
    const bool isLast = lastNumber_ == std::numeric_limits<std::int32_t>::max();
    lastNumber_ = isLast ? 1 : lastNumber_ + 1;
  } while (sessions_.contains(lastNumber_));
  sessions_.emplace(lastNumber_, std::make_shared<Session>());
  return lastNumber_;
}

std::shared_ptr<Session> SessionTable::Find(std::int32_t number) {
  const std::lock_guard lock(mutex_);
  const auto found = sessions_.find(number);
  return found == sessions_.end() ? nullptr : found->second;
}

bool SessionTable::Remove(std::int32_t number) {
  const std::lock_guard lock(mutex_);
  return sessions_.erase(number) == 1;
}

}  // namespace nimport::wexmail
