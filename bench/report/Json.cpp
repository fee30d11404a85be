#include "report/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace orvo::bench {
namespace {

constexpr size_t kLineLength = 130;
constexpr int kMostBrackets = 64;

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      quoted += fmt::format("\\u{:04x}", static_cast<unsigned char>(c));
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

std::string NumberText(double number) {
  if (!std::isfinite(number)) return "null";
  if (number == std::floor(number) && std::abs(number) < 1e15)
    return fmt::format("{}", static_cast<int64_t>(number));
  return fmt::format("{:.6g}", number);
}

void AppendUtf8(std::string& text, uint32_t code) {
  const auto add = [&text](uint32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) return add(code);
  if (code < 0x800) {
    add(0xc0 | code >> 6);
  } else {
    if (code < 0x10000) {
      add(0xe0 | code >> 12);
    } else {
      add(0xf0 | code >> 18);
      add(0x80 | (code >> 12 & 0x3f));
    }
    add(0x80 | (code >> 6 & 0x3f));
  }
  add(0x80 | (code & 0x3f));
}

class Parser {
 public:
  explicit Parser(std::string_view text) : szText(text) {}

  bool Whole(Json& value) {
    if (!Value(value, 0)) return false;
    SkipBlanks();
    return nAt == szText.size() || Fail("more text behind the end");
  }

  std::string Error() const {
    const auto line = 1 + std::count(szText.begin(), szText.begin() + static_cast<std::ptrdiff_t>(nAt), '\n');
    return fmt::format("line {}: {}", line, szError);
  }

 private:
  bool Fail(const char* why) {
    szError = why;
    return false;
  }
  void SkipBlanks() {
    while (nAt < szText.size() && std::string_view(" \t\r\n").find(szText[nAt]) != std::string_view::npos)
      ++nAt;
  }
  char Next() const { return nAt < szText.size() ? szText[nAt] : '\0'; }
  bool Take(std::string_view word) {
    if (szText.substr(nAt, word.size()) != word) return false;
    nAt += word.size();
    return true;
  }

  bool Value(Json& value, int depth) {
    if (depth > kMostBrackets) return Fail("too many brackets");
    SkipBlanks();
    if (Next() == '{') return Members(value, depth);
    if (Next() == '[') return Elements(value, depth);
    if (Next() == '"') {
      std::string text;
      if (!String(text)) return false;
      value = Json(std::move(text));
      return true;
    }
    if (Take("true")) return value = Json(true), true;
    if (Take("false")) return value = Json(false), true;
    if (Take("null")) return value = Json(), true;
    return Number(value);
  }

  bool Members(Json& value, int depth) {
    Json::Object object;
    ++nAt;
    SkipBlanks();
    while (!Take("}")) {
      if (!object.empty() && !Take(",")) return Fail("a comma or } is missing");
      SkipBlanks();
      std::string name;
      if (!String(name)) return false;
      SkipBlanks();
      if (!Take(":")) return Fail("a colon is missing");
      if (!Value(object.emplace_back(std::move(name), Json()).second, depth + 1)) return false;
      SkipBlanks();
    }
    value = Json(std::move(object));
    return true;
  }

  bool Elements(Json& value, int depth) {
    Json::List list;
    ++nAt;
    SkipBlanks();
    while (!Take("]")) {
      if (!list.empty() && !Take(",")) return Fail("a comma or ] is missing");
      if (!Value(list.emplace_back(), depth + 1)) return false;
      SkipBlanks();
    }
    value = Json(std::move(list));
    return true;
  }

  bool String(std::string& text) {
    if (!Take("\"")) return Fail("a text in quotes is missing");
    while (nAt < szText.size()) {
      const char c = szText[nAt++];
      if (c == '"') return true;
      if (static_cast<unsigned char>(c) < 0x20) break;
      if (c != '\\') {
        text += c;
      } else if (!Escape(text)) {
        return false;
      }
    }
    return Fail("a text does not end");
  }

