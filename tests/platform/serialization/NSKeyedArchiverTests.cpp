#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/Platform.h"

namespace QVFoundation {
namespace {

using ::testing::HasSubstr;

/// Holds what the tests want it to.
class Folder : public NSObject, public NSSecureCoding {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<Folder>("Folder", NSObject::staticClass()));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
  Folder() { ++made; }

  void encodeWithCoder(NSCoder& coder) const override {
    coder.encodeObject(digits, "digits");
    coder.encodeObject(parent, "parent");
    coder.encodeObject(folders, "folders");
    coder.encodeObject(anything, "anything");
  }
  void initWithCoder(NSCoder& coder) override {
    EXPECT_FALSE(coder.containsValueForKey("absent"));
    digits = coder.decodeObject<std::vector<int>>("digits").value_or(std::vector<int>());
    if (digits == std::vector{13}) coder.fail("13 is no number for a folder", "digits");
    parent = coder.decodeObject<std::shared_ptr<Folder>>("parent").value_or(nullptr);
    folders = coder.decodeObject<std::vector<std::shared_ptr<Folder>>>("folders").value_or(
        std::vector<std::shared_ptr<Folder>>());
    anything = coder.decodeObjectOfClasses({}, "anything");
  }

  std::vector<int> digits;
  std::shared_ptr<Folder> parent;
  std::vector<std::shared_ptr<Folder>> folders;
  Value anything;
  static inline int made = 0;
};

class SubFolder : public Folder {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<SubFolder>("SubFolder", Folder::staticClass()));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
};

/// May be made by its name, and yet is none of those that anybody expects.
class Intruder : public NSObject, public NSSecureCoding {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<Intruder>("Intruder", NSObject::staticClass()));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
  Intruder() { ++made; }
  void encodeWithCoder(NSCoder&) const override {}
  void initWithCoder(NSCoder&) override {}
  static inline int made = 0;
};

class WithoutClass : public Folder {};

[[maybe_unused]] const NSClass* const registered[] = {&SubFolder::staticClass(), &Intruder::staticClass()};

std::string failureOfArchiving(const Value& root) {
  std::optional<NSError> error;
  if (NSKeyedArchiver::archivedDataWithRootObject(root, &error)) return "archived";
  return error && error->code() == NSPropertyListWriteInvalidError ? error->localizedDescription() : "?";
}

template <class T = std::shared_ptr<Folder>>
std::string failureOfReading(const Value& archive) {
  std::optional<NSError> error;
  const NSData data = dataFromPropertyList(archive, PropertyListFormat::binary);
  if (NSKeyedUnarchiver::unarchivedObject<T>(data, &error)) return "read";
  return error && error->code() == NSCoderReadCorruptError ? error->localizedDescription() : "?";
}

Dictionary archiveOf(const Value& top, const Array& objects) {
  return {{"archiver", "NSKeyedArchiver"}, {"version", 1}, {"top", top}, {"objects", objects}};
}

Dictionary objectOf(const char* name, const Dictionary& values = {}) {
  return {{"class", name}, {"values", values}};
}

Dictionary at(std::size_t index) { return {{"object", index}}; }

TEST(KeyedArchive, bringsBackWhatObjectsHoldAndWhatTheyShare) {
  const auto shared = std::make_shared<SubFolder>();
  shared->digits = {1, -24, 2};
  const auto root = std::make_shared<Folder>();
  root->parent = shared;
  root->folders = {shared, std::make_shared<Folder>()};
  root->anything =
      Dictionary{{"object", 7}, {"dictionary", Array{NSDate(), NSData{std::byte{0}}, "text", 1.5}}};

  for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary}) {
    const auto data = NSKeyedArchiver::archivedDataWithRootObject(root, nullptr, format);
    ASSERT_TRUE(data);
    const auto again = NSKeyedUnarchiver::unarchivedObject<std::shared_ptr<Folder>>(*data);
    ASSERT_TRUE(again && (*again)->parent && (*again)->folders.size() == 2);
    EXPECT_EQ((*again)->parent, (*again)->folders[0]);
    EXPECT_EQ((*again)->parent->className(), "SubFolder");
    EXPECT_EQ((*again)->parent->digits, shared->digits);
    EXPECT_EQ((*again)->anything, root->anything);
  }
  // The form stays: others keep such archives.
  const auto data = NSKeyedArchiver::archivedDataWithRootObject(shared);
  EXPECT_EQ(
      propertyListFromData(*data),
      Value(archiveOf(at(0), {objectOf("SubFolder", {{"digits", Array{1, -24, 2}}, {"folders", Array{}}})})));
}

