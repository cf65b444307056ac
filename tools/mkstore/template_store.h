#ifndef NIMPORT_TOOLS_MKSTORE_TEMPLATE_STORE_H_
#define NIMPORT_TOOLS_MKSTORE_TEMPLATE_STORE_H_

#include <cstdint>
#include <optional>

#include "mkstore/address_writer.h"
#include "mkstore/mail_writer.h"

namespace nimport::mkstore {

// Adds the cabinets, folders, mails and addresses that a description's template stands for. They
// depend on the template and its seed alone. `scale` overrides the template's number of mails.
// Throws DescriptionError.
void AddFromTemplate(const Node& storeTemplate, std::optional<std::uint64_t> scale,
                     MailWriter& mails, AddressWriter& addresses);

}  // namespace nimport::mkstore

#endif  // NIMPORT_TOOLS_MKSTORE_TEMPLATE_STORE_H_
