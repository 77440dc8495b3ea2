// Readers and matchers are short cuts: whatever an object's class does, they answer as reading by name does.

#include <limits>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using Numbers = std::numeric_limits<double>;

/// Has a property of every sort.
struct Part : NSObject {
  static const NSClass& staticClass() {
    static const NSClass& cls =
        *new NSClass(NSClass::define<Part>("Part", NSObject::staticClass())
                         .readOnly("isLoose", [](const Part&) { return true; })
                         .readOnly("large", [](const Part&) { return UINT64_MAX; })
                         .readOnly("single", [](const Part&) { return 0.1F; })
                         .readOnly("number", [](const Part&) { return Numbers::quiet_NaN(); })
                         .readOnly("precise", [](const Part&) { return 0.1L; })
                         .readOnly("kind", [](const Part&) { return ValueKind::null; })
                         .stored("weight", &Part::weight)
                         .stored("note", &Part::note)
                         .stored("inner", &Part::inner)
                         .stored("parts", &Part::parts)
                         .stored("label", &Part::label)
                         .readOnly("shout", &Part::shout));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
  std::string shout() const { return label + '!'; }

  std::optional<int> weight;
  Value note = Dictionary{{"label", "noted"}, {"", 3}};
  std::shared_ptr<Part> inner;
  std::vector<std::shared_ptr<Part>> parts;
  std::string label = "label";
};

/// A class that lists itself, so that a reader in a hurry might ask its properties.
template <class T>
class Listed : public Part {
  friend T;
  Listed() = default;

public:
  const NSClass& dynamicClass() const override {
    static const NSClass& cls = *new NSClass(
        NSClass::define<T>("Listed", Part::staticClass()).readOnly("label", [](const T&) { return 7; }));
    return cls;
  }
};
struct Screw : Listed<Screw> {};
struct Unlisted : Part {};
struct Secretive : Listed<Secretive> {
  Value valueForKey(std::string_view key) const override {
    return key == "label" ? Value("hidden") : Part::valueForKey(key);
  }
};
class Veiled : public std::exception, public Part {
  Value valueForKey(std::string_view key) const override { return "veiled " + std::string(key); }
};
struct Open : Listed<Open> {
  Value valueForUndefinedKey(std::string_view key) const override { return "any " + std::string(key); }
};

template <class T>
std::shared_ptr<Part> partAround(std::shared_ptr<Part> inner) {
  auto part = std::make_shared<T>();
  part->inner = std::move(inner);
  part->parts = {std::make_shared<Screw>(), std::make_shared<T>()};
  return part;
}

/// Neighbours are of different classes, so that what was learned of one does not hold for the next.
std::vector<Value> subjects() {
  const auto screw = partAround<Screw>(nullptr);
  const auto part = partAround<Part>(screw);
  return {part,
          screw,
          partAround<Unlisted>(part),
          part,
          partAround<Secretive>(screw),
          partAround<Veiled>(part),
          nullptr,
          partAround<Open>(partAround<Open>(part)),
          Array{part, screw, Dictionary()},
          "text",
          Dictionary{{"label", 1}, {"inner", part}}};
}

const char* const paths[] = {
    "isLoose",     "large",      "single", "number", "precise",      "kind",        "weight",
    "note",        "note.label", "note.",  "label",  "shout",        "inner.label", "inner.inner.label",
    "parts.label", "absent",     "",       ".",      "inner.absent", "label.length"};

/// What a call gives, or what it raises.
template <class Call>
std::string outcomeOf(const Call& call) {
  Value given;
  const std::string raised = testing::raisedBy([&] { given = call(); });
  return given.description() + " / " + raised;
}

TEST(KeyPathReader, readsWhatValueForKeyPathReads) {
  for (const char* path : paths) {
    KeyPathReader reader(path);
    for (const Value& subject : subjects()) {
      const std::string want = outcomeOf([&] { return valueForKeyPath(subject, path); });
      EXPECT_EQ(outcomeOf([&] { return reader(subject); }), want) << path << " of " << subject.description();
      if (const auto object = subject.object()) {
        EXPECT_EQ(outcomeOf([&] { return reader(object); }), want) << path;
      }
    }
    EXPECT_TRUE(reader(std::shared_ptr<Screw>()).isNothing());
  }
}

TEST(KeyPathMatcher, comparesAsReadingAndComparingWould) {
  const std::vector<Value> all = subjects();
  const std::vector<Value> givens = {nullptr,
                                     NSNull(),
                                     true,
                                     false,
                                     1,
                                     7,
                                     -1,
                                     0.1F,
                                     0.1,
                                     Numbers::quiet_NaN(),
                                     0x1p64,
                                     UINT64_MAX,
                                     "label",
                                     "label!",
                                     std::string("label\0", 6),
                                     "",
                                     "hidden",
                                     Dictionary{{"label", "noted"}, {"", 3}},
                                     all[0],
                                     all[1]};
  for (const char* path : paths) {
    for (const Value& given : givens) {
      KeyPathMatcher asksObject(path, given, Asking::objectsValue);
      KeyPathMatcher asksGiven(path, given, Asking::givenValue);
      for (const Value& subject : all) {
        SCOPED_TRACE(path + (" " + given.description()) + " in " + subject.description());
        const auto read = [&] { return valueForKeyPath(subject, path); };
        EXPECT_EQ(outcomeOf([&] { return asksObject(subject); }),
                  outcomeOf([&] { return !read().isNothing() && read() == given; }));
        EXPECT_EQ(outcomeOf([&] { return asksGiven(subject); }), outcomeOf([&] { return given == read(); }));
      }
    }
  }
}

/// Counts how often its label is read.
struct Counted final : NSObject {
  explicit Counted(int its) : label(its) {}
  const NSClass& dynamicClass() const override {
    static const NSClass& cls = *new NSClass(
        NSClass::define<Counted>("Counted", NSObject::staticClass()).readOnly("label", &Counted::read));
    return cls;
  }
  int read() const {
    ++reads;
    return label;
  }
  const int label;
  static inline int reads = 0;
};

TEST(KeyPathMatcher, findsEachMatchInAListAndReadsNoObjectTwice) {
  std::vector<std::shared_ptr<NSObject>> objects;
  for (int i = 0; i < 40; ++i) {
    objects.push_back(std::make_shared<Counted>(i % 4 == 1 ? 7 : i + 100));
    if (i % 5 == 0) objects.push_back(std::make_shared<Screw>());
    if (i % 7 == 3) objects.push_back(nullptr);
  }
  std::vector<const NSObject*> all;
  all.reserve(objects.size());
  for (const auto& object : objects) all.push_back(object.get());
  std::vector<std::size_t> want, found;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (valueForKeyPath(objects[i], "label") == Value(7)) want.push_back(i);
  }
  Counted::reads = 0;
  KeyPathMatcher matcher("label", 7, Asking::objectsValue);
  const std::span<const NSObject* const> list(all);
  for (std::size_t i = 0; (i += matcher.firstMatch(list.subspan(i))) < all.size(); ++i) found.push_back(i);
  EXPECT_EQ(found, want);
  EXPECT_EQ(Counted::reads, 40);
}

}  // namespace
}  // namespace QVFoundation
