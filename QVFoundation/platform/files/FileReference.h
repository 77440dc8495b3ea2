#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
struct FileRecord;
}

/// A lasting reference to an item of a file system, which finds it again after it was renamed or moved. It
/// can be kept as bytes, or in a file of its own that stands for the item, an alias file.
///
/// ```cpp
/// auto recent = FileReference::referenceToPath("draft.txt");
/// ...                                            // the user renames the file in another program
/// if (const auto now = recent->resolve()) open(now->path);
/// ```
///
/// A reference remembers a path and the identity of what was there: its type, its inode, when it was made
/// and, where the file system gives one, the kernel's own handle. What has the same inode and was made at the
/// same time is the same item, whatever the number of its device, which may be another after a restart; where
/// birth times are not kept, inode and device decide. The contents never matter.
///
/// | at the remembered path             | the item elsewhere | `resolve` finds                  | changed |
/// |------------------------------------|--------------------|----------------------------------|---------|
/// | the item                           | not looked for     | it, there                        | no      |
/// | nothing, or another item           | found              | it, where it is now              | yes     |
/// | another item of the same type      | not found          | what is there now                | yes     |
/// | nothing, or an item of other type  | not found          | nothing                          | no      |
///
/// The third row is for programs that save by putting a new file in the place of the old one.
///
/// Elsewhere means: wherever the handle leads on the same volume, if the process has the capability
/// CAP_DAC_READ_SEARCH and the kernel knows the item's name at the moment; then the folder in which the item
/// was, the folders in that, the folder above, and the folders beside. If the folder itself is gone, the
/// nearest one above that is still there is searched, as deep as the old one was. A search looks at 20,000
/// entries at most, follows no link and stays on its volume.
///
/// A reference may also remember the path relative to a base, such as the document that mentions the item. If
/// it is then resolved with a base, what is found from there is taken first: the item, or else any of the
/// same type. So a document and what belongs to it can be copied together.
///
/// Threads: a value; copies may be used on different threads.
/// Errors: `NSCocoaErrorDomain` with the path and what the system said as underlying error; for damaged bytes
/// `NSCoderReadCorruptError` with a text that names the damage.
class QV_EXPORT FileReference {
public:
  /// Refers to nothing: it has no path and no bytes, and resolves to nothing.
  FileReference() noexcept = default;

  /// Nothing where there is no such item, and for a path of more than 64 KiB. A relative path is taken from the current folder; no link is
  /// resolved, so that the reference is to a link itself where there is one at the end, also before a slash.
  [[nodiscard]] static std::optional<FileReference> referenceToPath(PathView path,
                                                                    std::optional<NSError>* error = nullptr);
  /// Remembers the way from a folder or a file, which need not exist, as far as the two paths tell it.
  [[nodiscard]] static std::optional<FileReference> referenceToPath(PathView path, PathView base,
                                                                    std::optional<NSError>* error = nullptr);

  /// The remembered path, absolute; empty if the reference is to nothing.
  [[nodiscard]] std::filesystem::path path() const;

  struct Resolution {
    std::filesystem::path path;
    bool changed = false;  ///< path or item are others than were remembered
  };
  /// Finds the item, and remembers what has changed. What is not found leaves the reference as it is.
  std::optional<Resolution> resolve(std::optional<NSError>* error = nullptr);
  std::optional<Resolution> resolve(std::optional<PathView> base, std::optional<NSError>* error = nullptr);

  /// The reference as bytes, in a form that is the same on all computers.
  [[nodiscard]] NSData data() const;
  [[nodiscard]] static std::optional<FileReference> fromData(std::span<const std::byte> data,
                                                             std::optional<NSError>* error = nullptr);

  /// Makes an alias file, whole or not at all. One that is already there is an error.
  bool writeAliasFile(PathView path, std::optional<NSError>* error = nullptr) const;
  /// Goes by how the file begins. A link to an alias file is none.
  [[nodiscard]] static bool isAliasFile(PathView path);
  [[nodiscard]] static std::optional<FileReference> fromAliasFile(PathView path,
                                                                  std::optional<NSError>* error = nullptr);

  /// Whether both are to the same item, whatever the paths.
  friend QV_EXPORT bool operator==(const FileReference& a, const FileReference& b) noexcept;

private:
  explicit FileReference(detail::FileRecord record);

  std::shared_ptr<const detail::FileRecord> record_;  // null if it is to nothing
};

}  // namespace QVFoundation
