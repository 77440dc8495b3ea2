#include "QVFoundation/platform/runtime/NSClass.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/TypeName.h"

namespace Player {

/// Registered under a name of its own.
class Song : public QVFoundation::NSObject {
public:
  static const QVFoundation::NSClass& staticClass() {
    static const QVFoundation::NSClass cls =
        QVFoundation::NSClass::define<Song>("PlayerSong", NSObject::staticClass());
    return cls;
  }
  const QVFoundation::NSClass& dynamicClass() const override { return staticClass(); }
};

class Remix : public Song {};

template <class T>
class Cache : public QVFoundation::NSObject {
public:
  class Entry : public QVFoundation::NSObject {};
};

}  // namespace Player

namespace QVFoundation {
namespace {

using testing::ElementsAre;

class Hidden : public NSObject {};

class NeedsArguments : public NSObject {
public:
  explicit NeedsArguments(int) {}
};

class Interface {
public:
  virtual ~Interface() = default;
};
class Both : public Interface, public NSObject {};

TEST(NSObject, isNamedAfterItsMostDerivedClass) {
  class Local : public NSObject {};
  const struct {
    std::shared_ptr<NSObject> object;
    std::string_view want;
  } cases[] = {
      {std::make_shared<Player::Song>(), "PlayerSong"},
      {std::make_shared<Player::Remix>(), "Remix"},
      {std::make_shared<Player::Cache<std::vector<Player::Song>>>(), "Cache"},
      {std::make_shared<Player::Cache<int>::Entry>(), "Entry"},
      {std::make_shared<Hidden>(), "Hidden"},
      {std::make_shared<Local>(), "Local"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.object->className(), c.want);
    EXPECT_TRUE(c.object->description().starts_with('<' + std::string(c.want) + ": 0x"))
        << c.object->description();
    EXPECT_EQ(c.object->debugDictionary()["__self__"], c.object->shortDescription());
  }
}

TEST(NSObject, equalsItselfAloneAndCannotBeCopiedUnlessItsClassSaysSo) {
  const auto a = std::make_shared<Hidden>();
  const auto b = std::make_shared<Hidden>();
  EXPECT_TRUE(a->isEqual(*a) && !a->isEqual(*b));
  EXPECT_EQ(Value(a).hash(), a->hash());
  EXPECT_THROW((void)a->copy(), NSException);
}

TEST(NSObject, mayBeOneOfSeveralBases) {
  const auto both = std::make_shared<Both>();
  const Value value = both;
  EXPECT_EQ(value.as<std::shared_ptr<Both>>(), both);
  EXPECT_EQ(both->shared_from_this(), both);
  EXPECT_EQ(both->className(), "Both");
}

TEST(TypeName, readsInThreeForms) {
  const auto& type = typeid(Player::Cache<Player::Song>::Entry);
  EXPECT_EQ(typeName(type), "Player::Cache<Player::Song>::Entry");
  EXPECT_EQ(unqualifiedTypeName(type), "Entry");
  EXPECT_EQ(dottedTypeName(type), "Player.Cache<Player.Song>.Entry");
  EXPECT_EQ(unqualifiedTypeName(typeid(int)), "int");
  EXPECT_EQ(demangledSymbol("_ZN6Player4playEv"), "Player::play()");
  EXPECT_EQ(demangledSymbol("f"), "f") << "a function of C is no type";
}

TEST(NSClass, makesInstancesWhereNoArgumentsAreNeeded) {
  EXPECT_EQ(Player::Song::staticClass().make()->className(), "PlayerSong");
  EXPECT_EQ(NSClass(NSClass::define<NeedsArguments>("NeedsArguments", NSObject::staticClass())).make(),
            nullptr);
  EXPECT_EQ(NSError::staticClass().make(), nullptr);
}

TEST(NSClass, knowsItsAncestors) {
  const NSClass cls("Cause", NSError::staticClass());
  EXPECT_TRUE(cls.isSubclassOf(cls) && cls.isSubclassOf(NSError::staticClass()));
  EXPECT_TRUE(cls.isSubclassOf(NSObject::staticClass()) && !cls.isSubclassOf(Player::Song::staticClass()));
  EXPECT_EQ(NSObject::staticClass().superclass(), nullptr);
}

TEST(NSClass, isFoundByNameWhileItLivesTheFirstOfANameBeforeOthers) {
  std::optional<NSClass> first(std::in_place, "Twin", NSObject::staticClass());
  std::optional<NSClass> second(std::in_place, "Twin", NSObject::staticClass());
  std::optional<NSClass> third(std::in_place, "Twin", NSObject::staticClass());
  EXPECT_EQ(NSClass::named("Twin"), &*first);
  second.reset();
  EXPECT_EQ(NSClass::named("Twin"), &*first);
  first.reset();
  EXPECT_EQ(NSClass::named("Twin"), &*third);
  third.reset();
  EXPECT_EQ(NSClass::named("Twin"), nullptr);
  EXPECT_EQ(NSClass::named("NSError"), &NSError::staticClass());
}

TEST(NSClass, registersAndIsFoundOnSeveralThreads) {
  std::atomic<int> faults = 0;
  std::vector<std::jthread> threads;
  threads.reserve(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &faults] {
      const std::string name = "Registered" + std::to_string(t % 2);
      for (int i = 0; i < 200; ++i) {
        const NSClass cls(name, NSObject::staticClass());
        if (NSClass::named(name) == nullptr || &Player::Song::staticClass() != NSClass::named("PlayerSong"))
          ++faults;
      }
    });
  }
  threads.clear();
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(NSClass::named("Registered0"), nullptr);
}

TEST(NSClass, listsInheritedPropertiesFirstAndOverriddenOnesOnce) {
  const auto constant = [](int number) { return [number](const NSObject&) { return number; }; };
  const NSClass base = NSClass::define<NSObject>("Base", NSObject::staticClass())
                           .readOnly("b", constant(1))
                           .readOnly("a", constant(2));
  const NSClass derived =
      NSClass::define<NSObject>("Derived", base).readOnly("c", constant(3)).readOnly("b", constant(4));
  std::vector<std::string> names;
  for (const NSProperty* property : derived.properties()) names.push_back(property->name);
  EXPECT_THAT(names, ElementsAre("a", "c", "b"));
  const Hidden object;
  EXPECT_EQ(derived.property("b")->get(object), 4);
  EXPECT_EQ(derived.property("a")->get(object), 2);
  EXPECT_EQ(base.property("b")->get(object), 1);
  EXPECT_EQ(derived.property("d"), nullptr);
}

}  // namespace
}  // namespace QVFoundation
