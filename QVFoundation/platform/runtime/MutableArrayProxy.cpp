#include "QVFoundation/platform/runtime/MutableArrayProxy.h"

#include "QVFoundation/platform/runtime/ChangeDelivery_p.h"
#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

MutableArrayProxy mutableArrayValueForKey(NSObject& object, std::string_view key) {
  const NSProperty* property = object.dynamicClass().property(key);
  if (property == nullptr) throw undefinedKeyException(object, key);
  if (!property->elements || !property->elements->insert) {
    throw NSException(
        NSInvalidArgumentException,
        stringWithFormat("\"%@\" of %@ is no list that can be edited", key, object.shortDescription()));
  }
  return {object, *property};
}

std::size_t MutableArrayProxy::size() const { return property_.elements->count(object_); }

Value MutableArrayProxy::operator[](std::size_t index) const {
  checkIndex(index, size());
  return property_.elements->at(object_, index);
}

Array MutableArrayProxy::array() const { return property_.get(object_).array(); }

void MutableArrayProxy::insert(std::size_t index, const Value& element) {
  checkIndex(index, size() + 1);
  checkElement(element);
  const ToManyChangeNotice notice(object_, property_.name, NSKeyValueChangeKind::insertion, {index});
  const detail::QuietProperty quiet(object_, property_.name);
  property_.elements->insert(object_, index, element);
}

void MutableArrayProxy::replace(std::size_t index, const Value& element) {
  checkIndex(index, size());
  checkElement(element);
  const ToManyChangeNotice notice(object_, property_.name, NSKeyValueChangeKind::replacement, {index});
  const detail::QuietProperty quiet(object_, property_.name);
  property_.elements->replace(object_, index, element);
}

void MutableArrayProxy::remove(const IndexSet& indexes) {
  if (indexes.empty()) return;
  checkIndex(*indexes.last(), size());
  const ToManyChangeNotice notice(object_, property_.name, NSKeyValueChangeKind::removal, indexes);
  const detail::QuietProperty quiet(object_, property_.name);
  property_.elements->remove(object_, indexes);
}

void MutableArrayProxy::checkIndex(std::size_t index, std::size_t limit) const {
  if (index < limit) return;
  throw NSException(NSRangeException,
                    stringWithFormat("Index %zu of \"%@\" of %@ lies behind its %zu elements", index,
                                     property_.name, object_.shortDescription(), size()));
}

void MutableArrayProxy::checkElement(const Value& element) const {
  if (property_.elements->fits(element)) return;
  throw NSException(NSInvalidArgumentException, stringWithFormat("%@ does not fit into \"%@\" of %@", element,
                                                                 property_.name, object_.shortDescription()));
}

}  // namespace QVFoundation
