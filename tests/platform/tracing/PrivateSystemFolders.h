#pragma once

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <sched.h>
#include <string>
#include <string_view>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace QVFoundation::testing {

/// A service's socket: takes datagrams where the machine's own service would.
class DatagramSocket {
public:
  explicit DatagramSocket(const std::filesystem::path& path)
      : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories(path.parent_path());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(std::data(address.sun_path), sizeof address.sun_path - 1);
    if (bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      std::perror("bind");
  }
  DatagramSocket(const DatagramSocket&) = delete;
  DatagramSocket& operator=(const DatagramSocket&) = delete;
  ~DatagramSocket() { close(descriptor_); }

  /// All that has come, a bar behind each datagram.
  [[nodiscard]] std::string receive() const {
    std::string text;
    std::array<char, 65536> buffer{};
    for (ssize_t size = 0; (size = recv(descriptor_, buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0;) {
      text.append(buffer.data(), static_cast<std::size_t>(size)).append(1, '|');
    }
    return text;
  }

private:
  int descriptor_;
};

/// Runs `body` in a child process that has a /run and a /dev of its own, both empty, and returns the text
/// that it returned. Nothing where the system does not let this process have them.
inline std::optional<std::string> withPrivateSystemFolders(const std::function<std::string()>& body) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) return {};
  const pid_t child = fork();
  if (child == 0) {
    const bool isAlone = (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
                         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         mount("none", "/run", "tmpfs", 0, nullptr) == 0 &&
                         mount("none", "/dev", "tmpfs", 0, nullptr) == 0;
    if (!isAlone) _exit(1);
    const std::string text = body();
    _exit(write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 2);
  }
  close(ends[1]);
  std::string text;
  std::array<char, 65536> buffer{};
  for (ssize_t size = 0; (size = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(size));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 1) return {};
  return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? text : "the child process failed";
}

}  // namespace QVFoundation::testing
