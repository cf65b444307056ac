// Calls of the exports on one store, each of which can be made again and again while something
// fails beneath it.
#ifndef NIMPORT_TESTS_INTERFACE_EXPORT_CALLS_H_
#define NIMPORT_TESTS_INTERFACE_EXPORT_CALLS_H_

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "plugin/plug_in.h"

namespace nimport::test {

// What a call answered. `value` is a text, the contents of a file, or a number in digits.
struct Answer {
  ResultCode code = 77;
  std::string value;
  friend bool operator==(const Answer&, const Answer&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Answer& answer) {
    return out << "{" << answer.code << ", \"" << answer.value << "\"}";
  }
};

// Stands around each call of an export, and around nothing else: faults are on only there.
class FaultGate {
 public:
  virtual ~FaultGate() = default;
  virtual void Enter() {}
  virtual void Leave() {}
};

template <typename Call>
ResultCode CallThrough(FaultGate& gate, Call call) {
  gate.Enter();
  const ResultCode code = call();
  gate.Leave();
  return code;
}

// Reads the file that an answered path names.
using ReadPath = std::function<std::string(const std::string& path)>;

// A call that changes nothing that a host could notice, whether it succeeds or fails.
struct ExportCall {
  std::string name;
  std::function<Answer()> make;
};

// Both sessions of a store with everything in them opened. Closing them ends the calls' validity.
class OpenedStore {
 public:
  OpenedStore(FaultGate& gate, ReadPath readPath) : gate_(gate), readPath_(std::move(readPath)) {}
  ~OpenedStore() {
    if (mails_ != nullptr) ML_Terminate(mails_);
    if (addresses_ != nullptr) AD_Terminate(addresses_);
  }
  OpenedStore(const OpenedStore&) = delete;
  OpenedStore& operator=(const OpenedStore&) = delete;

  // Opens the sessions, loads the folders and opens the address book: the first code that is not 0.
  ResultCode Open() {
    const std::function<ResultCode()> STEPS[] = {
        [&] { return ML_Initialize(&mails_); },
        [&] {
          std::int32_t count = 0;
          return ML_GetUserCount(mails_, &count);
        },
        [&] { return ML_GetUser(mails_, 0, &user_); },
        [&] { return AD_Initialize(&addresses_); },
        [&] { return AD_OpenAddressBook(addresses_, nullptr, nullptr, &book_); },
    };
    for (const auto& step : STEPS) {
      const ResultCode code = CallThrough(gate_, step);
      if (code != RESULT_OK) return code;
    }
    return RESULT_OK;
  }

  // Every folder in turn, open: `visit(folder, mails)`. Returns the first code that is not 0.
  template <typename Visit>
  ResultCode ForEachFolder(Visit visit) {
    for (std::int32_t cabinet = 0;; ++cabinet) {
      HandleNode* const parent = Child(user_, cabinet);
      if (parent == nullptr) return RESULT_OK;
      for (std::int32_t position = 0;; ++position) {
        HandleNode* const folder = Child(parent, position);
        if (folder == nullptr) break;
        std::int32_t count = 0;
        const ResultCode opened =
            CallThrough(gate_, [&] { return ML_OpenMailDataFile(mails_, folder); });
        if (opened != RESULT_OK) return opened;
        ML_GetMailCount(mails_, folder, &count);
        visit(folder, count);
        ML_CloseMailDataFile(mails_, folder);
      }
    }
  }

