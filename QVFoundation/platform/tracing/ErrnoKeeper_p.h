#pragma once

#include <cerrno>

namespace QVFoundation::detail {

/// Puts `errno` back at the end of a scope: who logs a failure still wants to read its reason afterwards.
class [[nodiscard]] ErrnoKeeper {
public:
  ErrnoKeeper() noexcept : kept_(errno) {}
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
  ~ErrnoKeeper() { errno = kept_; }

private:
  int kept_;
};

}  // namespace QVFoundation::detail
