#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/values/QVObject.h"

namespace QVFoundation {

/// A key path as a list of its components, which may themselves contain dots.
///
/// Threads: immutable.
class QV_EXPORT QVKeyPath : public QVObject {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  QVKeyPath() = default;
  explicit QVKeyPath(std::vector<std::string> components) : keyPathComponents_(std::move(components)) {}
  /// From a path such as "album.artist.name".
  explicit QVKeyPath(std::string_view keyPath);

  [[nodiscard]] const std::vector<std::string>& keyPathComponents() const noexcept {
    return keyPathComponents_;
  }
  [[nodiscard]] std::string keyPathString() const;
  [[nodiscard]] std::optional<std::string> lastPathComponent() const;
  /// The path without its last component; the empty one where there are fewer than two.
  [[nodiscard]] std::shared_ptr<QVKeyPath> keyPathByDeletingLastPathComponent() const;

  /// Equal to a key path with equal components.
  [[nodiscard]] bool isEqual(const NSObject& other) const override;
  [[nodiscard]] std::size_t hash() const override;
  [[nodiscard]] Dictionary debugDictionary() const override;

private:
  const std::vector<std::string> keyPathComponents_;
};

/// The value that a key path leads to, component by component; nothing as soon as one step gives nothing.
[[nodiscard]] QV_EXPORT Value qv_valueForKeyPath(const Value& start, const QVKeyPath& keyPath);

/// Writes a value on the object that the path without its last component leads to, and under the last
/// component of that shorter path: "a.b.c" writes "b" of the object at "a.b". So a path of one component
/// gives no key, which raises `NSInvalidArgumentException`. Where there is no such object, nothing is
/// written.
QV_EXPORT void qv_setValue(NSObject& start, const Value& value, const QVKeyPath& keyPath);

/// Stores a value in nested dictionaries under a key path, making those that are missing. Nothing is not
/// stored. A value that is in the way and is no dictionary, and an empty path, raise
/// `NSInvalidArgumentException`.
QV_EXPORT void qv_addValue(Dictionary& dictionary, const Value& value, const QVKeyPath& keyPath);

}  // namespace QVFoundation