  bool Escape(std::string& text) {
    constexpr std::string_view kMarks = "\"\\/bfnrt", kMeant = "\"\\/\b\f\n\r\t";
    const char mark = Next();
    ++nAt;
    if (const size_t k = kMarks.find(mark); k != std::string_view::npos) {
      text += kMeant[k];
      return true;
    }
    uint32_t code = 0, low = 0;
    if (mark != 'u' || !FourDigits(code)) return FailEscape();
    if (code >= 0xd800 && code < 0xe000) {
      if (code >= 0xdc00 || !Take("\\u") || !FourDigits(low) || low < 0xdc00 || low >= 0xe000)
        return FailEscape();
      code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
    }
    AppendUtf8(text, code);
    return true;
  }
  bool FailEscape() {
    nAt = std::min(nAt, szText.size());
    return Fail("an unknown escape");
  }

  bool FourDigits(uint32_t& code) {
    const std::string_view digits = szText.substr(std::min(nAt, szText.size()), 4);
    const auto [end, status] = std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
    if (digits.size() < 4 || status != std::errc() || end != digits.data() + 4) return false;
    nAt += 4;
    return true;
  }

  size_t Digits() {
    const size_t begin = nAt;
    while (Next() >= '0' && Next() <= '9') ++nAt;
    return nAt - begin;
  }

  bool Number(Json& value) {
    const size_t begin = nAt;
    Take("-");
    const bool zero = Next() == '0';
    const size_t whole = Digits();
    if (whole == 0 || (zero && whole > 1)) return Fail("no value");
    if (Take(".") && Digits() == 0) return Fail("no digit behind the point");
    if (Take("e") || Take("E")) {
      if (!Take("+")) Take("-");
      if (Digits() == 0) return Fail("no digit in the exponent");
    }
    double number = 0;
    const auto result = std::from_chars(szText.data() + begin, szText.data() + nAt, number);
    if (result.ec != std::errc()) return Fail("a number beyond all bounds");
    value = Json(number);
    return true;
  }

  std::string_view szText;
  size_t nAt = 0;
  std::string szError;
};

}  // namespace

const Json& Json::operator[](std::string_view name) const {
  static const Json null;
  for (const auto& [known, value] : AsObject()) {
    if (known == name) return value;
  }
  return null;
}

const Json::List& Json::AsList() const {
  static const List none;
  const List* list = std::get_if<List>(&Content);
  return list ? *list : none;
}

const Json::Object& Json::AsObject() const {
  static const Object none;
  const Object* object = std::get_if<Object>(&Content);
  return object ? *object : none;
}

std::string Json::Compact() const {
  if (const double* number = AsNumber()) return NumberText(*number);
  if (const std::string* text = AsText()) return Quoted(*text);
  if (const bool* value = std::get_if<bool>(&Content)) return *value ? "true" : "false";
  if (IsNull()) return "null";
  std::string inside;
  for (const Json& element : AsList()) inside += (inside.empty() ? "" : ", ") + element.Compact();
  for (const auto& [name, value] : AsObject())
    inside += (inside.empty() ? "" : ", ") + Quoted(name) + ": " + value.Compact();
  return IsObject() ? "{" + inside + "}" : "[" + inside + "]";
}

std::string Json::Lines(size_t indent, size_t keyLength) const {
  std::string compact = Compact();
  if ((!IsList() && !IsObject()) || indent + keyLength + compact.size() <= kLineLength) return compact;
  std::vector<std::string> pieces;
  for (const Json& element : AsList()) pieces.push_back(element.Lines(indent + 1, 0));
  for (const auto& [name, value] : AsObject()) {
    const std::string key = Quoted(name) + ": ";
    pieces.push_back(key + value.Lines(indent + 1, key.size()));
  }
  std::string text(1, IsList() ? '[' : '{');
  size_t length = kLineLength;  // of the line so far
  for (size_t k = 0; k < pieces.size(); ++k) {
    const bool single = pieces[k].find('\n') == std::string::npos;
    if (single && length + pieces[k].size() + 2 <= kLineLength) {
      text += ' ';
    } else {
      text += '\n' + std::string(indent + 1, ' ');
      length = indent;
    }
    text += pieces[k] + (k + 1 < pieces.size() ? "," : "");
    length = single ? length + pieces[k].size() + 2 : kLineLength;
  }
  return text + '\n' + std::string(indent, ' ') + (IsList() ? ']' : '}');
}

std::string Json::Text() const { return Lines(0, 0) + '\n'; }

bool ParseJson(std::string_view text, Json& value, std::string& error) {
  Parser parser(text);
  if (parser.Whole(value)) return true;
  error = parser.Error();
  return false;
}

}  // namespace orvo::bench
