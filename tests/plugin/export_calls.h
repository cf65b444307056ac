// Calls of the exports on one store, each of which can be made again and again while something
// fails beneath it.
#ifndef NIMPORT_TESTS_INTERFACE_EXPORT_CALLS_H_
#define NIMPORT_TESTS_INTERFACE_EXPORT_CALLS_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "plugin/plug_in.h"

namespace nimport::test {

// Stands around each call of an export, and around nothing else: faults are on only there.
class FaultGate {
 public:
  virtual ~FaultGate() = default;
  virtual void Enter() {}
  virtual void Leave() {}
  // The `nth` operation inside the exports from now on fails (1 is the next); 0: none does.
  virtual void FailNth(int /*nth*/) {}
  [[nodiscard]] virtual bool HasFailed() const { return false; }
};

// A call that changes nothing that a host could notice, whether it succeeds or fails. Its answer is
// a text, the contents of a file, a number in digits, or "handle".
struct ExportCall {
  std::string name;
  std::function<TextAnswer()> make;
};

// Both sessions of a store with everything in them opened. Closing them ends the calls' validity.
class OpenedStore {
 public:
  explicit OpenedStore(FaultGate& gate) : gate_(gate) {}
  ~OpenedStore() {
    if (mails_ != nullptr) ML_Terminate(mails_);
    if (addresses_ != nullptr) AD_Terminate(addresses_);
  }
  OpenedStore(const OpenedStore&) = delete;
  OpenedStore& operator=(const OpenedStore&) = delete;

  // Opens the sessions, loads the folders and opens the address book: the first code that is not 0.
  ResultCode Open() {
    ResultCode code = RESULT_OK;
    const auto step = [&](auto call) {
      if (code == RESULT_OK) code = Through(call);
    };
    std::int32_t count = 0;
    step([&] { return ML_Initialize(&mails_); });
    step([&] { return ML_GetUserCount(mails_, &count); });
    step([&] { return ML_GetUser(mails_, 0, &user_); });
    step([&] { return AD_Initialize(&addresses_); });
    step([&] { return AD_OpenAddressBook(addresses_, nullptr, nullptr, &book_); });
    return code;
  }

  // Gives `visit` everything that can be asked of the mails of each folder, which is open
  // meanwhile, and in the end what can be asked without a mail. Returns the first code that is not
  // 0.
  template <typename Visit>
  ResultCode VisitCalls(Visit visit) {
    HandleNode* cabinet = nullptr;
    for (std::int32_t i = 0; (cabinet = Child(user_, i)) != nullptr; ++i) {
      HandleNode* folder = nullptr;
      for (std::int32_t j = 0; (folder = Child(cabinet, j)) != nullptr; ++j) {
        const ResultCode opened = Through([&] { return ML_OpenMailDataFile(mails_, folder); });
        if (opened != RESULT_OK) return opened;
        visit(CallsOnMails(folder));
        ML_CloseMailDataFile(mails_, folder);
      }
    }
    visit(CallsOnHandles());
    return RESULT_OK;
  }

 private:
  std::vector<ExportCall> CallsOnMails(HandleNode* folder) {
    std::int32_t mails = 0;
    ML_GetMailCount(mails_, folder, &mails);
    std::vector<ExportCall> calls;
    for (std::int32_t mail = 0; mail < mails; ++mail) {
      const auto text = [&](const char* name, auto get, auto... index) {
        calls.push_back(Text(name, get, mails_, folder, mail, index...));
      };
      const auto number = [&](const char* name, auto get) {
        calls.push_back({name, [=, this] {
                           const NumberAnswer answer = AskNumber([&](std::int32_t* out) {
                             return Through([&] { return get(mails_, folder, mail, out); });
                           });
                           return TextAnswer{answer.code, std::to_string(answer.value)};
                         }});
      };
      const auto file = [&](const char* name, auto get) {
        calls.push_back({name, [path = Text(name, get, mails_, folder, mail, 0)] {
                           TextAnswer answer = path.make();
                           if (answer.code == RESULT_OK) {
                             answer.text = ReadFile(NativePath(answer.text));
                           }
                           return answer;
                         }});
      };
      text("ML_GetMailSubject", ML_GetMailSubject);
      text("ML_GetMailFrom", ML_GetMailFrom);
      text("ML_GetMailTo", ML_GetMailTo);
      text("ML_GetMailMessageID", ML_GetMailMessageID);
      number("ML_GetMailDate", ML_GetMailDate);
      text("ML_GetMailContentType", ML_GetMailContentType, 0);
      number("ML_GetMailBodyCount", ML_GetMailBodyCount);
      file("ML_GetMailBodyPath", ML_GetMailBodyPath);
      number("ML_GetAttachedMailCount", ML_GetAttachedMailCount);
      file("ML_GetAttachedMailPath", ML_GetAttachedMailPath);
      text("ML_GetMailSource", ML_GetMailSource);
    }
    return calls;
  }

  std::vector<ExportCall> CallsOnHandles() {
    HandleNode* account = nullptr;
    HandleNode* address = nullptr;
    ML_GetAccount(mails_, user_, 0, &account);
    AD_GetAddress(addresses_, book_, 0, &address);
    return {
        Text("ML_GetMailerName", ML_GetMailerName, mails_),
        Handle("ML_GetAccount", ML_GetAccount, mails_, user_, 0),
        Text("ML_GetName", ML_GetName, mails_, account),
        Handle("ML_GetChildFolder", ML_GetChildFolder, mails_, user_, 0),
        {"ML_SetTempFileName",
         [this] {
           return TextAnswer{Through([this] {
                               return ML_SetTempFileName(mails_,
                                                         AsArgument(u"a longer name than most"));
                             }),
                             ""};
         }},
        Handle("AD_GetChildGroup", AD_GetChildGroup, addresses_, book_, 0),
        Handle("AD_GetAddress", AD_GetAddress, addresses_, book_, 0),
        Text("AD_GetName", AD_GetName, addresses_, address),
        Text("AD_GetFieldLabel", AD_GetFieldLabel, addresses_, book_, 1),
        Text("AD_GetValue", AD_GetValue, addresses_, address, 0),
    };
  }

  template <typename Call>
  ResultCode Through(Call call) const {
    gate_.Enter();
    const ResultCode code = call();
    gate_.Leave();
    return code;
  }

  template <typename Get, typename... Arguments>
  ExportCall Text(const char* name, Get get, Arguments... arguments) const {
    return {name, [=, this] {
              return AskText([&](ResultString* out) {
                return Through([&] { return get(arguments..., out); });
              });
            }};
  }
  template <typename Get, typename... Arguments>
  ExportCall Handle(const char* name, Get get, Arguments... arguments) const {
    return {name, [=, this] {
              HandleNode* found = nullptr;
              const ResultCode code = Through([&] { return get(arguments..., &found); });
              return TextAnswer{code, found != nullptr ? "handle" : ""};
            }};
  }

  HandleNode* Child(HandleNode* parent, std::int32_t position) const {
    HandleNode* child = nullptr;
    ML_GetChildFolder(mails_, parent, position, &child);
    return child;
  }

  FaultGate& gate_;
  HandleNode* mails_ = nullptr;
  HandleNode* user_ = nullptr;
  HandleNode* addresses_ = nullptr;
  HandleNode* book_ = nullptr;
};

}  // namespace nimport::test

#endif  // NIMPORT_TESTS_INTERFACE_EXPORT_CALLS_H_
