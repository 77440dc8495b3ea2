#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <vector>

#include "QVFoundation/platform/copying/CopyEngine_p.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation::testing {

inline constexpr std::size_t mebibyte = 1 << 20;

/// All that can be told of an item, as one text; numbers of items are told as the first path that has them.
inline std::string descriptionOfItem(const std::filesystem::path& path,
                                     std::map<ino_t, std::string>& firstPaths, const std::string& name) {
  struct stat status{};
  if (lstat(path.c_str(), &status) != 0) return "nothing";
  const bool isFolder = S_ISDIR(status.st_mode);
  std::string text = std::to_string(status.st_mode) + ' ' + std::to_string(status.st_uid) + ' ' +
                     std::to_string(status.st_gid) + ' ' + std::to_string(status.st_mtim.tv_sec) + '.' +
                     std::to_string(status.st_mtim.tv_nsec);
  if (!isFolder) text += " is " + firstPaths.try_emplace(status.st_ino, name).first->second;
  if (S_ISREG(status.st_mode)) text += " holds " + contentOf(path);
  if (S_ISLNK(status.st_mode)) text += " to " + std::filesystem::read_symlink(path).string();
  std::array<char, 1024> names{};
  const ssize_t size = llistxattr(path.c_str(), names.data(), names.size());
  std::map<std::string, std::string> attributes;
  for (ssize_t at = 0; at < size;) {
    const std::string attribute = &names.at(static_cast<std::size_t>(at));
    std::array<char, 1024> value{};
    const ssize_t length = lgetxattr(path.c_str(), attribute.c_str(), value.data(), value.size());
    if (length >= 0) attributes[attribute].assign(value.data(), static_cast<std::size_t>(length));
    at += static_cast<ssize_t>(attribute.size()) + 1;
  }
  for (const auto& [attribute, value] : attributes)
    text.append(" ").append(attribute).append("=").append(value);
  return text;
}

/// What is in a folder and what each item is, itself included.
inline std::map<std::string, std::string> descriptionOfTree(const std::filesystem::path& root) {
  std::vector<std::string> names = {""};
  if (std::filesystem::is_directory(std::filesystem::symlink_status(root))) {
    for (const auto& item : std::filesystem::recursive_directory_iterator(root)) {
      names.push_back(item.path().lexically_relative(root).native());
    }
  }
  std::ranges::sort(names);
  std::map<ino_t, std::string> firstPaths;
  std::map<std::string, std::string> tree;
  for (const std::string& name : names) {
    tree[name] = descriptionOfItem(name.empty() ? root : root / name, firstPaths, name);
  }
  return tree;
}

/// One copy, what was told of it, and what came out.
struct Copying {
  int code = 0;
  CopyReport report;
  std::vector<std::string> events;  // such as "start file /a", with paths below the source
  int error = 0;                    // in `errno` at the error event
  std::int64_t bytes = 0;           // by the events of progress
  std::int64_t longestStep = 0;
};

struct CopyQuestion {
  detail::CopyOptions options;
  std::size_t quitAt = 0;  // the number of the event, from 1
  std::function<void(const detail::CopyEvent&)> onEvent;
};

inline Copying copyOf(const std::filesystem::path& source, const std::filesystem::path& destination,
                      const CopyQuestion& question = {}) {
  using detail::CopyStage;
  constexpr std::array stages = {"start", "progress", "finish", "error"};
  constexpr std::array items = {"file", "data", "folder"};
  Copying result;
  std::int64_t last = 0;
  const auto callback = [&](const detail::CopyEvent& event) {
    if (event.stage == CopyStage::error) result.error = errno;
    if (event.stage == CopyStage::start) last = 0;
    if (event.stage == CopyStage::progress) {
      result.bytes += event.copied - last;
      result.longestStep = std::max(result.longestStep, event.copied - last);
      last = event.copied;
    }
    result.events.push_back(std::string(stages.at(static_cast<std::size_t>(event.stage))) + ' ' +
                            items.at(static_cast<std::size_t>(event.item)) + ' ' +
                            std::string(event.source.substr(source.native().size())));
    if (question.onEvent) question.onEvent(event);
    return result.events.size() == question.quitAt ? detail::CopyAnswer::quit : detail::CopyAnswer::goOn;
  };
  result.code = detail::copyItem(source, destination, question.options, callback, result.report);
  return result;
}

}  // namespace QVFoundation::testing
