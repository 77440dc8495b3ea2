#pragma once

#include <cstdint>
#include <functional>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// Whose signpost it is: it tells intervals apart that have the same name and overlap.
///
/// Threads: a plain value; `unique` may be called on any thread.
class QV_EXPORT OSSignpostID {
public:
  /// The same for the same object. When the object has gone, another one may get its address, and so its
  /// identifier.
  explicit OSSignpostID(const void* object) noexcept : number_(reinterpret_cast<std::uintptr_t>(object)) {}

  /// One that no other object has, had or will have in this process.
  [[nodiscard]] static OSSignpostID unique() noexcept;

  [[nodiscard]] constexpr std::uint64_t number() const noexcept { return number_; }

  friend constexpr bool operator==(OSSignpostID, OSSignpostID) noexcept = default;

private:
  constexpr explicit OSSignpostID(std::uint64_t number) noexcept : number_(number) {}

  std::uint64_t number_;
};

}  // namespace QVFoundation

template <>
struct std::hash<QVFoundation::OSSignpostID> {
  std::size_t operator()(QVFoundation::OSSignpostID id) const noexcept {
    return std::hash<std::uint64_t>()(id.number());
  }
};
