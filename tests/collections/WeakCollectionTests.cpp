#include <new>

#include <gmock/gmock.h>

#include "QVFoundation/Collections.h"
#include "tests/collections/Person.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using testing::Person;
using testing::person;

TEST(WeakArray, keepsTheOrderOfThoseThatAreLeftAlsoWhileItIsWalked) {
  std::vector<std::shared_ptr<Person>> owners = {person("Ada", 0), person("Bo", 1), nullptr, person("Cy", 3)};
  QVWeakArray<Person> array;
  for (const auto& owner : owners) array.append(owner);
  array.append(owners[0]);
  owners[1].reset();
  EXPECT_THAT(array.allObjects(), ElementsAre(owners[0], owners[3], owners[0]));
  array.remove(*owners[0]);
  EXPECT_TRUE(!array.contains(*owners[0]) && array.contains(*owners[3]) && array.count() == 1);
  array.append(owners[0]);
  for (const auto& each : array) {
    owners.clear();  // the one that the loop stands at stays until it moves on
    EXPECT_EQ(each->age, 3);
  }
  EXPECT_TRUE(array.empty());
}

struct LosingLoops : ::testing::TestWithParam<bool> {
  std::vector<std::shared_ptr<Person>> owners = {person("Ada", 0), person("Bo", 1), person("Cy", 2)};
  QVWeakArray<Person> array;
  QVWeakDictionary<int, Person> byNumber;
  QVWeakKeyDictionary<Person, std::shared_ptr<int>> numbers;
  std::shared_ptr<int> number = std::make_shared<int>(0);

