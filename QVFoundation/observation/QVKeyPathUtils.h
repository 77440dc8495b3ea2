#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"

/// Taking dotted key paths apart and putting them together: "a.b.c" has three components.
///
/// Threads: pure functions.
namespace QVFoundation {

[[nodiscard]] QV_EXPORT std::string qv_keyPathWithComponents(std::span<const std::string> components);

/// Split at every ".", so that "a..b" has an empty component. The empty path has none.
[[nodiscard]] QV_EXPORT std::vector<std::string> qv_keyPathComponents(std::string_view keyPath);

/// The text before the first ".", or all of it.
[[nodiscard]] QV_EXPORT std::string qv_firstKeyPathComponent(std::string_view keyPath);
/// The text after the last ".", or all of it.
[[nodiscard]] QV_EXPORT std::string qv_lastKeyPathComponent(std::string_view keyPath);

/// The text after the first "."; nothing where there is none.
[[nodiscard]] QV_EXPORT std::optional<std::string> qv_keyPathByDeletingFirstComponent(
    std::string_view keyPath);
/// The text before the last "."; nothing where there is none.
[[nodiscard]] QV_EXPORT std::optional<std::string> qv_keyPathByDeletingLastComponent(
    std::string_view keyPath);

/// The component alone where the path is empty.
[[nodiscard]] QV_EXPORT std::string qv_keyPathByAddingComponent(std::string_view keyPath,
                                                                std::string_view component);

}  // namespace QVFoundation
