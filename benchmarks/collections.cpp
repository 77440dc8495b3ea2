// Sorting and searching collections.

#include <algorithm>
#include <compare>
#include <cstddef>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "QVFoundation/collections/QVCollectionMatching.h"
#include "QVFoundation/collections/QVSortMap.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace {

using namespace QVFoundation;

const auto compare = [](int a, int b) { return a <=> b; };

std::vector<int> numbersOf(const std::string& shape) {
  std::vector<int> numbers(1'000'000);
  std::iota(numbers.begin(), numbers.end(), 0);
  if (shape == "random") std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
  if (shape == "reversed") std::reverse(numbers.begin(), numbers.end());
  if (shape == "equal") std::fill(numbers.begin(), numbers.end(), 7);
  return numbers;
}

/// The positions of the elements, sorted by a comparison of two positions.
template <class Compare>
std::vector<std::size_t> sortedPositions(std::size_t count, const Compare& isLess) {
  std::vector<std::size_t> positions(count);
  std::iota(positions.begin(), positions.end(), std::size_t{0});
  std::sort(positions.begin(), positions.end(), isLess);
  return positions;
}

// The map that sorts 1,000,000 integers.

void sortMapOurs(benchmark::State& state, const std::string& shape) {
  const std::vector<int> numbers = numbersOf(shape);
  for (auto _ : state) benchmark::DoNotOptimize(sortMapUsingSelector(numbers, compare));
}

void sortMapStandard(benchmark::State& state, const std::string& shape) {
  const std::vector<int> numbers = numbersOf(shape);
  for (auto _ : state) {
    benchmark::DoNotOptimize(sortedPositions(
        numbers.size(), [&](std::size_t a, std::size_t b) { return compare(numbers[a], numbers[b]) < 0; }));
  }
}

[[maybe_unused]] const bool sortMapsAreRegistered = [] {
  for (const std::string shape : {"random", "sorted", "reversed", "equal"}) {
    const std::string row = "collections/sort-map/" + shape;
    benchmark::RegisterBenchmark((row + "/ours").c_str(), sortMapOurs, shape)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((row + "/std-sort").c_str(), sortMapStandard, shape)
        ->Unit(benchmark::kMillisecond);
  }
  return true;
}();

// The map that sorts 100,000 objects by one of their properties.

class Person : public NSObject {
public:
  Person(int age, std::string name) : age_(age), name_(std::move(name)) {}
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }
  int age() const { return age_; }
  const std::string& name() const { return name_; }

private:
  int age_;
  std::string name_;
};

const NSClass& Person::staticClass() {
  static const NSClass& cls = *new NSClass(NSClass::define<Person>("Person", NSObject::staticClass())
                                               .readOnly("age", &Person::age)
                                               .readOnly("name", &Person::name));
  return cls;
}

const std::vector<std::shared_ptr<Person>>& people() {
  static const auto all = [] {
    std::vector<std::shared_ptr<Person>> made;
    std::mt19937 random(1);
    for (int i = 0; i < 100'000; ++i) {
      const auto number = static_cast<int>(random() >> 4);
      made.push_back(std::make_shared<Person>(number, "Person number " + std::to_string(number)));
    }
    return made;
  }();
  return all;
}

const auto ageOf = [](const Person& person) { return person.age(); };
const auto nameOf = [](const Person& person) -> const std::string& { return person.name(); };

template <class Get>
std::vector<std::size_t> sortedPeople(const Get& get) {
  const auto& all = people();
  return sortedPositions(all.size(),
                         [&](std::size_t a, std::size_t b) { return get(*all[a]) < get(*all[b]); });
}

