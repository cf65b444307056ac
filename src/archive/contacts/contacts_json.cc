#include "archive/contacts/contacts_json.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "text/visible.h"

namespace nimport::archive {

namespace {

using nlohmann::ordered_json;

// Deeper groups are not indented further, so that the output does not grow with the depth's square.
constexpr std::size_t MAX_INDENTED_LEVELS = 20;

std::string ToLine(const ordered_json& json) {
  return text::VisibleJson(json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

ordered_json Describe(const Contact& contact) {
  ordered_json json = {{"id", contact.id},
                       {"name", contact.name},
                       {"userId", contact.userId},
                       {"comment", contact.comment},
                       {"emails", contact.emails}};
  if (contact.emails.empty() && !contact.userId.empty()) json["memberId"] = contact.userId;
  json["uid"] = contact.uid;
  return json;
}

}  // namespace

JsonContactWriter::JsonContactWriter(TextSink sink) : ContactWriter(std::move(sink)) {
  Put("{\n  \"groups\": [");
  levels_.emplace_back();
}

void JsonContactWriter::BeginGroup(const std::string& name) {
  if (levels_.back().isAddressList) {
    CloseList();
    levels_.back() = {};
    Put(", \"groups\": [");
  }
  BeginElement();
  Put("{\"name\": " + ToLine(name) + ", \"addresses\": [");
  levels_.push_back({.isAddressList = true});
}

void JsonContactWriter::Write(const Contact& contact) {
  BeginElement();
  Put(ToLine(Describe(contact)));
}

void JsonContactWriter::EndGroup() {
  CloseList();
  if (levels_.back().isAddressList) Put(", \"groups\": []");
  Put("}");
  levels_.pop_back();
}

void JsonContactWriter::Finish() {
  CloseList();
  Put("\n}\n");
}

void JsonContactWriter::BeginElement() {
  if (!levels_.back().isEmpty) Put(",");
  levels_.back().isEmpty = false;
  NewLine();
}

void JsonContactWriter::CloseList() {
  Put("]");
}

void JsonContactWriter::NewLine() const {
  Put("\n" + std::string(2 + 2 * std::min(levels_.size(), MAX_INDENTED_LEVELS), ' '));
}

}  // namespace nimport::archive
