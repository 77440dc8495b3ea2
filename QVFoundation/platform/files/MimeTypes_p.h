#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <unordered_map>
#include <vector>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// The best type for a name among globs such as "*.png".
class MimeGlobs {
public:
  /// Of equal globs with equal weights the first one counts.
  void add(std::string_view glob, int weight, const std::string& type);
  /// That of the glob with the highest weight, of several the longest one; empty where none matches.
  [[nodiscard]] std::string_view typeForName(std::string_view name) const;

private:
  struct Rule {
    int weight;
    std::string type;
  };
  struct Pattern : Rule {
    std::string glob;
  };
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>{}(text);
    }
  };
  using Rules = std::unordered_map<std::string, Rule, TextHash, std::equal_to<>>;

  Rules names_;
  Rules suffixes_;  // of globs whose only star is their first character
  std::size_t longestSuffix_ = 0;
  std::vector<Pattern> patterns_;  // all others
};

/// The MIME types of file names, as the globs of shared-mime-info have them (Shared MIME-info Database 0.21,
/// freedesktop.org). Contents are never looked at: where others look, to decide between several types, the
/// first one of the most important folder counts.
///
/// Threads: immutable.
/// Errors: none. A file that cannot be read or has more than 4 MiB counts as absent, and so does a line that
/// is not in order.
class QV_TEST_EXPORT MimeTypes {
public:
  /// The database of this user, read when it is first asked for: that of the home folder counts before those
  /// of $XDG_DATA_DIRS, else /usr/local/share and /usr/share.
  [[nodiscard]] static const MimeTypes& shared();
  /// Reads `mime/globs2` in each folder. Earlier folders are more important.
  explicit MimeTypes(const std::vector<std::filesystem::path>& dataFolders);

  /// Of a file; "application/octet-stream" where no glob matches. Letters are compared as they are, and only
  /// if nothing matches so, without regard to the case of those of ASCII.
  [[nodiscard]] std::string_view typeForName(std::string_view name) const;
  /// Of an item with that mode: of a file by its name, else "inode/directory" and the like.
  [[nodiscard]] std::string_view typeForItem(mode_t mode, std::string_view name) const;

private:
  MimeGlobs globs_;
  MimeGlobs caselessGlobs_;  // those of `globs_` that match in either case
};

}  // namespace QVFoundation::detail
