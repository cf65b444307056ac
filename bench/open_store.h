#ifndef NIMPORT_BENCH_OPEN_STORE_H_
#define NIMPORT_BENCH_OPEN_STORE_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "nimport/nimport.h"

namespace nimport::bench {

inline void Require(ResultCode code, const char* call) {
  if (code == RESULT_OK) return;
  std::fprintf(stderr, "%s answered %d\n", call, static_cast<int>(code));
  std::exit(2);
}

// A session with its biggest folder open.
struct OpenStore {
  HandleNode* session = nullptr;
  HandleNode* folder = nullptr;
  std::int32_t mails = 0;

  OpenStore() {
    std::int32_t users = 0;
    HandleNode* user = nullptr;
    Require(ML_Initialize(&session), "ML_Initialize");
    Require(ML_GetUserCount(session, &users), "ML_GetUserCount");
    Require(ML_GetUser(session, 0, &user), "ML_GetUser");
    HandleNode* cabinet = nullptr;
    for (std::int32_t i = 0; ML_GetChildFolder(session, user, i, &cabinet) == RESULT_OK; ++i) {
      Visit(cabinet);
    }
    Require(ML_OpenMailDataFile(session, folder), "ML_OpenMailDataFile");
  }

  ~OpenStore() { ML_Terminate(session); }
  OpenStore(const OpenStore&) = delete;
  OpenStore& operator=(const OpenStore&) = delete;

 private:
  void Visit(HandleNode* cabinet) {
    HandleNode* child = nullptr;
    for (std::int32_t i = 0; ML_GetChildFolder(session, cabinet, i, &child) == RESULT_OK; ++i) {
      std::int32_t count = 0;
      Require(ML_OpenMailDataFile(session, child), "ML_OpenMailDataFile");
      Require(ML_GetMailCount(session, child, &count), "ML_GetMailCount");
      Require(ML_CloseMailDataFile(session, child), "ML_CloseMailDataFile");
      if (count <= mails && folder != nullptr) continue;
      mails = count;
      folder = child;
    }
  }
};

}  // namespace nimport::bench

#endif  // NIMPORT_BENCH_OPEN_STORE_H_
