// nimport contacts: the address book in forms that today's programs open.
#include <iostream>
#include <memory>
#include <vector>

#include "archive/contacts/contacts_json.h"
#include "archive/contacts/csv.h"
#include "archive/contacts/ldif.h"
#include "archive/contacts/vcard.h"
#include "archive/contacts/write_contacts.h"
#include "command/commands.h"
#include "command/losses.h"
#include "command/terminal.h"
#include "platform/interruption.h"
#include "store/store.h"
#include "text/visible.h"

namespace nimport::command {

namespace {

std::unique_ptr<archive::ContactWriter> MakeWriter(const Options& options, archive::TextSink sink) {
  if (options.isJson) return std::make_unique<archive::JsonContactWriter>(std::move(sink));
  switch (options.contactForm) {
    case ContactForm::VCard3:
      return std::make_unique<archive::VCardWriter>(std::move(sink), archive::VCardVersion::V3_0);
    case ContactForm::VCard4:
      break;
    case ContactForm::Csv:
      return std::make_unique<archive::CsvWriter>(std::move(sink), options.isForExcel);
    case ContactForm::Ldif:
      return std::make_unique<archive::LdifWriter>(std::move(sink));
  }
  return std::make_unique<archive::VCardWriter>(std::move(sink), archive::VCardVersion::V4_0);
}

int PrintContacts(StorePlatform& platform, const Options& options,
                  std::vector<store::Problem>& losses) {
  const store::OpenAddressBook open(platform, losses,
                                    {.interruption = &platform::Interruption::Flag()});
  const std::unique_ptr<archive::ContactWriter> writer =
      MakeWriter(options, [](std::string_view text) { std::cout << ForStandardOutput(text); });
  archive::WriteContacts(open.book(), *writer);
  PrintNotes(open.notes());
  const bool hasLosses = PrintLosses(losses);
  if (platform::Interruption::IsRequested()) throw store::Interrupted();
  return hasLosses ? EXIT_SOME_FAILED : EXIT_ALL_DONE;
}

}  // namespace

int RunContacts(StorePlatform& platform, const Options& options) {
  const platform::Interruption::Pause pause;  // there is no report
  std::vector<store::Problem> losses;
  try {
    return PrintContacts(platform, options, losses);
  } catch (const store::Error&) {
    // Damage that was stepped over before may be why the book cannot be read.
    PrintLosses(losses);
    throw;
  }
}

}  // namespace nimport::command
