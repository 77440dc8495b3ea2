#include "QVFoundation/values/QVObject.h"

#include <cmath>
#include <memory>
#include <string>
#include <utility>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "gtest/gtest.h"

namespace QVFoundation {
namespace {

/// Adds one entry to what it says of itself.
class Holder : public QVObject {
public:
  explicit Holder(Value content = {}) : content_(std::move(content)) {}
  void setContent(Value content) { content_ = std::move(content); }

  [[nodiscard]] Dictionary debugDictionary() const override {
    Dictionary dictionary = QVObject::debugDictionary();
    dictionary.set("content", content_);
    return dictionary;
  }

private:
  Value content_;
};

class Plain : public NSObject {};

TEST(QVObject, describesItselfByItsDebugDictionary) {
  const QVObject object;
  EXPECT_TRUE(object.shortDescription().starts_with("<QVObject: 0x"));
  EXPECT_EQ(object.debugDictionary(), (Dictionary{{"__self__", object.shortDescription()}}));
  EXPECT_EQ(object.description(), "{\n    __self__ = \"" + object.shortDescription() + "\";\n}");

  const Holder holder(7);
  const std::string want = "{\n    __self__ = \"" + holder.shortDescription() + "\";\n    content = 7;\n}";
  EXPECT_EQ(holder.description(), want);
  EXPECT_EQ(holder.descriptionWithLocale(nullptr, 0), want);
}

TEST(QVObject, isShortFromTheThirdLevelOn) {
  const Holder holder;
  const std::string shortly = holder.shortDescription();
  EXPECT_EQ(holder.descriptionWithLocale(nullptr, 1), "{\n        __self__ = \"" + shortly + "\";\n    }");
  EXPECT_TRUE(holder.descriptionWithLocale(nullptr, 2).starts_with("{\n"));
  EXPECT_EQ(holder.descriptionWithLocale(nullptr, 3), shortly);
}

TEST(QVObject, thatHoldsItselfStillHasADescription) {
  const auto one = std::make_shared<Holder>();
  const auto other = std::make_shared<Holder>(one);
  one->setContent(other);
  EXPECT_NE(one->description().find("content = " + other->shortDescription()), std::string::npos);
  EXPECT_NE(jsonDescription(*one).find(one->shortDescription()), std::string::npos);
  one->setContent({});
}

TEST(QVObject, showsEscapedLineBreaksAsSuch) {
  const std::pair<const char*, const char*> cases[] = {
      {"one\ntwo\n", "\"one\ntwo\n\""},
      {"one\\ntwo", "\"one\\\ntwo\""},  // a backslash of its own is escaped as well
      {"\n\n", "\"\n\n\""},
  };
  for (const auto& [text, want] : cases) {
    const std::string description = Holder(text).description();
    EXPECT_NE(description.find(std::string("content = ") + want + ";\n}"), std::string::npos) << description;
  }
}

/// Its description is what its subclass makes of it.
class Custom : public QVObject {
  [[nodiscard]] std::string descriptionWithLocale(const NSLocale* /*locale*/,
                                                  unsigned indent) const override {
    return "custom " + std::to_string(indent);
  }
};

TEST(QVObject, descriptionIsThatOfTheFirstLevel) { EXPECT_EQ(Custom().description(), "custom 0"); }

TEST(JSONDescription, writesAnyDebugDictionary) {
  const Plain plain;
  EXPECT_EQ(jsonDescription(plain), "{\n  \"__self__\": \"" + plain.shortDescription() + "\"\n}");

  const auto inner = std::make_shared<Plain>();
  const std::pair<Value, std::string> cases[] = {
      {NSNull{}, "null"},
      {std::nan(""), "\"nan\""},
      {1.5, "1.5"},
      {true, "true"},
      {inner, '"' + inner->shortDescription() + '"'},
      {Array{}, "[]"},
      {Set{NSNull{}}, "[\n    null\n  ]"},
      {Dictionary{{1, NSDate()}}, "{\n    \"1\": \"1970-01-01 00:00:00 +0000\"\n  }"},
  };
  for (const auto& [value, want] : cases) {
    const std::string json = jsonDescription(Holder(value));
    EXPECT_NE(json.find("\"content\": " + want + "\n}"), std::string::npos) << json;
  }
}

TEST(JSONDescription, cutsWhatIsNestedTooDeeply) {
  Value nested = "bottom";
  for (int i = 0; i < 100'000; ++i) nested = Array{nested};
  const std::string json = jsonDescription(Holder(std::move(nested)));
  EXPECT_NE(json.find("…"), std::string::npos);
  EXPECT_EQ(json.find("bottom"), std::string::npos);
}

}  // namespace
}  // namespace QVFoundation
