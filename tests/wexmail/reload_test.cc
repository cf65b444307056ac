// A program of its own, which does not link the library: only so is it loaded and released.
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "wexmail/entry_points.h"

namespace nimport::mime {
namespace {

TEST(Reload, LibraryWorksEachTimeItIsLoaded) {
  for (int i = 0; i < 3; ++i) {
    void* module = dlopen(WEXMAIL_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    const auto find = [&](const char* name) { return dlsym(module, name); };
    auto* init = reinterpret_cast<wexmail::MT_InitFunction*>(find("MT_Init"));
    auto* term = reinterpret_cast<wexmail::MT_TermFunction*>(find("MT_Term"));
    auto* parse = reinterpret_cast<wexmail::MT_ParseMailTextFunction*>(find("MT_ParseMailText"));
    auto* subject = reinterpret_cast<wexmail::MT_GetHeaderTextFunction*>(find("MT_GetSubjectD"));
    auto* release = reinterpret_cast<wexmail::MT_FreeFunction*>(find("MT_Free"));
    const std::int32_t session = init();
    ASSERT_NE(0, session);
    ASSERT_EQ(1, parse(session, "Subject: =?koi8-r?B?wQ==?=\r\n\r\n", 31));
    char* text = nullptr;
    std::int32_t length = 0;
    ASSERT_EQ(1, subject(session, &text, &length));
    EXPECT_EQ("\x84\x70", std::string(text, static_cast<std::size_t>(length)));
    release(text);
    EXPECT_EQ(1, term(session));
    EXPECT_EQ(0, dlclose(module));
  }
}

}  // namespace
}  // namespace nimport::mime
