#pragma once

#include <utility>

#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

/// Owns a file descriptor, or none.
///
/// Threads: as a plain value.
/// Errors: none; closing keeps `errno`.
class Descriptor {
public:
  Descriptor() noexcept = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      close();
      number_ = other.release();
    }
    return *this;
  }
  ~Descriptor() { close(); }

  [[nodiscard]] int number() const noexcept { return number_; }
  [[nodiscard]] bool isOpen() const noexcept { return number_ >= 0; }
  [[nodiscard]] int release() noexcept { return std::exchange(number_, -1); }
  void close() noexcept {
    if (!isOpen()) return;
    const int code = errno;
    systemCalls().close(release());  // not repeated: on Linux it is gone though interrupted (close(2))
    errno = code;
  }

private:
  int number_ = -1;
};

}  // namespace QVFoundation::detail
