#include "archive/formats/old_mail.h"

#include <string>

#include <gtest/gtest.h>

#include "archive/folder_writer.h"
#include "common/test_directory.h"

namespace nimport::archive {
namespace {

TEST(DifferByOptionsAlone, TellsOptionsFromEdits) {
  constexpr const char* MAIL = "Date: a\nFrom: b\n c\nSubject: d\n\nDate: e\n";
  const struct {
    const char* mail;
    bool wanted;
    const char* why;
  } cases[] = {
      {MAIL, true, "the same"},
      {"Date: a2\r\nFrom: b2\r\nSubject: d\r\n\r\nDate: e\r\n", true, "another zone and owner"},
      {"Subject: d\n\nDate: e", true, "neither"},
      {"Date: a\nFrom: b\nSubject: d2\n\nDate: e\n", false, "another subject"},
      {"Date: a\nFrom: b\nSubject: d\nStatus: O\n\nDate: e\n", false, "a reader's field"},
      {"Date: a\nFrom: b\nSubject: d\n\nDate: e2\n", false, "another text"},
      {"Date: a\nFrom: b\nSubject: d\n\nDate: e\n\n", false, "more text"},
      {"Date: a\nFrom: b\nSubject: d\n\n", false, "less text"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DifferByOptionsAlone(MAIL, c.mail), c.wanted) << c.why;
    EXPECT_EQ(DifferByOptionsAlone(c.mail, MAIL), c.wanted) << c.why;
  }
}

// A mail of which neither the size nor the end tells that another zone wrote it, and one that names
// no zone itself.
TEST(OutdatedMails, AreFoundInEveryFormat) {
  using Outcome = FolderWriter::Outcome;
  constexpr std::int64_t TEN_IN_TOKYO = 884653200;
  const std::string text = "\n\n" + std::string(10'000, 'x') + "\n";
  const struct {
    const char* header;
    std::int64_t instant;
    Outcome wanted;
    Outcome redone;
  } runs[] = {
      {"Date: Tue, 13 Jan 1998 10:00:00 +0900", TEN_IN_TOKYO, Outcome::Written, Outcome::Written},
      {"Date: Tue, 13 Jan 1998 10:00:00 +0900", TEN_IN_TOKYO, Outcome::AlreadyThere,
       Outcome::AlreadyThere},
      {"Date: Tue, 13 Jan 1998 01:00:00 +0000", TEN_IN_TOKYO, Outcome::Outdated,
       Outcome::Rewritten},
      {"Date: Tue, 13 Jan 1998 01:00:00 +0000", TEN_IN_TOKYO + 9 * 3600, Outcome::Outdated,
       Outcome::Rewritten},
      {"Date: Tue, 13 Jan 1998 01:00:00 +0000", TEN_IN_TOKYO + 9 * 3600, Outcome::AlreadyThere,
       Outcome::AlreadyThere},
  };
  for (const ExportFormat format : {ExportFormat::Maildir, ExportFormat::Mbox, ExportFormat::Eml}) {
    const tests::TestDirectory directory;
    for (const auto& run : runs) {
      for (const bool isRedo : {false, true}) {
        if (run.wanted == Outcome::Written && isRedo) continue;
        const auto writer = OpenFolderWriter({.format = format}, directory.path() / "f");
        if (isRedo) writer->RewriteOutdated();
        const FinishedMail mail{.bytes = run.header + text, .instant = run.instant, .key = "0123"};
        EXPECT_EQ(writer->Write(mail, 0, ""), isRedo ? run.redone : run.wanted) << run.header;
        writer->Finish();
      }
    }
  }
}

}  // namespace
}  // namespace nimport::archive
