#include <algorithm>
#include <set>
#include <system_error>

#include "QVFoundation/platform/application/BundleResources_p.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

namespace {

using std::filesystem::path;

constexpr std::string_view localizationSuffix = ".lproj";
constexpr std::string_view baseLocalization = "Base";

bool contains(const std::vector<std::string>& names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

void appendOnce(std::vector<std::string>& names, std::string_view name) {
  if (!contains(names, name)) names.emplace_back(name);
}

/// Whether a name stays below the folder that it is appended to.
bool staysInside(std::string_view name) {
  if (name.find('\0') != std::string_view::npos || path(name).is_absolute()) return false;
  return std::ranges::none_of(path(name), [](const path& part) { return part == ".."; });
}

/// The entries of a folder by name, in order; none where it cannot be read.
std::vector<std::string> namesIn(const path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  std::ranges::sort(names);
  return names;
}

std::vector<std::string> localizationsIn(const path& folder) {
  std::vector<std::string> localizations;
  for (const std::string& name : namesIn(folder)) {
    std::error_code error;
    if (!name.ends_with(localizationSuffix) || !std::filesystem::is_directory(folder / name, error)) continue;
    localizations.push_back(name.substr(0, name.size() - localizationSuffix.size()));
  }
  return localizations;
}

Dictionary infoIn(const path& folder) {
  const path file = folder / "Info.plist";
  std::error_code ignored;
  if (!std::filesystem::exists(file, ignored)) return {};
  std::optional<NSError> error;
  if (auto info = dictionaryFromPropertyListFile(file, &error)) return *info;
  NSLog("%@", error->localizedDescription());
  return {};
}

std::string suffixOf(std::string_view type) {
  if (type.empty() || type.starts_with('.')) return std::string(type);
  return '.' + std::string(type);
}

/// The names that a resource may have in its folder.
std::vector<std::string> fileNames(std::string_view name, std::string_view type) {
  const std::string suffix = suffixOf(type);
  std::vector<std::string> names{std::string(name) + suffix};
  if (!suffix.empty() && name.ends_with(suffix)) names.emplace_back(name);
  return names;
}

}  // namespace

BundleResources::BundleResources(path folder, const std::vector<std::string>& languages)
    : folder_(std::move(folder)),
      languages_(languages),
      info_(infoIn(folder_)),
      localizations_(localizationsIn(folder_)),
      preferredLocalizations_(chooseLocalizations(localizations_)),
      searchedLocalizations_(preferredLocalizations_) {
  for (const std::string& name : fallbacksAmong(localizations_)) appendOnce(searchedLocalizations_, name);
}

std::optional<std::string> BundleResources::developmentLocalization() const {
  return info_["CFBundleDevelopmentRegion"].as<std::string>();
}

std::vector<std::string> BundleResources::chooseLocalizations(
    const std::vector<std::string>& localizations) const {
  auto chosen = NSBundle::preferredLocalizationsFromArray(localizations, languages_);
  if (chosen.empty()) {
    chosen = fallbacksAmong(localizations);
    if (chosen.size() > 1) chosen.resize(1);
  }
  return chosen;
}

/// The development localisation and "Base", as far as they are among those given.
std::vector<std::string> BundleResources::fallbacksAmong(
    const std::vector<std::string>& localizations) const {
  std::vector<std::string> fallbacks;
  if (const auto development = developmentLocalization()) {
    fallbacks = NSBundle::preferredLocalizationsFromArray(localizations, {*development});
  }
  if (contains(localizations, baseLocalization)) appendOnce(fallbacks, baseLocalization);
  return fallbacks;
}

std::optional<path> BundleResources::find(std::string_view name, std::string_view type,
                                          std::string_view subdirectory,
                                          std::string_view localization) const {
  if (name.empty()) return {};
  const auto names = fileNames(name, type);
  if (!std::ranges::all_of(names, staysInside)) return {};
  for (const path& folder : foldersFor(subdirectory, localization)) {
    for (const std::string& fileName : names) {
      std::error_code error;
      if (path file = folder / fileName; std::filesystem::exists(file, error)) return file;
    }
  }
  return {};
}

std::vector<path> BundleResources::findAll(std::string_view type, std::string_view subdirectory,
                                           std::string_view localization) const {
  const std::string suffix = suffixOf(type);
  std::vector<path> files;
  std::set<std::string> found;
  for (const path& folder : foldersFor(subdirectory, localization)) {
    for (const std::string& name : namesIn(folder)) {
      if (!name.ends_with(suffix) || name.size() == suffix.size() || name.ends_with(localizationSuffix))
        continue;
      if (found.insert(name).second) files.push_back(folder / name);
    }
  }
  return files;
}

std::vector<path> BundleResources::foldersFor(std::string_view subdirectory,
                                              std::string_view localization) const {
  if (!staysInside(subdirectory)) return {};
  const auto folderOf = [&](std::string_view name) {
    return folder_ / (std::string(name) + std::string(localizationSuffix)) / subdirectory;
  };
  if (!localization.empty()) {
    if (!staysInside(localization)) return {};
    return {folderOf(localization)};
  }
  std::vector<path> folders{folder_ / subdirectory};
  for (const std::string& name : searchedLocalizations_) folders.push_back(folderOf(name));
  return folders;
}

}  // namespace QVFoundation::detail
