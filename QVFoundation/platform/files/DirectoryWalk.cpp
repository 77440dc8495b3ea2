#include <algorithm>
#include <utility>

#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/files/PathComponentReader_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::size_t bufferSize = 64UL * 1024;
constexpr std::size_t mostOpenFolders = 32;  // real trees are not as deep; a process has 1024 descriptors

bool isFolderItself(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

NSFileType fileTypeOfEntry(const dirent64& entry) {
  return fileTypeOfMode(static_cast<mode_t>(DTTOIF(entry.d_type)));
}

}  // namespace

DirectoryWalk::DirectoryWalk(FileLocation root, PathView path, Links links)
    : links_(links),
      root_(std::move(root)),
      path_(withoutFinalSlashes(path)),
      rootLength_(path_.size()),
      buffer_(std::make_unique_for_overwrite<char[]>(bufferSize)) {}

DirectoryWalk::Event DirectoryWalk::next() {
  switch (std::exchange(pending_, Pending::nothing)) {
    case Pending::enter: enter(); break;
    case Pending::leave: leave(); break;
    case Pending::nothing: break;
  }
  while (!frames_.empty()) {
    Frame& frame = frames_.back();
    if (const dirent64* const entry = nextEntry(frame)) {
      if (!take(*entry)) continue;
      if (type_ != NSFileType::directory) return Event::item;
      if (!leadsBack_) pending_ = Pending::enter;
      return Event::directory;
    }
    comeBackTo(frame);
    error_ = std::exchange(frame.error, 0);
    if (error_ != 0) return Event::unreadable;
    if (depth_ > 1 && depth_ - 1 < firstOpen_) reopen(depth_ - 1);
    pending_ = Pending::leave;
    return Event::left;
  }
  return Event::end;
}

bool DirectoryWalk::again() noexcept {
  Frame& frame = frames_.back();
  if (systemCalls().seek(frame.folder.number(), 0, SEEK_SET) != 0) return false;
  frame.isAtEnd = false;
  pending_ = Pending::nothing;
  return true;
}

const char* DirectoryWalk::name() const noexcept {
  return depth_ == 0 ? root_.name() : path_.c_str() + nameOffset_;
}

int DirectoryWalk::folder() const noexcept {
  return depth_ == 0 ? root_.folder() : frames_[depth_ - 1].folder.number();
}

int DirectoryWalk::status(struct stat& status) const noexcept {
  return uninterrupted([&] { return systemCalls().statAt(folder(), name(), &status, AT_SYMLINK_NOFOLLOW); });
}

int DirectoryWalk::status(unsigned mask, struct statx& status) const noexcept {
  return uninterrupted(
      [&] { return systemCalls().status(folder(), name(), AT_SYMLINK_NOFOLLOW, mask, &status); });
}

// Makes the folder that a frame stands for the item that is spoken of.
void DirectoryWalk::comeBackTo(const Frame& frame) {
  depth_ = frames_.size() - 1;
  nameOffset_ = frame.nameOffset;
  type_ = NSFileType::directory;
  path_.resize(depth_ == 0 ? rootLength_ : frame.pathLength, '/');  // "/" is the root whose path ends empty
}

void DirectoryWalk::enter() {
  // Names follow behind a slash, which the root has already.
  Frame frame(nameOffset_, path_ == "/" ? 0 : path_.size(), isThroughLink_);
  frame.folder = depth_ == 0 ? root_.open(O_RDONLY | O_DIRECTORY | (links_ == Links::items ? O_NOFOLLOW : 0))
                             : openFolder(folder(), name(), isThroughLink_);
  linksOnTheWay_ += isThroughLink_ ? 1 : 0;
  if (!frame.folder.isOpen()) {
    frame.error = errno;
    frame.isAtEnd = true;
  }
  if (!frames_.empty()) keepEntries(frames_.back());
  frames_.push_back(std::move(frame));
  if (frames_.size() - firstOpen_ > mostOpenFolders) closeOne();
}

void DirectoryWalk::leave() {
  linksOnTheWay_ -= frames_.back().isThroughLink ? 1 : 0;
  frames_.pop_back();
  firstOpen_ = std::clamp<std::size_t>(frames_.size(), 1, firstOpen_);
}

const dirent64* DirectoryWalk::nextEntry(Frame& frame) {
  for (;;) {
    const char* const entries = frame.usesBuffer ? buffer_.get() : frame.kept.data();
    while (frame.position < frame.size) {
      const auto* const entry = reinterpret_cast<const dirent64*>(entries + frame.position);
      frame.position += entry->d_reclen;
      if (!isFolderItself(entry->d_name)) return entry;
    }
    if (frame.isAtEnd || !refill(frame)) return nullptr;
  }
}

bool DirectoryWalk::refill(Frame& frame) {
  const ssize_t size = uninterrupted(
      [&] { return systemCalls().readEntries(frame.folder.number(), buffer_.get(), bufferSize); });
  frame.kept = {};
  frame.usesBuffer = true;
  frame.position = 0;
  frame.size = static_cast<std::size_t>(std::max<ssize_t>(size, 0));
  frame.isAtEnd = size <= 0;
  if (size < 0 && errno != ENOENT) frame.error = errno;  // one that has been removed has no entries
  return size > 0;
}

