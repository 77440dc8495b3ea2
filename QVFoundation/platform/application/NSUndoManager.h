#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// Keeps what would take back each step of a user, and what would do it again.
///
/// ```cpp
/// void Drawing::setColour(Colour colour) {
///   undoManager->registerUndo(self(), [old = colour_](Drawing& drawing) { drawing.setColour(old); });
///   undoManager->setActionName("Change Colour");
///   colour_ = colour;
/// }
///
/// undoManager->undo();   // calls setColour(old), which registers how to do it again
/// ```
///
/// What is registered in one event, which is one drain of the main queue, is one group, and undone as one.
/// Groups can be nested, and made by hand.
///
/// | call | at rest | in a group | while it undoes | while it redoes |
/// |---|---|---|---|---|
/// | `registerUndo` | opens the event's group; nothing is left to redo | to the group | to what is redone next | to what is undone next |
/// | `undo`, `redo` | takes the last group back, does it again | closes it first; in one within raises | raises | raises |
/// | `beginUndoGrouping` | opens one | opens one within | opens one within | opens one within |
/// | `endUndoGrouping` | raises | closes the innermost | closes the innermost that the actions have opened | likewise |
///
/// "Raises" is an `NSInternalInconsistencyException`. A group without actions leaves no trace when it is
/// closed, and one whose targets have all gone is passed over. Where there is nothing to take back, `undo`
/// does nothing.
///
/// Notifications come in pairs, also when an action throws. The checkpoint comes before groups are opened
/// within others, closed, undone and redone, and before the answer of `canUndo` and `canRedo`: who puts off
/// registering something does it then.
///
/// Threads: used on one thread, the main thread wherever groups are made by event.
/// Ownership: keeps actions with all they hold, but not their targets; what was registered for one that is
/// gone is skipped.
/// Errors: what an action throws comes out of `undo` or `redo`. It and those that were to follow stay where
/// they were.
class QV_EXPORT NSUndoManager : public NSObject {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  NSUndoManager();
  ~NSUndoManager() override;

  // What to undo

  /// Has a block called with the target when what happens now is to be undone. Without a group to add it to,
  /// where none is made by event, it raises `NSInternalInconsistencyException`; without a target
  /// `NSInvalidArgumentException`.
  template <class Target, std::invocable<Target&> Handler>
  void registerUndo(const std::shared_ptr<Target>& target, Handler handler) {
    registerAction(target, [handler = std::move(handler)](void* object) mutable {
      handler(*static_cast<Target*>(object));
    });
  }
  /// The same with a block that knows the target itself, or needs only that it is there.
  template <std::invocable Handler>
  void registerUndo(const std::shared_ptr<void>& target, Handler handler) {
    registerAction(target, [handler = std::move(handler)](void* /*object*/) mutable { handler(); });
  }
  /// Registration stays disabled where it is.
  void removeAllActions();
  /// Those for one target.
  void removeAllActions(const std::shared_ptr<const void>& withTarget);

  // Undoing

  void undo();
  void redo();
  /// Undoes what the innermost group that is open has got so far, and leaves it open; where none is, the last
  /// one.
  void undoNestedGroup();
  [[nodiscard]] bool canUndo() const;
  [[nodiscard]] bool canRedo() const;
  [[nodiscard]] bool isUndoing() const noexcept { return mode_ == Mode::undoing; }
  [[nodiscard]] bool isRedoing() const noexcept { return mode_ == Mode::redoing; }

  // Groups

  void beginUndoGrouping();
  void endUndoGrouping();
  [[nodiscard]] std::size_t groupingLevel() const noexcept;
  /// Whether a group is opened for each event in which something is registered; so by default.
  [[nodiscard]] bool groupsByEvent() const noexcept { return groupsByEvent_; }
  void setGroupsByEvent(bool groups) noexcept { groupsByEvent_ = groups; }
  /// How many groups are kept to be undone, and to be redone; 0 for all.
  [[nodiscard]] std::size_t levelsOfUndo() const noexcept { return levelsOfUndo_; }
  void setLevelsOfUndo(std::size_t levels);

