#pragma once

#include <cstdint>
#include <string_view>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// Receives a tree of values as a sequence of events, so that nobody has to build the tree.
///
/// `{"sizes": [1, 2.5]}` arrives as
///
/// ```text
/// beginDictionary, key "sizes", beginArray, integer 1, real 2.5, endArray, endDictionary
/// ```
///
/// `parseJSON` and `visit` produce events; `JSONWriter` and `ValueBuilder` consume them. Types of your own
/// take part by doing either. A producer sends one value, well nested, with a key before each value of a
/// dictionary; a consumer may rely on that. Texts are lent: they last as long as the call.
///
/// Threads: one producer at a time drives a sink, from any thread.
/// Errors: a sink may throw; producers stop at once and let the exception through unchanged.
class QV_EXPORT StructureSink {
public:
  StructureSink(const StructureSink&) = delete;
  StructureSink& operator=(const StructureSink&) = delete;
  virtual ~StructureSink();

  virtual void beginDictionary() = 0;
  virtual void key(std::string_view key) = 0;
  virtual void endDictionary() = 0;

  virtual void beginArray() = 0;
  virtual void endArray() = 0;

  virtual void text(std::string_view text) = 0;
  virtual void integer(std::int64_t number) = 0;
  /// An integer that may lie beyond the signed ones. JSON's parser sends only those here that do.
  virtual void unsignedInteger(std::uint64_t number) = 0;
  virtual void real(double number) = 0;
  virtual void boolean(bool truth) = 0;
  virtual void null() = 0;

protected:
  StructureSink() = default;
};

}  // namespace QVFoundation
