#include <gmock/gmock.h>

#include "QVFoundation/Observation.h"
#include "tests/platform/runtime/Player.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(QVKeyPath, isTakenApart) {
  using Text = std::optional<std::string>;
  const struct {
    std::string path;
    std::vector<std::string> components;
    std::string first, last;
    Text withoutFirst, withoutLast;
    std::string longer;
  } cases[] = {
      {"", {}, "", "", {}, {}, "x"},
      {"a", {"a"}, "a", "a", {}, {}, "a.x"},
      {"a.b.c", {"a", "b", "c"}, "a", "c", "b.c", "a.b", "a.b.c.x"},
      {"a..b", {"a", "", "b"}, "a", "b", ".b", "a.", "a..b.x"},
      {".", {"", ""}, "", "", "", "", "..x"},
  };
  for (const auto& [path, components, first, last, withoutFirst, withoutLast, longer] : cases) {
    EXPECT_EQ(qv_keyPathComponents(path), components) << path;
    EXPECT_EQ(qv_keyPathWithComponents(components), path);
    EXPECT_EQ(qv_firstKeyPathComponent(path), first) << path;
    EXPECT_EQ(qv_lastKeyPathComponent(path), last) << path;
    EXPECT_EQ(qv_keyPathByDeletingFirstComponent(path), withoutFirst) << path;
    EXPECT_EQ(qv_keyPathByDeletingLastComponent(path), withoutLast) << path;
    EXPECT_EQ(qv_keyPathByAddingComponent(path, "x"), longer);

    const QVKeyPath keyPath{std::string_view(path)};
    EXPECT_TRUE(keyPath.isEqual(QVKeyPath(components)));
    EXPECT_EQ(keyPath.hash(), QVKeyPath(components).hash());
    EXPECT_EQ(keyPath.keyPathString(), path);
    EXPECT_EQ(keyPath.lastPathComponent(), components.empty() ? Text() : components.back());
    const auto parent = keyPath.keyPathByDeletingLastPathComponent();
    EXPECT_EQ(parent->keyPathComponents().size(), components.size() < 2 ? 0 : components.size() - 1) << path;
  }
  EXPECT_FALSE(QVKeyPath("a.b").isEqual(QVKeyPath(std::vector<std::string>{"a.b"})));
  EXPECT_THAT(QVKeyPath("a.b").description(), HasSubstr("keyPathComponents"));
}

TEST(QVKeyPath, readsUntilThereIsNothing) {
  const auto track = std::make_shared<Track>("A", std::make_shared<Artist>("Ann"));
  EXPECT_EQ(qv_valueForKeyPath(track, QVKeyPath("artist.name")), "Ann");
  EXPECT_EQ(qv_valueForKeyPath(track, QVKeyPath("next.artist.unknown")), Value());
  EXPECT_EQ(qv_valueForKeyPath(track, QVKeyPath()), track);
  const Dictionary dotted{{"a.b", 1}};
  EXPECT_EQ(qv_valueForKeyPath(dotted, QVKeyPath(std::vector<std::string>{"a.b"})), 1);
}

TEST(QVKeyPath, writesTheLastKeyOfTheParentPath) {
  class Settings : public Track {
  public:
    Value valueForUndefinedKey(std::string_view key) const override { return content[key]; }
    void setValueForUndefinedKey(const Value& value, std::string_view key) override {
      content.set(key, value);
    }
    Dictionary content{{"a", Dictionary{{"b", Dictionary{{"c", 1}}}}}};
  } settings;
  qv_setValue(settings, 2, QVKeyPath("a.b.c"));
  EXPECT_EQ(settings.content, (Dictionary{{"a", Dictionary{{"b", Dictionary{{"c", 1}, {"b", 2}}}}}}));

  const auto first = std::make_shared<Track>("1");
  first->setNext(std::make_shared<Track>("2"));
  const auto third = std::make_shared<Track>("3");
  first->valueForKey("next").as<std::shared_ptr<Track>>().value()->setNext(third);
  qv_setValue(*first, nullptr, QVKeyPath("next.next.title"));
  EXPECT_EQ(third->valueForKey("next"), Value()) << "\"next\" of the third";
  qv_setValue(*first, "x", QVKeyPath("next.next.next.next.next.title"));  // leads to nothing
  for (const char* path : {"", "title"}) {
    EXPECT_THAT(raisedBy([&] { qv_setValue(*first, "x", QVKeyPath(path)); }),
                StartsWith(NSInvalidArgumentException));
  }
  EXPECT_EQ(first->title(), "1");
}

TEST(QVKeyPath, addsToNestedDictionaries) {
  Dictionary entries{{"x", 1}};
  qv_addValue(entries, "v", QVKeyPath("a.b.c"));
  qv_addValue(entries, "w", QVKeyPath("a.d"));
  qv_addValue(entries, nullptr, QVKeyPath("n.m"));
  const Dictionary want{{"x", 1}, {"a", Dictionary{{"b", Dictionary{{"c", "v"}}}, {"d", "w"}}}};
  EXPECT_EQ(entries, want);
  for (const char* path : {"x.y", ""}) {
    EXPECT_THAT(raisedBy([&] { qv_addValue(entries, 2, QVKeyPath(path)); }),
                StartsWith(NSInvalidArgumentException));
  }
  EXPECT_EQ(entries, want) << "nothing is lost";
}

}  // namespace
}  // namespace QVFoundation::testing
