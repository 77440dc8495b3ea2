#include <locale>
#include <streambuf>

#include "QVFoundation/platform/text/FormatWriters_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

namespace {

/// Appends all that is written to a stream.
class AppendingBuffer final : public std::streambuf {
public:
  explicit AppendingBuffer(std::string& out) : out_(out) {}

protected:
  int_type overflow(int_type c) override {
    if (!traits_type::eq_int_type(c, traits_type::eof())) out_ += traits_type::to_char_type(c);
    return traits_type::not_eof(c);
  }

  std::streamsize xsputn(const char* text, std::streamsize size) override {
    out_.append(text, static_cast<std::size_t>(size));
    return size;
  }

private:
  std::string& out_;
};

std::string_view cut(const FormatSpec& spec, std::string_view text) {
  if (!spec.hasPrecision() || !spec.takesText()) return text;
  return prefixOfCodePoints(text, static_cast<std::size_t>(spec.precision));
}

/// How many blanks give the text the width of the directive.
std::size_t paddingOf(const FormatSpec& spec, std::string_view text) {
  if (spec.width == 0) return 0;
  const std::size_t length = codePointCount(text);
  return spec.width > length ? spec.width - length : 0;
}

}  // namespace

void appendPadded(FormatOutput& out, const FormatSpec& spec, std::string_view text) {
  const std::size_t padding = paddingOf(spec, text);
  if (!spec.left) out.append(padding, ' ');
  out.append(text);
  if (spec.left) out.append(padding, ' ');
}

void appendText(FormatOutput& out, const FormatSpec& spec, std::string_view text) {
  if (spec.isPlain) return out.append(text);
  appendPadded(out, spec, cut(spec, text));
}

void appendObject(FormatOutput& out, const FormatSpec& spec, const FormatArgument& object) {
  std::string& text = out.flush();
  const std::size_t start = text.size();
  object.appendDescription(text, spec.locale);
  if (spec.isPlain) return;
  text.resize(start + cut(spec, std::string_view(text).substr(start)).size());
  const std::size_t padding = paddingOf(spec, std::string_view(text).substr(start));
  text.insert(spec.left ? text.size() : start, padding, ' ');
}

void appendCharacter(FormatOutput& out, const FormatSpec& spec, std::uint64_t number) {
  std::string character;
  appendUTF8(character, number <= 0x10FFFF ? static_cast<char32_t>(number) : replacementCharacter);
  appendPadded(out, spec, character);
}

void appendWideText(std::string& out, std::u16string_view text) { appendUTF8(out, text); }

void appendWideText(std::string& out, std::u32string_view text) {
  for (const char32_t codePoint : text) appendUTF8(out, codePoint);
}

void appendWideText(std::string& out, std::wstring_view text) {
  for (const wchar_t codePoint : text) appendUTF8(out, static_cast<char32_t>(codePoint));
}

void appendStreamed(std::string& out, void (*stream)(std::ostream& out, const void* object),
                    const void* object) {
  AppendingBuffer buffer(out);
  std::ostream to(&buffer);
  to.imbue(std::locale::classic());
  stream(to, object);
}

}  // namespace QVFoundation::detail
