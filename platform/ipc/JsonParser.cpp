#include "JsonParser.h"

#include <TalvoCppUtils/Utf8.h>

#include <charconv>
#include <cstdint>
#include <limits>

#include "JsonPlainText.h"

namespace IPC {
namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string MoreThan(std::size_t limit, const char* what) {
  return "more than " + std::to_string(limit) + " " + what;
}

// The value of a number whose size no double can hold: 0 if it is too small, the largest double
// if it is too large. `text` is the number without sign.
double ClampReal(std::string_view text) {
  const std::size_t e = text.find_first_of("eE");
  long exponent = 0;
  if (e != std::string_view::npos) {
    std::size_t digits = e + 1 + (text[e + 1] == '+' ? 1 : 0);
    const auto result = std::from_chars(text.data() + digits, text.data() + text.size(), exponent);
    if (result.ec != std::errc()) exponent = text[digits] == '-' ? -1000000000 : 1000000000;
  }
  const std::string_view mantissa = text.substr(0, e);
  const long point = static_cast<long>(std::min(mantissa.find('.'), mantissa.size()));
  const std::size_t first = mantissa.find_first_of("123456789");
  if (first == std::string_view::npos) return 0;
  return point - static_cast<long>(first) + exponent > 0 ? std::numeric_limits<double>::max() : 0;
}

// A recursive descent over one text. The depth of recursion is that of the nesting, so bounded.
class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  bool Parse(Json::Value& value, std::string& error) {
    if (ParseValue(value) && ParseEnd()) return true;
    value = Json::Value();
    error = error_ + " at byte " + std::to_string(at_ + 1);
    return false;
  }

 private:
  bool Fail(std::string error) {
    error_ = std::move(error);
    return false;
  }

  bool AtEnd() const { return at_ == text_.size(); }
  bool Is(char c) const { return !AtEnd() && text_[at_] == c; }

  bool Skip(char c) {
    if (!Is(c)) return false;
    ++at_;
    return true;
  }

  void SkipBlanks() {
    while (Is(' ') || Is('\t') || Is('\r') || Is('\n')) ++at_;
  }

  bool ParseEnd() {
    SkipBlanks();
    return AtEnd() || Fail("unexpected text after the value");
  }

  bool ParseValue(Json::Value& value) {
    SkipBlanks();
    if (AtEnd()) return Fail("unexpected end");
    if (++values_ > kMaxValues) return Fail(MoreThan(kMaxValues, "values"));
    switch (text_[at_]) {
      case '{':
        return Descend() && ParseObject(value);
      case '[':
        return Descend() && ParseArray(value);
      case '"':
        return ParseStringValue(value);
      case 't':
        return ParseWord("true", Json::Value(true), value);
      case 'f':
        return ParseWord("false", Json::Value(false), value);
      case 'n':
        return ParseWord("null", Json::Value(), value);
      default:
        return ParseNumber(value);
    }
  }

  bool Descend() {
    return ++depth_ <= kMaxNesting || Fail(MoreThan(kMaxNesting, "values within each other"));
  }

  bool ParseWord(std::string_view word, const Json::Value& meaning, Json::Value& value) {
    if (text_.substr(at_, word.size()) != word) return Fail("unexpected text");
    at_ += word.size();
    value = meaning;
    return true;
  }

  bool ParseObject(Json::Value& value) {
    value = Json::Value(Json::objectValue);
    ++at_;
    SkipBlanks();
    if (Skip('}')) return --depth_, true;
    do {
      if (!ParseMember(value)) return false;
      SkipBlanks();
    } while (Skip(','));
    if (!Skip('}')) return Fail("expected ',' or '}'");
    --depth_;
    return true;
  }

  bool ParseMember(Json::Value& object) {
    SkipBlanks();
    if (!Is('"')) return Fail("expected a member's name");
    std::string name;
    if (!ParseString(name)) return false;
    const Json::ArrayIndex members = object.size();
    Json::Value& value = object[name];
    if (object.size() == members) return Fail("a member that stands twice");
    SkipBlanks();
    if (!Skip(':')) return Fail("expected ':'");
    return ParseValue(value);
  }

  bool ParseArray(Json::Value& value) {
    value = Json::Value(Json::arrayValue);
    ++at_;
    SkipBlanks();
    if (Skip(']')) return --depth_, true;
    do {
      if (!ParseValue(value.append(Json::Value()))) return false;
      SkipBlanks();
    } while (Skip(','));
    if (!Skip(']')) return Fail("expected ',' or ']'");
    --depth_;
    return true;
  }

  bool ParseStringValue(Json::Value& value) {
    std::string string;
    if (!ParseString(string)) return false;
    value = Json::Value(string);
    return true;
  }

