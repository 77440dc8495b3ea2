#include "QVFoundation/platform/serialization/NSKeyedUnarchiver.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSSecureCoding.h"
#include "QVFoundation/platform/serialization/KeyedArchive_p.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

using detail::CodingPlace;
using Classes = std::span<const NSClass* const>;

NSError readError(const CodingPlace& place, std::string_view problem) {
  return place.error(NSCoderReadCorruptError, "unarchived", problem);
}

bool isAmong(Classes classes, const NSClass& cls) {
  return std::ranges::any_of(classes, [&](const NSClass* expected) { return cls.isSubclassOf(*expected); });
}

class ArchiveReader final : public NSCoder {
public:
  explicit ArchiveReader(const Value& archive)
      : archive_(archive.dictionary()),
        forms_(archive_[detail::archiveObjectsKey].array()),
        objects_(forms_.size()) {
    if (!(archive_[detail::archiverKey] == detail::archiverName) ||
        archive_[detail::archiveVersionKey] != Value(detail::archiveVersion)) {
      throw readError(place_, "it is no archive");
    }
  }

  Value root(Classes classes) {
    const Value& top = archive_[detail::archiveTopKey];
    if (top.isNothing()) throw readError(place_, "the archive is empty");
    return decoded(top, classes);
  }

  void encodeObject(const Value& /*value*/, std::string_view /*key*/) override {
    throw NSException(NSInvalidArgumentException, "A coder that reads cannot be written to");
  }

  [[nodiscard]] bool containsValueForKey(std::string_view key) const override {
    return openObjects_.back().contains(key);
  }
  [[nodiscard]] Value decodeObjectOfClasses(Classes classes, std::string_view key) override {
    const Value form = openObjects_.back()[key];
    if (form.isNothing()) return {};
    const CodingPlace::Step step(place_, key);
    return decoded(form, classes);
  }

  [[noreturn]] void fail(std::string_view problem, std::string_view key) const override {
    CodingPlace place = place_;
    const CodingPlace::Step step(place, key);
    throw readError(place, problem);
  }

private:
  struct Read {
    std::shared_ptr<NSObject> object;
    bool isOpen = false;  // still being read, or refused
  };

  Value decoded(const Value& form, Classes classes) {
    if (place_.isTooDeep()) throw readError(place_, "it is nested too deeply");
    if (form.kind() == ValueKind::array) return decodedArray(form.array(), classes);
    if (form.kind() != ValueKind::dictionary) return form;

    const Dictionary marked = form.dictionary();
    const Value& entries = marked[detail::archiveDictionaryMark];
    if (marked.size() == 1 && entries.kind() == ValueKind::dictionary) {
      return decodedDictionary(entries.dictionary(), classes);
    }
    const auto index = marked[detail::archiveObjectMark].as<std::size_t>();
    if (marked.size() != 1 || !index) throw readError(place_, "it is neither an object nor a dictionary");
    return decodedObject(*index, classes);
  }

  Value decodedArray(const Array& forms, Classes classes) {
    Array elements;
    elements.reserve(forms.size());
    for (std::size_t index = 0; index < forms.size(); ++index) {
      const CodingPlace::Step step(place_, index);
      elements.append(decoded(forms[index], classes));
    }
    return elements;
  }

  Value decodedDictionary(const Dictionary& forms, Classes classes) {
    Dictionary entries;
    for (const auto& [key, form] : forms) {
      const CodingPlace::Step step(place_, key.text() != nullptr ? std::string_view(*key.text()) : "");
      entries.set(key, decoded(form, classes));
    }
    return entries;
  }

  Value decodedObject(std::size_t index, Classes classes) {
    if (index >= objects_.size()) throw readError(place_, "its object is missing");
    const NSClass& cls = expectedClass(forms_[index][detail::archiveClassKey], classes);
    if (objects_[index].isOpen) throw readError(place_, "the object holds itself, or was refused");
    if (objects_[index].object) return objects_[index].object;

    objects_[index].isOpen = true;
    objects_[index].object = newObject(cls, forms_[index][detail::archiveValuesKey].dictionary());
    objects_[index].isOpen = false;
    return objects_[index].object;
  }

  const NSClass& expectedClass(const Value& name, Classes classes) const {
    constexpr std::size_t longestName = 60;
    const NSClass* cls = name.text() != nullptr ? NSClass::named(*name.text()) : nullptr;
    if (cls != nullptr && cls->isMadeByName() && isAmong(classes, *cls)) return *cls;
    const std::string_view text = name.text() != nullptr ? std::string_view(*name.text()) : "";
    throw readError(place_, "the class \"" + std::string(prefixOfCodePoints(text, longestName)) +
                                "\" is not expected there");
  }

  std::shared_ptr<NSObject> newObject(const NSClass& cls, Dictionary values) {
    std::shared_ptr<NSObject> object = cls.make();
    auto* coding = dynamic_cast<NSSecureCoding*>(object.get());
    if (coding == nullptr) {
      throw readError(place_, "objects of the class \"" + cls.name() + "\" do not code themselves");
    }
    const detail::OpenObject open(openObjects_, std::move(values));
    coding->initWithCoder(*this);
    return object;
  }

  CodingPlace place_;
  const Dictionary archive_;
  const Array forms_;
  detail::OpenObjects openObjects_;
  std::vector<Read> objects_;  // by their place in the archive
};

}  // namespace

Value NSKeyedUnarchiver::unarchivedObjectOfClasses(Classes classes, std::span<const std::byte> data,
                                                   std::optional<NSError>* error) {
  try {
    return ArchiveReader(propertyListFromData(data)).root(classes);
  } catch (const NSError& failure) {
    if (error != nullptr) *error = failure;
    return {};
  }
}

NSError NSKeyedUnarchiver::unexpectedRoot() {
  return readError({}, "it is of another type than is expected");
}

}  // namespace QVFoundation
