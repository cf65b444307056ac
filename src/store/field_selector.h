#ifndef NIMPORT_STORE_FIELD_SELECTOR_H_
#define NIMPORT_STORE_FIELD_SELECTOR_H_

namespace nimport::store {

// A header field of a mail, numbered as hosts know them. Number 5 is not used.
enum class FieldSelector {
  Subject = 0,
  From = 1,
  To = 2,
  MessageId = 3,
  Date = 4,
  ContentType = 6,
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_FIELD_SELECTOR_H_
