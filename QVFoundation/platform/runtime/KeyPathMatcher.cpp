#include "QVFoundation/platform/runtime/KeyPathMatcher.h"

#include "QVFoundation/platform/runtime/KeyReader_p.h"
#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

KeyPathMatcher::KeyPathMatcher(std::string_view keyPath, Value given, Asking asking)
    : given_(std::move(given)), asking_(asking) {
  const auto dot = keyPath.rfind('.');
  if (dot == std::string_view::npos) {
    key_ = std::make_unique<detail::KeyReader>(keyPath);
  } else {
    ownerOf_ = std::make_unique<KeyPathReader>(keyPath.substr(0, dot));
    key_ = std::make_unique<detail::KeyReader>(keyPath.substr(dot + 1));
  }
}

KeyPathMatcher::~KeyPathMatcher() = default;

bool KeyPathMatcher::operator()(const Value& value) {
  const Value owner = ownerOf_ ? (*ownerOf_)(value) : value;
  const auto object = owner.object();
  return object ? ownerMatches(*object) : equalsGiven(key_->read(owner));
}

std::size_t KeyPathMatcher::firstMatch(std::span<const NSObject* const> objects, bool areOfOneType) {
  for (std::size_t index = 0; index < objects.size(); ++index) {
    const bool hasTest = test_ && !ownerOf_;
    if (hasTest) {
      index += test_->firstStop(objects.subspan(index), areOfOneType ? nullptr : testedType_);
      if (index == objects.size()) break;
    }
    const NSObject* const object = objects[index];
    const bool isJudged = hasTest && object != nullptr && (areOfOneType || isTested(*object));
    if (isJudged || matches(object)) return index;
  }
  return objects.size();
}

bool KeyPathMatcher::matches(const NSObject* object) {
  if (object == nullptr) return equalsGiven({});
  if (!ownerOf_) return ownerMatches(*object);
  const Value owner = (*ownerOf_)(*object);
  const auto ownerObject = owner.object();
  return ownerObject ? ownerMatches(*ownerObject) : equalsGiven(key_->read(owner));
}

bool KeyPathMatcher::ownerMatches(const NSObject& owner) {
  if (!prepareTest(owner)) return equalsGiven(key_->read(owner));
  const NSObject* const one[] = {&owner};
  return test_->firstStop(one, testedType_) == 0;
}

/// Makes the test for the owner's type, unless it is the one that there is already.
bool KeyPathMatcher::prepareTest(const NSObject& owner) {
  if (!isTested(owner)) {
    const NSProperty* property = key_->propertyOf(owner);
    test_ = property != nullptr && property->makeTest ? property->makeTest(given_) : nullptr;
    testedType_ = &typeid(owner);
  }
  return test_ != nullptr;
}

bool KeyPathMatcher::equalsGiven(const Value& value) const {
  if (asking_ == Asking::givenValue) return given_ == value;
  return !value.isNothing() && value == given_;
}

}  // namespace QVFoundation
