#include <vector>

#include <gtest/gtest.h>

#include "wexmail/library.h"

namespace nimport::mime {
namespace {

TEST(Charset, ConvertsAfterTheTransferEncoding) {
  const Library library;
  ASSERT_EQ(1, library.Parse(Crlf("Content-Type: TEXT/Html; CHARSET=Shift_JIS (comment)\n"
                                  "Content-Transfer-Encoding: Quoted-Printable\n\n"
                                  "=95\\=8E=\n=A6 =3D\n")));
  EXPECT_EQ((std::vector<MainPart>{{"TEXT/Html", Cp932("表示 =\r\n")}}), library.Mains());
}

}  // namespace
}  // namespace nimport::mime
