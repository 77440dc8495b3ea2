#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/values/QVCompoundValueTransformer.h"
#include "QVFoundation/values/QVHexStringValueTransformer.h"
#include "QVFoundation/values/QVValueTransformers.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

/// Puts something in front of text.
class PrefixValueTransformer : public NSValueTransformer {
public:
  explicit PrefixValueTransformer(std::string prefix = "plain ") : prefix_(std::move(prefix)) {}
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(
        NSClass::define<PrefixValueTransformer>("PrefixValueTransformer", NSValueTransformer::staticClass()));
    return cls;
  }
  static void initialize() {
    setValueTransformer(std::make_shared<PrefixValueTransformer>("fixed "), "FixedPrefix");
  }
  [[nodiscard]] Value transformedValue(const Value& value) const override {
    return prefix_ + value.as<std::string>().value_or("nothing");
  }

private:
  std::string prefix_;
};
[[maybe_unused]] const bool prefixIsRegistered = qv_registerValueTransformerClass<PrefixValueTransformer>();

/// Has all that it takes, but was never registered for names.
class SecretValueTransformer : public PrefixValueTransformer {
public:
  SecretValueTransformer() { ++calls; }
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<SecretValueTransformer>(
        "SecretValueTransformer", PrefixValueTransformer::staticClass()));
    return cls;
  }
  static void initialize() { ++calls; }
  static int calls;
};
int SecretValueTransformer::calls = 0;
[[maybe_unused]] const NSClass& secretIsAClass = SecretValueTransformer::staticClass();

Value transformed(const std::shared_ptr<NSValueTransformer>& transformer, const Value& value) {
  return transformer ? transformer->transformedValue(value) : Value("no transformer");
}

const NSData twelve{std::byte{0x12}};

TEST(NSValueTransformer, isFoundByTheNameThatItWasLastGiven) {
  const auto first = std::make_shared<PrefixValueTransformer>();
  const auto second = std::make_shared<PrefixValueTransformer>();
  const auto names = NSValueTransformer::valueTransformerNames();
  EXPECT_EQ(NSValueTransformer::addValueTransformer(first, "A"), first);
  EXPECT_EQ(NSValueTransformer::addValueTransformer(second, "A"), first);
  NSValueTransformer::setValueTransformer(second, "A");
  EXPECT_EQ(NSValueTransformer::valueTransformerForName("A"), second);
  EXPECT_EQ(first.use_count(), 1);
  NSValueTransformer::setValueTransformer(nullptr, "A");
  EXPECT_EQ(NSValueTransformer::valueTransformerForName("A"), nullptr);
  EXPECT_EQ(NSValueTransformer::valueTransformerNames(), names);
}

