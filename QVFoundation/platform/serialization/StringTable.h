#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"

/// String tables: files that give each key the text that people read in one language.
///
/// ```text
/// /* The title of the main window */
/// "library" = "Mediathek";
/// "%@ tracks" = "%@ Titel";   // a line comment
/// play = Wiedergabe;          // single words need no quotes
/// "OK";                       // stands for itself
/// ```
///
/// Texts may run over lines and know the escapes \n \t \r \a \b \f \v \" \' \\, \101 (octal), \u00E4 or
/// \U00E4 (UTF-16 units in hexadecimal), and a backslash before the end of a line, which joins the lines. Any
/// other character after a backslash stands for itself.
///
/// Threads: functions without state; call them from any thread.
/// Errors: see each function.
namespace QVFoundation {

/// The table in the bytes: one like the above in UTF-8 or UTF-16, or a property list of either form. Of equal
/// keys the last one counts.
///
/// Throws `NSPropertyListReadCorruptError` in `NSCocoaErrorDomain`, with line and column of what is wrong.
[[nodiscard]] QV_EXPORT Dictionary stringTableFromData(std::span<const std::byte> data);

/// The table in a file; nothing, and the reason in `error`, where there is none or the file has more than
/// 256 MiB.
[[nodiscard]] QV_EXPORT std::optional<Dictionary> stringTableFromFile(
    const std::filesystem::path& path, std::optional<NSError>* error = nullptr);

/// One localisation of a localisation table: a property list that holds the string tables of all
/// localisations, each under its name. Empty where the table has no such localisation.
[[nodiscard]] QV_EXPORT Dictionary localizationInTable(const Dictionary& table,
                                                       std::string_view localization);

}  // namespace QVFoundation
