#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation::testing {

/// What the tests of collections collect.
class Person : public NSObject {
public:
  explicit Person(std::optional<std::string> itsName, int itsAge = 0)
      : name(std::move(itsName)), age(itsAge) {}

  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(NSClass::define<Person>("Person", NSObject::staticClass())
                                                 .stored("name", &Person::name)
                                                 .stored("age", &Person::age)
                                                 .stored("partner", &Person::partner));
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }
  std::shared_ptr<NSObject> copy() const override { return std::make_shared<Person>(name, age); }

  std::optional<std::string> name;
  int age;
  std::shared_ptr<NSObject> partner;
};

inline std::shared_ptr<Person> person(std::optional<std::string> name, int age = 0) {
  return std::make_shared<Person>(std::move(name), age);
}

}  // namespace QVFoundation::testing
