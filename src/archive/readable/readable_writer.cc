#include "archive/readable/readable_writer.h"

#include <algorithm>
#include <utility>

#include "archive/readable/readable_mail.h"

namespace nimport::archive {

namespace {

class ReadableWriter final : public FolderWriter {
 public:
  ReadableWriter(std::unique_ptr<FolderWriter> readable, std::unique_ptr<FolderWriter> faithful)
      : readable_(std::move(readable)), faithful_(std::move(faithful)) {}

  void Expect(std::size_t mails) override {
    readable_->Expect(mails);
    if (faithful_) faithful_->Expect(mails);
  }

  Outcome Write(FinishedMail mail, std::int32_t position, const std::string& subject) override {
    const Outcome outcome =
        faithful_ ? faithful_->Write(mail, position, subject) : Outcome::AlreadyThere;
    if (mail.isGarbled) {
      mail.bytes =
          faithful_ ? MakeReadable(mail.bytes) : MakeReadableWithOriginal(mail.bytes, mail.key);
    }
    const Outcome more = MoreOf(outcome, readable_->Write(std::move(mail), position, subject));
    place_ = (faithful_ ? faithful_ : readable_)->place();
    return more;
  }

  void Finish() override {
    if (faithful_) faithful_->Finish();
    readable_->Finish();
  }

  void GiveUp() noexcept override {
    if (faithful_) faithful_->GiveUp();
    readable_->GiveUp();
  }

  // Both get every mail, in the same order.
  [[nodiscard]] std::int64_t waiting() const override {
    return std::max(readable_->waiting(), faithful_ ? faithful_->waiting() : 0);
  }

 private:
  // What is said of a mail that is in two places.
  static Outcome MoreOf(Outcome one, Outcome other) {
    for (const Outcome outcome : {Outcome::Written, Outcome::Rewritten, Outcome::Outdated}) {
      if (one == outcome || other == outcome) return outcome;
    }
    return Outcome::AlreadyThere;
  }

  std::unique_ptr<FolderWriter> readable_;
  std::unique_ptr<FolderWriter> faithful_;  // may be null
};

}  // namespace

std::unique_ptr<FolderWriter> OpenReadableWriter(std::unique_ptr<FolderWriter> readable,
                                                 std::unique_ptr<FolderWriter> faithful) {
  return std::make_unique<ReadableWriter>(std::move(readable), std::move(faithful));
}

}  // namespace nimport::archive
