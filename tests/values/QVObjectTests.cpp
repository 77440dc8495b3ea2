#include "QVFoundation/values/QVObject.h"

#include <cmath>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {
namespace {

/// Adds one entry to what it says of itself.
class Holder : public QVObject {
public:
  explicit Holder(Value its = {}) : content(std::move(its)) {}

  [[nodiscard]] Dictionary debugDictionary() const override {
    Dictionary dictionary = QVObject::debugDictionary();
    dictionary.set("content", content);
    return dictionary;
  }

  Value content;
};

class Plain : public NSObject {};

TEST(QVObject, describesItselfByItsDebugDictionaryDownToTheThirdLevel) {
  const Holder holder;
  const std::string self = holder.shortDescription();
  EXPECT_TRUE(self.starts_with("<Holder: 0x"));
  EXPECT_EQ(holder.description(), "{\n    __self__ = \"" + self + "\";\n}");
  EXPECT_EQ(holder.descriptionWithLocale(nullptr, 1), "{\n        __self__ = \"" + self + "\";\n    }");
  EXPECT_TRUE(holder.descriptionWithLocale(nullptr, 2).starts_with("{\n"));
  EXPECT_EQ(holder.descriptionWithLocale(nullptr, 3), self);
}

TEST(QVObject, writesAnyContentForReadersAndAsJSON) {
  const auto inner = std::make_shared<Plain>();
  const struct {
    Value content;
    std::string description, json;
  } cases[] = {
      {"one\ntwo\n", "\"one\ntwo\n\"", R"("one\ntwo\n")"},
      {"one\\ntwo", "\"one\\\ntwo\"", R"("one\\ntwo")"},  // a backslash of its own is escaped as well
      {NSNull{}, "<null>", "null"},
      {std::nan(""), "nan", "\"nan\""},
      {1.5, "1.5", "1.5"},
      {inner, inner->shortDescription(), '"' + inner->shortDescription() + '"'},
      {Set{NSNull{}}, "{(\n        <null>\n    )}", "[\n    null\n  ]"},
      {Dictionary{{1, NSDate()}}, "{\n        1 = 1970-01-01 00:00:00 +0000;\n    }",
       "{\n    \"1\": \"1970-01-01 00:00:00 +0000\"\n  }"},
  };
  for (const auto& [content, description, json] : cases) {
    const Holder holder(content);
    const std::string self = holder.shortDescription();
    EXPECT_EQ(holder.description(),
              stringWithFormat("{\n    __self__ = \"%@\";\n    content = %@;\n}", self, description));
    EXPECT_EQ(jsonDescription(holder),
              stringWithFormat("{\n  \"__self__\": \"%@\",\n  \"content\": %@\n}", self, json));
  }
}

TEST(QVObject, hasADescriptionThoughItHoldsItselfOrIsNestedTooDeeply) {
  const auto one = std::make_shared<Holder>();
  const auto other = std::make_shared<Holder>(one);
  one->content = other;
  EXPECT_NE(one->description().find("content = " + other->shortDescription()), std::string::npos);
  EXPECT_NE(jsonDescription(*one).find(one->shortDescription()), std::string::npos);
  one->content = "bottom";
  for (int i = 0; i < 100'000; ++i) one->content = Array{one->content};
  const std::string json = jsonDescription(*one);
  EXPECT_NE(json.find("…"), std::string::npos);
  EXPECT_EQ(json.find("bottom"), std::string::npos);
}

}  // namespace
}  // namespace QVFoundation
