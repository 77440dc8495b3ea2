#include "QVFoundation/values/QVInfoDictionary.h"

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/Errors.h"
#include "QVFoundation/Platform.h"
#include "QVFoundation/values/QVInfoDictionaryCoding.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;

/// Notes the order in which its properties are set. What is odd it refuses.
class Station : public NSObject, public QVInfoDictionaryCoding {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(
        NSClass::define<Station>("Station", NSObject::staticClass())
            .property("a", &Station::a, [](Station& self, int a) { self.set("a", self.a_, a); })
            .property("b", &Station::b, [](Station& self, int b) { self.set("b", self.b_, b); })
            .property("c", &Station::c,
                      [](Station& self, const std::optional<std::string>& c) { self.set("c", self.c_, c); })
            .property("d", &Station::d, [](Station&, int) { throw std::runtime_error("never"); })
            .readOnly("fixed", [](const Station&) { return 1; }));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  std::vector<std::string> infoDictionaryPropertyKeys() const override { return {"a", "c"}; }
  std::vector<std::string> propertyOrder() const override { return {"b", "a"}; }
  bool initWithInfoDictionary(const Dictionary& info) override {
    return !info.contains("refuse") && QVInfoDictionaryCoding::initWithInfoDictionary(info);
  }

  int a() const { return a_; }
  int b() const { return b_; }
  int d() const { return 0; }
  std::optional<std::string> c() const { return c_; }
  template <class Field, class T>
  void set(const char* key, Field& field, const T& value) {
    field = value;
    order.emplace_back(key);
  }

  std::vector<std::string> order;

private:
  int a_ = 0;
  int b_ = 0;
  std::optional<std::string> c_;
};

/// Registered, and yet for no file to name.
class Vault : public NSObject {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls =
        *new NSClass(NSClass::define<Vault>("Vault", NSObject::staticClass()).stored("doors", &Vault::doors));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
  Vault() { ++made; }
  int doors = 1;
  static inline int made = 0;
};

[[maybe_unused]] const NSClass* const registered[] = {&Station::staticClass(), &Vault::staticClass()};

/// What the station did with properties, in order.
std::vector<std::string> orderOf(const Dictionary& properties) {
  const auto station =
      objectFromInfoDictionary<Station>(Dictionary{{"class", "Station"}, {"properties", properties}});
  return station ? station->order : std::vector<std::string>{"no station"};
}

TEST(InfoDictionary, holdsTheListedPropertiesThatAreThere) {
  const auto station = std::make_shared<Station>();
  station->setValueForKey(7, "a");
  Dictionary want{{"class", "Station"}, {"properties", Dictionary{{"a", 7}}}};
  EXPECT_EQ(infoDictionary(*station), want);

  station->setValueForKey("x", "c");
  const auto again = objectFromInfoDictionary<Station>(infoDictionary(station));
  ASSERT_TRUE(again);
  EXPECT_EQ(again->a(), 7);
  EXPECT_EQ(again->c(), "x");
}

TEST(InfoDictionary, setsOrderedPropertiesFirstAndPassesOverWhatCannotBeSet) {
  EXPECT_THAT(orderOf({{"a", 1}, {"c", "3"}}), ElementsAre("a", "c"));  // "b" is not there to be set
  EXPECT_THAT(orderOf({{"c", "3"}, {"a", 1}, {"b", 2}}), ElementsAre("b", "a", "c"));
  EXPECT_THAT(orderOf({{"a", "wrong"}, {"b", 1.5}, {"c", "3"}}), ElementsAre("c"));
  EXPECT_THAT(orderOf({{"unknown", 1}, {"fixed", 2}, {"d", 3}, {5, 5}, {"c", "3"}}), ElementsAre("c"));
  EXPECT_THAT(orderOf({}), ElementsAre());

  const auto untouched = objectFromInfoDictionary<Station>(
      Dictionary{{"class", "Station"}, {"properties", "no dictionary"}, {"other", 1}});
  EXPECT_TRUE(untouched && untouched->order.empty());
}

TEST(InfoDictionary, configuresWhatIsThereAlready) {
  Vault vault;  // its class has no say in this
  Station station;
  for (NSObject* object : std::initializer_list<NSObject*>{&vault, &station}) {
    configureWithInfoDictionary(*object,
                                {{"class", "any"}, {"properties", Dictionary{{"doors", 2}, {"a", 3}}}});
    configureWithInfoDictionary(*object, {});
  }
  EXPECT_EQ(vault.doors, 2);
  EXPECT_EQ(station.a(), 3);
}

