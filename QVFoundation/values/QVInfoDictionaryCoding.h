#pragma once

#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/MadeByName.h"

namespace QVFoundation {

/// How objects of a class become info dictionaries and come back; see `QVInfoDictionary.h`. A class derives
/// from it beside `NSObject` and says which of its properties are written:
///
/// ```cpp
/// class Track : public NSObject, public QVInfoDictionaryCoding {
/// public:
///   std::vector<std::string> infoDictionaryPropertyKeys() const override { return {"title", "rating"}; }
///   ...
/// };
/// ```
///
/// Only a class that derives from it, or from `MadeByName`, is rebuilt from its name.
///
/// Threads: called on the thread that writes or reads the object.
class QV_EXPORT QVInfoDictionaryCoding : public MadeByName {
public:
  virtual ~QVInfoDictionaryCoding();

  /// The keys of the properties that are written, by default none.
  [[nodiscard]] virtual std::vector<std::string> infoDictionaryPropertyKeys() const;
  /// The keys of those that must be set before all others, in this order; by default none.
  [[nodiscard]] virtual std::vector<std::string> propertyOrder() const;

  /// What is written. Who overrides it adds entries to what this one gives.
  [[nodiscard]] virtual Dictionary infoDictionary() const;
  /// Fills an object that has just been made; by default with `configureWithInfoDictionary`. False where no
  /// object can be made of what it reads.
  virtual bool initWithInfoDictionary(const Dictionary& info);
  /// Sets the properties that the info dictionary has. What cannot be set is passed over.
  virtual void configureWithInfoDictionary(const Dictionary& info);

protected:
  QVInfoDictionaryCoding() = default;
  QVInfoDictionaryCoding(const QVInfoDictionaryCoding&) = default;
  QVInfoDictionaryCoding& operator=(const QVInfoDictionaryCoding&) = default;
};

}  // namespace QVFoundation