TEST(QVHexStringValueTransformer, makesWhatItsTypeSays) {
  using Type = QVHexStringValueTransformer::ResultType;
  const struct {
    Type type;
    Value value, result;
  } rows[] = {
      {Type::unsignedLongLong, "0x12", std::uint64_t{0x12} << 56},
      {Type::unsignedLongLong, "no digits", 0U},
      {Type::data, "0x12", twelve},
      {Type::data, "no digits", {}},
      {static_cast<Type>(2), "0x12", {}},
      {Type::data, 12, {}},
      {Type::unsignedLongLong, {}, {}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(QVHexStringValueTransformer(row.type).transformedValue(row.value), row.result)
        << row.value.description();
  }
}

TEST(QVCompoundValueTransformer, passesAValueFromOneToTheNext) {
  QVCompoundValueTransformer chain;
  EXPECT_EQ(chain.transformedValue(5), Value(5));
  chain.setSubTransformers({std::make_shared<PrefixValueTransformer>("a"), nullptr,
                            std::make_shared<PrefixValueTransformer>("b")});
  EXPECT_EQ(chain.transformedValue("c"), "bac");
  EXPECT_EQ(chain.valueForKey("subTransformers").array().size(), 2U);
}

TEST(QVValueTransformers, areMadeOfComponents) {
  const struct {
    std::string_view components;
    Value result;  // of "12"
  } rows[] = {
      {"QVHexString-data", twelve},
      {"QVHexString-unsignedLongLong", std::uint64_t{0x12} << 56},
      {"QVHexString", "no transformer"},
      {"QVHexString-", "no transformer"},
      {"QVHexString-Data", "no transformer"},
      {"QVHexString-data-data", "no transformer"},
      {"QVCompound", "12"},
      {"Prefix", "plain 12"},
      {"Prefix-x-y", "plain 12"},  // takes no arguments, whatever they are
      {"NS", "no transformer"},    // the base is no class for names
      {"Secret", "no transformer"},
      {"Nobody", "no transformer"},
      {"", "no transformer"},
      {"-data", "no transformer"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(transformed(qv_valueTransformerWithComponentsString(row.components), "12"), row.result)
        << row.components;
    EXPECT_EQ(NSValueTransformer::valueTransformerForName(row.components), nullptr) << row.components;
  }
  EXPECT_EQ(SecretValueTransformer::calls, 0);
}

TEST(QVValueTransformers, areMadeOnceOfDynamicNames) {
  NSValueTransformer::setValueTransformer(std::make_shared<PrefixValueTransformer>("34"), "with-dash");
  const struct {
    std::string_view name;
    Value result;  // of "12"
    bool isRegistered;
  } rows[] = {
      {"QVHexString-data", twelve, true},
      {"with-dash", "3412", true},
      {"with-dash->QVHexString-data", NSData{std::byte{0x34}, std::byte{0x12}}, true},
      {"with-dash->Nobody->Prefix", "plain 3412", true},
      {"Nobody->Secret", "12", true},  // an empty chain
      {"->", "12", true},
      {"Nobody", "no transformer", false},
      {"", "no transformer", false},
  };
  for (const auto& row : rows) {
    const auto made = qv_valueTransformerWithDynamicName(row.name);
    EXPECT_EQ(transformed(made, "12"), row.result) << row.name;
    EXPECT_EQ(NSValueTransformer::valueTransformerForName(row.name) != nullptr, row.isRegistered) << row.name;
    EXPECT_EQ(qv_valueTransformerWithDynamicName(row.name), made) << row.name;
  }
}

TEST(QVValueTransformers, areTheSameForAllWhoMakeThemAtOnce) {
  for (int round = 0; round < 50; ++round) {
    const std::string name = "Prefix->Prefix-" + std::to_string(round);
    std::vector<std::shared_ptr<NSValueTransformer>> made(4);
    std::vector<std::jthread> threads;
    threads.reserve(made.size());
    for (auto& one : made)
      threads.emplace_back([&one, &name] { one = qv_valueTransformerWithDynamicName(name); });
    threads.clear();
    for (const auto& one : made) EXPECT_EQ(one, made.front());
  }
}

TEST(QVValueTransformers, areLoadedFromAList) {
  const testing::TemporaryFolder folder;
  const auto load = [&](const Value& list) {
    const NSData data = dataFromPropertyList(list, PropertyListFormat::xml);
    std::ofstream(folder / "ValueTransformerInfo.plist", std::ios::trunc)
        .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    const detail::MainBundleOverride main(detail::BundleFactory::bundleInFolder(folder.path(), {"en"}));
    QVValueTransformerInit();
  };
  const auto names = NSValueTransformer::valueTransformerNames();
  QVValueTransformerInit();  // no list
  load(Dictionary{});
  load(Array{"Prefix"});
  load(Dictionary{{"transformerClasses", "PrefixValueTransformer"}, {"dynamicValueTransformerNames", 5}});
  EXPECT_EQ(NSValueTransformer::valueTransformerNames(), names);

  load(Dictionary{{"transformerClasses",
                   Array{"Nobody", 5, "SecretValueTransformer", "NSObject", "PrefixValueTransformer"}},
                  {"dynamicValueTransformerNames", Array{5, "Nobody", "FixedPrefix->Prefix-listed"}}});
  EXPECT_EQ(transformed(NSValueTransformer::valueTransformerForName("FixedPrefix"), "12"), "fixed 12");
  // The classes came first, so the chain has what they registered.
  EXPECT_EQ(transformed(NSValueTransformer::valueTransformerForName("FixedPrefix->Prefix-listed"), "12"),
            "plain fixed 12");
  EXPECT_EQ(NSValueTransformer::valueTransformerForName("Nobody"), nullptr);
  EXPECT_EQ(SecretValueTransformer::calls, 0);
}

}  // namespace
}  // namespace QVFoundation
