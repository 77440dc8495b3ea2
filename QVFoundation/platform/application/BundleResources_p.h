#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/runtime/Dictionary.h"

namespace QVFoundation::detail {

/// The files of a bundle, and where to look for them.
///
/// Threads: immutable.
class BundleResources {
public:
  /// Reads Info.plist and the names of the localisations.
  BundleResources(std::filesystem::path folder, const std::vector<std::string>& languages);

  [[nodiscard]] const Dictionary& info() const noexcept { return info_; }
  [[nodiscard]] std::optional<std::string> developmentLocalization() const;
  [[nodiscard]] const std::vector<std::string>& localizations() const noexcept { return localizations_; }
  [[nodiscard]] const std::vector<std::string>& preferredLocalizations() const noexcept {
    return preferredLocalizations_;
  }

  /// Of some localisations those that serve the readers of this bundle, else the development localisation,
  /// else "Base".
  [[nodiscard]] std::vector<std::string> chooseLocalizations(
      const std::vector<std::string>& localizations) const;

  [[nodiscard]] std::optional<std::filesystem::path> find(std::string_view name, std::string_view type,
                                                          std::string_view subdirectory,
                                                          std::string_view localization) const;
  [[nodiscard]] std::vector<std::filesystem::path> findAll(std::string_view type,
                                                           std::string_view subdirectory,
                                                           std::string_view localization) const;

private:
  [[nodiscard]] std::vector<std::string> fallbacksAmong(const std::vector<std::string>& localizations) const;
  [[nodiscard]] std::vector<std::filesystem::path> foldersFor(std::string_view subdirectory,
                                                              std::string_view localization) const;

  std::filesystem::path folder_;
  std::vector<std::string> languages_;
  Dictionary info_;
  std::vector<std::string> localizations_;
  std::vector<std::string> preferredLocalizations_;
  std::vector<std::string> searchedLocalizations_;
};

}  // namespace QVFoundation::detail
