#include "host/command/interruption.h"

#include <csignal>

namespace nimport::command {

namespace {

volatile std::sig_atomic_t isRequested = 0;

constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

void Note(int) {
  isRequested = 1;
}

}  // namespace

Interruption::Interruption() {
  struct sigaction action = {};
  action.sa_handler = Note;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  for (const int signal : SIGNALS)
    sigaction(signal, &action, nullptr);
}

Interruption::~Interruption() {
  for (const int signal : SIGNALS)
    std::signal(signal, SIG_DFL);
}

bool Interruption::IsRequested() {
  return isRequested != 0;
}

}  // namespace nimport::command
