#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSCoder.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// Reads what `NSKeyedArchiver` wrote. The reader says which classes it expects, and so does each object of
/// those in it: no other object is made, whatever an archive says.
///
/// Threads: functions without state.
/// Errors: nothing comes back, and `error` is `NSCoderReadCorruptError` with the key path of what is damaged or
/// not expected, or `NSPropertyListReadCorruptError` where the bytes are no property list. Objects that hold
/// themselves, and what is nested more than 100 levels deep, are damage.
class QV_EXPORT NSKeyedUnarchiver {
public:
  NSKeyedUnarchiver() = delete;

  /// Objects of the classes and of their subclasses, and what holds them.
  [[nodiscard]] static Value unarchivedObjectOfClasses(std::span<const NSClass* const> classes,
                                                       std::span<const std::byte> data,
                                                       std::optional<NSError>* error = nullptr);

  /// The same as a C++ type, which tells the class that is expected: `std::shared_ptr<Track>`.
  template <class T>
  [[nodiscard]] static std::optional<T> unarchivedObject(std::span<const std::byte> data,
                                                         std::optional<NSError>* error = nullptr) {
    const NSClass* const expected = detail::ClassIn<T>::find();
    const Value root = unarchivedObjectOfClasses({&expected, expected != nullptr ? 1U : 0U}, data, error);
    if (root.isNothing()) return {};
    auto content = root.as<T>();
    if (!content && error != nullptr) *error = unexpectedRoot();
    return content;
  }

private:
  [[nodiscard]] static NSError unexpectedRoot();
};

}  // namespace QVFoundation
