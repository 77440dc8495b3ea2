#include "QVFoundation/platform/application/NSUndoManager.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

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
  std::string name = {};

  /// Whether undoing it does anything.
  [[nodiscard]] bool hasTargets() const {
    return std::ranges::any_of(actions, [](const Action& action) { return !action.target.expired(); });
  }
  void moveActionsTo(std::vector<Action>& others) {
    std::ranges::move(std::exchange(actions, {}), std::back_inserter(others));
  }
  void moveActionsTo(std::vector<Action>& others, const std::shared_ptr<const void>& target) {
    std::vector<Action> rest;
    for (Action& action : actions) (action.isFor(target) ? others : rest).push_back(std::move(action));
    actions = std::move(rest);
  }
};

namespace {

[[noreturn]] void refuse(const std::string& why) { throw NSException(NSInternalInconsistencyException, why); }

/// Null where there is none.
template <class Stack>
auto* lastWithTargets(Stack& stack) {
  const auto found = std::ranges::find_if(stack.rbegin(), stack.rend(), &Stack::value_type::hasTargets);
  return found != stack.rend() ? &*found : nullptr;
}

template <class Stack>
std::string nameOfLast(const Stack& stack) {
  const auto* const last = lastWithTargets(stack);
  return last != nullptr ? last->name : std::string();
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
  if (open_.empty() && groupsByEvent_) openGroupOfEvent();
  if (open_.empty()) refuse("There is no undo group to register an action in");
  Stack gone;
  if (mode_ == Mode::resting) gone.swap(redo_);
  open_.back().actions.push_back({target, std::move(handler)});
}

// What actions hold may call back when it is let go, so that is the last step of all that removes some.

void NSUndoManager::removeAllActions() {
  const Stack gone[] = {std::exchange(undo_, {}), std::exchange(redo_, {})};
  std::vector<Action> others;
  for (Group& group : open_) group.moveActionsTo(others);
  if (!others.empty()) forgetNameOfOpen();
  if (running_ != nullptr) running_->moveActionsTo(others);
  runningAction_ = nullptr;
}

void NSUndoManager::removeAllActions(const std::shared_ptr<const void>& withTarget) {
  std::vector<Action> gone;
  for (Stack* const stack : {&undo_, &redo_}) {
    for (Group& group : *stack) group.moveActionsTo(gone, withTarget);
    std::erase_if(*stack, [](const Group& group) { return group.actions.empty(); });
  }
  const std::size_t goneFromStacks = gone.size();
  for (Group& group : open_) group.moveActionsTo(gone, withTarget);
  if (gone.size() > goneFromStacks) forgetNameOfOpen();
  if (running_ != nullptr) running_->moveActionsTo(gone, withTarget);
  if (runningAction_ != nullptr && runningAction_->isFor(withTarget)) runningAction_ = nullptr;
}

// What is registered next is another step.
void NSUndoManager::forgetNameOfOpen() {
  const bool isEmpty = std::ranges::all_of(open_, [](const Group& group) { return group.actions.empty(); });
  if (mode_ == Mode::resting && isEmpty) open_.front().name.clear();
}

// Undoing

void NSUndoManager::undo() {
  prepareFor("undo");
  perform(Mode::undoing);
}

void NSUndoManager::undoNestedGroup() {
  requireRest("undoNestedGroup");
  post(NSUndoManagerCheckpointNotification);
  perform(Mode::undoing);
}

void NSUndoManager::redo() {
  prepareFor("redo");
  perform(Mode::redoing);
}

void NSUndoManager::requireRest(const char* what) const {
  if (mode_ == Mode::resting) return;
  refuse(std::string(what) + " was called by an action that is just undone or redone");
}

// The checkpoint comes first: it is where others end the groups that they have open.
void NSUndoManager::prepareFor(const char* what) {
  requireRest(what);
  post(NSUndoManagerCheckpointNotification);
  if (open_.size() == 1) closeGroup();
  if (!open_.empty()) refuse(std::string(what) + " was called with undo groups open within each other");
}

// What the actions register makes one group on the other side, under the same name.
void NSUndoManager::perform(Mode mode) {
  const bool undoes = mode == Mode::undoing;
  const Group* const next =
      undoes && !open_.empty() ? &open_.back() : lastWithTargets(undoes ? undo_ : redo_);
  if (next == nullptr || next->actions.empty()) return;
  const auto self = shared_from_this();  // an action may let go of it
  post(undoes ? NSUndoManagerWillUndoChangeNotification : NSUndoManagerWillRedoChangeNotification);
  outer_ = open_.size();
  mode_ = mode;
  Group group = takeGroup();
  running_ = &group;
  openGroup();
  open_.back().name = group.name;
  std::exception_ptr failure;
  try {
    runActions(group);
  } catch (...) {
    failure = std::current_exception();
  }
  while (open_.size() > outer_) closeGroup();
  running_ = nullptr;
  if (!group.actions.empty()) putBack(std::move(group));
  mode_ = Mode::resting;
  outer_ = 0;
  if (groupOfEvent_ == GroupOfEvent::due) closeGroupOfEvent();
  post(undoes ? NSUndoManagerDidUndoChangeNotification : NSUndoManagerDidRedoChangeNotification);
  if (failure) std::rethrow_exception(failure);
}

// What is undone next: what the innermost open group has, which stays open, or the last one with targets.
NSUndoManager::Group NSUndoManager::takeGroup() {
  if (mode_ == Mode::undoing && !open_.empty()) {
    Group& last = open_.back();
    return {.actions = std::exchange(last.actions, {}), .name = open_.front().name};
  }
  Stack& stack = mode_ == Mode::undoing ? undo_ : redo_;
  Stack gone;
  while (!stack.empty()) {
    Group group = std::move(stack.back());
    stack.pop_back();
    if (group.hasTargets()) return group;
    gone.push_back(std::move(group));
  }
  return {};
}

void NSUndoManager::putBack(Group group) {
  if (mode_ == Mode::undoing && !open_.empty()) {
    open_.back().moveActionsTo(group.actions);
    open_.back().actions = std::move(group.actions);
  } else {
    (mode_ == Mode::undoing ? undo_ : redo_).push_back(std::move(group));
  }
}

// The last one first. One that throws stays, with those before it, unless it has removed itself.
void NSUndoManager::runActions(Group& group) {
  while (!group.actions.empty()) {
    Action action = std::move(group.actions.back());
    group.actions.pop_back();  // first: it may remove all that there are
    runningAction_ = &action;
    try {
      if (const auto target = action.target.lock()) action.handler(target.get());
    } catch (...) {
      if (std::exchange(runningAction_, nullptr) != nullptr) group.actions.push_back(std::move(action));
      throw;
    }
    runningAction_ = nullptr;
  }
}

bool NSUndoManager::hasOpenActions() const {
  return mode_ == Mode::resting && std::ranges::any_of(open_, &Group::hasTargets);
}

bool NSUndoManager::canUndo() const {
  askForWhatIsPutOff();
  return hasOpenActions() || lastWithTargets(undo_) != nullptr;
}
bool NSUndoManager::canRedo() const {
  askForWhatIsPutOff();
  return lastWithTargets(redo_) != nullptr;
}

// Whoever registers something then may ask, too.
void NSUndoManager::askForWhatIsPutOff() const {
  if (mode_ != Mode::resting || isAsking_) return;
  isAsking_ = true;
  const struct Asking {
    bool& is;
    ~Asking() { is = false; }
  } asking{isAsking_};
  post(NSUndoManagerCheckpointNotification);
}

// Groups

std::size_t NSUndoManager::groupingLevel() const noexcept { return open_.size(); }

void NSUndoManager::beginUndoGrouping() {
  if (open_.empty() && groupsByEvent_) openGroupOfEvent();
  openGroup();
}

void NSUndoManager::openGroupOfEvent() {
  if (!awaitsEndOfEvent_) {
    detail::atEndOfMainQueueDrain([weak = weak_from_this()] {
      if (const auto self = std::static_pointer_cast<NSUndoManager>(weak.lock())) self->endEvent();
    });
  }
  awaitsEndOfEvent_ = true;
  groupOfEvent_ = GroupOfEvent::open;
  openGroup();
}

void NSUndoManager::endEvent() {
  awaitsEndOfEvent_ = false;
  if (groupOfEvent_ != GroupOfEvent::none) groupOfEvent_ = GroupOfEvent::due;
  closeGroupOfEvent();
}

void NSUndoManager::openGroup() {
  if (!open_.empty()) post(NSUndoManagerCheckpointNotification);
  open_.emplace_back();
  post(NSUndoManagerDidOpenUndoGroupNotification);
}

void NSUndoManager::endUndoGrouping() {
  // The outermost while it undoes or redoes is its own.
  const std::size_t own = mode_ == Mode::resting ? 0 : 1;
  if (open_.size() <= outer_ + own) refuse("endUndoGrouping was called without an undo group open");
  closeGroup();
  if (groupOfEvent_ == GroupOfEvent::due) closeGroupOfEvent();
}

void NSUndoManager::closeGroup() {
  post(NSUndoManagerCheckpointNotification);
  post(NSUndoManagerWillCloseUndoGroupNotification);
  if (open_.size() <= outer_) return;  // an observer has closed it
  Group group = std::move(open_.back());
  open_.pop_back();
  if (open_.empty()) groupOfEvent_ = GroupOfEvent::none;
  Stack gone;
  if (open_.size() > outer_) {
    group.moveActionsTo(open_.back().actions);
  } else if (!group.actions.empty()) {
    Stack& stack = mode_ == Mode::undoing ? redo_ : undo_;
    stack.push_back(std::move(group));
    trim(stack, gone);
  }
  post(NSUndoManagerDidCloseUndoGroupNotification);
}

void NSUndoManager::closeGroupOfEvent() {
  if (groupOfEvent_ != GroupOfEvent::none && mode_ == Mode::resting && open_.size() == 1) closeGroup();
}

void NSUndoManager::setLevelsOfUndo(std::size_t levels) {
  levelsOfUndo_ = levels;
  Stack gone;
  trim(undo_, gone);
  trim(redo_, gone);
}

void NSUndoManager::trim(Stack& stack, Stack& gone) const {
  for (; levelsOfUndo_ > 0 && stack.size() > levelsOfUndo_; stack.pop_front())
    gone.push_back(std::move(stack.front()));
}

void NSUndoManager::enableUndoRegistration() {
  if (disabled_ == 0) refuse("enableUndoRegistration was called more often than disableUndoRegistration");
  --disabled_;
}

// Names

void NSUndoManager::setActionName(std::string name) {
  if (!isUndoRegistrationEnabled()) return;
  Group* const group = open_.size() > outer_ ? &open_[outer_] : lastWithTargets(undo_);
  if (group != nullptr) group->name = std::move(name);
}

std::string NSUndoManager::undoActionName() const {
  return hasOpenActions() ? open_.front().name : nameOfLast(undo_);
}
std::string NSUndoManager::redoActionName() const { return nameOfLast(redo_); }

std::string NSUndoManager::undoMenuItemTitle() const {
  return undoMenuTitleForUndoActionName(undoActionName());
}
std::string NSUndoManager::redoMenuItemTitle() const {
  return redoMenuTitleForUndoActionName(redoActionName());
}

std::string NSUndoManager::undoMenuTitleForUndoActionName(const std::string& name) {
  return titleOf("Undo", "Undo %@", name);
}
std::string NSUndoManager::redoMenuTitleForUndoActionName(const std::string& name) {
  return titleOf("Redo", "Redo %@", name);
}

void NSUndoManager::post(std::string_view name) const {
  NSNotificationCenter::defaultCenter()->postNotificationName(
      std::string(name), std::const_pointer_cast<NSObject>(weak_from_this().lock()));
}

}  // namespace QVFoundation
