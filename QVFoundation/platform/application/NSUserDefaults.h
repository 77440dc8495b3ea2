#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
class UserDefaultsFactory;
}

/// Posted by settings that have changed, on the thread that has changed them.
inline constexpr std::string_view NSUserDefaultsDidChangeNotification = "NSUserDefaultsDidChangeNotification";

/// The numbers that a setting may have.
template <class T>
struct SettingRange {
  T least;
  T most;
};

/// The settings of an application: values under names, which last.
///
/// ```cpp
/// const auto& defaults = NSUserDefaults::standardUserDefaults();
/// defaults->registerDefaults({{"volume", 7}, {"showsHiddenFiles", false}});
///
/// const int volume = defaults->value("volume", 7, {.least = 0, .most = 11});
/// defaults->setObject(volume + 1, "volume");
/// const auto observation = observe(*defaults, "volume", [](NSUserDefaults& defaults, const auto&) {
///   player.setVolume(defaults.value("volume", 7));
/// });
/// ```
///
/// A setting is looked for in what the user has chosen, then in the registered defaults, which an application
/// brings at each start and which are never written. Values are what a property list holds: texts, numbers,
/// data, dates, arrays, and dictionaries with texts as keys.
///
/// What the user has chosen is in one property list for each application,
/// `$XDG_CONFIG_HOME/<identifier>/UserDefaults.plist`, by the identifier of its main bundle, else its name.
/// A change is seen at once, and goes to the disk at once in the background; where changes follow each other
/// they are written together, once a second, and what is left when the program ends is written then. The file
/// is replaced as a whole, after the one before has become its backup. So whenever a program is killed, the
/// settings are those before or after a change. A file that is damaged is reported by `NSLog` and kept beside;
/// its backup is used, with what this process has changed since.
///
/// Several processes may run the application. Each writes only what it has changed itself, and sees what the
/// others have written when it writes, or by `synchronize()`. A child that is forked off saves nothing of its
/// parent's settings when it ends.
///
/// Each setting can be observed under its name, unless that has a dot in it.
///
/// Threads: any. Observers run on the thread that changes a setting, or finds it changed by another process,
/// with no lock held.
/// Ownership: for each identifier there is one object, as long as somebody has it.
/// Errors: a value that no property list can hold raises `NSException` named `NSInvalidArgumentException`,
/// which says what and where. Settings that cannot be written are reported by `NSLog`, stay as they are in
/// this process, and are tried again with the next change and at the end; `synchronize()` gives the reason.
class QV_EXPORT NSUserDefaults : public NSObject {
public:
  /// Those of this program.
  [[nodiscard]] static const std::shared_ptr<NSUserDefaults>& standardUserDefaults();
  /// Those under another identifier, which several programs may share. Raises `NSInvalidArgumentException`
  /// for a name that cannot be that of a folder.
  [[nodiscard]] static std::shared_ptr<NSUserDefaults> defaultsWithSuiteName(std::string_view identifier);

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }
  ~NSUserDefaults() override;

  /// The setting; nothing where there is none.
  [[nodiscard]] Value objectForKey(std::string_view key) const;

  /// The setting as a `T`, or else the default: where there is none, or none that a `T` holds exactly.
  template <class T>
    requires(!std::convertible_to<T, std::string_view>)
  [[nodiscard]] T value(std::string_view key, T defaultValue) const {
    if constexpr (std::is_arithmetic_v<T>) {
      const auto number = numberForKey(key);
      return number ? number->template exactly<T>().value_or(defaultValue) : defaultValue;
    } else {
      auto setting = objectForKey(key).as<T>();
      return setting ? *std::move(setting) : std::move(defaultValue);
    }
  }
  [[nodiscard]] std::string value(std::string_view key, std::string_view defaultValue) const;
  /// The same for a number that has bounds: one that lies outside counts as the nearest inside.
  template <class T>
    requires std::is_arithmetic_v<T>
  [[nodiscard]] T value(std::string_view key, T defaultValue,
                        const SettingRange<std::type_identity_t<T>>& range) const {
    const auto setting = numberInRange(key, range.least, range.most);
    return setting ? setting->template exactly<T>().value_or(defaultValue) : defaultValue;
  }

  // The setting, whatever it was written as.
  /// True for a number other than 0, also at the start of a text, and for the texts "yes" and "true" in any
  /// case; else false.
  [[nodiscard]] bool boolForKey(std::string_view key) const;
  /// A number without its fraction, the nearest that there is; of a text the digits at its start, so that
  /// "1e3" is 1; else 0.
  [[nodiscard]] std::int64_t integerForKey(std::string_view key) const;
  /// A number, also at the start of a text unless a `double` cannot hold it ("1e400"); else 0.
  [[nodiscard]] double doubleForKey(std::string_view key) const;
  /// A text, or a number in decimal.
  [[nodiscard]] std::optional<std::string> stringForKey(std::string_view key) const;
  [[nodiscard]] std::optional<Array> arrayForKey(std::string_view key) const;
  [[nodiscard]] std::optional<std::vector<std::string>> stringArrayForKey(std::string_view key) const;
  [[nodiscard]] std::optional<Dictionary> dictionaryForKey(std::string_view key) const;
  [[nodiscard]] std::optional<NSData> dataForKey(std::string_view key) const;
  [[nodiscard]] std::optional<NSDate> dateForKey(std::string_view key) const;

  /// All settings with all registered defaults.
  [[nodiscard]] Dictionary dictionaryRepresentation() const;

  /// Chooses a setting; nothing takes back the choice. Of a date, microseconds are kept.
  void setObject(Value value, std::string_view key);
  void removeObjectForKey(std::string_view key) { setObject({}, key); }

  /// Adds to the values that settings have of which nobody has chosen another.
  void registerDefaults(const Dictionary& defaults);

  /// Returns when all settings are on the disk and those that other processes have written are known. False,
  /// and the reason, where that cannot be.
  bool synchronize(std::optional<NSError>* error = nullptr);

  [[nodiscard]] Value valueForUndefinedKey(std::string_view key) const override;
  void setValueForUndefinedKey(const Value& value, std::string_view key) override;

private:
  friend class detail::UserDefaultsFactory;
  struct State;

  explicit NSUserDefaults(std::string path);
  [[nodiscard]] std::optional<NSNumber> numberForKey(std::string_view key) const;
  [[nodiscard]] std::optional<NSNumber> numberInRange(std::string_view key, NSNumber least,
                                                      NSNumber most) const;
  void postChange();
  void exchangeWithFile();
  bool save(std::optional<NSError>* error);
  void saveSoon();
  void saveInBackground();

  const std::unique_ptr<State> state_;
};

}  // namespace QVFoundation
