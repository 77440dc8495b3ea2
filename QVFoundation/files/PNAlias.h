#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/FileReference.h"
#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// Makes a reference to the item at a path. False where there is none, and the reference stays as it was.
///
/// Threads: any.
[[nodiscard]] QV_EXPORT bool PNFSRefFromPath(PathView path, FileReference& reference);

/// Where the item of a reference is now, which is looked for if it has moved. The reference stays as it is.
///
/// Threads: any.
[[nodiscard]] QV_EXPORT std::optional<std::filesystem::path> PNPathFromFSRef(const FileReference& reference);

/// A lasting reference to a file as an object, and what turns paths that lead through links and alias files
/// into the path of the item at their end.
///
/// ```cpp
/// if (const auto alias = PNAlias::aliasWithPath("draft.txt")) recent = alias->aliasData();
/// ...
/// if (const auto alias = PNAlias::aliasWithData(recent)) open(alias->resolveAlias().value_or("draft.txt"));
/// ```
///
/// How an item is found again `FileReference` tells. Nothing here mounts volumes or asks the user, so mount
/// flags make no difference; `noUserInteraction` is there for those who pass them on.
///
/// Threads: class-level functions from any thread; an alias, which remembers what it finds, by one at a time.
/// Ownership: an alias shares its reference with whoever else has its handle. A copy has one of its own.
/// Errors: those that are named at each function. Resolving an alias tells of none.
class QV_EXPORT PNAlias : public NSObject {
public:
  static constexpr std::uint32_t noUserInteraction = 1;
  static constexpr std::uint32_t descriptorType = 0x616C6973;  ///< "alis"

  /// For the messages that scripts exchange.
  struct ScriptingFileDescriptor {
    std::uint32_t descriptorType = PNAlias::descriptorType;
    NSData data;
  };

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// False also where there is nothing.
  [[nodiscard]] static bool isAliasFileFromPath(PathView path);

  /// Where an alias file leads in the end, if need be through others, 40 in all. What is no alias file leads
  /// to itself. The error says that there is no such file or, in `NSOSStatusErrorDomain`, why it leads
  /// nowhere: -43 not found, -54 not permitted, -36 anything else.
  [[nodiscard]] static std::optional<std::filesystem::path> pathFromAliasFile(
      PathView path, std::uint32_t withMount, std::optional<NSError>* error = nullptr);

  /// The path of the item to which a path leads through links and alias files anywhere on its way. From the
  /// first name on that does not exist, all names are kept. A path that does not begin with a slash is taken
  /// from the root; so is, deliberately, the text of a link that does not.
  ///
  /// Where it goes wrong an error is handed back, and the result is the path as far as it was resolved.
  [[nodiscard]] static std::filesystem::path pathByResolvingSymlinksAndAliasesInPath(
      PathView path, std::optional<NSError>* error = nullptr);

  // All of these return null where no alias can be made. The errors are in `NSOSStatusErrorDomain`.

  /// No path makes no alias, and no error.
  [[nodiscard]] static std::shared_ptr<PNAlias> aliasWithPath(std::optional<PathView> path,
                                                              std::optional<NSError>* error = nullptr);
  /// Remembers the way from one path to the other as well.
  [[nodiscard]] static std::shared_ptr<PNAlias> aliasWithPath(PathView path, PathView relativeToPath);
  [[nodiscard]] static std::shared_ptr<PNAlias> aliasWithURL(const NSURL& url);
  /// To the item where it is now.
  [[nodiscard]] static std::shared_ptr<PNAlias> aliasWithFSRef(const FileReference& reference,
                                                               std::optional<NSError>* error = nullptr);
  [[nodiscard]] static std::shared_ptr<PNAlias> aliasWithFSRef(const FileReference& reference,
                                                               const FileReference& relativeToFSRef);
  /// From `aliasData`. The error of damaged data is that of `FileReference::fromData`.
  [[nodiscard]] static std::shared_ptr<PNAlias> aliasWithData(std::span<const std::byte> data,
                                                              std::optional<NSError>* error = nullptr);
  /// Shares a reference.
  [[nodiscard]] static std::shared_ptr<PNAlias> aliasWithAliasHandle(std::shared_ptr<FileReference> handle);

  [[nodiscard]] const std::shared_ptr<FileReference>& aliasHandle() const noexcept { return aliasHandle_; }

  /// Where the item is now; nothing where it is not found.
  std::optional<std::filesystem::path> resolveAlias();
  std::optional<std::filesystem::path> resolveAliasWithNoUI();
  /// A path at which there is nothing is no help, and left out. `wasChanged` is told whether the alias has
  /// been brought up to date.
  std::optional<std::filesystem::path> resolveAliasRelativeToPath(std::optional<PathView> path,
                                                                  bool* wasChanged = nullptr,
                                                                  std::uint32_t mountFlags = 0);

  [[nodiscard]] NSData aliasData() const { return aliasHandle_->data(); }
  /// The path that the alias remembers, wherever the item is now.
  [[nodiscard]] std::filesystem::path aliasPath() const { return aliasHandle_->path(); }
  /// Always nothing.
  [[nodiscard]] std::optional<std::vector<std::filesystem::path>> allPaths() const { return {}; }
  [[nodiscard]] ScriptingFileDescriptor scriptingFileDescriptor() const { return {.data = aliasData()}; }

  [[nodiscard]] std::shared_ptr<NSObject> copy() const override;
  [[nodiscard]] std::string description() const override;

private:
  explicit PNAlias(std::shared_ptr<FileReference> handle) noexcept : aliasHandle_(std::move(handle)) {}
  static std::shared_ptr<PNAlias> aliasOf(std::optional<FileReference> reference);

  const std::shared_ptr<FileReference> aliasHandle_;  // never null
};

}  // namespace QVFoundation
