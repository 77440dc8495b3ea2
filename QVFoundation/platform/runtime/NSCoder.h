#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

class NSClass;

namespace detail {

/// The class of the objects that a C++ type holds; null where it holds none.
template <class T>
struct ClassIn {
  static const NSClass* find() { return nullptr; }
};
template <class T>
struct ClassIn<std::shared_ptr<T>> {
  static const NSClass* find() { return &T::staticClass(); }
};
template <class T>
struct ClassIn<std::optional<T>> : ClassIn<T> {};
template <class T>
struct ClassIn<std::vector<T>> : ClassIn<T> {};
template <class T>
struct ClassIn<std::map<std::string, T>> : ClassIn<T> {};

}  // namespace detail

/// Where an object writes its values by key, and where it finds them again; see `NSSecureCoding`.
///
/// Threads: one thread, and only while the object is asked to write or to read.
/// Errors: what cannot be written or read is thrown as an `NSError` that names the place and goes to whoever
/// began. Reading from one that writes, and the other way round, raises `NSException` named
/// `NSInvalidArgumentException`.
class QV_EXPORT NSCoder {
public:
  NSCoder(const NSCoder&) = delete;
  NSCoder& operator=(const NSCoder&) = delete;
  virtual ~NSCoder();

  /// Writes text, a number, data, a date, an object whose class codes itself, or an array or a dictionary of
  /// them. Nothing leaves the key out.
  virtual void encodeObject(const Value& value, std::string_view key) = 0;

  [[nodiscard]] virtual bool containsValueForKey(std::string_view key) const = 0;
  /// What was written under a key; nothing where the key is absent. Objects in it must be of one of the classes,
  /// or of subclasses; others are not even made.
  [[nodiscard]] virtual Value decodeObjectOfClasses(std::span<const NSClass* const> classes,
                                                    std::string_view key) = 0;
  /// The same as a C++ type, which also tells the class that is expected: `std::shared_ptr<Album>`,
  /// `std::vector<std::int64_t>`. What does not fit is an error, not nothing.
  template <class T>
  [[nodiscard]] std::optional<T> decodeObject(std::string_view key) {
    const NSClass* const expected = detail::ClassIn<T>::find();
    const Value value = decodeObjectOfClasses({&expected, expected != nullptr ? 1U : 0U}, key);
    if (value.isNothing()) return {};
    auto content = value.as<T>();
    if (!content) fail("it is of another type than is expected", key);
    return content;
  }

  /// For an object that refuses what it reads under a key.
  [[noreturn]] virtual void fail(std::string_view problem, std::string_view key) const = 0;

protected:
  NSCoder() = default;
};

}  // namespace QVFoundation
