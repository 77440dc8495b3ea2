#include "QVFoundation/platform/application/NSBundle.h"

#include <algorithm>
#include <system_error>

#include "QVFoundation/platform/application/BundleResources_p.h"
#include "QVFoundation/platform/application/BundleStringTables_p.h"
#include "QVFoundation/platform/application/LocalizationMatching_p.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/text/NSLocale.h"

namespace QVFoundation {

namespace {

constexpr std::string_view defaultTable = "Localizable";

const std::vector<std::string>& noLocalizations() {
  static const auto& none = *new std::vector<std::string>;
  return none;
}

}  // namespace

namespace detail {

class BundleContents {
public:
  BundleContents(const std::filesystem::path& folder, const std::vector<std::string>& languages)
      : resources(folder, languages) {}

  const BundleResources resources;
  mutable BundleStringTables tables{resources};
};

std::shared_ptr<NSBundle> BundleFactory::bundleInFolder(const Path& folder, const Languages& languages,
                                                        const std::optional<std::string>& name) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) return nullptr;
  // Without a slash at its end, which would hide the name.
  Path path = std::filesystem::absolute(folder).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();
  auto contents = std::make_unique<const BundleContents>(path, languages);
  return std::shared_ptr<NSBundle>(
      new NSBundle(path, name.value_or(path.stem().string()), std::move(contents)));
}

std::shared_ptr<NSBundle> BundleFactory::bundleWithoutResources(const Path& folder, const std::string& name) {
  return std::shared_ptr<NSBundle>(new NSBundle(folder, name, nullptr));
}

}  // namespace detail

NSBundle::NSBundle(std::filesystem::path path, std::string name,
                   std::unique_ptr<const detail::BundleContents> contents)
    : path_(std::move(path)), fallbackName_(std::move(name)), contents_(std::move(contents)) {}

NSBundle::~NSBundle() = default;

std::shared_ptr<NSBundle> NSBundle::bundleWithPath(const std::filesystem::path& path) {
  return detail::BundleFactory::bundleInFolder(path, NSLocale::preferredLanguages());
}

const NSClass& NSBundle::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<NSBundle>("NSBundle", NSObject::staticClass())
                       .readOnly("bundlePath", [](const NSBundle& bundle) { return bundle.path_.string(); })
                       .readOnly("bundleIdentifier", &NSBundle::bundleIdentifier)
                       .readOnly("infoDictionary", &NSBundle::infoDictionary)
                       .readOnly("name", &NSBundle::name)
                       .readOnly("localizations", &NSBundle::localizations)
                       .readOnly("developmentLocalization", &NSBundle::developmentLocalization)
                       .readOnly("preferredLocalizations", &NSBundle::preferredLocalizations));
  return cls;
}

const Dictionary& NSBundle::infoDictionary() const noexcept {
  static const auto& none = *new Dictionary;
  return contents_ ? contents_->resources.info() : none;
}

std::optional<std::string> NSBundle::bundleIdentifier() const {
  return objectForInfoDictionaryKey("CFBundleIdentifier").as<std::string>();
}

std::string NSBundle::name() const {
  return objectForInfoDictionaryKey("CFBundleName").as<std::string>().value_or(fallbackName_);
}

const std::vector<std::string>& NSBundle::localizations() const noexcept {
  return contents_ ? contents_->resources.localizations() : noLocalizations();
}

std::optional<std::string> NSBundle::developmentLocalization() const {
  return objectForInfoDictionaryKey("CFBundleDevelopmentRegion").as<std::string>();
}

const std::vector<std::string>& NSBundle::preferredLocalizations() const noexcept {
  return contents_ ? contents_->resources.preferredLocalizations() : noLocalizations();
}

std::vector<std::string> NSBundle::preferredLocalizationsFromArray(
    const std::vector<std::string>& localizations, const std::vector<std::string>& preferences) {
  std::vector<std::string> chosen;
  for (const std::string& language : preferences) {
    const auto fit = [&](const std::string& name) { return detail::fitOfLocalization(name, language); };
    const auto best = std::ranges::max_element(localizations, {}, fit);
    const bool isNew =
        best != localizations.end() && fit(*best) > 0 && std::ranges::find(chosen, *best) == chosen.end();
    if (isNew) chosen.push_back(*best);
  }
  return chosen;
}

std::optional<std::filesystem::path> NSBundle::pathForResource(std::string_view name, std::string_view type,
                                                               std::string_view subdirectory,
                                                               std::string_view localization) const {
  if (!contents_) return {};
  return contents_->resources.find(name, type, subdirectory, localization);
}

std::vector<std::filesystem::path> NSBundle::pathsForResourcesOfType(std::string_view type,
                                                                     std::string_view subdirectory,
                                                                     std::string_view localization) const {
  if (!contents_) return {};
  return contents_->resources.findAll(type, subdirectory, localization);
}

std::string NSBundle::localizedStringForKey(std::string_view key, std::string_view value,
                                            std::string_view table) const {
  if (contents_) {
    if (const auto* text = contents_->tables.text(key, table.empty() ? defaultTable : table)) return *text;
  }
  return std::string(value.empty() ? key : value);
}

std::string NSBundle::description() const { return "NSBundle <" + path_.string() + '>'; }

}  // namespace QVFoundation
