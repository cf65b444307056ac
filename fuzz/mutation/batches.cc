#include "mutation/batches.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <optional>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace nimport::mutation {
namespace {

namespace fs = std::filesystem;

constexpr int POLL_MILLISECONDS = 500;
constexpr const char* LEAK_LINE = "leak";

bool HasLeaked() {
#if defined(__SANITIZE_ADDRESS__)
  return __lsan_do_recoverable_leak_check() != 0;
#else
  return false;
#endif
}

void SendLine(int descriptor, std::string line) {
  line += '\n';
  for (std::size_t sent = 0; sent < line.size();) {
    const ssize_t count = write(descriptor, line.data() + sent, line.size() - sent);
    if (count <= 0) _exit(3);
    sent += static_cast<std::size_t>(count);
  }
}

void RedirectTo(const fs::path& file, std::initializer_list<int> descriptors) {
  const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  for (const int descriptor : descriptors)
    dup2(opened, descriptor);
  close(opened);
}

double ProcessorSeconds(pid_t process) {
  clockid_t clock = 0;
  timespec time = {};
  if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// One process that works through mutants in order.
class Worker {
 public:
  Worker(Laboratory& laboratory, const BatchOptions& options, std::uint64_t first,
         std::uint64_t last)
      : log_(options.logs / ("batch-" + std::to_string(first) + ".log")) {
    int ends[2] = {};
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    std::cout.flush();
    process_ = fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ == 0) {
      RedirectTo("/dev/null", {STDOUT_FILENO});
      RedirectTo(log_, {STDERR_FILENO});
      Work(laboratory, options, first, last, ends[1]);
    }
    close(ends[1]);
    input_ = ends[0];
  }
  ~Worker() { close(input_); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // The next line; empty when the process has ended or hangs, which is then killed.
  std::optional<std::string> NextLine() {
    double begin = ProcessorSeconds(process_);
    for (;;) {
      if (const std::size_t end = buffer_.find('\n'); end != std::string::npos) {
        std::string line = buffer_.substr(0, end);
        buffer_.erase(0, end + 1);
        return line;
      }
      if (!Receive()) return std::nullopt;
      // The sound stores are measured before the first line.
      const double limit = hasBegun_ ? HANG_SECONDS : 20 * HANG_SECONDS;
      if (ProcessorSeconds(process_) - begin > limit) {
        isHanging_ = true;
        kill(process_, SIGKILL);
        begin += 1000;
      }
    }
  }

  // To be called once, after the last line. Keeps the log only of a process that failed.
  Ending End() {
    int status = 0;
    waitpid(process_, &status, 0);
    const bool isSound = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (isSound) fs::remove(log_);
    if (isHanging_) return Ending::Hang;
    return isSound ? Ending::Done : Ending::Crash;
  }

  void Begin() { hasBegun_ = true; }

 private:
  [[noreturn]] static void Work(Laboratory& laboratory, const BatchOptions& options,
                                std::uint64_t first, std::uint64_t last, int output) {
    laboratory.MeasureSound(options.isQuick);
    SendLine(output, "ready");
    for (std::uint64_t number = first; number < last; ++number) {
      const Mutant mutant = options.makeMutant(number);
      std::cerr << "mutant " << number << ": " << mutant.description << '\n';
      const Result result =
          options.isQuick ? laboratory.TryQuickly(mutant) : laboratory.Try(mutant);
      SendLine(output, result.ToJson().dump());
    }
    const bool hasLeaked = HasLeaked();
    if (hasLeaked) SendLine(output, LEAK_LINE);
    _exit(hasLeaked ? 1 : 0);
  }

  bool Receive() {
    pollfd waiting{.fd = input_, .events = POLLIN, .revents = 0};
    if (poll(&waiting, 1, POLL_MILLISECONDS) <= 0) return true;
    char piece[4096];
    const ssize_t count = read(input_, piece, sizeof piece);
    if (count > 0) buffer_.append(piece, static_cast<std::size_t>(count));
    return count > 0;
  }

  fs::path log_;
  pid_t process_ = -1;
  int input_ = -1;
  std::string buffer_;
  bool hasBegun_ = false;
  bool isHanging_ = false;
};

}  // namespace

void RunBatches(Laboratory& laboratory, const BatchOptions& options, std::uint64_t first,
                std::uint64_t last, const std::function<void(const Finding&)>& take) {
  fs::create_directories(options.logs);
  while (first < last) {
    const std::uint64_t end = std::min(first + options.batch, last);
    Worker worker(laboratory, options, first, end);
    bool hasLeaked = false;
    if (!worker.NextLine()) throw std::runtime_error("the sound stores cannot be exported");
    worker.Begin();
    while (const std::optional<std::string> line = worker.NextLine()) {
      if (*line == LEAK_LINE) {
        hasLeaked = true;
      } else {
        take({.number = first, .result = Result::FromJson(nlohmann::json::parse(*line))});
        ++first;
      }
    }
    const Ending ending = worker.End();
    if (hasLeaked) {
      take({.ending = Ending::Leak, .number = first - 1, .result = {}});
    } else if (first < end) {
      laboratory.Repair();
      take({.ending = ending == Ending::Hang ? ending : Ending::Crash,
            .number = first,
            .result = {}});
      ++first;
    }
  }
}

}  // namespace nimport::mutation
