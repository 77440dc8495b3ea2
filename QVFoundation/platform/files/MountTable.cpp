#include <cstddef>

#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/files/MountTable_p.h"
#include "QVFoundation/platform/text/TextFields_p.h"

namespace QVFoundation::detail {

namespace {

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
  try {
    const NSData table = contentsOfFile("/proc/self/mountinfo");
    return mountInTable({reinterpret_cast<const char*>(table.data()), table.size()}, status.stx_mnt_id);
  } catch (const NSError&) {
    return {};
  }
}

}  // namespace QVFoundation::detail
