#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSCoder.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/NSSecureCoding.h"
#include "QVFoundation/values/QVInfoDictionaryCoding.h"

namespace QVFoundation::fuzzing {

/// An object with properties of several kinds, which can be reached by key paths, archived and made by its name.
///
/// Threads: one at a time.
class Shelf final : public NSObject, public NSSecureCoding, public QVInfoDictionaryCoding {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls =
        *new NSClass(NSClass::define<Shelf>("Shelf", NSObject::staticClass())
                         .property("label", &Shelf::label, &Shelf::setLabel)
                         .property("width", &Shelf::width, &Shelf::setWidth)
                         .property("next", &Shelf::next, &Shelf::setNext)
                         .property("things", &Shelf::things, &Shelf::setThings)
                         .property("info", &Shelf::info, &Shelf::setInfo)
                         .readOnly("isWide", [](const Shelf& self) { return self.width_ > 100; }));
    return cls;
  }
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }
  [[nodiscard]] std::vector<std::string> infoDictionaryPropertyKeys() const override {
    return {"label", "width", "next", "things"};
  }

  [[nodiscard]] const std::string& label() const { return label_; }
  [[nodiscard]] int width() const { return width_; }
  [[nodiscard]] std::shared_ptr<Shelf> next() const { return next_; }
  [[nodiscard]] const std::vector<Value>& things() const { return things_; }
  [[nodiscard]] const Dictionary& info() const { return info_; }
  void setLabel(std::string label) { set("label", label_, std::move(label)); }
  void setWidth(int width) { set("width", width_, width); }
  void setNext(std::shared_ptr<Shelf> next) { set("next", next_, std::move(next)); }
  void setThings(std::vector<Value> things) { set("things", things_, std::move(things)); }
  void setInfo(Dictionary info) { set("info", info_, std::move(info)); }

  void encodeWithCoder(NSCoder& coder) const override {
    coder.encodeObject(label_, "label");
    coder.encodeObject(width_, "width");
    coder.encodeObject(next_, "next");
    coder.encodeObject(things_, "things");
  }
  void initWithCoder(NSCoder& coder) override {
    label_ = coder.decodeObject<std::string>("label").value_or("");
    width_ = coder.decodeObject<int>("width").value_or(0);
    next_ = coder.decodeObject<std::shared_ptr<Shelf>>("next").value_or(nullptr);
    things_ = coder.decodeObject<std::vector<Value>>("things").value_or(std::vector<Value>());
  }

private:
  template <class T>
  void set(const char* key, T& member, T value) {
    const ChangeNotice notice(*this, key);
    member = std::move(value);
  }

  std::string label_;
  int width_ = 0;
  std::shared_ptr<Shelf> next_;
  std::vector<Value> things_;
  Dictionary info_;
};

}  // namespace QVFoundation::fuzzing