TEST(InfoDictionary, isReadAsWhatItsClassSays) {
  const int madeBefore = Vault::made;
  const NSError unnamed(std::nullopt, 0);
  const std::tuple<const char*, Value, Value> cases[] = {
      {"nothing", Value(), Value()},
      {"no dictionary", 5, Value()},
      {"empty", Dictionary{}, unnamed},
      {"unknown class", Dictionary{{"class", "Nobody"}, {"domain", "d"}, {"code", 2}}, NSError("d", 2)},
      {"class that is no text", Dictionary{{"class", 3}}, unnamed},
      {"class that cannot be made", Dictionary{{"class", "NSObject"}}, unnamed},
      {"class that files may not name", Dictionary{{"class", "Vault"}}, unnamed},
      {"refused", Dictionary{{"class", "Station"}, {"refuse", true}}, Value()},
      {"code past the range", Dictionary{{"code", 1e30}},
       NSError(std::nullopt, std::numeric_limits<std::int64_t>::max())},
      {"value without properties", infoDictionary(Set{1, 2}), Set{}},
      {"absent", infoDictionary(NSNull{}), NSNull{}},
      // A user info that is taken for an object is no user info any more.
      {"user info with a class", Dictionary{{"userInfo", Dictionary{{"class", "Station"}}}}, unnamed},
  };
  for (const auto& [row, info, want] : cases) EXPECT_EQ(objectFromInfoDictionary(info), want) << row;
  EXPECT_EQ(Vault::made, madeBefore);
  EXPECT_EQ(infoDictionary(Vault()), (Dictionary{{"class", "Vault"}, {"properties", Dictionary{}}}));
  EXPECT_EQ(objectsFromInfoDictionaries(Array{Value(), Dictionary{{"class", "NSString"}}, 5}), Array{""});
}

TEST(InfoDictionary, ofAnErrorNestsItsCauses) {
  static const NSClass& cls = *new NSClass("StationError", NSError::staticClass());
  const NSError cause("inner", -3);
  const NSError error("outer", 9, {{NSUnderlyingErrorKey, cause}, {"when", NSDate()}}, cls);
  const Dictionary inner{{"class", "NSError"},
                         {"properties", Dictionary{}},
                         {"domain", "inner"},
                         {"code", -3},
                         {"userInfo", Dictionary{}}};
  const Dictionary info = infoDictionary(error);
  EXPECT_EQ(info["class"], "StationError");
  EXPECT_EQ(info["userInfo"], (Dictionary{{NSUnderlyingErrorKey, inner}, {"when", NSDate()}}));

  const auto again = objectFromInfoDictionary<NSError>(info);
  EXPECT_EQ(again, error);
  EXPECT_EQ(again->className(), "StationError");
}

TEST(InfoDictionary, ofASortDescriptorEndsAtTheFirstThatIsAbsent) {
  const NSSortDescriptor::Comparator block = [](const Value&, const Value&) { return 0; };
  const std::pair<NSSortDescriptor, Dictionary> cases[] = {
      {{std::nullopt, false}, {}},
      {{"size", true, block}, {{"key", "size"}, {"ascending", true}}},
      {{"size", false},
       {{"key", "size"}, {"ascending", false}, {"selector", "compare:"}, {"class", "NSSortDescriptor"}}},
      {{"size", true, "weigh:"},
       {{"key", "size"}, {"ascending", true}, {"selector", "weigh:"}, {"class", "NSSortDescriptor"}}},
  };
  for (const auto& [descriptor, want] : cases) {
    const Dictionary info = infoDictionary(descriptor);
    EXPECT_EQ(info, want);
    const auto again = objectFromInfoDictionary<NSSortDescriptor>(info);
    // Without its class it comes back as an error.
    ASSERT_EQ(again.has_value(), info.contains("class"));
    if (again) {
      EXPECT_EQ(infoDictionary(*again), want);
    }
  }
  const auto bare = objectFromInfoDictionary<NSSortDescriptor>(Dictionary{{"class", "NSSortDescriptor"}});
  ASSERT_TRUE(bare);
  EXPECT_TRUE(!bare->keyPath() && !bare->ascending() && !bare->selector());
}

