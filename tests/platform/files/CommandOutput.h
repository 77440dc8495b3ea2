#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <string>

namespace QVFoundation::testing {

/// What a command of the shell prints.
inline std::string outputOf(const std::string& command) {
  std::string output;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen((command + " 2>/dev/null").c_str(), "r"), pclose);
  std::array<char, 65536> buffer{};
  while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
    output.append(buffer.data(), size);
  }
  return output;
}

}  // namespace QVFoundation::testing
