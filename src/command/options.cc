#include "command/options.h"

#include <charconv>
#include <iostream>
#include <map>
#include <system_error>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "command/usage.h"
#include "common/utf8_path.h"
#include "text/ascii.h"

namespace nimport::command {

namespace {

constexpr const char* DESCRIPTION =
    "Reads the mail and the address book that the mail client NIFTY Manager left on a disk.\n"
    "The store is only ever read. Positions count from 0.";

constexpr const char* MAIN_FOOTER =
    "Where the store is: --from names the directory that holds Cabdata.mdb. Instead, --registry "
    "and\n"
    "--drive let everything be found as the mail client itself would, stored files included.\n"
    "With neither, the registry and the drives of the Wine prefix are used.\n"
    "\n"
    "Exit codes: 0 all done, 1 some mails failed, 2 cannot run.\n"
    "\n"
    "Examples:\n"
    "  nimport check --from /mnt/disk/NIFTY/Data --drive C=/mnt/disk\n"
    "  nimport tree --registry user.reg --registry system.reg --drive C=/mnt/disk\n"
    "  nimport export --from /mnt/disk/NIFTY/Data --drive C=/mnt/disk --to ~/old-mail";

constexpr const char* FIND_FOOTER =
    "Looks below each directory, links to directories included, for Cabdata.mdb and Abook.mdb in\n"
    "any letter case, and for registry files that name such a store. Drives are guessed from the\n"
    "paths of stored files. Exit code 1 when there is no store.\n"
    "\n"
    "Example:\n"
    "  nimport find /mnt/disk";

constexpr const char* CHECK_FOOTER =
    "Says what is missing and where it was looked for. Exit code 1 when something cannot be\n"
    "read, 2 when neither database can.\n"
    "\n"
    "With --deep every page of both databases and every mail is read.\n"
    "\n"
    "Examples:\n"
    "  nimport check --from /mnt/disk/NIFTY/Data\n"
    "  nimport check --deep --from /mnt/disk/NIFTY/Data --drive C=/mnt/disk";

constexpr const char* TREE_FOOTER =
    "Example:\n"
    "  nimport tree --from /mnt/disk/NIFTY/Data --json";

constexpr const char* LIST_FOOTER =
    "Examples:\n"
    "  nimport list 2 --from /mnt/disk/NIFTY/Data\n"
    "  nimport list '受信キャビネット/新着メール' --from /mnt/disk/NIFTY/Data";

constexpr const char* SHOW_FOOTER =
    "Examples:\n"
    "  nimport show 2 14 --from /mnt/disk/NIFTY/Data\n"
    "  nimport show 2 14 --from /mnt/disk/NIFTY/Data --source > mail.eml\n"
    "  nimport show 2 14 --from /mnt/disk/NIFTY/Data --save ~/attachments";

constexpr const char* EXPORT_FOOTER =
    "Formats:\n"
    "  maildir  DIR/Cabinet/Folder/{cur,new,tmp}, one file per mail\n"
    "  mbox     DIR/Cabinet/Folder.mbox (mboxrd)\n"
    "  eml      DIR/Cabinet/Folder/NNNNN subject.eml, one file per mail\n"
    "\n"
    "Layouts:\n"
    "  plain        as above\n"
    "  maildir++    DIR/.Cabinet.Folder, as IMAP servers keep folders\n"
    "  thunderbird  DIR/nimport.sbd/Cabinet.sbd/Folder, mboxes as in Local Folders\n"
    "\n"
    "Mails that are there already are skipped, so that an interrupted export can be run again. "
    "The\n"
    "account of the run goes to DIR/account.json too, and a line for every row of the list of "
    "mails "
    "to\n"
    "DIR/index.csv and DIR/index.jsonl. What no folder lists goes to DIR/(not listed) and\n"
    "DIR/(no mail). Dates without a zone are Japanese time "
    "where\n"
    "--timezone names no other zone.\n"
    "\n"
    "Examples:\n"
    "  nimport export --from /mnt/disk/NIFTY/Data --drive C=/mnt/disk --to ~/old-mail\n"
    "  nimport export --registry user.reg --drive C=/mnt/disk --to ~/old-mail --format mbox\n"
    "  nimport export --from /mnt/disk/NIFTY/Data --to ~/old-mail --readable ~/readable-mail";

constexpr const char* CONTACTS_FOOTER =
    "Groups become categories; with --json they are nested. A member ID of the mail client's own\n"
    "service is no internet address and stands as a note and as X-NIMPORT-USER-ID.\n"
    "\n"
    "Examples:\n"
    "  nimport contacts --from /mnt/disk/NIFTY/Data > contacts.vcf\n"
    "  nimport contacts --from /mnt/disk/NIFTY/Data --vcard 3.0 > contacts.vcf\n"
    "  nimport contacts --from /mnt/disk/NIFTY/Data --excel > contacts.csv";

void AddDrive(const std::string& text, DriveMap& drives) {
  const std::size_t equals = text.find('=');
  const bool hasLetter = equals == 1 || (equals == 2 && text[1] == ':');
  const bool isSound = hasLetter && text::IsAsciiLetter(text[0]);
  if (!isSound || equals + 1 == text.size()) {
    throw CLI::ValidationError("--drive", text + ": not of the form C=PATH");
  }
  drives.insert_or_assign(text::AsciiUpper(text[0]), PathFromUtf8(text.substr(equals + 1)));
}

// An option that names a file or directory.
CLI::Option* AddPath(CLI::App& app, const std::string& name, std::filesystem::path& path,
                     const std::string& help) {
  return app.add_option_function<std::string>(
      name, [&path](const std::string& text) { path = PathFromUtf8(text); }, help);
}

// One that names several, each by an option of its own or after the others.
CLI::Option* AddPaths(CLI::App& app, const std::string& name,
                      std::vector<std::filesystem::path>& paths, const std::string& help) {
  return app.add_option_function<std::vector<std::string>>(
      name,
      [&paths](const std::vector<std::string>& texts) {
        for (const std::string& text : texts)
          paths.push_back(PathFromUtf8(text));
      },
      help);
}

void AddCommonOptions(CLI::App& app, Options& options) {
  const std::string group = "Common options";
  AddPath(app, "--from", options.location.databaseDirectory,
          "Directory that holds Cabdata.mdb and Abook.mdb")
      ->type_name("DIR")
      ->group(group);
  AddPaths(app, "--registry", options.location.registryFiles,
           "Registry file (.reg export or Wine's); may be repeated")
      ->type_name("FILE")
      ->allow_extra_args(false)
      ->group(group);
  app.add_option_function<std::vector<std::string>>(
         "--drive",
         [&options](const std::vector<std::string>& texts) {
           for (const std::string& text : texts)
             AddDrive(text, options.location.drives);
         },
         "Directory that stands for a drive of the old machine; may be repeated")
      ->type_name("C=PATH")
      ->allow_extra_args(false)
      ->group(group);
  app.add_option("--member", options.location.memberId, "Member ID, instead of the registry's")
      ->type_name("ID")
      ->group(group);
  app.add_option("--timezone", options.location.timeZone,
                 "Where the store was kept, such as Europe/Berlin or +09:00 (default: Asia/Tokyo)")
      ->type_name("ZONE")
      ->group(group);
  app.add_flag("--json", options.isJson, "Answer as JSON")->group(group);
}

// Takes one of the words that `values` has. Another one is named, with those.
template <typename Value>
CLI::Validator OneOf(std::map<std::string, Value> values) {
  return CLI::Validator(
      [values = std::move(values)](std::string& word) -> std::string {
        const auto found = values.find(text::AsciiLower(word));
        if (found != values.end()) {
          word = std::to_string(static_cast<int>(found->second));
          return {};
        }
        std::vector<std::string> names;
        for (const auto& [name, value] : values)
          names.push_back(name);
        return '"' + word + "\" is none of " + CLI::detail::join(names, ", ") +
               DidYouMean(word, names);
      },
      "");
}

CLI::Validator IsPosition() {
  return CLI::Validator(
      [](std::string& word) -> std::string {
        std::int32_t position = 0;
        const char* const end = word.data() + word.size();
        const auto [next, error] = std::from_chars(word.data(), end, position);
        const bool isPosition = error == std::errc() && next == end && position >= 0;
        return isPosition ? std::string()
                          : '"' + word + "\" is no position of a mail; they count from 0";
      },
      "");
}

CLI::App& AddSubcommand(CLI::App& app, Options& options, Subcommand subcommand,
                        const std::string& name, const std::string& description,
                        const std::string& footer) {
  CLI::App* const added = app.add_subcommand(name, description);
  added->footer(footer);
  added->callback([&options, subcommand] { options.subcommand = subcommand; });
  AddCommonOptions(*added, options);
  return *added;
}

void AddContacts(CLI::App& app, Options& options) {
  CLI::App& contacts =
      AddSubcommand(app, options, Subcommand::Contacts, "contacts",
                    "Write the address book in a form for today's programs", CONTACTS_FOOTER);
  const std::map<std::string, ContactForm> versions = {{"3.0", ContactForm::VCard3},
                                                       {"4.0", ContactForm::VCard4}};
  CLI::Option* const vcard =
      contacts
          .add_option("--vcard", options.contactForm, "vCard 4.0 (without any of these) or 3.0")
          ->transform(OneOf(versions))
          ->type_name("VERSION")
          ->option_text("VERSION");
  CLI::Option* const csv = contacts.add_flag_callback(
      "--csv", [&options] { options.contactForm = ContactForm::Csv; }, "CSV in UTF-8");
  CLI::Option* const excel = contacts.add_flag_callback(
      "--excel",
      [&options] {
        options.contactForm = ContactForm::Csv;
        options.isForExcel = true;
      },
      "CSV with a byte order mark, as Excel needs it");
  CLI::Option* const ldif = contacts.add_flag_callback(
      "--ldif", [&options] { options.contactForm = ContactForm::Ldif; }, "LDIF");
  vcard->excludes(csv)->excludes(excel)->excludes(ldif);
  ldif->excludes(csv)->excludes(excel);
}

// JSON is a form of its own.
void RequireOneForm(const CLI::App& app, const Options& options) {
  if (options.subcommand != Subcommand::Contacts || !options.isJson) return;
  const CLI::App* const contacts = app.get_subcommand("contacts");
  for (const char* form : {"--vcard", "--csv", "--excel", "--ldif"}) {
    if (contacts->count(form) > 0) throw CLI::ExcludesError("--json", form);
  }
}

void AddFind(CLI::App& app, Options& options) {
  CLI::App* const find = app.add_subcommand("find", "Look for stores, and say how to name them");
  find->footer(FIND_FOOTER);
  find->callback([&options] { options.subcommand = Subcommand::Find; });
  AddPaths(*find, "DIR", options.searchedDirectories, "Where to look")->required();
  find->add_flag("--json", options.isJson, "Answer as JSON");
}

void AddLayout(CLI::App& exporting, Options& options) {
  const std::map<std::string, archive::Layout> layouts = {
      {"plain", archive::Layout::Plain},
      {"maildir++", archive::Layout::MaildirPlusPlus},
      {"thunderbird", archive::Layout::Thunderbird}};
  exporting
      .add_option("--layout", options.form.layout,
                  "plain (the default), maildir++ or thunderbird (mbox)")
      ->transform(OneOf(layouts))
      ->type_name("LAYOUT")
      ->option_text("LAYOUT");
}

// A layout belongs to one format, which need not be said.
void SetFormatOfLayout(const CLI::App& app, Options& options) {
  using archive::ExportFormat;
  using archive::Layout;
  if (options.subcommand != Subcommand::Export || options.form.layout == Layout::Plain) return;
  const bool isMaildir = options.form.layout == Layout::MaildirPlusPlus;
  const ExportFormat wanted = isMaildir ? ExportFormat::Maildir : ExportFormat::Mbox;
  const bool isSaid = app.get_subcommand("export")->count("--format") > 0;
  if (isSaid && options.form.format != wanted) {
    throw CLI::ValidationError("--layout", isMaildir ? "maildir++ is for --format maildir"
                                                     : "thunderbird is for --format mbox");
  }
  options.form.format = wanted;
}

// Which mails, and how much is said.
void AddChoice(CLI::App& exporting, Options& options) {
  exporting
      .add_option("--folder", options.exporting.choice.folders,
                  "Only this folder: \"Cabinet/Folder\" or its index; may be repeated")
      ->type_name("FOLDER")
      ->allow_extra_args(false);
  const auto day = [](const std::string& text) {
    constexpr std::string_view FORM = "0000-00-00";
    const bool isWhole = text.size() == 4 || text.size() == 7 || text.size() == 10;
    for (std::size_t i = 0; isWhole && i < text.size(); ++i) {
      if ((text::IsAsciiDigit(text[i]) ? '0' : text[i]) != FORM[i]) return text + ": not a day";
    }
    return isWhole ? std::string() : text + ": not of the form 1998-01-13, 1998-01 or 1998";
  };
  exporting
      .add_option("--since", options.exporting.choice.since,
                  "Only mails of this day (1998-01-13, 1998-01, 1998) or later, or without a date")
      ->check(CLI::Validator(day, ""))
      ->type_name("DATE");
  exporting
      .add_option("--until", options.exporting.choice.until,
                  "Only mails of this day or earlier, or without a date")
      ->check(CLI::Validator(day, ""))
      ->type_name("DATE");
  exporting.add_flag("--dry-run", options.form.isDryRun,
                     "Read everything, write nothing, and say what would be written");
  exporting.add_option("-j,--jobs", options.jobs, "Read mails in so many threads")
      ->check(CLI::Range(1, 64))
      ->type_name("N");
  exporting.add_flag("--quiet", options.isQuiet,
                     "No progress, and no account unless something is wrong");
}

void AddSubcommands(CLI::App& app, Options& options) {
  AddFind(app, options);
  CLI::App& check = AddSubcommand(app, options, Subcommand::Check, "check",
                                  "Can the store be read?", CHECK_FOOTER);
  check.add_flag("--deep", options.isDeep, "Read every page and every mail");
  AddSubcommand(app, options, Subcommand::Tree, "tree", "Show the cabinets and folders",
                TREE_FOOTER);

  const std::string folderHelp = "\"Cabinet/Folder\" or the folder's index, as `tree` shows them";
  CLI::App& list = AddSubcommand(app, options, Subcommand::List, "list",
                                 "List the mails of a folder, or of all", LIST_FOOTER);
  list.add_option("FOLDER", options.folder, folderHelp);
  list.add_flag("--deleted", options.isDeleted,
                "List mails that were deleted and still lie in the database, instead");

  CLI::App& show =
      AddSubcommand(app, options, Subcommand::Show, "show", "Show one mail", SHOW_FOOTER);
  show.add_option("FOLDER", options.folder, folderHelp)->required();
  show.add_option("NUMBER", options.mail, "The mail's position in the folder")
      ->required()
      ->check(IsPosition());
  CLI::Option* const source =
      show.add_flag("--source", options.isSource, "Print the mail as `export` would write it");
  AddPath(show, "--save", options.saveDirectory,
          "Write the attachments to this directory; made if missing")
      ->type_name("DIR")
      ->excludes(source);

  CLI::App& exporting =
      AddSubcommand(app, options, Subcommand::Export, "export",
                    "Write all mails in a form for today's programs", EXPORT_FOOTER);
  AddPath(exporting, "--to", options.targetDirectory, "Directory to write to; made if missing")
      ->type_name("DIR")
      ->required();
  exporting.add_flag("--redo", options.isRedo,
                     "Write mails again that another --member, --timezone or version made");
  const std::map<std::string, archive::ExportFormat> formats = {
      {"maildir", archive::ExportFormat::Maildir},
      {"mbox", archive::ExportFormat::Mbox},
      {"eml", archive::ExportFormat::Eml}};
  exporting.add_option("--format", options.form.format, "maildir (the default), mbox or eml")
      ->transform(OneOf(formats))
      ->type_name("FORMAT")
      ->option_text("FORMAT");
  exporting.add_flag_callback(
      "--no-unlisted", [&options] { options.exporting.hasUnlisted = false; },
      "Leave out rows that no folder lists, and files that no row names");
  exporting.add_flag("--add", options.isAdded,
                     "Put the store beside another one whose export is there");
  exporting.add_flag("--index-bom", options.hasIndexMark,
                     "Begin index.csv with a byte order mark, as Excel needs it");
  AddLayout(exporting, options);
  AddChoice(exporting, options);

  exporting
      .add_option_function<std::vector<std::string>>(
          "--readable",
          [&options](const std::vector<std::string>& directories) {
            options.isReadable = true;
            if (!directories.empty()) options.readableDirectory = PathFromUtf8(directories.front());
          },
          "Write mails that today's programs would garble in a readable form, with the original\n"
          "attached; with DIR, write all mails there, too, and only there in that form")
      ->expected(0, 1)
      ->type_name("[DIR]")
      ->option_text("[DIR]");
  exporting.add_flag("--deleted", options.exporting.hasDeleted,
                     "Write mails that were deleted too, to DIR/(deleted)");

  AddContacts(app, options);
}

}  // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments) {
  Options options;
  CLI::App app(DESCRIPTION, "nimport");
  app.footer(MAIN_FOOTER);
  app.require_subcommand(1);
  app.set_version_flag("--version", "nimport " NIMPORT_VERSION);
  AddCommonOptions(app, options);
  AddSubcommands(app, options);
  try {
    // Without the program, last one first.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend() - 1));
    RequireOneForm(app, options);
    SetFormatOfLayout(app, options);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) throw ExplainUsage(app, error);
    app.exit(error, std::cout, std::cerr);
    return std::nullopt;
  }
  return options;
}

}  // namespace nimport::command
