#pragma once

#include <string>
#include <typeinfo>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// The readable name of a C++ type, such as "Library::Track<int>". Of what `std::throw_with_nested` threw it
/// is the name of the exception that it was given.
///
/// Threads: safe from any thread.
[[nodiscard]] QV_EXPORT std::string typeName(const std::type_info& type);

/// The name without namespaces and template arguments: "Track".
[[nodiscard]] QV_EXPORT std::string unqualifiedTypeName(const std::type_info& type);

/// The name with its namespaces separated by dots: "Library.Track<int>".
[[nodiscard]] QV_EXPORT std::string dottedTypeName(const std::type_info& type);

/// The readable form of a symbol of the C++ ABI; a text that is none comes back unchanged.
[[nodiscard]] QV_EXPORT std::string demangledSymbol(const char* symbol);

}  // namespace QVFoundation
