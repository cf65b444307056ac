#ifndef NIMPORT_HOST_COMMAND_INTERRUPTION_H_
#define NIMPORT_HOST_COMMAND_INTERRUPTION_H_

namespace nimport::command {

// While an object lives, SIGINT, SIGTERM and SIGHUP do not end the program but are noted, so that
// the work can stop at a good place. A second one of the same kind ends the program.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  [[nodiscard]] static bool IsRequested();
};

}  // namespace nimport::command

#endif  // NIMPORT_HOST_COMMAND_INTERRUPTION_H_