// Makes an entry the item that is spoken of; false where there is nothing to be said.
bool DirectoryWalk::take(const dirent64& entry) {
  const Frame& frame = frames_.back();
  depth_ = frames_.size();
  path_.resize(frame.pathLength);
  path_ += '/';
  nameOffset_ = path_.size();
  path_ += entry.d_name;
  isThroughLink_ = leadsBack_ = false;
  type_ = fileTypeOfEntry(entry);
  if (entry.d_type == DT_UNKNOWN) {
    struct stat status{};
    const bool isKnown = this->status(status) == 0;
    if (!isKnown && errno == ENOENT) return false;  // it has gone by now
    type_ = isKnown ? fileTypeOfMode(status.st_mode) : NSFileType::none;
  }
  if (type_ == NSFileType::symbolicLink && links_ == Links::followed) return followLink();
  // Behind a link also a plain folder may lead back, down to where the walk came from.
  if (type_ == NSFileType::directory && linksOnTheWay_ > 0) {
    struct statx status{};
    if (this->status(STATX_INO, status) != 0) return false;
    leadsBack_ = isOnTheWay(ItemIdentity::of(status));
  }
  return true;
}

bool DirectoryWalk::followLink() {
  struct statx status{};
  const int result = uninterrupted(
      [&] { return systemCalls().status(folder(), name(), 0, STATX_TYPE | STATX_INO, &status); });
  if (result != 0) return false;
  if (!isDirectory(status)) return true;
  type_ = NSFileType::directory;
  isThroughLink_ = true;
  leadsBack_ = isOnTheWay(ItemIdentity::of(status));
  return true;
}

bool DirectoryWalk::isOnTheWay(const ItemIdentity& identity) {
  return std::ranges::any_of(frames_, [&](Frame& frame) {
    identify(frame);
    return frame.identity == identity;
  });
}

std::optional<ItemIdentity> DirectoryWalk::identityOf(const Descriptor& folder) noexcept {
  struct statx status{};
  const int result = uninterrupted(
      [&] { return systemCalls().status(folder.number(), "", AT_EMPTY_PATH, STATX_INO, &status); });
  return result == 0 ? std::optional(ItemIdentity::of(status)) : std::nullopt;
}

void DirectoryWalk::identify(Frame& frame) noexcept {
  if (!frame.identity && frame.folder.isOpen()) frame.identity = identityOf(frame.folder);
}

// The buffer is for the folder that the walk is in.
void DirectoryWalk::keepEntries(Frame& frame) {
  if (!frame.usesBuffer) return;
  frame.kept.assign(buffer_.get() + frame.position, buffer_.get() + frame.size);
  frame.size -= std::exchange(frame.position, 0);
  frame.usesBuffer = false;
}

// Closes the uppermost folder that is open, but for the root, after reading what it still has.
bool DirectoryWalk::closeOne() {
  if (firstOpen_ + 1 >= frames_.size()) return false;
  Frame& frame = frames_[firstOpen_++];
  identify(frame);
  while (!frame.isAtEnd) {
    frame.kept.resize(frame.size + bufferSize);
    const ssize_t size = uninterrupted([&] {
      return systemCalls().readEntries(frame.folder.number(), frame.kept.data() + frame.size, bufferSize);
    });
    if (size < 0 && errno != ENOENT) frame.error = errno;
    frame.isAtEnd = size <= 0;
    frame.size += static_cast<std::size_t>(std::max<ssize_t>(size, 0));
  }
  frame.kept.resize(frame.size);
  frame.kept.shrink_to_fit();
  frame.folder.close();
  return true;
}

// Opens a folder again on the way back, as the parent of the one below it, else by the names that lead there.
// Where neither leads to the same folder, it cannot be read any further.
void DirectoryWalk::reopen(std::size_t index) {
  Frame& frame = frames_[index];
  firstOpen_ = index;
  const auto isSame = [&](const Descriptor& folder) {
    return folder.isOpen() && frame.identity && identityOf(folder) == frame.identity;
  };
  const Frame& below = frames_[index + 1];
  if (below.folder.isOpen() && !below.isThroughLink) {
    frame.folder = openFolder(below.folder.number(), "..", false);
    if (isSame(frame.folder)) return;
  }
  frame.folder = openByNames(index);
  if (isSame(frame.folder)) return;
  if (frame.position < frame.size) frame.error = frame.folder.isOpen() ? ENOENT : errno;
  frame.folder.close();
  frame.position = frame.size;
}

Descriptor DirectoryWalk::openByNames(std::size_t index) {
  Descriptor folder;
  for (std::size_t i = 1; i <= index; ++i) {
    const Frame& frame = frames_[i];
    const std::string name = path_.substr(frame.nameOffset, frame.pathLength - frame.nameOffset);
    const int above = i == 1 ? frames_.front().folder.number() : folder.number();
    folder = openFolder(above, name.c_str(), frame.isThroughLink);
    if (!folder.isOpen()) break;
  }
  return folder;
}

Descriptor DirectoryWalk::openFolder(int folder, const char* name, bool followsLink) {
  const int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | (followsLink ? 0 : O_NOFOLLOW);
  for (;;) {
    Descriptor opened(uninterrupted([&] { return systemCalls().open(folder, name, flags, 0); }));
    const bool isShortOfDescriptors = !opened.isOpen() && (errno == EMFILE || errno == ENFILE);
    if (!isShortOfDescriptors || !closeOne()) return opened;
  }
}

}  // namespace QVFoundation::detail