  /// Nothing is registered until `enableUndoRegistration` was called as often.
  void disableUndoRegistration() noexcept { ++disabled_; }
  void enableUndoRegistration();
  [[nodiscard]] bool isUndoRegistrationEnabled() const noexcept { return disabled_ == 0; }

  // Names for menus, in the user's language

  /// Of the outermost group that is open, else of that which is undone next. Ignored where nothing is
  /// registered.
  void setActionName(std::string name);
  /// Empty where there is none.
  [[nodiscard]] std::string undoActionName() const;
  [[nodiscard]] std::string redoActionName() const;
  [[nodiscard]] std::string undoMenuItemTitle() const;
  [[nodiscard]] std::string redoMenuItemTitle() const;
  [[nodiscard]] static std::string undoMenuTitleForUndoActionName(const std::string& name);
  [[nodiscard]] static std::string redoMenuTitleForUndoActionName(const std::string& name);

private:
  struct Action;
  struct Group;
  enum class Mode : unsigned char { resting, undoing, redoing };
  enum class GroupOfEvent : unsigned char {
    none,
    open,
    due
  };  // the last where the event is over, but not those within
  using Stack = std::list<Group>;

  void registerAction(const std::shared_ptr<void>& target, std::function<void(void*)> handler);
  void openGroup();
  void openGroupOfEvent();
  void endEvent();
  void closeGroup();
  void closeGroupOfEvent();
  void requireRest(const char* what) const;
  void prepareFor(const char* what);
  void perform(Mode mode);
  [[nodiscard]] Group takeGroup();
  void putBack(Group group);
  void runActions(Group& group);
  [[nodiscard]] bool hasOpenActions() const;
  void trim(Stack& stack, Stack& gone) const;
  void forgetNameOfOpen();
  void askForWhatIsPutOff() const;
  void post(std::string_view name) const;

  Mode mode_ = Mode::resting;
  bool groupsByEvent_ = true;
  bool awaitsEndOfEvent_ = false;
  mutable bool isAsking_ = false;
  GroupOfEvent groupOfEvent_ = GroupOfEvent::none;  // the outermost of those that are open
  std::size_t levelsOfUndo_ = 0;
  unsigned disabled_ = 0;
  Stack undo_;
  Stack redo_;
  std::vector<Group> open_;          // the innermost last
  std::size_t outer_ = 0;            // of these, how many were open before the undo or redo that is under way
  Group* running_ = nullptr;         // what that has still to do
  Action* runningAction_ = nullptr;  // null where it has been removed
};

// Posted with the undo manager as their object.
inline constexpr std::string_view NSUndoManagerCheckpointNotification = "NSUndoManagerCheckpointNotification";
inline constexpr std::string_view NSUndoManagerDidOpenUndoGroupNotification =
    "NSUndoManagerDidOpenUndoGroupNotification";
inline constexpr std::string_view NSUndoManagerWillCloseUndoGroupNotification =
    "NSUndoManagerWillCloseUndoGroupNotification";
inline constexpr std::string_view NSUndoManagerDidCloseUndoGroupNotification =
    "NSUndoManagerDidCloseUndoGroupNotification";
inline constexpr std::string_view NSUndoManagerWillUndoChangeNotification =
    "NSUndoManagerWillUndoChangeNotification";
inline constexpr std::string_view NSUndoManagerDidUndoChangeNotification =
    "NSUndoManagerDidUndoChangeNotification";
inline constexpr std::string_view NSUndoManagerWillRedoChangeNotification =
    "NSUndoManagerWillRedoChangeNotification";
inline constexpr std::string_view NSUndoManagerDidRedoChangeNotification =
    "NSUndoManagerDidRedoChangeNotification";

}  // namespace QVFoundation
