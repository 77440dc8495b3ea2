#include <algorithm>
#include <cerrno>
#include <string_view>

#include "QVFoundation/environment/SystemFacts_p.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/text/NSScanner.h"
#include "QVFoundation/platform/text/TextFields_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

namespace {

using SystemVersionDigits = std::vector<std::int64_t>;

/// Reads a short file; returns 0, or the system's code where it cannot be read.
int readSystemFile(std::string_view root, std::string_view path, std::string& text) {
  constexpr std::size_t mostBytes = 64UL * 1024;
  try {
    const NSData bytes = contentsOfFile(std::string(root).append(path), mostBytes);
    text.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return 0;
  } catch (const NSError& error) {
    const auto reason = underlyingError(error);
    return reason ? static_cast<int>(reason->code()) : EIO;
  }
}

std::string textOfSystemFile(std::string_view root, std::string_view path) {
  std::string text;
  readSystemFile(root, path, text);
  return text;
}

/// Without the white space and zero bytes at both ends.
std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blank(" \t\r\n\0", 5);
  const std::size_t first = text.find_first_not_of(blank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blank) + 1 - first);
}

/// A value as a shell understands it.
std::string unquoted(std::string_view text) {
  std::string plain;
  constexpr char none = '\0';
  char quote = none;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && quote != '\'' && i + 1 < text.size()) {
      plain += text[++i];
    } else if (quote == none && (text[i] == '"' || text[i] == '\'')) {
      quote = text[i];
    } else if (quote != none && quote == text[i]) {
      quote = none;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

/// What os-release says of the system, see os-release(5).
class OSRelease {
public:
  explicit OSRelease(std::string_view root) {
    if (readSystemFile(root, "/etc/os-release", text_) != 0)
      text_ = textOfSystemFile(root, "/usr/lib/os-release");
  }

  /// Empty where there is none. Of several the last counts, as in a shell.
  [[nodiscard]] std::string operator[](std::string_view name) const {
    std::string value;
    for (std::string_view rest = text_; !rest.empty();) {
      std::string_view line = trimmed(takeUntil(rest, '\n'));
      if (takeUntil(line, '=') == name) value = unquoted(line);
    }
    return value;
  }

private:
  std::string text_;
};

/// The first numbers with dots between them that a text has.
SystemVersionDigits firstVersionIn(std::string_view text) {
  SystemVersionDigits digits;
  NSScanner scanner(text);
  scanner.setCharactersToBeSkipped({});
  scanner.scanUpToCharactersFromSet(NSCharacterSet{{U'0', U'9'}});
  do {
    const auto number = scanner.scanInteger();
    if (!number || *number < 0) break;
    digits.push_back(*number);
  } while (scanner.scanString("."));
  return digits;
}

/// Whether a version is another one with more digits behind.
bool continues(const SystemVersionDigits& longer, const SystemVersionDigits& version) {
  return longer.size() > version.size() && std::equal(version.begin(), version.end(), longer.begin());
}

/// Firmware that its maker has not filled in.
bool isPlaceholder(std::string_view model) {
  static constexpr std::string_view placeholders[] = {
      "default string",
      "n/a",
      "none",
      "not applicable",
      "not specified",
      "o.e.m.",
      "system product name",
      "to be filled by o.e.m.",
      "unknown",
  };
  return std::ranges::find(placeholders, lowerCaseASCII(model)) != std::end(placeholders);
}

}  // namespace

SystemVersionDigits systemVersion(std::string_view root) {
  const OSRelease release(root);
  SystemVersionDigits digits = firstVersionIn(release["VERSION_ID"]);
  // "22.04.4 LTS (Jammy Jellyfish)", "12.11", "CentOS Linux release 7.9.2009 (Core)"
  for (const std::string& statement : {release["VERSION"], textOfSystemFile(root, "/etc/debian_version"),
                                       textOfSystemFile(root, "/etc/redhat-release")}) {
    SystemVersionDigits stated = firstVersionIn(statement);
    if (!continues(stated, digits)) continue;
    digits = std::move(stated);
    break;
  }
  digits.resize(3);
  return digits;
}

std::optional<std::string> systemBuild(std::string_view root) {
  const OSRelease release(root);
  for (const std::string& build :
       {release["BUILD_ID"], release["IMAGE_VERSION"],
        std::string(trimmed(textOfSystemFile(root, "/proc/sys/kernel/osrelease")))}) {
    if (!build.empty()) return replacingInvalidUTF8(build);
  }
  return {};
}

std::optional<std::string> hardwareModel(std::string_view root) {
  for (const char* const path : {"/sys/class/dmi/id/product_name", "/sys/class/dmi/id/board_name",
                                 "/sys/firmware/devicetree/base/model"}) {
    const std::string text = textOfSystemFile(root, path);
    const std::string_view model = trimmed(text);
    if (!model.empty() && !isPlaceholder(model)) return replacingInvalidUTF8(model);
  }
  return {};
}

Dictionary memoryUsage(std::string_view root) {
  static constexpr struct {
    std::string_view field, key;
  } sizes[] = {{"VmRSS", "resident_size"}, {"VmHWM", "resident_size_max"}, {"VmSize", "virtual_size"}};
  std::string status;
  if (const int code = readSystemFile(root, "/proc/self/status", status))
    return {{"error", std::int32_t{code}}};
  Dictionary usage;
  for (std::string_view rest = status; !rest.empty();) {
    std::string_view line = takeUntil(rest, '\n');
    const std::string_view name = takeUntil(line, ':');
    const auto* const size = std::ranges::find(sizes, name, [](const auto& each) { return each.field; });
    if (size == std::end(sizes)) continue;
    const auto kibibytes = NSScanner(line).scanInteger();
    if (kibibytes && *kibibytes >= 0) usage.set(size->key, static_cast<std::uint64_t>(*kibibytes) * 1024);
  }
  if (usage.size() < std::size(sizes)) return {{"error", std::int32_t{ENODATA}}};
  return usage;
}

}  // namespace QVFoundation::detail
