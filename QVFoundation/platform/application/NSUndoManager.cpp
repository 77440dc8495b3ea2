#include "QVFoundation/platform/application/NSUndoManager.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <optional>

#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/concurrency/MainQueueDrain_p.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

struct NSUndoManager::Action {
  std::weak_ptr<void> target;
  std::function<void(void*)> handler;

  [[nodiscard]] bool isFor(const std::shared_ptr<const void>& other) const {
    return !target.owner_before(other) && !other.owner_before(target);
  }
};

struct NSUndoManager::Group {
  std::vector<Action> actions;  // in the order in which they were registered
  std::optional<std::string> name = {};

  void remove(const std::shared_ptr<const void>& target) {
    std::erase_if(actions, [&](const Action& action) { return action.isFor(target); });
  }
  void append(Group&& inner) {
    std::move(inner.actions.begin(), inner.actions.end(), std::back_inserter(actions));
    if (inner.name) name = std::move(inner.name);
  }
};

namespace {

[[noreturn]] void refuse(const std::string& why) { throw NSException(NSInternalInconsistencyException, why); }

template <class Stack>
std::string nameOfLast(const Stack& stack) {
  return stack.empty() ? std::string() : stack.back().name.value_or("");
}

std::string titleOf(std::string_view plain, std::string_view withName, const std::string& name) {
  return name.empty() ? detail::localizedText(plain) : detail::localizedText(withName, name);
}

}  // namespace

const NSClass& NSUndoManager::staticClass() {
  static const NSClass& cls = *new NSClass("NSUndoManager", NSObject::staticClass());
  return cls;
}

NSUndoManager::NSUndoManager() = default;
NSUndoManager::~NSUndoManager() = default;

// What to undo

void NSUndoManager::registerAction(const std::shared_ptr<void>& target, std::function<void(void*)> handler) {
  if (target == nullptr) throw NSException(NSInvalidArgumentException, "An undo action needs a target");
  if (!isUndoRegistrationEnabled()) return;
  if (open_.empty()) {
    if (!groupsByEvent_) refuse("There is no undo group to register an action in");
    openGroupOfEvent();
  }
  if (mode_ == Mode::resting) redo_.clear();
  open_.back().actions.push_back({target, std::move(handler)});
}

void NSUndoManager::removeAllActions() {
  undo_.clear();
  redo_.clear();
  for (Group& group : open_) group.actions.clear();
  if (running_ != nullptr) running_->actions.clear();
}

void NSUndoManager::removeAllActions(const std::shared_ptr<const void>& withTarget) {
  for (Stack* const stack : {&undo_, &redo_}) {
    for (Group& group : *stack) group.remove(withTarget);
    std::erase_if(*stack, [](const Group& group) { return group.actions.empty(); });
  }
  for (Group& group : open_) group.remove(withTarget);
  if (running_ != nullptr) running_->remove(withTarget);
}

// Undoing

void NSUndoManager::undo() {
  requireRest("undo");
  closeGroupOfEvent();
  if (!open_.empty()) refuse("undo was called with an undo group open");
  undoNestedGroup();
}

void NSUndoManager::undoNestedGroup() {
  requireRest("undoNestedGroup");
  post(NSUndoManagerCheckpointNotification);
  if (!open_.empty()) {
    Group& last = open_.back();
    if (last.actions.empty()) return;
    Group group{.actions = std::exchange(last.actions, {}), .name = last.name};
    return perform(Mode::undoing, std::move(group));
  }
  if (undo_.empty()) return;
  Group group = std::move(undo_.back());
  undo_.pop_back();
  perform(Mode::undoing, std::move(group));
}

void NSUndoManager::redo() {
  requireRest("redo");
  closeGroupOfEvent();
  if (!open_.empty()) refuse("redo was called with an undo group open");
  post(NSUndoManagerCheckpointNotification);
  if (redo_.empty()) return;
  Group group = std::move(redo_.back());
  redo_.pop_back();
  perform(Mode::redoing, std::move(group));
}

void NSUndoManager::requireRest(const char* what) {
  if (mode_ == Mode::resting) return;
  refuse(std::string(what) + " was called by an action that is just undone or redone");
}

// What the actions register makes one group on the other side, under the same name.
void NSUndoManager::perform(Mode mode, Group group) {
  const auto self = shared_from_this();  // an action may let go of it
  const bool undoes = mode == Mode::undoing;
  post(undoes ? NSUndoManagerWillUndoChangeNotification : NSUndoManagerWillRedoChangeNotification);
  auto enclosing = std::exchange(open_, {});
  const GroupOfEvent groupOfEvent = std::exchange(groupOfEvent_, GroupOfEvent::none);
  mode_ = mode;
  running_ = &group;
  openGroup();
  open_.back().name = group.name;
  std::exception_ptr failure;
  try {
    runActions(group);
  } catch (...) {
    failure = std::current_exception();
  }
  while (!open_.empty()) closeGroup();
  running_ = nullptr;
  mode_ = Mode::resting;
  open_ = std::move(enclosing);
  groupOfEvent_ = groupOfEvent;
  if (failure) {
    if (!group.actions.empty()) (undoes ? undo_ : redo_).push_back(std::move(group));
    std::rethrow_exception(failure);
  }
  post(undoes ? NSUndoManagerDidUndoChangeNotification : NSUndoManagerDidRedoChangeNotification);
}

