#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace QVFoundation::detail {

/// Takes the XML of a property list apart into tags and texts. It knows what such files contain: no
/// namespaces, no entities but the five of XML, attributes only to skip them.
///
/// Threads: one thread.
/// Errors: what is no such XML is an `NSError` that names line and column.
class XMLScanner {
public:
  struct Tag {
    enum class Kind { opening, closing, empty };
    Kind kind;
    std::string_view name;
    std::size_t offset;

    [[nodiscard]] bool closes() const noexcept { return kind == Kind::closing; }
  };

  /// The text must outlive the scanner and be UTF-8, whatever it declares.
  explicit XMLScanner(std::string_view text) : text_(text) {}

  /// The next tag. Only white space, comments and the like may stand before it.
  Tag nextTag();
  /// The text up to the next tag, with its references replaced and its line ends made LF.
  std::string textContent();
  /// Whether nothing but comments and white space is left.
  bool isAtEnd();

  [[nodiscard]] std::size_t offset() const noexcept { return at_; }
  [[noreturn]] void fail(std::size_t offset, std::string_view problem) const;

private:
  [[nodiscard]] bool isAt(std::string_view token) const noexcept {
    return text_.substr(at_).starts_with(token);
  }
  void skipBlanks() noexcept;
  void skipPast(std::size_t beginning, std::string_view end, std::string_view problem);
  void skipComment();
  bool skipAside();
  void skipDocumentType();
  void skipQuoted(char quote);
  std::string_view scanName() noexcept;
  void appendReference(std::string& out);

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace QVFoundation::detail