template <class Get>
void sortPeopleOurs(benchmark::State& state, const char* keyPath, const Get& get) {
  const QVIndexMap map = sortMapUsingKeyPath(people(), keyPath);
  const auto isLess = [&](std::size_t a, std::size_t b) { return get(*people()[a]) < get(*people()[b]); };
  if (!std::is_sorted(map.begin(), map.end(), isLess)) throw std::logic_error("the map does not sort");
  for (auto _ : state) benchmark::DoNotOptimize(sortMapUsingKeyPath(people(), keyPath));
}

template <class Get>
void sortPeopleStandard(benchmark::State& state, const Get& get) {
  for (auto _ : state) benchmark::DoNotOptimize(sortedPeople(get));
}

void sortByAgeOurs(benchmark::State& state) { sortPeopleOurs(state, "age", ageOf); }
void sortByAgeStandard(benchmark::State& state) { sortPeopleStandard(state, ageOf); }
void sortByNameOurs(benchmark::State& state) { sortPeopleOurs(state, "name", nameOf); }
void sortByNameStandard(benchmark::State& state) { sortPeopleStandard(state, nameOf); }
BENCHMARK(sortByAgeOurs)->Name("collections/sort-map-key-path/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(sortByAgeStandard)->Name("collections/sort-map-key-path/std-sort")->Unit(benchmark::kMillisecond);
BENCHMARK(sortByNameOurs)->Name("collections/sort-map-key-path-text/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(sortByNameStandard)
    ->Name("collections/sort-map-key-path-text/std-sort")
    ->Unit(benchmark::kMillisecond);

// The objects among 100,000 that have a given number, which are 1 in 100: once of a final class whose property is
// a data member, once of a class that others may derive from and whose property is a function.

class Guest : public NSObject {
public:
  Guest(std::string name, int table) : name_(std::move(name)), table_(table) {}
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }
  int table() const { return table_; }

protected:
  std::string name_;
  int table_;
};

class SeatedGuest final : public Guest {
public:
  using Guest::Guest;
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }
};

const NSClass& Guest::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<Guest>("Guest", NSObject::staticClass()).readOnly("table", &Guest::table));
  return cls;
}

const NSClass& SeatedGuest::staticClass() {
  static const NSClass& cls = *new NSClass(NSClass::define<SeatedGuest>("SeatedGuest", Guest::staticClass())
                                               .readOnly("table", &SeatedGuest::table_));
  return cls;
}

template <class G>
const std::vector<std::shared_ptr<G>>& guests() {
  static const auto all = [] {
    std::vector<std::shared_ptr<G>> made;
    for (int i = 0; i < 100'000; ++i) {
      made.push_back(std::make_shared<G>("Guest number " + std::to_string(i), i * 37 % 100));
    }
    return made;
  }();
  return all;
}

template <class G>
std::vector<std::shared_ptr<G>> guestsAt(int table) {
  std::vector<std::shared_ptr<G>> found;
  for (const auto& guest : guests<G>()) {
    if (guest->table() == table) found.push_back(guest);
  }
  return found;
}

template <class G>
void matchOurs(benchmark::State& state) {
  int table = 42;
  benchmark::DoNotOptimize(table);
  if (qv_arrayByMatchingValue(guests<G>(), table, "table") != guestsAt<G>(table)) {
    throw std::logic_error("the two sides do not find the same");
  }
  for (auto _ : state) benchmark::DoNotOptimize(qv_arrayByMatchingValue(guests<G>(), table, "table"));
}

template <class G>
void matchByLoop(benchmark::State& state) {
  int table = 42;
  benchmark::DoNotOptimize(table);
  for (auto _ : state) benchmark::DoNotOptimize(guestsAt<G>(table));
}

BENCHMARK(matchOurs<SeatedGuest>)->Name("collections/matching/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(matchByLoop<SeatedGuest>)->Name("collections/matching/loop")->Unit(benchmark::kMicrosecond);
BENCHMARK(matchOurs<Guest>)->Name("collections/matching-by-getter/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(matchByLoop<Guest>)->Name("collections/matching-by-getter/loop")->Unit(benchmark::kMicrosecond);

}  // namespace