  void fill() {
    for (const auto& owner : owners) {
      array.append(owner);
      byNumber.set(owner->age, owner);
      numbers.insert(owner, number);
    }
  }
  /// Clears a collection, or has one entry removed.
  template <class Collection, class Remove>
  static void lose(Collection& collection, const Remove& remove) {
    if (GetParam()) {
      collection.clear();
    } else {
      remove();
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Ways, LosingLoops, ::testing::Bool(),
                         [](const auto& way) { return way.param ? "clear" : "remove"; });

TEST_P(LosingLoops, loseWhatTheyHaveReached) {
  fill();
  int sum = 0;  // what is read must be there still
  for (const auto& each : array) {
    lose(array, [&] { array.remove(*each); });
    sum += 10 + each->age;
  }
  for (const auto& [key, each] : byNumber) {
    lose(byNumber, [&, its = key] { byNumber.remove(its); });
    sum += 10 + each->age - key;
  }
  for (const auto& [each, its] : numbers) {
    lose(numbers, [&, object = each.get()] { numbers.erase(*object); });
    sum += 10 + each->age - each->age;
  }
  EXPECT_EQ(sum, GetParam() ? 30 : 93);
  EXPECT_TRUE(array.empty() && byNumber.empty() && numbers.empty());
  EXPECT_EQ(number.use_count(), 1);
  fill();
  EXPECT_TRUE(array.count() == 3 && byNumber.count() == 3 && numbers.count() == 3);
}

TEST(WeakArray, skipsNobodyWhenAnObjectGoesWithTheLoop) {
  std::vector<std::shared_ptr<Person>> owners = {person("Ada"), person("Bo"), person("Cy")};
  QVWeakArray<Person> array;
  for (const auto& owner : owners) array.append(owner);
  std::vector<std::string> names;
  for (const auto& each : array) {
    names.push_back(each->name.value_or(""));
    owners[0].reset();
  }
  EXPECT_THAT(names, ElementsAre("Ada", "Bo", "Cy"));
}

TEST(WeakCollections, doNotGrowWithWhatHasGone) {
  QVWeakArray<Person> array;
  QVWeakDictionary<int, Person> byNumber;
  QVWeakKeyDictionary<Person, std::shared_ptr<int>> numbers;
  const auto stays = person("stays");
  const auto number = std::make_shared<int>(0);
  for (int i = 0; i < 10'000; ++i) {
    const auto goes = i == 5 ? stays : person("goes");
    array.append(goes);
    byNumber.set(i, goes);
    numbers.insert(goes, number);
  }
  EXPECT_TRUE(array.count() == 1 && byNumber.count() == 1 && numbers.count() == 1);
  EXPECT_LT(number.use_count(), 100) << "what belonged to those that have gone is let go of in time";
  numbers.compact();
  EXPECT_EQ(number.use_count(), 2);
  EXPECT_EQ(byNumber[5], stays);
}

TEST(WeakDictionary, losesEntriesWithTheirObjects) {
  QVWeakDictionary<std::string, Person> dictionary;
  auto ada = person("Ada"), bo = person("Bo");
  dictionary.set("a", ada);
  dictionary.set("b", bo);
  dictionary.set("c", bo);
  dictionary.set("c", nullptr);
  ada.reset();
  EXPECT_TRUE(dictionary["a"] == nullptr && dictionary["b"] == bo && dictionary["c"] == nullptr);
  EXPECT_TRUE(!dictionary.contains("a") && dictionary.contains("b") && dictionary.count() == 1);
  EXPECT_EQ(qv_keyOfObjectMatchingValue(dictionary, "Bo", "name"), "b");
  EXPECT_EQ(qv_dictionaryByMatchingValue(dictionary, "Bo", "name").count(), 1U);
  std::vector<std::string> keys;
  for (const auto& [key, object] : dictionary) {
    bo.reset();
    keys.push_back(key + *object->name);
  }
  EXPECT_THAT(keys, ElementsAre("bBo"));
  EXPECT_TRUE(dictionary.empty());
}

TEST(WeakKeyDictionary, tellsObjectsApartByIdentityAndNotByAnAddressThatIsUsedAgain) {
  alignas(Person) std::byte place[sizeof(Person)];
  const auto makeInPlace = [&](const char* name) {
    return std::shared_ptr<Person>(new (place) Person(name), std::destroy_at<Person>);
  };
  QVWeakKeyDictionary<Person, std::string> notes;
  const auto twin = person("first");
  notes.insert(twin, "twin");
  notes.insert(nullptr, "nobody");
  notes.insert(makeInPlace("first"), "gone");
  const auto second = makeInPlace("second");
  EXPECT_EQ(notes.find(*second), nullptr);
  EXPECT_EQ(notes.at(second) += "new", "new");
  for (const auto& [object, note] : notes) note += '!';
  EXPECT_TRUE(*notes.find(*second) == "new!" && *std::as_const(notes).find(*twin) == "twin!");
  notes.erase(*twin);
  EXPECT_TRUE(notes.find(*twin) == nullptr && notes.count() == 1);
}

/// Uses the dictionary that lets go of it.
struct Visitor {
  using Visitors = QVWeakKeyDictionary<Person, std::unique_ptr<Visitor>>;
  Visitor(Visitors* its, int* theirs) : dictionary(its), visits(theirs) {}
  Visitors* dictionary;
  int* visits;
  ~Visitor() {
    dictionary->compact();
    ++*visits;
  }
};

TEST(WeakKeyDictionary, isWholeWhenItLetsGoOfWhatItHeld) {
  int visits = 0;
  Visitor::Visitors dictionary;
  const auto visitor = [&] { return std::make_unique<Visitor>(&dictionary, &visits); };
  const auto ada = person("Ada");
  for (int i = 0; i < 5; ++i) dictionary.insert(person("goes"), visitor());
  dictionary.compact();
  dictionary.insert(ada, visitor());
  dictionary.erase(*ada);
  dictionary.insert(ada, visitor());
  dictionary.clear();
  EXPECT_EQ(visits, 7);
}

TEST(WeakCollections, bearObjectsThatGoOnOtherThreads) {
  for (int round = 0; round < 50; ++round) {
    std::vector<std::shared_ptr<Person>> owners;
    QVWeakArray<Person> array;
    QVWeakKeyDictionary<Person, int> numbers;
    for (int i = 0; i < 100; ++i) {
      owners.push_back(person("p", i));
      array.append(owners.back());
      numbers.insert(owners.back(), i);
    }
    int faults = 0;
    testing::onThreads(2, [&](int thread) {
      if (thread == 0) return owners.clear();
      int last = -1;
      for (const auto& each : array) {
        faults += each->age <= last;
        last = each->age;
      }
      for (const auto& [each, number] : numbers) faults += each->age != number;
      numbers.compact();
      array.compact();
    });
    EXPECT_EQ(faults, 0);
    EXPECT_TRUE(array.empty() && numbers.empty());
  }
}

}  // namespace
}  // namespace QVFoundation
