#include "QVFoundation/platform/serialization/NSKeyedArchiver.h"

#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSCoder.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSSecureCoding.h"
#include "QVFoundation/platform/serialization/KeyedArchive_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

using detail::CodingPlace;

class ArchiveWriter final : public NSCoder {
public:
  Dictionary archive(const Value& root) {
    Dictionary archive{{detail::archiverKey, detail::archiverName},
                       {detail::archiveVersionKey, detail::archiveVersion}};
    archive.set(detail::archiveTopKey, encoded(root));
    Array objects;
    for (const Written& object : objects_) objects.append(object.form);
    archive.set(detail::archiveObjectsKey, objects);
    return archive;
  }

  void encodeObject(const Value& value, std::string_view key) override {
    if (value.isNothing()) return;
    const CodingPlace::Step step(place_, key);
    Value form = encoded(value);
    openObjects_.back().set(key, std::move(form));
  }

  [[nodiscard]] bool containsValueForKey(std::string_view /*key*/) const override { raiseWrites(); }
  [[nodiscard]] Value decodeObjectOfClasses(std::span<const NSClass* const> /*classes*/,
                                            std::string_view /*key*/) override {
    raiseWrites();
  }

  [[noreturn]] void fail(std::string_view problem, std::string_view key) const override {
    CodingPlace place = place_;
    const CodingPlace::Step step(place, key);
    throw error(place, problem);
  }

private:
  /// An object and what has become of it: nothing, as long as it is being written.
  struct Written {
    std::shared_ptr<const NSObject> object;  // kept, so that no other one gets its address
    Value form;
  };

  [[noreturn]] static void raiseWrites() {
    throw NSException(NSInvalidArgumentException, "A coder that writes cannot be read from");
  }

  static NSError error(const CodingPlace& place, std::string_view problem) {
    return place.error(NSPropertyListWriteInvalidError, "archived", problem);
  }

  Value encoded(const Value& value) {
    if (place_.isTooDeep()) throw error(place_, "it is nested too deeply");
    switch (value.kind()) {
      case ValueKind::text: requireUTF8(*value.text()); return value;
      case ValueKind::number:
      case ValueKind::data:
      case ValueKind::date: return value;
      case ValueKind::array: return encodedArray(value.array());
      case ValueKind::dictionary: return encodedDictionary(value.dictionary());
      case ValueKind::object: return encodedReference(value.object());
      default: throw error(place_, "values of its kind have no form in an archive");
    }
  }

  // The property list would refuse it as well, but by its place in there.
  void requireUTF8(std::string_view text) const {
    if (!isValidUTF8(text)) throw error(place_, "it has text that is not valid UTF-8");
  }

  Value encodedArray(const Array& elements) {
    Array forms;
    forms.reserve(elements.size());
    for (std::size_t index = 0; index < elements.size(); ++index) {
      const CodingPlace::Step step(place_, index);
      forms.append(encoded(elements[index]));
    }
    return forms;
  }

  Value encodedDictionary(const Dictionary& entries) {
    Dictionary forms;
    for (const auto& [key, value] : entries) {
      if (key.text() == nullptr) throw error(place_, "it has a key that is no text");
      requireUTF8(*key.text());
      const CodingPlace::Step step(place_, *key.text());
      forms.set(key, encoded(value));
    }
    return Dictionary{{detail::archiveDictionaryMark, forms}};
  }

  Value encodedReference(const std::shared_ptr<NSObject>& object) {
    const auto [known, isNew] = indexes_.try_emplace(object.get(), objects_.size());
    const std::size_t index = known->second;
    if (isNew) {
      objects_.push_back({object, {}});
      Value form = encodedObject(*object);
      objects_[index].form = std::move(form);
    } else if (objects_[index].form.isNothing()) {
      throw error(place_, "the object holds itself, or could not be archived");
    }
    return Dictionary{{detail::archiveObjectMark, index}};
  }

  Value encodedObject(const NSObject& object) {
    const auto* coding = dynamic_cast<const NSSecureCoding*>(&object);
    const NSClass& cls = object.dynamicClass();
    if (coding == nullptr || !cls.describes(typeid(object)) || !cls.isMadeByName()) {
      throw error(place_, "objects of the class \"" + object.className() + "\" do not code themselves");
    }
    const detail::OpenObject open(openObjects_);
    coding->encodeWithCoder(*this);
    return Dictionary{{detail::archiveClassKey, cls.name()}, {detail::archiveValuesKey, open.values()}};
  }

  CodingPlace place_;
  detail::OpenObjects openObjects_;
  std::vector<Written> objects_;
  std::unordered_map<const NSObject*, std::size_t> indexes_;
};

}  // namespace

std::optional<NSData> NSKeyedArchiver::archivedDataWithRootObject(const Value& root,
                                                                  std::optional<NSError>* error,
                                                                  PropertyListFormat format) {
  try {
    return dataFromPropertyList(ArchiveWriter().archive(root), format);
  } catch (const NSError& failure) {
    if (error != nullptr) *error = failure;
    return {};
  }
}

}  // namespace QVFoundation