  // Everything that can be asked of one mail of an open folder.
  std::vector<ExportCall> CallsOnMail(HandleNode* folder, std::int32_t mail) {
    HandleNode* const session = mails_;
    const auto text = [=, this](auto get) {
      return
          [=, this] { return TextOf([&](auto* out) { return get(session, folder, mail, out); }); };
    };
    const auto number = [=, this](auto get) {
      return [=, this] {
        return NumberOf([&](auto* out) { return get(session, folder, mail, out); });
      };
    };
    const auto indexed = [=, this](auto get) {
      return [=, this] {
        return TextOf([&](auto* out) { return get(session, folder, mail, 0, out); });
      };
    };
    const auto file = [=, this](auto get) {
      return [=, this] {
        return FileOf([&](auto* out) { return get(session, folder, mail, 0, out); });
      };
    };
    return {{"ML_GetMailSubject", text(ML_GetMailSubject)},
            {"ML_GetMailFrom", text(ML_GetMailFrom)},
            {"ML_GetMailTo", text(ML_GetMailTo)},
            {"ML_GetMailMessageID", text(ML_GetMailMessageID)},
            {"ML_GetMailDate", number(ML_GetMailDate)},
            {"ML_GetMailContentType", indexed(ML_GetMailContentType)},
            {"ML_GetMailBodyCount", number(ML_GetMailBodyCount)},
            {"ML_GetMailBodyPath", file(ML_GetMailBodyPath)},
            {"ML_GetAttachedMailCount", number(ML_GetAttachedMailCount)},
            {"ML_GetAttachedMailPath", file(ML_GetAttachedMailPath)},
            {"ML_GetMailSource", text(ML_GetMailSource)}};
  }

  // What can be asked without a mail.
  std::vector<ExportCall> CallsOnHandles() {
    HandleNode* const session = mails_;
    HandleNode* const user = user_;
    HandleNode* const addresses = addresses_;
    HandleNode* const book = book_;
    const auto text = [this](auto get) { return [=, this] { return TextOf(get); }; };
    const auto handle = [this](auto get) {
      return [=, this] {
        HandleNode* found = nullptr;
        const ResultCode code = CallThrough(gate_, [&] { return get(&found); });
        return Answer{code, found != nullptr ? "handle" : ""};
      };
    };
    HandleNode* account = nullptr;
    HandleNode* address = nullptr;
    ML_GetAccount(session, user, 0, &account);
    AD_GetAddress(addresses, book, 0, &address);
    return {
        {"ML_GetMailerName", text([=](auto* out) { return ML_GetMailerName(session, out); })},
        {"ML_GetAccount", handle([=](auto* out) { return ML_GetAccount(session, user, 0, out); })},
        {"ML_GetName", text([=](auto* out) { return ML_GetName(session, account, out); })},
        {"ML_GetChildFolder",
         handle([=](auto* out) { return ML_GetChildFolder(session, user, 0, out); })},
        {"ML_SetTempFileName", handle([=](auto*) {
           return ML_SetTempFileName(session, AsArgument(u"a longer name than most"));
         })},
        {"AD_GetChildGroup",
         handle([=](auto* out) { return AD_GetChildGroup(addresses, book, 0, out); })},
        {"AD_GetAddress",
         handle([=](auto* out) { return AD_GetAddress(addresses, book, 0, out); })},
        {"AD_GetName", text([=](auto* out) { return AD_GetName(addresses, address, out); })},
        {"AD_GetFieldLabel",
         text([=](auto* out) { return AD_GetFieldLabel(addresses, book, 1, out); })},
        {"AD_GetValue", text([=](auto* out) { return AD_GetValue(addresses, address, 0, out); })},
    };
  }

 private:
  HandleNode* Child(HandleNode* parent, std::int32_t position) {
    HandleNode* child = nullptr;
    ML_GetChildFolder(mails_, parent, position, &child);
    return child;
  }

  template <typename Get>
  [[nodiscard]] Answer TextOf(Get get) const {
    const TextAnswer answer =
        AskText([&](ResultString* out) { return CallThrough(gate_, [&] { return get(out); }); });
    return {answer.code, answer.text};
  }
  template <typename Get>
  [[nodiscard]] Answer NumberOf(Get get) const {
    const NumberAnswer answer =
        AskNumber([&](std::int32_t* out) { return CallThrough(gate_, [&] { return get(out); }); });
    return {answer.code, std::to_string(answer.value)};
  }
  template <typename Get>
  [[nodiscard]] Answer FileOf(Get get) const {
    Answer answer = TextOf(get);
    if (answer.code == RESULT_OK) answer.value = readPath_(answer.value);
    return answer;
  }

  FaultGate& gate_;
  ReadPath readPath_;
  HandleNode* mails_ = nullptr;
  HandleNode* user_ = nullptr;
  HandleNode* addresses_ = nullptr;
  HandleNode* book_ = nullptr;
};

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_INTERFACE_EXPORT_CALLS_H_
