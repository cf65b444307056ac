#ifndef NIMPORT_BENCH_OPEN_STORE_H_
#define NIMPORT_BENCH_OPEN_STORE_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "nimport/nimport.h"

namespace nimport::bench {

inline void Require(ResultCode code, const char* call) {
  if (code == RESULT_OK) return;
  std::fprintf(stderr, "%s answered %d\n", call, static_cast<int>(code));
  std::exit(2);
}

// A session whose folders are loaded.
struct Session {
  HandleNode* handle = nullptr;
  HandleNode* user = nullptr;

  Session() {
    std::int32_t users = 0;
    Require(ML_Initialize(&handle), "ML_Initialize");
    Require(ML_GetUserCount(handle, &users), "ML_GetUserCount");
    Require(ML_GetUser(handle, 0, &user), "ML_GetUser");
  }
  ~Session() { ML_Terminate(handle); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Opens every folder in turn and calls `visit(folder, number of mails)`.
  template <typename Visit>
  void ForEachFolder(Visit visit) const {
    HandleNode* cabinet = nullptr;
    for (std::int32_t i = 0; ML_GetChildFolder(handle, user, i, &cabinet) == RESULT_OK; ++i) {
      HandleNode* folder = nullptr;
      for (std::int32_t j = 0; ML_GetChildFolder(handle, cabinet, j, &folder) == RESULT_OK; ++j) {
        std::int32_t count = 0;
        Require(ML_OpenMailDataFile(handle, folder), "ML_OpenMailDataFile");
        Require(ML_GetMailCount(handle, folder, &count), "ML_GetMailCount");
        visit(folder, count);
        Require(ML_CloseMailDataFile(handle, folder), "ML_CloseMailDataFile");
      }
    }
  }
};

// A session with its biggest folder open.
struct OpenStore {
  Session opened;
  HandleNode* session = opened.handle;
  HandleNode* folder = nullptr;
  std::int32_t mails = 0;

  OpenStore() {
    opened.ForEachFolder([this](HandleNode* visited, std::int32_t count) {
      if (count <= mails && folder != nullptr) return;
      mails = count;
      folder = visited;
    });
    Require(ML_OpenMailDataFile(session, folder), "ML_OpenMailDataFile");
  }
};

// A question about one mail of the open folder, under the name of its export.
struct Export {
  const char* name;
  void (*ask)(const OpenStore& store, std::int32_t mail);
};

using TextExport = ResultCode NIMPORT_CALL(HandleNode*, HandleNode*, std::int32_t, ResultString*);
using NumberExport = ResultCode NIMPORT_CALL(HandleNode*, HandleNode*, std::int32_t, std::int32_t*);
using IndexedTextExport = ResultCode NIMPORT_CALL(HandleNode*, HandleNode*, std::int32_t,
                                                  std::int32_t, ResultString*);

// The most memory that this process has had so far, in KiB; 0 where the system does not tell.
inline double PeakMemoryKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) return std::atof(line.c_str() + 6);
  }
  return 0;
}

}  // namespace nimport::bench

#endif  // NIMPORT_BENCH_OPEN_STORE_H_
