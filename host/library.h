// The plug-in, loaded at run time. The first header to open: everything of the host kit works on a
// Library. Sessions (session.h), folders and mails (folder.h) and the address book (address_book.h)
// follow from it.
//
// Texts that go in and come out are UTF-8. A code other than 0 becomes a ResultError. Calls that
// concern one session must not overlap.
#ifndef NIMPORT_HOST_LIBRARY_H_
#define NIMPORT_HOST_LIBRARY_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>

#include "host/diagnostics.h"
#include "host/functions.h"
#include "host/result_text.h"

namespace nimport::host {

class Library {
 public:
  // Loads `path`. When it is empty: libnimport.so of the `lib` folder beside the program's own, or
  // else of the system's search path. Throws std::runtime_error when the library cannot be loaded,
  // lacks a function or speaks another version of the interface.
  //
  // `workLock`, where there is one, is held by the one thread that calls the plug-in and outlives
  // the object. It is let go during each call, since calls cannot be interrupted: another thread
  // that can lock it knows that the caller's data are at rest.
  explicit Library(const std::filesystem::path& path = {}, std::mutex* workLock = nullptr);
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  [[nodiscard]] const Functions& functions() const { return functions_; }
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  // Damage that the plug-in stepped over since the last call.
  [[nodiscard]] std::vector<DiagnosticRecord> TakeLosses() const {
    return diagnostics_.TakeLosses();
  }

  // What else a user may want to know, since the last call.
  [[nodiscard]] std::vector<DiagnosticRecord> TakeNotes() const { return diagnostics_.TakeNotes(); }

  // Why `function` answered `code` just now, or empty: for the functions whose failure is no code.
  [[nodiscard]] std::string TakeReason(const char* function, ResultCode code) const {
    return diagnostics_.TakeReason(function, code);
  }

  // Calls `function`. Throws ResultError.
  template <typename Signature, typename... Arguments>
  void Call(const Function<Signature>& function, Arguments... arguments) const {
    Check(function.name, Run(function, arguments...));
  }

  // Calls `function` and returns its code.
  template <typename Signature, typename... Arguments>
  ResultCode Run(const Function<Signature>& function, Arguments... arguments) const {
    if (workLock_ != nullptr) workLock_->unlock();
    const ResultCode code = function.address(arguments...);
    if (workLock_ != nullptr) workLock_->lock();
    return code;
  }

  // Calls `function` and returns its code. Nothing is recorded of a failure.
  template <typename Signature, typename... Arguments>
  [[nodiscard]] ResultCode Try(const Function<Signature>& function, Arguments... arguments) const {
    const Diagnostics::Silence silence(diagnostics_);
    return Run(function, arguments...);
  }

  // Calls `function` with one more argument, through which it answers. Throws ResultError.
  template <typename Signature, typename... Arguments>
  [[nodiscard]] std::int32_t Number(const Function<Signature>& function,
                                    Arguments... arguments) const {
    std::int32_t result = 0;
    Call(function, arguments..., &result);
    return result;
  }
  template <typename Signature, typename... Arguments>
  [[nodiscard]] HandleNode* Handle(const Function<Signature>& function,
                                   Arguments... arguments) const {
    HandleNode* result = nullptr;
    Call(function, arguments..., &result);
    return result;
  }
  template <typename Signature, typename... Arguments>
  [[nodiscard]] std::string Text(const Function<Signature>& function,
                                 Arguments... arguments) const {
    ResultText text(ENCODING_UTF16);
    Call(function, arguments..., text.record());
    return text.ToUtf8();
  }
  // The same without conversion: bytes in code page 932.
  template <typename Signature, typename... Arguments>
  [[nodiscard]] std::string Bytes(const Function<Signature>& function,
                                  Arguments... arguments) const {
    ResultText text(ENCODING_CODE_PAGE_932);
    Call(function, arguments..., text.record());
    return text.ToBytes();
  }

 private:
  struct Unload {
    void operator()(void* handle) const;
  };

  void Check(const char* function, ResultCode code) const;
  void BindFunctions();

  // Made before the plug-in is loaded, so that it is asked to report from the beginning.
  mutable Diagnostics diagnostics_;
  std::mutex* workLock_;
  std::filesystem::path path_;
  std::unique_ptr<void, Unload> handle_;
  Functions functions_;
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_LIBRARY_H_