  bool ParseString(std::string& string) {
    ++at_;
    while (!AtEnd()) {
      const std::size_t plain = PlainLength(text_.substr(at_));
      string.append(text_, at_, plain);
      at_ += plain;
      if (AtEnd()) break;
      const unsigned char c = static_cast<unsigned char>(text_[at_]);
      if (c == '"') return ++at_, true;
      if (c == '\\') {
        if (!ParseEscape(string)) return false;
        continue;
      }
      if (c < 0x20) return Fail("a control byte in a string");
      const std::size_t length = TalvoCppUtils::Utf8SequenceLength(text_.substr(at_));
      if (length == 0) return Fail("invalid UTF-8");
      string.append(text_, at_, length);
      at_ += length;
    }
    return Fail("unexpected end of a string");
  }

  bool ParseEscape(std::string& string) {
    static constexpr char kNames[] = "\"\\/bfnrt";
    static constexpr char kMeanings[] = "\"\\/\b\f\n\r\t";
    ++at_;
    if (AtEnd()) return Fail("unexpected end of a string");
    const char name = text_[at_];
    if (name == 'u') return ParseUnicodeEscape(string);
    const std::size_t index = std::string_view(kNames).find(name);
    if (index == std::string_view::npos) return Fail("unknown escape in a string");
    string += kMeanings[index];
    ++at_;
    return true;
  }

  // At the 'u' of an escape; a surrogate must be followed by its other half.
  bool ParseUnicodeEscape(std::string& string) {
    std::uint32_t unit = 0;
    if (!ParseCodeUnit(unit)) return false;
    if (unit >= 0xDC00 && unit <= 0xDFFF) return Fail("an unpaired surrogate");
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      std::uint32_t low = 0;
      if (text_.substr(at_, 2) != "\\u") return Fail("an unpaired surrogate");
      ++at_;
      if (!ParseCodeUnit(low)) return false;
      if (low < 0xDC00 || low > 0xDFFF) return Fail("an unpaired surrogate");
      unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }
    AppendUtf8(unit, string);
    return true;
  }

  bool ParseCodeUnit(std::uint32_t& unit) {
    const std::string_view digits = text_.substr(at_ + 1, 4);
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16);
    if (digits.size() != 4 || result.ptr != digits.data() + 4)
      return Fail("\\u without four hexadecimal digits");
    at_ += 5;
    return true;
  }

  static void AppendUtf8(std::uint32_t code, std::string& string) {
    const auto append = [&](std::uint32_t byte) { string += static_cast<char>(byte); };
    if (code < 0x80) return append(code);
    if (code < 0x800) {
      append(0xC0 | code >> 6);
    } else {
      if (code < 0x10000) {
        append(0xE0 | code >> 12);
      } else {
        append(0xF0 | code >> 18);
        append(0x80 | (code >> 12 & 0x3F));
      }
      append(0x80 | (code >> 6 & 0x3F));
    }
    append(0x80 | (code & 0x3F));
  }

  bool SkipDigits() {
    const std::size_t start = at_;
    while (!AtEnd() && IsDigit(text_[at_])) ++at_;
    return at_ != start || Fail("expected a digit");
  }

  bool ParseNumber(Json::Value& value) {
    const std::size_t start = at_;
    Skip('-');
    if (AtEnd() || !IsDigit(text_[at_])) return Fail("unexpected text");
    if (Skip('0')) {
      if (!AtEnd() && IsDigit(text_[at_])) return Fail("a number that begins with 0");
    } else if (!SkipDigits()) {
      return false;
    }
    bool integer = true;
    if (Skip('.')) {
      integer = false;
      if (!SkipDigits()) return false;
    }
    if (Is('e') || Is('E')) {
      integer = false;
      ++at_;
      if (!Skip('-')) Skip('+');
      if (!SkipDigits()) return false;
    }
    value = NumberValue(text_.substr(start, at_ - start), integer);
    return true;
  }

  static Json::Value NumberValue(std::string_view text, bool integer) {
    const char* const end = text.data() + text.size();
    if (integer) {
      Json::Int64 number = 0;
      if (std::from_chars(text.data(), end, number).ec == std::errc()) return Json::Value(number);
      Json::UInt64 large = 0;
      if (text[0] != '-' && std::from_chars(text.data(), end, large).ec == std::errc())
        return Json::Value(large);
    }
    double real = 0;
    if (std::from_chars(text.data(), end, real).ec == std::errc()) return Json::Value(real);
    const bool negative = text[0] == '-';
    real = ClampReal(text.substr(negative ? 1 : 0));
    return Json::Value(negative ? -real : real);
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  std::size_t depth_ = 0;
  std::size_t values_ = 0;
  std::string error_;
};

}  // namespace

bool ParseJson(std::string_view text, Json::Value& value, std::string& error) {
  return Parser(text).Parse(value, error);
}

}  // namespace IPC
