#include <algorithm>
#include <cstddef>

#include "QVFoundation/platform/files/MountTable_p.h"

namespace QVFoundation::detail {

namespace {

std::string_view takeUntil(std::string_view& text, char end) {
  const std::size_t length = std::min(text.find(end), text.size());
  const std::string_view taken = text.substr(0, length);
  text.remove_prefix(std::min(length + 1, text.size()));
  return taken;
}

bool isOctalDigit(char c) { return c >= '0' && c <= '7'; }

/// Blanks, tabs, line breaks and backslashes are written as "\040" and the like.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isEscape = text[i] == '\\' && i + 3 < text.size() && isOctalDigit(text[i + 1]) &&
                          isOctalDigit(text[i + 2]) && isOctalDigit(text[i + 3]);
    if (!isEscape) {
      plain += text[i];
      continue;
    }
    plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
    i += 3;
  }
  return plain;
}

std::string readWhole(const Descriptor& file) {
  std::string text;
  for (;;) {
    const std::size_t size = text.size();
    text.resize(size + 16384);
    const ssize_t count =
        uninterrupted([&] { return systemCalls().read(file.number(), text.data() + size, 16384); });
    text.resize(size + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (count <= 0) return text;
  }
}

}  // namespace

std::optional<Mount> mountInTable(std::string_view table, std::uint64_t number) {
  const std::string wanted = std::to_string(number);
  while (!table.empty()) {
    std::string_view line = takeUntil(table, '\n');
    if (takeUntil(line, ' ') != wanted) continue;
    for (int field = 0; field < 3; ++field) takeUntil(line, ' ');  // parent, device, root
    const std::string_view path = takeUntil(line, ' ');
    while (!line.empty() && takeUntil(line, ' ') != "-") {
    }  // options, as many as there are
    return Mount{.path = unescaped(path), .format = unescaped(takeUntil(line, ' '))};
  }
  return {};
}

std::optional<Mount> mountOf(const FileLocation& location) {
  struct statx status{};
  if (location.status(FollowLinks::yes, STATX_MNT_ID, status) != 0) return {};
  if ((status.stx_mask & STATX_MNT_ID) == 0) return {};
  const Descriptor table = FileLocation("/proc/self/mountinfo").open(O_RDONLY);
  if (!table.isOpen()) return {};
  return mountInTable(readWhole(table), status.stx_mnt_id);
}

}  // namespace QVFoundation::detail
