#include "QVFoundation/platform/application/NSUndoManager.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/TaskHandle.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using testing::raisedBy;
using ::testing::StartsWith;

/// A page that is written on by a script, of which each character is a step.
class UndoManager : public ::testing::Test {
protected:
  ~UndoManager() override {
    for (const auto& token : tokens) NSNotificationCenter::defaultCenter()->removeObserver(token);
  }

  void begin() {
    manager = std::make_shared<NSUndoManager>();
    page = std::make_shared<std::string>();
    next = 'a';
  }
  void set(std::string text) {
    manager->registerUndo(page, [this, old = *page](std::string&) { set(old); });
    *page = std::move(text);
  }
  void run(std::string_view script) {
    for (const char step : script) {
      switch (step) {
        case 'w': set(*page + next++); break;  // writes a, b, c and so on
        case '|': drainMainQueue(); break;     // the event is over
        case 'u': manager->undo(); break;
        case 'r': manager->redo(); break;
        case 'n': manager->undoNestedGroup(); break;
        case '(': manager->beginUndoGrouping(); break;
        case ')': manager->endUndoGrouping(); break;
        case '-': manager->disableUndoRegistration(); break;
        case '+': manager->enableUndoRegistration(); break;
        case 'h': manager->setGroupsByEvent(false); break;
        case 'x': manager->removeAllActions(); break;
        case '1': manager->setLevelsOfUndo(1); break;
        case '2': manager->setLevelsOfUndo(2); break;
        default: manager->setActionName(std::string(1, step));
      }
    }
  }
  template <class Action>
  void observe(std::string_view name, Action action) {
    tokens.push_back(NSNotificationCenter::defaultCenter()->addObserverForName(
        std::string(name), manager, nullptr, [action](const auto&) mutable { action(); }));
  }

  std::shared_ptr<NSUndoManager> manager = std::make_shared<NSUndoManager>();
  std::shared_ptr<std::string> page = std::make_shared<std::string>();
  char next = 'a';
  std::vector<std::shared_ptr<NSObject>> tokens;
};

TEST_F(UndoManager, undoesAndRedoesGroupsAndKnowsTheirNames) {
  const struct {
    const char *row, *script,
        *want;  // what stands on the page, what can be undone and redone, and their names
  } cases[] = {
      {"all of an event", "w|wwA|wBu", "abc ur A/B"},
      {"back and forth", "wA|wB|uururru", "a ur A/B"},
      {"nothing is left to redo after something new", "wA|wB|uwCr", "ac u- C/"},
      {"undo ends the group of the event", "wAuwB|wuu", " -r /B"},
      {"a group of the event without a name", "wA|w", "ab u- /"},
      {"one that is opened again", "wA|wBuw", "ac u- /"},
      {"a name that comes late", "wA|B", "a u- B/"},
      {"a name within a group is that of all", "w(wA)wu", " -r /A"},
      {"a group over several events", "(w|wA)w|u", "ab ur A/"},
      {"a group within one", "wA(wn)urr", "ab u- A/"},
      {"groups by hand", "h(w)(wA(w)w)|u", "a ur /A"},
      {"an open group by hand", "h(wA(wn)", "a ur A/A"},
      {"undo ends the one group that is open by hand", "h(wAu", " -r /A"},
      {"groups without anything", "wA|()(())-w+|u", " -r /A"},
      {"no name while nothing is registered", "wA|-wB+", "ab u- A/"},
      {"two levels", "2wA|wB|wC|uuur", "ab ur B/C"},
      {"one level, later", "wA|wB|wC|1uu", "ab -r /C"},
      {"one level to redo, later", "wA|wB|uu1rr", "a u- A/"},
      {"removed in the middle of an event", "wA|wBx", "ab -- /"},
      {"something new after that", "wAxw", "ab u- /"},
  };
  for (const auto& [row, script, want] : cases) {
    begin();
    run(script);
    std::string is = *page + ' ' + (manager->canUndo() ? 'u' : '-') + (manager->canRedo() ? 'r' : '-') + ' ';
    is += manager->undoActionName() + '/' + manager->redoActionName();
    EXPECT_EQ(is, want) << row << ": " << script;
  }
  run("wA|u");
  EXPECT_EQ(manager->undoMenuItemTitle() + ", " + manager->redoMenuItemTitle(), "Undo, Redo A");
}

TEST_F(UndoManager, refusesWhatDoesNotFit) {
  const auto refuses = [&](const char* script) {
    EXPECT_THAT(raisedBy([&] { run(script); }), StartsWith("NSInternalInconsistencyException")) << script;
  };
  for (const char* script : {")", "(u", "(r", "+", "hw", "()))"}) begin(), refuses(script);
  begin();
  manager->registerUndo(page, [&] {
    for (const char* script : {"u", "r", "n", ")", "())"}) refuses(script);
  });
  run("u");
  observe(NSUndoManagerDidOpenUndoGroupNotification, [&] { run(")"); });
  refuses("w");
}

TEST_F(UndoManager, takesABlockingWaitForAPartOfTheEventAndALoopForEventsOfItsOwn) {
  const auto wait = [] { startTask([] { DispatchQueue::main()->sync([] {}); }).wait(); };
  const auto serve = [&](const auto& within) {
    DispatchQueue::main()->async([&] {
      run("w");
      within();
      run("w");
    });
    run("|u");
    return *page;
  };
  EXPECT_EQ(serve(wait), "");
  EXPECT_EQ(serve([] {
              stopMainQueue();
              runMainQueue();
            }),
            "c");
  manager->registerUndo(page, wait);  // an event ends while something is undone
  run("n");
  EXPECT_EQ(manager->groupingLevel(), 0U);
}

