#ifndef NIMPORT_PLUGIN_MAILS_RELATED_PART_H_
#define NIMPORT_PLUGIN_MAILS_RELATED_PART_H_

#include <cstdint>

#include "text/fixed_text.h"

namespace nimport::plugin {

// A part that the body of a mail refers to, such as a picture.
struct RelatedPart {
  // The number of earlier related parts of the same mail with the same content type.
  std::int32_t occurrence = 0;
  text::ValueText contentType;  // for example image/gif
};

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAILS_RELATED_PART_H_