TEST(KeyedArchive, refusesToWriteWhatCouldNotBeRead) {
  const auto holds = [](const Value& anything) {
    auto folder = std::make_shared<Folder>();
    folder->anything = anything;
    return folder;
  };
  const auto circle = std::make_shared<Folder>();
  circle->folders = {circle};
  auto chain = std::make_shared<Folder>();
  for (int depth = 0; depth < 200; ++depth) {
    auto next = std::make_shared<Folder>();
    next->parent = std::exchange(chain, nullptr);
    chain = std::move(next);
  }
  Value nested = 1;
  for (int depth = 0; depth < 100'000; ++depth) nested = Array{nested};
  const std::pair<Value, const char*> cases[] = {
      {holds(Set{1}), "The value at \"anything\" cannot be archived: values of its kind"},
      {holds(Array{1, NSNull{}}), "The value at \"anything[1]\" cannot be archived"},
      {holds(Dictionary{{5, 5}}), "a key that is no text"},
      {holds(Array{"\xFF"}),
       "The value at \"anything[0]\" cannot be archived: it has text that is not valid"},
      {holds(Dictionary{{"\xFF", 5}}),
       "The value at \"anything\" cannot be archived: it has text that is not"},
      {std::make_shared<WithoutClass>(),
       "The value cannot be archived: objects of the class \"WithoutClass\""},
      {circle, "at \"folders[0]\" cannot be archived: the object holds itself"},
      {chain, "nested too deeply"},
      {nested, "nested too deeply"},
  };
  for (const auto& [root, want] : cases) EXPECT_THAT(failureOfArchiving(root), HasSubstr(want));
  circle->folders.clear();
}

TEST(KeyedArchive, refusesWhatTheReaderDoesNotExpect) {
  Array chain;
  for (std::size_t next = 1; next <= 5'000; ++next) chain.append(objectOf("Folder", {{"parent", at(next)}}));
  chain.append(objectOf("Folder"));
  const auto folderWith = [](const char* key, const Value& value) {
    return archiveOf(at(0), {objectOf("Folder", {{key, value}}), objectOf("Intruder"), objectOf("NSObject")});
  };
  const std::pair<Value, const char*> cases[] = {
      {5, "it is no archive"},
      {Dictionary{{"archiver", "NSKeyedArchiver"}, {"version", 2}}, "it is no archive"},
      {Dictionary{{"archiver", "NSKeyedArchiver"}, {"version", 1}}, "the archive is empty"},
      {archiveOf("text", {}), "The value cannot be unarchived: it is of another type"},
      {archiveOf(at(1), {objectOf("Folder")}), "its object is missing"},
      {archiveOf(Dictionary{{"object", -1}}, {}), "neither an object nor a dictionary"},
      {archiveOf(at(0), {5}), "the class \"\" is not expected"},
      {archiveOf(at(0), {objectOf("Nobody")}), "the class \"Nobody\" is not expected"},
      {folderWith("parent", at(1)),
       R"(at "parent" cannot be unarchived: the class "Intruder" is not expected)"},
      {folderWith("anything", Array{at(1)}),
       R"(at "anything[0]" cannot be unarchived: the class "Intruder")"},
      {folderWith("parent", at(2)), "the class \"NSObject\" is not expected"},
      {folderWith("parent", at(0)), "the object holds itself"},
      {folderWith("parent", "text"), "at \"parent\" cannot be unarchived: it is of another type"},
      {folderWith("digits", Array{1, "2"}), "at \"digits\" cannot be unarchived: it is of another type"},
      {folderWith("digits", Array{13}), "at \"digits\" cannot be unarchived: 13 is no number for a folder"},
      {archiveOf(at(0), chain), "nested too deeply"},
  };
  for (const auto& [archive, want] : cases) EXPECT_THAT(failureOfReading(archive), HasSubstr(want));
  EXPECT_EQ(Intruder::made, 0);

  std::optional<NSError> error;
  EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObject<std::string>(NSData{std::byte{1}}, &error));
  EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
}

TEST(KeyedArchive, makesEachObjectOnceHoweverManyWaysLeadToIt) {
  // Read anew on each way, the last one would be made 2^45 times.
  Array objects;
  for (std::size_t level = 1; level <= 45; ++level) {
    objects.append(objectOf("Folder", {{"folders", Array{at(level), at(level)}}}));
  }
  objects.append(objectOf("Folder"));
  Folder::made = 0;
  EXPECT_EQ(failureOfReading(archiveOf(at(0), objects)), "read");
  EXPECT_EQ(Folder::made, 46);
}

}  // namespace
}  // namespace QVFoundation
