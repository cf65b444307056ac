// The frame of every exported function: nothing but a result code leaves it, and the host's ways to
// compute stay as they were.
#ifndef NIMPORT_PLUGIN_EXPORTS_EXPORT_GUARD_H_
#define NIMPORT_PLUGIN_EXPORTS_EXPORT_GUARD_H_

#include <cfenv>
#include <cstdint>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "common/failure.h"
#include "jet/database_error.h"
#include "nimport/nimport.h"
#include "platform/cancellation.h"
#include "platform/diagnostics.h"
#include "plugin/handle_node.h"

namespace nimport::plugin {

// One call of an exported function: what diagnostics can say of it when it fails.
class ExportCall {
 public:
  explicit ExportCall(const char* function) : function_(function) {}

  // The session's context. Throws Failure (-3) when `session` is null or is not a session.
  SessionContext& RequireSession(HandleNode* session);

  // Remembers which mail the call concerns.
  void SetMail(std::int32_t folderIndex, std::int32_t mailIndex);

  // Reports what is no failure, when anybody listens: `record` with its code.
  void Report(platform::FailureRecord record);

  // Report the failure, when anybody listens, and return its code.
  ResultCode Failed(ResultCode code, const char* reason) noexcept;
  ResultCode Failed(const jet::DatabaseError& error) noexcept;

 private:
  const char* function_;
  SessionContext* context_ = nullptr;
  std::optional<std::int32_t> folderIndex_;
  std::optional<std::int32_t> mailIndex_;
};

// Computes as usual meanwhile: a host may have set another rounding or precision, or have errors of
// computation end in an exception.
class DefaultFloatingPointScope {
 public:
  DefaultFloatingPointScope() {
    std::fegetenv(&before_);
    std::fesetenv(FE_DFL_ENV);
  }
  ~DefaultFloatingPointScope() { std::fesetenv(&before_); }
  DefaultFloatingPointScope(const DefaultFloatingPointScope&) = delete;
  DefaultFloatingPointScope& operator=(const DefaultFloatingPointScope&) = delete;

 private:
  std::fenv_t before_{};
};

// Runs `work(call)` and turns what it throws into a result code.
template <typename Work>
ResultCode RunExport(const char* function, Work&& work) noexcept {
  // A thread that is cancelled would otherwise unwind from the middle of the work, which the
  // handlers below must not swallow and `noexcept` would not let through.
  const platform::CancellationDelay noCancellation;
  const DefaultFloatingPointScope arithmetic;
  ExportCall call(function);
  try {
    work(call);
    return RESULT_OK;
  } catch (const Failure& failure) {
    return call.Failed(failure.code(), failure.what());
  } catch (const jet::DatabaseError& error) {
    return call.Failed(error);
  } catch (const std::bad_alloc&) {
    return call.Failed(RESULT_NO_MEMORY, "out of memory");
  } catch (const std::exception& error) {
    return call.Failed(RESULT_INVALID, error.what());
  } catch (...) {
    return call.Failed(RESULT_INVALID, "unknown failure");
  }
}

// A terminated text that the host gave.
inline std::u16string CopyText(const NimportChar16* text) {
  const NimportChar16* end = text;
  while (*end != 0)
    ++end;
  return {text, end};
}

// Argument checks; each throws Failure (-3).
HandleNode& RequireHandle(HandleNode* node);
// A handle of kind T; `otherwise` is the reason where it is one of another kind.
template <typename T>
T& RequireHandle(HandleNode* node, const char* otherwise) {
  T* handle = std::get_if<T>(&RequireHandle(node).handle);
  if (handle == nullptr) FailInvalid(otherwise);
  return *handle;
}
template <typename T>
T& RequireOut(T* out) {
  if (out == nullptr) FailInvalid("no place for the result");
  return *out;
}

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_EXPORTS_EXPORT_GUARD_H_
