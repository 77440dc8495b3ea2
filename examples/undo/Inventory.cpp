#include "Inventory.h"

#include <algorithm>
#include <cerrno>
#include <ranges>
#include <string_view>
#include <system_error>
#include <tuple>
#include <unistd.h>
#include <utility>

#include <QVFoundation/QVFoundation.h>

#include "shared/Items.h"

namespace example {

using namespace QVFoundation;

namespace {

std::string reason() { return std::generic_category().message(errno); }

bool isUnchanged(const struct stat& before, const struct stat& now) {
  const auto identity = [](const struct stat& item) {
    return std::tuple(item.st_dev, item.st_ino, item.st_mode, item.st_uid, item.st_gid);
  };
  const auto content = [](const struct stat& item) {
    return std::tuple(item.st_size, item.st_mtim.tv_sec, item.st_mtim.tv_nsec);
  };
  const auto change = [](const struct stat& item) {
    return std::tuple(item.st_ctim.tv_sec, item.st_ctim.tv_nsec);
  };
  if (identity(before) != identity(now)) return false;
  if (S_ISDIR(now.st_mode)) return true;  // what is in it is looked at by itself
  // What has several names changes with each of them that is removed.
  return content(before) == content(now) && (before.st_nlink > 1 || change(before) == change(now));
}

}  // namespace

Inventory::Inventory(std::filesystem::path item) : item_(std::move(item)) {
  note(item_);
  if (!isFolder(item_)) return;
  std::optional<NSError> failure;
  const auto fail = [&](std::string_view /*path*/, const NSError& error) {
    failure = error;
    return false;
  };
  for (auto& each : NSFileManager::defaultManager()->enumeratorAtPath(item_, fail))
    note(std::string(each.path()));
  if (failure) throw NSError(*failure);
}

void Inventory::note(const std::string& path) {
  if (::lstat(path.c_str(), &items_[path]) == 0) return;
  throw errorWithDescription(stringWithFormat("“%@” could not be read: %@", path, reason()));
}

std::optional<std::string> Inventory::closedFolder() const {
  const auto isClosed = [](const std::string& folder) { return ::access(folder.c_str(), W_OK | X_OK) != 0; };
  if (isClosed(item_.parent_path())) return item_.parent_path();
  for (const auto& [path, status] : items_)
    if (S_ISDIR(status.st_mode) && isClosed(path)) return path;
  return std::nullopt;
}

std::optional<std::string> Inventory::changeSince(const Inventory& earlier) const {
  const auto [before, now] = std::ranges::mismatch(earlier.items_, items_, [](const auto& a, const auto& b) {
    return a.first == b.first && isUnchanged(a.second, b.second);
  });
  if (before == earlier.items_.end() && now == items_.end()) return std::nullopt;
  const bool hasGone = now == items_.end() || (before != earlier.items_.end() && before->first < now->first);
  return hasGone ? before->first : now->first;
}

std::vector<std::string> Inventory::remove() const {
  std::vector<std::string> left;
  const auto leave = [&](std::string_view path, const std::string& why) {
    left.push_back(stringWithFormat("“%@” (%@)", path, why));
  };
  for (const auto& [path, before] : items_ | std::views::reverse) {
    struct stat now{};
    if (::lstat(path.c_str(), &now) != 0 && errno == ENOENT) continue;
    if (!isUnchanged(before, now)) {
      leave(path, "changed meanwhile");
    } else if ((S_ISDIR(now.st_mode) ? ::rmdir(path.c_str()) : ::unlink(path.c_str())) != 0) {
      if (errno != ENOTEMPTY && errno != EEXIST) leave(path, reason());
    }
  }
  if (!isFolder(item_)) return left;
  for (auto& each : NSFileManager::defaultManager()->enumeratorAtPath(item_))
    if (!items_.contains(std::string(each.path()))) leave(each.path(), "new");
  return left;
}

}  // namespace example