TEST(InfoDictionary, ofADateFormatterSetsStylesAndZoneLast) {
  NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneWithName("Asia/Tokyo"));
  const auto formatterOf = [](const Dictionary& properties, const char* key = "", const char* zone = "") {
    return objectFromInfoDictionary<NSDateFormatter>(Dictionary{
        {"class", "NSDateFormatter"}, {"properties", properties}, {key, zone}, {"timeZoneName", "GMT"}});
  };
  using Style = NSDateFormatterStyle;
  const std::tuple<const char*, Dictionary, Style, Style> cases[] = {
      {"no properties", {}, Style::none, Style::none},
      {"styles", {{"timeStyle", 1}, {"dateStyle", 2}}, Style::shortStyle, Style::mediumStyle},
      {"styles replace a pattern", {{"dateFormat", "yyyy"}, {"dateStyle", 4}}, Style::none, Style::fullStyle},
      {"what is no style", {{"timeStyle", 77}, {"dateStyle", -1}}, Style::none, Style::none},
      {"more than 32 bits", {{"timeStyle", (1LL << 32) + 3}}, Style::longStyle, Style::none},
      {"a key of others", {{"formattingBehavior", 1040}, {"timeStyle", 1}}, Style::shortStyle, Style::none},
  };
  for (const auto& [row, properties, timeStyle, dateStyle] : cases) {
    const auto formatter = formatterOf(properties);
    ASSERT_TRUE(formatter) << row;
    EXPECT_TRUE(formatter->timeStyle() == timeStyle && formatter->dateStyle() == dateStyle) << row;
    EXPECT_EQ(formatter->timeZone().name(), "GMT") << row;
  }
  EXPECT_EQ(formatterOf({{"dateFormat", "yyyy"}})->dateFormat(), "yyyy");
  EXPECT_EQ(formatterOf({}, "timeZoneSelector", "localTimeZone")->timeZone().name(),
            "Asia/Tokyo");  // it wins
  const Dictionary elsewhere{{"class", "NSDateFormatter"}, {"timeZoneName", "Nowhere/Else"}};
  EXPECT_EQ(objectFromInfoDictionary<NSDateFormatter>(elsewhere)->timeZone().name(), "Asia/Tokyo");
  EXPECT_EQ(infoDictionary(*formatterOf({{"dateStyle", 2}}))["properties"], Dictionary());
  NSTimeZone::setDefaultTimeZone(std::nullopt);
}

TEST(InfoDictionary, conversionReachesAllElements) {
  const Value plain = Array{"text", 5, NSDate(), NSData{std::byte{1}}, Dictionary{{"k", Array{true}}}};
  EXPECT_EQ(convertToInfoDictionary(plain), plain);
  EXPECT_EQ(convertFromInfoDictionary(plain), plain);

  const auto station = std::make_shared<Station>();
  const Value graph = Dictionary{{"list", Array{station, NSError("d", 1)}}, {"none", NSNull{}}};
  const Value written = convertToInfoDictionary(graph);
  (void)dataFromPropertyList(written, PropertyListFormat::xml);  // throws where something is no property list
  const Value again = convertFromInfoDictionary(written);
  EXPECT_TRUE(again["list"].array()[0].as<std::shared_ptr<Station>>());
  EXPECT_EQ(again["list"].array()[1], NSError("d", 1));
  EXPECT_EQ(again["none"], NSNull{});

  // What looks like an object is read as one; what comes to nothing is left out.
  EXPECT_EQ(convertFromInfoDictionary(convertToInfoDictionary(Dictionary{{"class", "lesson"}})),
            NSError(std::nullopt, 0));
  const Dictionary refused{{"class", "Station"}, {"refuse", true}};
  EXPECT_EQ(convertFromInfoDictionary(Dictionary{{"gone", refused}, {"list", Array{refused, 1}}}),
            (Dictionary{{"list", Array{1}}}));
}

TEST(InfoDictionary, conversionBearsAnyDepth) {
  NSError error("d", 0);
  Value nested;
  for (int level = 1; level <= 100'000; ++level) {
    error = NSError("d", level, {{NSUnderlyingErrorKey, error}});
    nested = Array{nested};
  }
  EXPECT_EQ(convertFromInfoDictionary(convertToInfoDictionary(error)), error);
  EXPECT_EQ(convertToInfoDictionary(nested).array().size(), 1U);
}

}  // namespace
}  // namespace QVFoundation
