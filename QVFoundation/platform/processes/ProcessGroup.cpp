#include <array>
#include <charconv>
#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>

#include "QVFoundation/platform/files/Descriptor_p.h"
#include "QVFoundation/platform/processes/ProcessCalls_p.h"
#include "QVFoundation/platform/processes/ProcessGroup_p.h"

namespace QVFoundation::detail {

namespace {

/// 0 for what is no number of a process.
pid_t processNumber(const std::string& name) {
  pid_t number = 0;
  const auto [end, code] = std::from_chars(name.data(), name.data() + name.size(), number);
  return code == std::errc() && end == name.data() + name.size() ? number : 0;
}

bool hasEndedBy(const Descriptor& process, std::optional<SteadyTime> end) {
  std::array<pollfd, 1> request{{{.fd = process.number(), .events = POLLIN, .revents = 0}}};
  while (!pollUntil(request, end)) {
    if (end && std::chrono::steady_clock::now() >= *end) return false;
  }
  return true;
}

/// One of the group that runs. What has ended and is unreaped still shows its group, but its descriptor can be
/// read.
Descriptor runningMember(pid_t leader) {
  std::error_code code;
  for (std::filesystem::directory_iterator entry("/proc", code), none; !code && entry != none;
       entry.increment(code)) {
    const pid_t number = processNumber(entry->path().filename().native());
    if (number == 0 || number == leader || ::getpgid(number) != leader) continue;
    Descriptor process(processCalls().openProcess(number));
    if (process.isOpen() && !hasEndedBy(process, std::chrono::steady_clock::now())) return process;
  }
  return {};
}

}  // namespace

bool awaitOthersOfGroup(pid_t leader, std::optional<SteadyTime> end) {
  for (;;) {
    const Descriptor member = runningMember(leader);
    if (!member.isOpen()) return true;
    if (!hasEndedBy(member, end)) return false;
  }
}

}  // namespace QVFoundation::detail
