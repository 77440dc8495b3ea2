#include <array>
#include <cerrno>
#include <optional>
#include <utility>

#include "QVFoundation/platform/copying/ItemMetadata_p.h"

namespace QVFoundation::detail {

namespace {

constexpr const char* accessListName = "system.posix_acl_access";
constexpr const char* defaultAccessListName = "system.posix_acl_default";

constexpr mode_t setIDBits = S_ISUID | S_ISGID;

/// Fills a buffer that grows until a call no longer finds it too small. False with `errno` where it fails.
template <class Buffer, class Call>
bool fill(Buffer& buffer, const Call& call) {
  for (;;) {
    const ssize_t needed = call(Buffer());
    if (needed < 0) return false;
    buffer.resize(static_cast<std::size_t>(needed));
    if (needed == 0) return true;
    const ssize_t size = call(buffer);
    if (size < 0 && errno == ERANGE) continue;
    if (size < 0) return false;
    buffer.resize(static_cast<std::size_t>(size));
    return true;
  }
}

/// Nearly all items have none, and for those it is one call.
std::optional<std::string> attributeNames(const ItemHandle& item) {
  std::array<char, 512> some;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by the call
  const ssize_t size = item.listAttributes(some);
  if (size >= 0) return std::string(some.data(), static_cast<std::size_t>(size));
  if (errno == EOPNOTSUPP) return std::string();
  std::string all;
  if (errno == ERANGE && fill(all, [&](auto&& list) { return item.listAttributes(list); })) return all;
  return std::nullopt;
}

bool isAccessList(std::string_view name) noexcept {
  return name == accessListName || name == defaultAccessListName;
}

CopyLoss lossOfAttribute(std::string_view path, const std::string& name, int code) {
  const auto kind = isAccessList(name) ? CopyLoss::Kind::accessList : CopyLoss::Kind::attribute;
  return {.path = std::string(path), .kind = kind, .attribute = name, .code = code};
}

// To remove what is not there is a change for some file systems, which costs a multiple of the question.
void removeIfThere(const ItemHandle& item, const char* name) noexcept {
  if (item.getAttribute(name, {}) < 0 && errno == ENODATA) return;
  static_cast<void>(item.removeAttribute(name));
}

}  // namespace

ItemMetadata::ItemMetadata(const ItemHandle& item, const struct stat& status, std::string_view path,
                           std::vector<CopyLoss>& losses)
    : status_(status) {
  const auto names = attributeNames(item);
  if (!names) {
    losses.push_back(lossOfAttribute(path, {}, errno));
    hasAccessListLost_ = true;  // for all that is known
    return;
  }
  for (std::size_t at = 0; at < names->size();) {
    Attribute attribute{.name = names->c_str() + at, .value = {}};
    const char* const name = attribute.name.c_str();
    at += attribute.name.size() + 1;
    if (fill(attribute.value, [&](auto&& value) { return item.getAttribute(name, value); })) {
      attributes_.push_back(std::move(attribute));
    } else if (errno != ENODATA) {  // else it has just gone
      losses.push_back(lossOfAttribute(path, attribute.name, errno));
      if (attribute.name == accessListName) hasAccessListLost_ = true;
    }
  }
}

/// One application to one item, in the order in which the system lets it be done.
class ItemMetadata::Application {
public:
  Application(const ItemMetadata& wanted, const ItemHandle& item, std::string_view path,
              std::vector<CopyLoss>& losses)
      : wanted_(wanted),
        item_(item),
        path_(path),
        losses_(losses),
        keepsAccessList_(!wanted.hasAccessListLost_) {}

  void run() {
    const bool isKnown = item_.status(now_) == 0;
    if (!isKnown) now_ = {};
    keepOwner(isKnown);
    keepAttributes();
    keepMode(isKnown && !hasChanged_);
    const std::array times = {wanted_.status_.st_atim, wanted_.status_.st_mtim};
    if (item_.setTimes(times.data()) != 0) lose(CopyLoss::Kind::times, errno);
  }

private:
  void lose(CopyLoss::Kind kind, int code) {
    losses_.push_back({.path = std::string(path_), .kind = kind, .attribute = {}, .code = code});
  }

  void keepOwner(bool isKnown) {
    const auto& [owner, group] = std::pair(wanted_.status_.st_uid, wanted_.status_.st_gid);
    if (isKnown && now_.st_uid == owner && now_.st_gid == group) return;
    hasChanged_ = true;
    if (item_.changeOwner(owner, group) == 0) return;
    const int code = errno;
    constexpr auto same = static_cast<uid_t>(-1);
    keepsOwner_ = isKnown && now_.st_uid == owner;
    keepsGroup_ = (isKnown && now_.st_gid == group) || item_.changeOwner(same, group) == 0;
    if (!keepsOwner_) lose(CopyLoss::Kind::owner, code);
    if (!keepsGroup_) lose(CopyLoss::Kind::group, code);
  }

  // Before the mode, which may forbid to write them.
  void keepAttributes() {
    for (const auto& [name, value] : wanted_.attributes_) {
      hasChanged_ = true;
      if (item_.setAttribute(name.c_str(), value) == 0) continue;
      losses_.push_back(lossOfAttribute(path_, name, errno));
      if (name == accessListName) keepsAccessList_ = false;
    }
  }

  void keepMode(bool isAsItWas) {
    if (S_ISLNK(wanted_.status_.st_mode)) return;  // has none of its own
    const mode_t mode = modeToKeep();
    if (isAsItWas && (now_.st_mode & ~mode_t{S_IFMT}) == mode) return;
    if (item_.changeMode(mode) != 0) lose(CopyLoss::Kind::mode, errno);
  }

  [[nodiscard]] mode_t modeToKeep() const noexcept {
    mode_t mode = wanted_.status_.st_mode & ~mode_t{S_IFMT};
    // What it does as its owner or group it may do as no other.
    if (!keepsOwner_ || !keepsGroup_) mode &= ~setIDBits;
    // Another group, and all others, among whom the former one is now, may do what both could.
    if (!keepsGroup_) {
      const mode_t both = (mode >> 3) & mode & S_IRWXO;
      mode = (mode & ~mode_t{S_IRWXG | S_IRWXO}) | both << 3 | both;
    }
    // What these bits say of others does not hold for those who were on the list.
    if (!keepsAccessList_) mode &= ~mode_t{S_IRWXG | S_IRWXO};
    return mode;
  }

  const ItemMetadata& wanted_;
  const ItemHandle& item_;
  const std::string_view path_;
  std::vector<CopyLoss>& losses_;
  struct stat now_{};
  bool hasChanged_ = false;
  bool keepsOwner_ = true;
  bool keepsGroup_ = true;
  bool keepsAccessList_;
};

void ItemMetadata::applyTo(const ItemHandle& item, std::string_view path,
                           std::vector<CopyLoss>& losses) const {
  Application(*this, item, path, losses).run();
}

void removeAccessList(const ItemHandle& item) noexcept { removeIfThere(item, accessListName); }

void removeAccessLists(const ItemHandle& folder) noexcept {
  removeIfThere(folder, accessListName);
  removeIfThere(folder, defaultAccessListName);
}

}  // namespace QVFoundation::detail
