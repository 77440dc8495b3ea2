#include <algorithm>
#include <charconv>
#include <fnmatch.h>
#include <optional>
#include <set>
#include <sys/stat.h>

#include "QVFoundation/platform/files/BaseDirectories_p.h"
#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/files/MimeTypes_p.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/text/TextFields_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::size_t mostBytesOfGlobs = 4 * 1024 * 1024;
// A name has at most 255 bytes, so a longer glob is junk.
constexpr std::size_t longestGlob = 255;
// Real databases have some twenty; each is tried for each name.
constexpr std::size_t mostPatterns = 1000;

constexpr std::string_view noGlobs = "__NOGLOBS__";  // instead of a glob: less important folders do not count
constexpr std::string_view wildcards = "*?[\\";

/// A line of a file globs2: "weight:type:glob" or "weight:type:glob:flags".
struct GlobLine {
  int weight = 0;
  std::string_view type, glob;
  bool isCaseSensitive = false;
};

/// Nothing for comments and junk.
std::optional<GlobLine> globLine(std::string_view line) {
  if (line.starts_with('#') || line.find('\0') != std::string_view::npos) return {};
  GlobLine parsed;
  const std::string_view weight = takeUntil(line, ':');
  const auto [end, error] = std::from_chars(weight.data(), weight.data() + weight.size(), parsed.weight);
  if (error != std::errc() || end != weight.data() + weight.size()) return {};
  parsed.type = takeUntil(line, ':');
  parsed.glob = takeUntil(line, ':');
  const bool isType = parsed.type.find('/') != std::string_view::npos;
  if (!isType || parsed.glob.empty() || parsed.glob.size() > longestGlob) return {};
  for (std::string_view flags = takeUntil(line, ':'); !flags.empty();) {
    if (takeUntil(flags, ',') == "cs") parsed.isCaseSensitive = true;
  }
  return parsed;
}

std::vector<GlobLine> globLines(std::string_view text) {
  std::vector<GlobLine> lines;
  while (!text.empty()) {
    if (const auto line = globLine(takeUntil(text, '\n'))) lines.push_back(*line);
  }
  return lines;
}

NSData bytesOfGlobs(const std::filesystem::path& dataFolder) {
  try {
    return contentsOfFile(dataFolder / "mime/globs2", mostBytesOfGlobs);
  } catch (const NSError&) {
    return {};
  }
}

}  // namespace

void MimeGlobs::add(std::string_view glob, int weight, const std::string& type) {
  const auto addTo = [&](Rules& rules, std::string_view key) {
    const auto [rule, isNew] = rules.try_emplace(std::string(key), Rule{weight, type});
    if (!isNew && weight > rule->second.weight) rule->second = {weight, type};
  };
  if (glob.find_first_of(wildcards) == std::string_view::npos) {
    addTo(names_, glob);
  } else if (glob.find_last_of(wildcards) == 0 && glob.starts_with('*')) {
    addTo(suffixes_, glob.substr(1));
    longestSuffix_ = std::max(longestSuffix_, glob.size() - 1);
  } else if (patterns_.size() < mostPatterns) {
    patterns_.push_back({{weight, type}, std::string(glob)});
  }
}

std::string_view MimeGlobs::typeForName(std::string_view name) const {
  const Rule* best = nullptr;
  std::size_t bestLength = 0;
  const auto consider = [&](const Rule& rule, std::size_t length) {
    if (best != nullptr &&
        (rule.weight < best->weight || (rule.weight == best->weight && length <= bestLength)))
      return;
    best = &rule;
    bestLength = length;
  };
  if (const auto rule = names_.find(name); rule != names_.end()) consider(rule->second, name.size());
  for (std::size_t length = 0; length <= std::min(longestSuffix_, name.size()); ++length) {
    const auto rule = suffixes_.find(name.substr(name.size() - length));
    if (rule != suffixes_.end()) consider(rule->second, length + 1);
  }
  const std::string text(name);
  for (const Pattern& pattern : patterns_) {
    if (fnmatch(pattern.glob.c_str(), text.c_str(), 0) == 0) consider(pattern, pattern.glob.size());
  }
  return best != nullptr ? std::string_view(best->type) : std::string_view();
}

const MimeTypes& MimeTypes::shared() {
  static const MimeTypes& types = *[] {
    std::vector<std::filesystem::path> folders{dataHome()};
    for (std::string& folder : dataFolders()) folders.emplace_back(std::move(folder));
    if (folders.size() == 1) folders.insert(folders.end(), {"/usr/local/share", "/usr/share"});
    return new MimeTypes(folders);
  }();
  return types;
}

MimeTypes::MimeTypes(const std::vector<std::filesystem::path>& dataFolders) {
  std::set<std::string, std::less<>> closedTypes;  // which less important folders add nothing to
  for (const std::filesystem::path& folder : dataFolders) {
    const NSData bytes = bytesOfGlobs(folder);
    const auto lines = globLines({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    for (const GlobLine& line : lines) {
      if (line.glob == noGlobs || closedTypes.contains(line.type)) continue;
      const std::string type(line.type);
      globs_.add(line.glob, line.weight, type);
      if (!line.isCaseSensitive) caselessGlobs_.add(lowerCaseASCII(line.glob), line.weight, type);
    }
    for (const GlobLine& line : lines) {
      if (line.glob == noGlobs) closedTypes.emplace(line.type);
    }
  }
}

std::string_view MimeTypes::typeForName(std::string_view name) const {
  std::string_view type = globs_.typeForName(name);
  if (type.empty()) type = caselessGlobs_.typeForName(lowerCaseASCII(name));
  return type.empty() ? "application/octet-stream" : type;
}

std::string_view MimeTypes::typeForItem(mode_t mode, std::string_view name) const {
  switch (mode & S_IFMT) {
    case S_IFDIR: return "inode/directory";
    case S_IFLNK: return "inode/symlink";
    case S_IFIFO: return "inode/fifo";
    case S_IFSOCK: return "inode/socket";
    case S_IFCHR: return "inode/chardevice";
    case S_IFBLK: return "inode/blockdevice";
    default: return typeForName(name);
  }
}

}  // namespace QVFoundation::detail
