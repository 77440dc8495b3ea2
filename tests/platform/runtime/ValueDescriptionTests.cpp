#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/text/NSLocale.h"

namespace QVFoundation {
namespace {

class Indented : public NSObject {
public:
  std::string descriptionWithLocale(const NSLocale* locale, unsigned indent) const override {
    return "indent " + std::to_string(indent) + (locale != nullptr ? ", " + locale->identifier() : "");
  }
};

/// Describes itself by what it holds, as composite objects do.
class Holder : public NSObject {
public:
  Value content;
  std::string description() const override { return '[' + content.description() + ']'; }
};

struct Boxed {};
struct Described {
  std::string description() const { return "described"; }
};

NSDate dateAt(std::chrono::milliseconds sinceEpoch) { return NSDate(sinceEpoch); }

NSData bytes(std::size_t count) {
  NSData data;
  for (std::size_t i = 0; i < count; ++i) data.push_back(static_cast<std::byte>(0xF8 + i));
  return data;
}

TEST(ValueDescription, printsEachKind) {
  using namespace std::chrono_literals;
  const struct {
    Value value;
    std::string_view want;
  } cases[] = {
      {nullptr, "(null)"},
      {NSNull{}, "<null>"},
      {1.5, "1.5"},
      {"as \"it\" is\n", "as \"it\" is\n"},
      {bytes(0), "<>"},
      {bytes(4), "<f8f9fafb>"},
      {bytes(9), "<f8f9fafb fcfdfeff 00>"},
      {dateAt(0ms), "1970-01-01 00:00:00 +0000"},
      {dateAt(-1ms), "1969-12-31 23:59:59 +0000"},
      {dateAt(1709251199999ms), "2024-02-29 23:59:59 +0000"},
      {Array{}, "(\n)"},
      {Dictionary{}, "{\n}"},
      {Set{}, "{(\n)}"},
      {Set{"b", 10, 9, "a"}, "{(\n    9,\n    10,\n    a,\n    b\n)}"},
      {std::make_shared<Indented>(), "indent 0"},
      {Array{Value(Array{std::make_shared<Indented>()})}, "(\n    (\n        indent 2\n    )\n)"},
      {Value::boxed(Described{}), "described"},
      {Value::boxed(std::logic_error("what")), "what"},
      {Value::boxed(Boxed{}), "<QVFoundation::(anonymous namespace)::Boxed>"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.value.description(), c.want);
}

TEST(ValueDescription, indentsNestedContainersAndSortsKeys) {
  const Dictionary value{{"tags", Array{"draft", "two words", Set{2.5, 1}}},
                         {"a-b", Dictionary{{"x", NSNull{}}, {10, bytes(1)}, {9, Dictionary{}}}},
                         {"error", NSError("D", 1, {{NSLocalizedDescriptionKey, "No."}})}};
  EXPECT_EQ(value.description(),
            "{\n"
            "    \"a-b\" = {\n"
            "        9 = {\n"
            "        };\n"
            "        10 = <f8>;\n"
            "        x = <null>;\n"
            "    };\n"
            "    error = Error Domain=D Code=1 \"No.\" UserInfo={NSLocalizedDescription=No.};\n"
            "    tags = (\n"
            "        draft,\n"
            "        \"two words\",\n"
            "        {(\n"
            "            1,\n"
            "            2.5\n"
            "        )}\n"
            "    );\n"
            "}");
}

TEST(ValueDescription, quotesTextInContainersWhereItIsMoreThanAWord) {
  const auto inArray = [](std::string_view text) { return Value(Array{text}).description(); };
  for (const std::string word : {"word_1", "a/b.c:$d"}) EXPECT_EQ(inArray(word), "(\n    " + word + "\n)");
  for (const std::string text : {"", "a b", "-", "é", "(a)", "a;", "@"})
    EXPECT_EQ(inArray(text), "(\n    \"" + text + "\"\n)");
  const std::string escaped = R"(\"\\\n\t\r)";
  EXPECT_EQ(inArray("\"\\\n\t\r"), "(\n    \"" + escaped + "\"\n)");
}

TEST(ValueDescription, handsTheLocaleDown) {
  NSLocale::NumberSymbols symbols;
  symbols.decimalSeparator = ",";
  const NSLocale locale("xx", symbols);
  EXPECT_EQ(Array({2.5, Value(Array{std::make_shared<Indented>()})}).description(&locale),
            "(\n    2,5,\n    (\n        indent 2, xx\n    )\n)");
}

TEST(ValueDescription, cutsObjectsThatHoldThemselves) {
  const auto holder = std::make_shared<Holder>();
  holder->content = Array{holder};
  const std::string text = Value(holder).description();
  holder->content = nullptr;
  EXPECT_TRUE(text.starts_with("[(\n    [(\n    [(\n")) << text;
  EXPECT_NE(text.find("…"), std::string::npos);
  EXPECT_EQ(Value(holder).description(), "[(null)]") << "the levels were counted back";
}

}  // namespace
}  // namespace QVFoundation
