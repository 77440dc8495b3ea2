#pragma once

#include <array>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "gtest/gtest.h"

namespace QVFoundation::testing {

/// Takes what the process writes to its standard error for a scope. A socket that keeps the borders of
/// messages stands in for it, so that each call to the system shows as a piece of its own.
class StandardErrorCapture {
public:
  StandardErrorCapture() : original_(dup(STDERR_FILENO)) {
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets_.data()), 0);
    dup2(sockets_[1], STDERR_FILENO);
  }
  StandardErrorCapture(const StandardErrorCapture&) = delete;
  StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;
  ~StandardErrorCapture() {
    dup2(original_, STDERR_FILENO);
    for (const int descriptor : {original_, sockets_[0], sockets_[1]}) close(descriptor);
  }

  /// What has been written since the last call, a piece for each call to the system.
  std::vector<std::string> take() {
    std::vector<std::string> pieces;
    std::array<char, 65536> buffer{};
    ssize_t size = 0;
    while ((size = recv(sockets_[0], buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0) {
      pieces.emplace_back(buffer.data(), static_cast<std::size_t>(size));
    }
    return pieces;
  }

private:
  int original_;
  std::array<int, 2> sockets_{};
};

}  // namespace QVFoundation::testing
