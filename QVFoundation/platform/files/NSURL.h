#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSURLResourceKeys.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// Where something is: the place of a file, or of anything else that has a URL (RFC 3986).
///
/// ```cpp
/// const NSURL music("/media/ada/My Music/");
/// const NSURL cover = music.URLByAppendingPathComponent("cover.png");
/// cover.absoluteString();                                  // "file:///media/ada/My%20Music/cover.png"
/// const auto size = cover.resourceValueForKey(NSURLFileSizeKey).as<std::int64_t>();
/// ```
///
/// URLs are equal if their texts are: those of a folder with and without a slash at the end are not.
///
/// Threads: an immutable value.
/// Errors: of what is asked of the file itself, see there; the rest has none.
class QV_EXPORT NSURL {
public:
  enum class IsDirectory { no, yes };

  /// The place of a file, byte for byte, whether or not its path is UTF-8. A slash at the end says that it is
  /// a directory. A relative path is taken from the current folder; where that is gone, throws
  /// `std::filesystem::filesystem_error`.
  NSURL(const std::filesystem::path& filePath);
  /// Text is a path here. For the text of a URL there is `URLWithString`.
  template <class Path>
    requires(std::constructible_from<std::string_view, const Path&> && !std::derived_from<Path, NSURL> &&
             !std::same_as<Path, std::nullptr_t>)
  NSURL(const Path& filePath) : NSURL(std::filesystem::path(std::string_view(filePath))) {}
  /// `IsDirectory::yes` adds the slash at the end where there is none.
  [[nodiscard]] static NSURL fileURLWithPath(PathView path, IsDirectory isDirectory = IsDirectory::no);
  /// Nothing where the text has no scheme, a blank, a control character, or a percent sign without two
  /// hexadecimal digits. Other characters that URLs may not hold are percent-encoded. The authority
  /// is kept as it is and not looked into.
  [[nodiscard]] static std::optional<NSURL> URLWithString(std::string_view text);

  /// The URL as text. `URLWithString` makes an equal one of it.
  [[nodiscard]] const std::string& absoluteString() const noexcept { return text_; }
  [[nodiscard]] const std::string& description() const noexcept { return text_; }

  [[nodiscard]] std::string_view scheme() const noexcept;  ///< In lower case.
  [[nodiscard]] bool isFileURL() const noexcept { return scheme() == "file"; }
  /// Decoded, and without the one slash at the end that says that it is a directory; "/" stays.
  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] std::filesystem::path filePath() const { return path_; }
  /// So that a file's URL serves wherever a path does. Throws `NSException` named
  /// `NSInvalidArgumentException` for what is no file's.
  operator PathView() const;
  [[nodiscard]] bool hasDirectoryPath() const noexcept { return hasDirectoryPath_; }
  [[nodiscard]] std::string lastPathComponent() const;  ///< Of the decoded path, like the next one.
  [[nodiscard]] std::string pathExtension() const;

  /// The name may be a path of several components; it is not encoded. Query and fragment stay.
  [[nodiscard]] NSURL URLByAppendingPathComponent(PathView name,
                                                  IsDirectory isDirectory = IsDirectory::no) const;
  /// The directory that this is in; "/" is in itself. Query and fragment stay.
  [[nodiscard]] NSURL URLByDeletingLastPathComponent() const;

  /// What the file system says of the item now, by the keys of NSURLResourceKeys.h.
  ///
  /// Nothing, without an error, where the item has no such value. Nothing, with an error in
  /// `NSCocoaErrorDomain`, where there is no item (`NSFileReadNoSuchFileError`), it may not be looked at
  /// (`NSFileReadNoPermissionError`), the key is unknown (`NSFileReadUnknownError`), or this is no file's URL
  /// (`NSFileReadUnsupportedSchemeError`). The reason of the system is the underlying error.
  [[nodiscard]] Value resourceValueForKey(std::string_view key,
                                          std::optional<NSError>* error = nullptr) const;
  /// Whether there is an item, links followed: a link that leads nowhere is unreachable. Errors as above.
  [[nodiscard]] bool checkResourceIsReachable(std::optional<NSError>* error = nullptr) const;

  friend bool operator==(const NSURL& a, const NSURL& b) noexcept { return a.text_ == b.text_; }
  friend auto operator<=>(const NSURL& a, const NSURL& b) noexcept { return a.text_ <=> b.text_; }

private:
  struct Encoded {
    std::string text;
  };
  explicit NSURL(Encoded url);  // that is in order
  [[nodiscard]] NSURL withEncodedPath(std::string_view path) const;

  std::string text_;
  std::size_t schemeLength_;
  std::string path_;
  bool hasDirectoryPath_;
};

template <>
struct ValueTraits<NSURL> {
  static Value toValue(const NSURL& url) { return Value::boxed(url); }
  static std::optional<NSURL> fromValue(const Value& value) {
    const auto* url = value.boxedContent<NSURL>();
    return url != nullptr ? std::optional(*url) : std::nullopt;
  }
};

}  // namespace QVFoundation

template <>
struct std::hash<QVFoundation::NSURL> {
  std::size_t operator()(const QVFoundation::NSURL& url) const noexcept {
    return std::hash<std::string>{}(url.absoluteString());
  }
};
