#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSDirectoryEnumerator.h"
#include "QVFoundation/platform/files/NSFileAttributes.h"
#include "QVFoundation/platform/files/NSSearchPath.h"
#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// How a folder stands to an item.
///
/// Threads: constants.
enum class NSURLRelationship { contains = 0, same = 1, other = 2 };

/// What can be asked of the file system and done in it.
///
/// ```cpp
/// const auto& files = *NSFileManager::defaultManager();
/// std::optional<NSError> error;
/// if (!files.moveItemAtPath("draft.txt", "letter.txt", &error)) throw *error;
/// for (auto& item : files.enumeratorAtPath("Music")) total += item.fileSize();
/// ```
///
/// Paths may be longer than `PATH_MAX`; relative ones are taken from the current folder.
///
/// Threads: without state; any thread may use any manager.
/// Errors: `NSCocoaErrorDomain` with the path under `NSFilePathErrorKey` and the system's reason, in
/// `NSPOSIXErrorDomain`, as underlying error. Functions that take no error say nothing of one.
class QV_EXPORT NSFileManager : public NSObject {
public:
  [[nodiscard]] static const std::shared_ptr<NSFileManager>& defaultManager();

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// Whether there is something at a path, links followed: a link that leads nowhere counts as nothing.
  [[nodiscard]] bool fileExistsAtPath(PathView path, bool* isDirectory = nullptr) const;
  /// Of the item itself; links are not followed.
  [[nodiscard]] std::optional<NSFileAttributes> attributesOfItemAtPath(
      PathView path, std::optional<NSError>* error = nullptr) const;
  /// The text of a link as it stands.
  [[nodiscard]] std::optional<std::filesystem::path> destinationOfSymbolicLinkAtPath(
      PathView path, std::optional<NSError>* error = nullptr) const;
  /// The names of what is in a folder, in no order.
  [[nodiscard]] std::optional<std::vector<std::string>> contentsOfDirectoryAtPath(
      PathView path, std::optional<NSError>* error = nullptr) const;
  /// All that is in a folder, however deep: see there.
  [[nodiscard]] NSDirectoryEnumerator enumeratorAtPath(
      PathView path, NSDirectoryEnumerator::ErrorHandler errorHandler = nullptr) const;

  enum class WithIntermediateDirectories { no, yes };
  /// Creates a folder that everybody may read, less what the process's mask takes away. With intermediate
  /// ones, those on the way are created too, and one that exists already is no failure.
  bool createDirectoryAtPath(PathView path, WithIntermediateDirectories intermediates,
                             std::optional<NSError>* error = nullptr) const;
  enum class ReadOnlyFolders {
    refuse,  ///< what is in a folder that may not be written to cannot be removed, and is the failure
    remove   ///< who owns it has its mode changed before
  };
  /// Removes an item, and all that is in it. No link is followed out of the folder, whatever others do
  /// meanwhile. Ends at the first item that cannot be removed; what was removed before stays so. A path that
  /// ends in "." or "..", and the root, are refused.
  bool removeItemAtPath(PathView path, std::optional<NSError>* error = nullptr,
                        ReadOnlyFolders readOnlyFolders = ReadOnlyFolders::refuse) const;
  /// Copies an item, and all that is in it, with all that `XRCopyFileOperation` keeps; files share their
  /// blocks with the source where the file system can do that. What is there already is never replaced. Where
  /// it fails, what it has made is removed again, with whatever others have put into it.
  bool copyItemAtPath(PathView path, PathView toPath, std::optional<NSError>* error = nullptr) const;
  /// Gives an item another path. What is there already is never replaced. On the same volume that is one
  /// step. To another one it is copied as above, and goes when the copy is on the device; nobody may
  /// change it meanwhile. What the other volume cannot keep beside the content, such as owners, is lost.
  bool moveItemAtPath(PathView path, PathView toPath, std::optional<NSError>* error = nullptr) const;
  enum class Replacement {
    failed,       ///< all is as it was, unless the error names the hidden path that the old item has now
    leftOldItem,  ///< it is done, but what it replaced could not be removed; the error names its path
    done
  };
  /// Puts an item of the same volume in the place of another one, which then goes, whoever may write to its
  /// folders. At each moment the path leads to one of the two, and it is whole; on file systems that cannot
  /// exchange names it leads nowhere for a moment.
  Replacement replaceItemAtPath(PathView path, PathView withItemAtPath,
                                std::optional<NSError>* error = nullptr) const;

  /// How a folder stands to an item: `contains` it at any depth, is the `same`, or neither. A link to the
  /// folder is followed, one that is the item is not.
  [[nodiscard]] std::optional<NSURLRelationship> getRelationship(
      const NSURL& ofDirectory, const NSURL& toItem, std::optional<NSError>* error = nullptr) const;
  /// The same for a standard folder; for the trash, the one on the item's volume.
  [[nodiscard]] std::optional<NSURLRelationship> getRelationship(
      NSSearchPathDirectory ofDirectory, NSSearchPathDomainMask inDomain, const NSURL& toItem,
      std::optional<NSError>* error = nullptr) const;
};

}  // namespace QVFoundation
