#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
class BundleContents;
class BundleFactory;
}  // namespace detail

/// A folder with what belongs to a program beside its code: its name and version, its texts in several
/// languages, and other files.
///
/// ```text
/// player.resources/
///   Info.plist               what the bundle says of itself
///   Defaults.plist           a resource that is the same in all languages
///   de.lproj/                a localisation
///     Localizable.strings    a string table
///     Welcome.html
/// ```
///
/// The program's own bundle is the folder that the environment variable QV_BUNDLE_PATH names, else
/// `<program>.resources` beside the executable, else `../share/<program>` from there. A program without any
/// of these has a main bundle too: one without resources, in which each text stands for itself.
///
/// A bundle is taken as it is found: what it says of itself and which localisations it has is read when the
/// object is made, a string table when a text of it is first asked for. What is damaged is reported once by
/// `NSLog` and otherwise taken as absent.
///
/// Threads: immutable; call it from any thread. A text of a table that is loaded is found without a lock.
class QV_EXPORT NSBundle : public NSObject {
public:
  /// The program's bundle; never null.
  [[nodiscard]] static const std::shared_ptr<NSBundle>& mainBundle();
  /// The bundle in a folder; null where there is no such folder.
  [[nodiscard]] static std::shared_ptr<NSBundle> bundleWithPath(const std::filesystem::path& path);

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }
  ~NSBundle() override;

  /// The folder, absolute; for a program without resources the folder of the program.
  [[nodiscard]] const std::filesystem::path& bundlePath() const noexcept { return path_; }
  /// What Info.plist holds; empty where there is none.
  [[nodiscard]] const Dictionary& infoDictionary() const noexcept;
  [[nodiscard]] Value objectForInfoDictionaryKey(std::string_view key) const { return infoDictionary()[key]; }
  [[nodiscard]] std::optional<std::string> bundleIdentifier() const;  ///< "CFBundleIdentifier"
  /// "CFBundleName", else the program's name or, of any other bundle, the folder's name without extension.
  [[nodiscard]] std::string name() const;

  /// The localisations that the bundle has, "Base" included, in alphabetical order.
  [[nodiscard]] const std::vector<std::string>& localizations() const noexcept;
  /// The language that the program was written in: "CFBundleDevelopmentRegion".
  [[nodiscard]] std::optional<std::string> developmentLocalization() const;
  /// Those localisations that the user reads, best first. Where there are none: the development localisation,
  /// else "Base", as far as the bundle has them.
  [[nodiscard]] const std::vector<std::string>& preferredLocalizations() const noexcept;
  /// The best of some localisations for each of the user's languages, each once; empty where none fits.
  ///
  /// A localisation fits a language in the same words, whatever its case and separators ("de_AT" for
  /// "de-AT"), without the region ("de"), or in any other region ("de-CH"). Chinese goes by script: "zh-TW"
  /// takes "zh-Hant", never "zh-Hans". English names such as "German" are understood.
  [[nodiscard]] static std::vector<std::string> preferredLocalizationsFromArray(
      const std::vector<std::string>& localizations, const std::vector<std::string>& preferences);

  /// The file of that name and type, which is its extension; a name may bring its extension itself. Searched
  /// are the bundle, then its preferred localisations, the development localisation and "Base", or only the
  /// localisation that is given; in each of them the subdirectory, where given. Names that lead out of the
  /// bundle find nothing.
  [[nodiscard]] std::optional<std::filesystem::path> pathForResource(
      std::string_view name, std::string_view type = {}, std::string_view subdirectory = {},
      std::string_view localization = {}) const;
  /// All files of a type, or of any, in the same places and order; of several with one name the first.
  [[nodiscard]] std::vector<std::filesystem::path> pathsForResourcesOfType(
      std::string_view type, std::string_view subdirectory = {}, std::string_view localization = {}) const;

  /// The text for a key in a string table ("Localizable" where none is named), in the user's language. Where
  /// there is none the value, or if that is empty the key.
  ///
  /// A table is the resource of type "strings", else that of type "loctable".
  [[nodiscard]] std::string localizedStringForKey(std::string_view key, std::string_view value = {},
                                                  std::string_view table = {}) const;

  [[nodiscard]] std::string description() const override;

private:
  friend class detail::BundleFactory;
  NSBundle(std::filesystem::path path, std::string name,
           std::unique_ptr<const detail::BundleContents> contents);

  std::filesystem::path path_;
  std::string fallbackName_;
  std::unique_ptr<const detail::BundleContents> contents_;  // null for a program without resources
};

}  // namespace QVFoundation
