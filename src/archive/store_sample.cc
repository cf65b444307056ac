#include "archive/store_sample.h"

#include <iterator>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "archive/compose_mail.h"
#include "archive/contacts/contact_writer.h"
#include "archive/contacts/write_contacts.h"
#include "archive/mail_contents.h"
#include "platform/interruption.h"
#include "store/mails/mail_kinds.h"
#include "store/mails/mail_list.h"

namespace nimport::archive {

namespace {

// Where a number stands among all of them, as if they were shuffled: a bijection.
std::uint32_t Shuffled(std::int32_t number) {
  auto bits = static_cast<std::uint32_t>(number);
  bits = (bits ^ (bits >> 16)) * 0x7FEB'352DU;
  bits = (bits ^ (bits >> 15)) * 0x846C'A68BU;
  return bits ^ (bits >> 16);
}

// The numbers that a sample is made of, while all numbers go by: the lowest, which a copy from long
// ago has too, and as many that are spread over all.
template <typename T>
class Chosen {
 public:
  void See(std::int32_t number, const T& value) {
    Keep(low_, number, {number, value});
    Keep(spread_, Shuffled(number), {number, value});
  }

  [[nodiscard]] std::map<std::int32_t, T> All() const {
    std::map<std::int32_t, T> all;
    for (const auto& [place, item] : low_)
      all.insert(item);
    for (const auto& [place, item] : spread_)
      all.insert(item);
    return all;
  }

 private:
  using Item = std::pair<std::int32_t, T>;

  template <typename Place>
  static void Keep(std::map<Place, Item>& items, Place place, const Item& item) {
    if (items.size() == SAMPLE_SIZE / 2 && place > items.rbegin()->first) return;
    items.try_emplace(place, item);
    if (items.size() > SAMPLE_SIZE / 2) items.erase(std::prev(items.end()));
  }

  std::map<std::int32_t, Item> low_;
  std::map<std::uint32_t, Item> spread_;
};

std::optional<std::string> FindKey(store::Store& store, const store::MailEntry& mail) {
  try {
    const store::MailRecord record = store.Read(mail, store::ColumnsWanted::OfMail);
    const MailContents contents = ReadContents(store, record);
    return KeyOf(ReadHeaders(store, record, &contents), contents);
  } catch (const store::Error&) {
    return std::nullopt;
  }
}

class UidCollector final : public ContactWriter {
 public:
  UidCollector(const StoreSample& also, std::set<std::string>& uids)
      : ContactWriter([](std::string_view) {}), also_(also), uids_(uids) {}

  void Write(const Contact& contact) override {
    if (also_.contacts.contains(contact.uid)) uids_.insert(contact.uid);
    first_.insert(contact.uid);
    if (first_.size() > SAMPLE_SIZE) first_.erase(std::prev(first_.end()));
  }
  void Finish() override { uids_.merge(first_); }

 private:
  const StoreSample& also_;
  std::set<std::string>& uids_;
  std::set<std::string> first_;
};

}  // namespace

StoreSample TakeSample(platform::Platform& platform, store::Store* store, const StoreSample& also) {
  const platform::Interruption::Pause pause;
  StoreSample sample;
  if (store != nullptr) {
    Chosen<store::MailEntry> chosen;
    std::map<std::int32_t, store::MailEntry> asked;
    static_cast<void>(
        store::ReadMailList(platform, [&](const store::MailEntry& mail, std::int32_t) {
          if (!store::IsListedMailKind(mail.dataType)) return;
          if (also.mails.contains(mail.dataNo)) asked.try_emplace(mail.dataNo, mail);
          chosen.See(mail.dataNo, mail);
        }));
    asked.merge(chosen.All());
    for (const auto& [number, mail] : asked) {
      if (std::optional<std::string> key = FindKey(*store, mail))
        sample.mails.emplace(number, *std::move(key));
    }
  }
  if (!sample.mails.empty()) return sample;
  try {
    std::vector<store::Problem> ignored;
    const store::OpenAddressBook book(platform, ignored,
                                      {.interruption = &platform::Interruption::Flag()});
    UidCollector collector(also, sample.contacts);
    WriteContacts(book.book(), collector);
  } catch (const store::Error&) {
    // Then there is nothing to know the store by.
  }
  return sample;
}

StoreSample WithoutOthers(const StoreSample& sample) {
  StoreSample rest;
  Chosen<std::string> chosen;
  for (const auto& [number, key] : sample.mails)
    chosen.See(number, key);
  rest.mails = chosen.All();
  for (const std::string& uid : sample.contacts)
    if (rest.contacts.size() < SAMPLE_SIZE) rest.contacts.insert(uid);
  return rest;
}

Likeness Compare(const StoreSample& known, const StoreSample& present) {
  Likeness likeness;
  std::set<std::string_view> keys;
  for (const auto& [number, key] : present.mails)
    keys.insert(key);
  for (const auto& [number, key] : known.mails) {
    if (keys.contains(key)) {
      ++likeness.same;
    } else if (present.mails.contains(number)) {
      ++likeness.other;
    }
  }
  for (const std::string& uid : known.contacts)
    ++(present.contacts.contains(uid) ? likeness.same : likeness.other);
  return likeness;
}

}  // namespace nimport::archive
