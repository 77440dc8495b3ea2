#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "QVFoundation/platform/serialization/PropertyListBinary_p.h"

namespace QVFoundation::detail::binary {

/// A binary property list as a table of objects, none of which reaches beyond the file whatever the
/// file says.
///
/// Threads: reading it from several threads is safe.
/// Errors: what does not fit is an `NSError` that names the object and its place.
class Layout {
public:
  struct Object {
    std::uint64_t index;
    Type type;
    unsigned detail;                     ///< The low half of the marker.
    std::size_t length;                  ///< In bytes, units of text or elements, by the type.
    std::span<const std::byte> content;  ///< Without the marker and the length.
  };

  /// The file must outlive the layout.
  explicit Layout(std::span<const std::byte> file);

  [[nodiscard]] std::uint64_t root() const noexcept { return root_; }
  [[nodiscard]] std::size_t fileSize() const noexcept { return file_.size(); }
  [[nodiscard]] Object object(std::uint64_t index) const;
  /// The index of the object that a container refers to.
  [[nodiscard]] std::uint64_t reference(const Object& container, std::size_t position) const;

  [[noreturn]] void fail(std::uint64_t index, std::string_view problem) const;

private:
  [[nodiscard]] std::uint64_t offsetOf(std::uint64_t index) const noexcept;
  [[nodiscard]] std::size_t unitLengthOf(Type type) const noexcept;
  [[nodiscard]] std::uint64_t takeLength(std::uint64_t index, unsigned detail,
                                         std::span<const std::byte>& rest) const;
  [[nodiscard]] std::uint64_t lengthByDetail(std::uint64_t index, Type type, unsigned detail) const;

  std::span<const std::byte> file_;
  std::size_t offsetWidth_ = 0;
  std::size_t referenceWidth_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t root_ = 0;
  std::uint64_t tableOffset_ = 0;
};

/// At most eight bytes as a number.
[[nodiscard]] std::uint64_t bigEndian(std::span<const std::byte> bytes) noexcept;

}  // namespace QVFoundation::detail::binary
