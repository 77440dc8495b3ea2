#include "QVFoundation/platform/files/NSDirectoryEnumerator.h"

#include <utility>

#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"

namespace QVFoundation {

struct NSDirectoryEnumerator::Item::State {
  using Walk = detail::DirectoryWalk;

  State(PathView path, ErrorHandler handler)
      : walk(detail::FileLocation(path), path, Walk::Links::rootOnly), errorHandler(std::move(handler)) {}

  bool advance() {
    while (!isOver) {
      switch (walk.next()) {
        case Walk::Event::item:
        case Walk::Event::directory: return true;
        case Walk::Event::unreadable: isOver = !shouldContinue(); break;
        case Walk::Event::left: break;
        case Walk::Event::end: isOver = true; break;
      }
    }
    return false;
  }

  [[nodiscard]] bool shouldContinue() const {
    return !errorHandler || errorHandler(walk.path(), detail::fileReadError(walk.path(), walk.error()));
  }

  Walk walk;
  ErrorHandler errorHandler;
  bool isOver = false;
};

NSDirectoryEnumerator::NSDirectoryEnumerator(PathView path, ErrorHandler errorHandler)
    : item_(std::make_unique<Item::State>(path, std::move(errorHandler))) {}
NSDirectoryEnumerator::NSDirectoryEnumerator(NSDirectoryEnumerator&&) noexcept = default;
NSDirectoryEnumerator& NSDirectoryEnumerator::operator=(NSDirectoryEnumerator&&) noexcept = default;
NSDirectoryEnumerator::~NSDirectoryEnumerator() = default;

NSDirectoryEnumerator::Item* NSDirectoryEnumerator::nextObject() {
  return item_.state_->advance() ? &item_ : nullptr;
}

NSDirectoryEnumerator::Item::Item(std::unique_ptr<State> state) noexcept : state_(std::move(state)) {}
NSDirectoryEnumerator::Item::Item(Item&&) noexcept = default;
NSDirectoryEnumerator::Item& NSDirectoryEnumerator::Item::operator=(Item&&) noexcept = default;
NSDirectoryEnumerator::Item::~Item() = default;

std::string_view NSDirectoryEnumerator::Item::path() const noexcept { return state_->walk.path(); }
std::string_view NSDirectoryEnumerator::Item::name() const noexcept { return state_->walk.name(); }
NSFileType NSDirectoryEnumerator::Item::type() const noexcept { return state_->walk.type(); }
std::size_t NSDirectoryEnumerator::Item::level() const noexcept { return state_->walk.depth(); }
void NSDirectoryEnumerator::Item::skipDescendants() noexcept { state_->walk.skip(); }

NSFileAttributes NSDirectoryEnumerator::Item::attributes() const noexcept {
  struct statx status{};
  if (state_->walk.status(detail::attributesMask, status) != 0) return {};
  return detail::attributesOfStatus(status);
}

std::uint64_t NSDirectoryEnumerator::Item::fileSize() const noexcept {
  struct stat status{};
  if (type() != NSFileType::regular || state_->walk.status(status) != 0) return 0;
  return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace QVFoundation
