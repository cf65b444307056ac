#include "mkstore/template_store.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "mime/transfer_encoding.h"

namespace nimport::mkstore {
namespace {

using nlohmann::json;

constexpr std::int64_t MAX_LONG = std::numeric_limits<std::int32_t>::max();
// The generated numbers stand above those that descriptions use.
constexpr std::int64_t FIRST_CABINET = 1001;
constexpr std::int64_t FIRST_FOLDER = 100'001;
constexpr std::int64_t FIRST_MAIL = 1'000'001;
constexpr std::int64_t FIRST_KEY = 1'000'001;

// A small generator whose numbers are the same everywhere.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }

  // From 0 to `limit` - 1; `limit` is not 0.
  std::uint64_t Below(std::uint64_t limit) { return Next() % limit; }

  template <typename T, std::size_t N>
  const T& Pick(const std::array<T, N>& choices) {
    return choices[static_cast<std::size_t>(Below(N))];
  }

 private:
  std::uint64_t state_;
};

constexpr std::array<const char*, 12> SENTENCES = {
    "先日は遠いところをお越しいただき、ありがとうございました。",
    "次の例会は駅前の喫茶店で、午後二時からに決まりました。",
    "添付の表をご覧ください。ソースは能登さんの手帳です。",
    "ﾊﾟｿｺﾝの調子が悪く、返事が遅れました。",
    "会費は①年会費、②資料代の二つです。",
    "予定は未定ですが、雨天の場合は中止とします。",
    "写真は十枚ほどあります。容量が大きいので分けて送ります。",
    "Please find the list below; it is the same as last month.",
    "髙橋さんと德田さんにもよろしくお伝えください。",
    "締め切りは月末です。お早めにどうぞ。",
    "貼り付けた図が見えないときは、お知らせください。",
    "それでは、また来週。",
};

constexpr std::array<const char*, 8> TITLES = {
    "例会のお知らせ", "Re: 写真の件", "資料①を送ります", "お礼",
    "ﾃｽﾄです",        "予定表",       "Minutes",         "表とソースについて",
};

constexpr std::array<const char*, 8> NAMES = {
    "白石 千夏", "水野 圭吾", "Erin Walsh", "髙木 瞳", "能勢 一", "ﾀﾅｶ ｼﾞﾛｳ", "構 美保", "真壁 諒",
};

// What a template asks for.
struct TemplateSettings {
  std::uint64_t mails = 0;
  std::int64_t cabinets = 0;
  std::int64_t folders = 0;
  std::uint64_t mimePercent = 0;
  std::vector<std::pair<int, std::uint64_t>> kinds;  // with their weights; the MIME mails apart
  std::uint64_t minTextBytes = 0;
  std::uint64_t maxTextBytes = 0;
  std::uint64_t longTextEvery = 0;  // 0: none
  std::uint64_t longTextBytes = 0;
  std::uint64_t attachmentBytes = 0;
  std::uint64_t addresses = 0;
  std::uint64_t groups = 0;
  std::uint64_t depth = 0;
  std::uint64_t deleted = 0;     // mails, spread evenly
  std::uint64_t deletedRun = 1;  // so many after each other
  std::uint64_t seed = 0;
};

std::uint64_t ReadCount(const Node& node, std::string_view member, std::int64_t absent,
                        std::int64_t min = 0, std::int64_t max = MAX_LONG) {
  return static_cast<std::uint64_t>(node.IntegerOr(member, absent, min, max));
}

void ReadTextSizes(const Node& node, TemplateSettings& settings) {
  static const json none = json::object();
  const Node text = node.Find("text").value_or(Node(none, node.Pointer() + "/text"));
  text.ExpectMembers({"minBytes", "maxBytes", "longEvery", "longBytes"});
  settings.minTextBytes = ReadCount(text, "minBytes", 40);
  settings.maxTextBytes = ReadCount(text, "maxBytes", 400);
  if (settings.minTextBytes > settings.maxTextBytes) text.Fail("minBytes is above maxBytes");
  settings.longTextEvery = ReadCount(text, "longEvery", 0);
  settings.longTextBytes = ReadCount(text, "longBytes", 70'000);
}

void ReadKinds(const Node& node, TemplateSettings& settings) {
  static const json usual = {{"20", 60}, {"22", 25}, {"19", 5}, {"23", 5}, {"24", 5}};
  const Node kinds = node.Find("kinds").value_or(Node(usual, node.Pointer() + "/kinds"));
  for (const auto& [name, weight] : kinds.Members()) {
    const int kind = name.empty() || name.size() > 2 ? 0 : std::atoi(name.c_str());
    if (kind < 17 || kind > 39) weight.Fail("a kind is a number between 17 and 39");
    settings.kinds.emplace_back(kind, static_cast<std::uint64_t>(weight.ToInteger(0, 1'000'000)));
  }
}

TemplateSettings ReadSettings(const Node& node, std::optional<std::uint64_t> scale) {
  node.ExpectMembers({"mails", "cabinets", "folders", "mimePercent", "kinds", "text",
                      "attachmentBytes", "addresses", "groups", "depth", "seed", "deleted",
                      "deletedRun"});
  TemplateSettings settings;
  settings.mails = scale.value_or(ReadCount(node, "mails", 1000));
  if (settings.mails > MAX_LONG - FIRST_MAIL) node.Fail("there would be too many mails");
  settings.cabinets = node.IntegerOr("cabinets", 3, 1, 30'000);
  settings.folders = node.IntegerOr("folders", 20, 1, 1'000'000);
  settings.mimePercent = ReadCount(node, "mimePercent", 30, 0, 100);
  ReadKinds(node, settings);
  ReadTextSizes(node, settings);
  settings.attachmentBytes = ReadCount(node, "attachmentBytes", 600);
  settings.addresses = ReadCount(node, "addresses", 0);
  settings.groups = ReadCount(node, "groups", 1, 1);
  settings.depth = ReadCount(node, "depth", 1, 1);
  settings.seed = ReadCount(node, "seed", 1);
  settings.deleted = ReadCount(node, "deleted", 0, 0, static_cast<std::int64_t>(settings.mails));
  settings.deletedRun = ReadCount(node, "deletedRun", 1, 1);
  return settings;
}

std::string PaddedNumber(std::uint64_t number) {
  std::array<char, 24> digits{};
  std::snprintf(digits.data(), digits.size(), "%08llu", static_cast<unsigned long long>(number));
  return digits.data();
}

// Makes the mails of a template, one after the other.
class MailGenerator {
 public:
  explicit MailGenerator(const TemplateSettings& settings)
      : settings_(settings), random_(settings.seed) {
    for (const auto& [kind, weight] : settings.kinds)
      weights_ += weight;
  }

  [[nodiscard]] std::int64_t NextFolder() {
    return FIRST_FOLDER +
           static_cast<std::int64_t>(random_.Below(static_cast<std::uint64_t>(settings_.folders)));
  }

  // The description of the mail with that number, counted from 0.
  [[nodiscard]] json MakeMail(std::uint64_t number) {
    const bool isMime = weights_ == 0 || random_.Below(100) < settings_.mimePercent;
    const int kind = isMime ? 34 : PickKind();
    json mail = {{"kind", kind},
                 {"dataNo", FIRST_MAIL + static_cast<std::int64_t>(number)},
                 {"title", std::string(random_.Pick(TITLES)) + " " + std::to_string(number)},
                 {"date", MakeDate(number)}};
    if (isMime || kind == 32 || kind == 33 || kind == 39) {
      mail["mime"] = MakeMime(number);
    } else {
      mail["columns"] = MakeColumns(kind, number);
      if (kind == 19 || kind == 29 || kind == 30 || kind == 23) {
        mail["storedFile"] = MakeStoredFile(kind, number);
      }
    }
    return mail;
  }

 private:
  int PickKind() {
    std::uint64_t place = random_.Below(weights_);
    for (const auto& [kind, weight] : settings_.kinds) {
      if (place < weight) return kind;
      place -= weight;
    }
    return settings_.kinds.back().first;
  }

  // A minute apart, from 1996 on.
  static json MakeDate(std::uint64_t number) {
    constexpr double FIRST_DAY = 35065;
    return FIRST_DAY + static_cast<double>(number % 15'000'000) / 1440.0;
  }

  std::string MakeText(std::uint64_t number) {
    const bool isLong = settings_.longTextEvery != 0 &&
                        number % settings_.longTextEvery == settings_.longTextEvery - 1;
    const std::uint64_t spread = settings_.maxTextBytes - settings_.minTextBytes + 1;
    const std::uint64_t bytes =
        isLong ? settings_.longTextBytes : settings_.minTextBytes + random_.Below(spread);
    std::string text;
    // A character takes three bytes here and two in the database.
    while (text.size() / 3 * 2 < bytes) {
      text += random_.Pick(SENTENCES);
      text += "\r\n";
    }
    return text;
  }

  std::string MakeId(char letter) {
    return std::string("QZ") + letter + PaddedNumber(random_.Below(100'000)).substr(3);
  }

  json MakeColumns(int kind, std::uint64_t number) {
    switch (kind) {
      case 17:
        return {{"MailID", "M" + PaddedNumber(number)}, {"AdditionalIDList", MakeId('K')}};
      case 19:
      case 29:
      case 30:
        return {{"OriginatorID", MakeId('R')},
                {"OriginatorName", random_.Pick(NAMES)},
                {"MailID", "M" + PaddedNumber(number)}};
      case 20:
      case 21:
        return {{"OriginatorID", MakeId('T')},
                {"OriginatorName", random_.Pick(NAMES)},
                {"TextData", MakeText(number)}};
      case 23:
        return {{"RecipientList", MakeId('U')}};
      case 24:
        return {{"SysopeID", MakeId('S')}, {"TextData", MakeText(number)}};
      case 25:
        return {{"CenterCode", MakeId('C')}, {"BodyText", MakeText(number)}};
      case 27:
        return {{"ShopMasterID", MakeId('P')}, {"TextData", MakeText(number)}};
      case 28:
        return {{"RespID", MakeId('H')}, {"TextData", MakeText(number)}};
      case 22:
      case 26:
      case 38:
        return {{"ToField", MakeId('D')},
                {"TextData", MakeText(number)},
                {"ForwardText", kind == 38 ? json(MakeText(number)) : json()}};
      default:
        return json::object();
    }
  }

  json MakeStoredFile(int kind, std::uint64_t number) {
    const bool isUpload = kind == 23;
    return {{"path", std::string("C:\\NIFTY\\") + (isUpload ? "Upload" : "Download") + "\\F" +
                         PaddedNumber(number) + (isUpload ? ".DOC" : ".LZH")},
            {"contents", MakeText(number)}};
  }

  std::string MakeBytes(std::uint64_t count) {
    std::string bytes;
    while (bytes.size() < count) {
      const std::uint64_t word = random_.Next();
      for (int shift = 0; shift < 64; shift += 8)
        bytes.push_back(static_cast<char>(word >> shift));
    }
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
  }

  json MakeMime(std::uint64_t number) {
    const std::string id = PaddedNumber(number);
    return {{"file", id + ".MIM"},
            {"charset", "iso-2022-jp"},
            {"lines",
             {"Date: Tue, 13 Jan 1998 10:00:00 +0900",
              {{"header", "From"},
               {"text", random_.Pick(NAMES)},
               {"charset", "iso-2022-jp"},
               {"after", " <sender" + std::to_string(number % 997) + "@example.com>"}},
              "To: member@example.jp",
              {{"header", "Subject"},
               {"text", std::string(random_.Pick(TITLES)) + " " + std::to_string(number)},
               {"charset", "iso-2022-jp"}},
              "Message-Id: <" + id + "@example.com>",
              "MIME-Version: 1.0",
              "Content-Type: multipart/mixed; boundary=\"=_" + id + "\"",
              "",
              "--=_" + id,
              "Content-Type: text/plain; charset=iso-2022-jp",
              "Content-Transfer-Encoding: 7bit",
              "",
              MakeText(number),
              "--=_" + id,
              "Content-Type: application/octet-stream; name=\"data.bin\"",
              "Content-Transfer-Encoding: base64",
              "Content-Disposition: attachment; filename=\"data.bin\"",
              "",
              {{"body", {{"base64", mime::EncodeBase64Line(MakeBytes(settings_.attachmentBytes))}}},
               {"encoding", "base64"}},
              "",
              "--=_" + id + "--"}}};
  }

  const TemplateSettings& settings_;
  Random random_;
  std::uint64_t weights_ = 0;
};

void AddFolders(const TemplateSettings& settings, MailWriter& mails) {
  for (std::int64_t i = 0; i < settings.cabinets; ++i) {
    const json cabinet = {{"number", FIRST_CABINET + i},
                          {"name", "キャビネット " + std::to_string(i + 1)}};
    mails.AddCabinet(Node(cabinet, "/template"));
  }
  for (std::int64_t i = 0; i < settings.folders; ++i) {
    const json folder = {{"number", FIRST_FOLDER + i},
                         {"name", "フォルダ " + std::to_string(i + 1)}};
    mails.AddFolder(Node(folder, "/template"), FIRST_CABINET + i % settings.cabinets);
  }
}

// Groups hang in chains of `depth`; addresses are dealt out to all of them in turn.
void AddAddresses(const TemplateSettings& settings, AddressWriter& addresses) {
  if (settings.addresses == 0) return;
  for (std::uint64_t i = 0; i < settings.groups; ++i) {
    const auto key = FIRST_KEY + static_cast<std::int64_t>(i);
    const json group = {{"key", key},
                        {"parent", i % settings.depth == 0 ? 0 : key - 1},
                        {"name", "グループ " + std::to_string(i + 1)}};
    addresses.AddEntry(Node(group, "/template"));
  }
  Random random(settings.seed);
  for (std::uint64_t i = 0; i < settings.addresses; ++i) {
    const json address = {{"key", FIRST_KEY + static_cast<std::int64_t>(settings.groups + i)},
                          {"parent", FIRST_KEY + static_cast<std::int64_t>(i % settings.groups)},
                          {"name", std::string(random.Pick(NAMES)) + " " + std::to_string(i)},
                          {"userId", "member" + std::to_string(i) + "@example.com"},
                          {"comment", i % 3 == 0 ? json(random.Pick(SENTENCES)) : json()}};
    addresses.AddEntry(Node(address, "/template"));
  }
}

// Runs of mails, spread over all of them so that the wanted number comes out.
bool IsDeleted(const TemplateSettings& settings, std::uint64_t number) {
  const std::uint64_t run = settings.deletedRun;
  const std::uint64_t runs = (settings.mails + run - 1) / run;
  const std::uint64_t wanted = (settings.deleted + run - 1) / run;
  const std::uint64_t at = number / run;
  return wanted * (at + 1) / runs > wanted * at / runs;
}

}  // namespace

void AddFromTemplate(const Node& storeTemplate, std::optional<std::uint64_t> scale,
                     MailWriter& mails, AddressWriter& addresses) {
  const TemplateSettings settings = ReadSettings(storeTemplate, scale);
  AddFolders(settings, mails);
  MailGenerator generator(settings);
  for (std::uint64_t number = 0; number < settings.mails; ++number) {
    const std::int64_t folder = generator.NextFolder();
    json mail = generator.MakeMail(number);
    if (IsDeleted(settings, number)) mail["deleted"] = true;
    mails.AddMail(Node(mail, "/template"), folder);
  }
  AddAddresses(settings, addresses);
}

}  // namespace nimport::mkstore
