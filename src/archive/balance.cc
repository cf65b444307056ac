#include "archive/balance.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "store/mails/mail_kinds.h"

namespace nimport::archive {

namespace {

// Stands for a folder's name in the account.
constexpr const char* MAIL_LIST = "(list of mails)";

// Of a kind that is not handled, which may have very many rows.
constexpr std::size_t MAX_RANGES_OF_A_KIND = 20;

// "DataNo 3, 7-9, 12", and how many ranges more there are after the first `maxRanges`.
std::string DescribeNumbers(std::vector<std::int32_t> numbers, std::size_t maxRanges) {
  std::ranges::sort(numbers);
  std::string text = "DataNo ";
  std::size_t ranges = 0;
  for (std::size_t begin = 0, end = 0; begin < numbers.size(); begin = end) {
    for (end = begin + 1;
         end < numbers.size() && std::int64_t{numbers[end]} - numbers[end - 1] <= 1;)
      ++end;
    if (++ranges > maxRanges) continue;
    if (begin > 0) text += ", ";
    text += std::to_string(numbers[begin]);
    if (numbers[end - 1] != numbers[begin]) text += '-' + std::to_string(numbers[end - 1]);
  }
  if (ranges > maxRanges) text += " and " + std::to_string(ranges - maxRanges) + " ranges more";
  return text;
}

std::string DescribeStrays(std::int32_t folderNumber, const store::UnlistedMails& mails,
                           const std::vector<std::int32_t>& dataNos) {
  const std::string folder = "folder " + std::to_string(folderNumber);
  const std::string where = mails.cabinetNumber
                                ? folder + " stands in cabinet " +
                                      std::to_string(*mails.cabinetNumber) + ", which is not listed"
                                : folder + " is not listed";
  return where + "; mails in it: " + std::to_string(dataNos.size()) + " (" +
         DescribeNumbers(dataNos, dataNos.size()) + ")";
}

}  // namespace

std::vector<Remark> FindMissingRows(const store::MailList& list,
                                    const std::vector<FoundFolder>& found) {
  std::vector<Remark> missing;
  if (!list.failure.empty()) {
    missing.push_back(RemarkOn(MAIL_LIST, list.failure));
    return missing;
  }
  if (list.folders.size() != found.size()) {
    missing.push_back(RemarkOn(
        MAIL_LIST, "the database has " + std::to_string(list.folders.size()) +
                       " folders, of which " + std::to_string(found.size()) + " were found"));
    return missing;
  }
  for (std::size_t i = 0; i < found.size(); ++i) {
    const auto counted = static_cast<std::int64_t>(list.folders[i].mailCount);
    if (!found[i].mailCount || *found[i].mailCount == counted) continue;
    missing.push_back(RemarkOn(found[i].name, "the list of mails has " + std::to_string(counted) +
                                                  " mails in this folder, of which " +
                                                  std::to_string(*found[i].mailCount) +
                                                  " were found"));
  }
  return missing;
}

LeftOutRows DescribeUnlisted(const store::MailList& list) {
  LeftOutRows rows;
  std::map<std::int32_t, std::vector<std::int32_t>> otherKinds;
  for (const auto& [folderNumber, mails] : list.unlisted) {
    std::vector<std::int32_t> strays;
    for (const store::MailEntry& mail : mails.mails) {
      const bool isStray = store::IsListedMailKind(mail.dataType);
      (isStray ? strays : otherKinds[mail.dataType]).push_back(mail.dataNo);
    }
    if (strays.empty()) continue;
    rows.unlisted.push_back(RemarkOn(MAIL_LIST, DescribeStrays(folderNumber, mails, strays)));
  }
  for (const auto& [kind, dataNos] : otherKinds) {
    rows.leftOut.push_back(
        RemarkOn(MAIL_LIST, "rows of kind " + std::to_string(kind) +
                                ", which is not handled: " + std::to_string(dataNos.size()) + " (" +
                                DescribeNumbers(dataNos, MAX_RANGES_OF_A_KIND) + ")"));
  }
  return rows;
}

}  // namespace nimport::archive