// The last one first. One that throws stays, with those before it.
void NSUndoManager::runActions(Group& group) {
  while (!group.actions.empty()) {
    Action action = std::move(group.actions.back());
    group.actions.pop_back();  // first: it may remove all that there are
    try {
      if (const auto target = action.target.lock()) action.handler(target.get());
    } catch (...) {
      group.actions.push_back(std::move(action));
      throw;
    }
  }
}

bool NSUndoManager::canUndo() const {
  if (!undo_.empty()) return true;
  return std::any_of(open_.begin(), open_.end(), [](const Group& group) { return !group.actions.empty(); });
}

bool NSUndoManager::canRedo() const { return !redo_.empty(); }

// Groups

std::size_t NSUndoManager::groupingLevel() const noexcept { return open_.size(); }

void NSUndoManager::beginUndoGrouping() {
  if (open_.empty() && groupsByEvent_) openGroupOfEvent();
  openGroup();
}

void NSUndoManager::openGroupOfEvent() {
  openGroup();
  groupOfEvent_ = GroupOfEvent::open;
  detail::atEndOfMainQueueDrain([weak = weak_from_this()] {
    const auto self = std::static_pointer_cast<NSUndoManager>(weak.lock());
    if (self == nullptr || self->groupOfEvent_ == GroupOfEvent::none) return;
    self->groupOfEvent_ = GroupOfEvent::due;
    self->closeGroupOfEvent();
  });
}

void NSUndoManager::openGroup() {
  if (!open_.empty()) post(NSUndoManagerCheckpointNotification);
  open_.emplace_back();
  post(NSUndoManagerDidOpenUndoGroupNotification);
}

void NSUndoManager::endUndoGrouping() {
  // The outermost while it undoes or redoes is its own.
  const std::size_t own = mode_ == Mode::resting ? 0 : 1;
  if (open_.size() <= own) refuse("endUndoGrouping was called without an undo group open");
  closeGroup();
  if (groupOfEvent_ == GroupOfEvent::due) closeGroupOfEvent();
}

void NSUndoManager::closeGroup() {
  post(NSUndoManagerCheckpointNotification);
  post(NSUndoManagerWillCloseUndoGroupNotification);
  Group group = std::move(open_.back());
  open_.pop_back();
  if (open_.empty()) groupOfEvent_ = GroupOfEvent::none;
  if (!group.actions.empty()) {
    if (!open_.empty()) {
      open_.back().append(std::move(group));
    } else {
      Stack& stack = receivingStack();
      stack.push_back(std::move(group));
      trim(stack);
    }
  }
  post(NSUndoManagerDidCloseUndoGroupNotification);
}

void NSUndoManager::closeGroupOfEvent() {
  if (groupOfEvent_ != GroupOfEvent::none && open_.size() == 1) closeGroup();
}

void NSUndoManager::setLevelsOfUndo(std::size_t levels) {
  levelsOfUndo_ = levels;
  trim(undo_);
  trim(redo_);
}

void NSUndoManager::trim(Stack& stack) const {
  while (levelsOfUndo_ > 0 && stack.size() > levelsOfUndo_) stack.pop_front();
}

void NSUndoManager::enableUndoRegistration() {
  if (disabled_ == 0) refuse("enableUndoRegistration was called more often than disableUndoRegistration");
  --disabled_;
}

// Names

void NSUndoManager::setActionName(std::string name) {
  Group* group = nullptr;
  if (!open_.empty()) {
    group = &open_.front();
  } else if (!undo_.empty()) {
    group = &undo_.back();
  }
  if (group != nullptr) group->name = std::move(name);
}

std::string NSUndoManager::undoActionName() const {
  if (mode_ == Mode::resting && !open_.empty() && open_.front().name) return *open_.front().name;
  return nameOfLast(undo_);
}
std::string NSUndoManager::redoActionName() const { return nameOfLast(redo_); }

std::string NSUndoManager::undoMenuItemTitle() const { return titleOf("Undo", "Undo %@", undoActionName()); }
std::string NSUndoManager::redoMenuItemTitle() const { return titleOf("Redo", "Redo %@", redoActionName()); }

void NSUndoManager::post(std::string_view name) {
  NSNotificationCenter::defaultCenter()->postNotificationName(std::string(name), weak_from_this().lock());
}

}  // namespace QVFoundation