TEST_F(UndoManager, removesTheActionsOfATargetWhereverTheyAreAndPassesOverThoseThatAreGone) {
  const auto other = std::make_shared<int>();
  const auto add = [&] { manager->registerUndo(other, [&] { set("!"); }); };
  run("w|"), add(), run("|w|u"), add();
  manager->removeAllActions(other);
  run("u");
  EXPECT_EQ(*page + std::to_string(manager->canUndo()), "0");
  add(), manager->registerUndo(page, [&] { manager->removeAllActions(other); });
  run("u");
  EXPECT_EQ(*page, "") << "removed by an action";
  run("wA|"), manager->registerUndo(std::make_shared<int>(), [&] { set("!"); }), run("B|");
  EXPECT_EQ(manager->undoActionName(), "A");
  run("u");
  EXPECT_EQ(*page, "");
}

TEST_F(UndoManager, letsGoOfWhatCallsBackAndOfItself) {
  for (const char* script : {"x", "1x", "uuwx", "nx"}) {
    begin();
    int alive = 3;
    for (int i = 0; i < 3; ++i) {
      const std::shared_ptr<void> held(nullptr, [&](void*) {
        --alive;
        manager->removeAllActions(page);
      });
      manager->registerUndo(page, [this, held] { set(""); });
      run(i < 2 ? "|" : "");
    }
    run(script);
    EXPECT_EQ(alive, 0) << script;
  }
  const std::weak_ptr watch = manager;
  manager->registerUndo(page, [&] { manager.reset(); });
  manager->undo();
  EXPECT_TRUE(watch.expired());
}

TEST_F(UndoManager, leavesWhatFailsWhereItWasForAnotherTime) {
  for (const bool isOpen : {false, true}) {
    begin();
    run("(w");
    manager->registerUndo(page, [fails = true]() mutable {
      if (std::exchange(fails, false)) throw std::runtime_error("no");
    });
    run(isOpen ? "w" : "w)|");
    EXPECT_THROW(run(isOpen ? "n" : "u"), std::runtime_error);
    EXPECT_EQ(*page + std::to_string(manager->canRedo()), "a1") << "the last one was undone";
    EXPECT_EQ(manager->groupingLevel(), isOpen ? 2U : 0U);
    run(isOpen ? "n)" : "u");
    EXPECT_EQ(*page + std::to_string(manager->canUndo()), "0");
    run("rr");
    EXPECT_EQ(*page, "ab");
  }
  manager->registerUndo(page, [&] {
    manager->removeAllActions(page);
    throw std::runtime_error("gone");
  });
  EXPECT_THROW(run("|u"), std::runtime_error);
  EXPECT_FALSE(manager->canUndo());
}

TEST_F(UndoManager, tellsOfEachStepInOrder) {
  std::string log;
  const std::pair<std::string_view, char> letters[] = {
      {NSUndoManagerCheckpointNotification, 'c'},         {NSUndoManagerDidOpenUndoGroupNotification, '('},
      {NSUndoManagerWillCloseUndoGroupNotification, '<'}, {NSUndoManagerDidCloseUndoGroupNotification, ')'},
      {NSUndoManagerWillUndoChangeNotification, 'U'},     {NSUndoManagerDidUndoChangeNotification, 'u'},
      {NSUndoManagerWillRedoChangeNotification, 'R'},     {NSUndoManagerDidRedoChangeNotification, 'r'}};
  for (const auto& [name, letter] : letters) observe(name, [&log, its = letter] { log += its; });
  const std::pair<const char*, const char*> cases[] = {
      {"ww", "("},      {"()", "c(c<)"},       {"|", "c<)"},      {"u", "cU(c<)u"},
      {"r", "cR(c<)r"}, {"wu", "(cc<)U(c<)u"}, {"un", "cU(c<)uc"}};
  for (const auto& [script, want] : cases) {
    log.clear();
    run(script);
    EXPECT_EQ(log, want) << script;
  }
  manager->registerUndo(page, [] { throw std::runtime_error("no"); });
  log.clear();
  EXPECT_THROW(run("|u"), std::runtime_error);
  EXPECT_EQ(log, "c<)cU(c<)u");
}

TEST_F(UndoManager, asksForWhatIsPutOffBeforeItSaysWhatCanBeUndone) {
  observe(NSUndoManagerCheckpointNotification, [this, isTyped = true]() mutable {
    if (!manager->canUndo() && std::exchange(isTyped, false)) set("typed");
  });
  EXPECT_TRUE(manager->canUndo());
  run("u");
  EXPECT_EQ(*page, "");
}

TEST_F(UndoManager, letsObserversCallBack) {
  const struct {
    const char *row, *before;
    std::string_view notification;
    const char *reaction, *want;
  } cases[] = {
      {"ends its own group", "w|w(w", NSUndoManagerCheckpointNotification, ")", "a"},
      {"writes at the last moment", "w|", NSUndoManagerCheckpointNotification, "w", "a"},
      {"closes what is to be closed", "w|w", NSUndoManagerWillCloseUndoGroupNotification, ")", "a"},
      {"removes all", "w|w|", NSUndoManagerWillUndoChangeNotification, "x", "ab"},
      {"undoes more", "w|w|w", NSUndoManagerDidCloseUndoGroupNotification, "u", "a"},
      {"does it again", "w|w|", NSUndoManagerDidUndoChangeNotification, "r", "ab"},
  };
  for (const auto& [row, before, notification, reaction, want] : cases) {
    begin();
    run(before);
    observe(notification, [&, todo = std::string(reaction)]() mutable { run(std::exchange(todo, "")); });
    run("u");
    EXPECT_EQ(*page + std::to_string(manager->groupingLevel()), want + std::string("0")) << row;
  }
}

}  // namespace
}  // namespace QVFoundation
