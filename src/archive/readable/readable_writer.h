// Folders in which garbled mails have their readable form.
#ifndef NIMPORT_ARCHIVE_READABLE_READABLE_WRITER_H_
#define NIMPORT_ARCHIVE_READABLE_READABLE_WRITER_H_

#include <memory>

#include "archive/folder_writer.h"

namespace nimport::archive {

// Mails go to `readable`, the garbled ones in their readable form with the original attached. With
// `faithful`, which may be null, every mail goes there as it is, too; then nothing is attached. A
// mail has the same name in both.
[[nodiscard]] std::unique_ptr<FolderWriter> OpenReadableWriter(
    std::unique_ptr<FolderWriter> readable, std::unique_ptr<FolderWriter> faithful);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_READABLE_READABLE_WRITER_H_
