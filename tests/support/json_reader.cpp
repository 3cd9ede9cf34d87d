#include "support/json_reader.h"

#include <cstdint>
#include <cstdlib>

namespace {

class Json_Reader {
 public:
  explicit Json_Reader(const std::string& text) : text_(text) {}

  bool Document(Json_Value* value) {
    Skip_Space();
    if (!Value(value, 0)) return false;
    Skip_Space();
    if (at_ != text_.size()) return Fail("text after the value");
    return true;
  }

  const std::string& Error() const { return error_; }

 private:
  static const int kMaximum_Depth = 256;

  bool Fail(const std::string& reason) {
    if (error_.empty()) error_ = reason + " at byte " + std::to_string(at_);
    return false;
  }

  bool At_End() const { return at_ >= text_.size(); }
  char Peek() const { return At_End() ? '\0' : text_[at_]; }

  void Skip_Space() {
    while (!At_End() && (Peek() == ' ' || Peek() == '\t' || Peek() == '\n' || Peek() == '\r')) ++at_;
  }

  bool Literal(const char* word) {
    const std::string expected = word;
    if (text_.compare(at_, expected.size(), expected) != 0) return Fail("unknown literal");
    at_ += expected.size();
    return true;
  }

  bool Value(Json_Value* value, int depth) {
    if (depth > kMaximum_Depth) return Fail("nested too deeply");
    *value = Json_Value();
    switch (Peek()) {
      case '{':
        return Object(value, depth);
      case '[':
        return Array(value, depth);
      case '"':
        value->kind = Json_Value::String;
        return String(&value->text);
      case 't':
        value->kind = Json_Value::Boolean;
        value->boolean = true;
        return Literal("true");
      case 'f':
        value->kind = Json_Value::Boolean;
        return Literal("false");
      case 'n':
        return Literal("null");
      default:
        value->kind = Json_Value::Number;
        return Number(&value->number);
    }
  }

  bool Object(Json_Value* value, int depth) {
    value->kind = Json_Value::Object;
    ++at_;
    Skip_Space();
    if (Peek() == '}') {
      ++at_;
      return true;
    }
    for (;;) {
      Skip_Space();
      if (Peek() != '"') return Fail("object key expected");
      std::string key;
      if (!String(&key)) return false;
      Skip_Space();
      if (Peek() != ':') return Fail("':' expected");
      ++at_;
      Skip_Space();
      Json_Value member;
      if (!Value(&member, depth + 1)) return false;
      value->members.emplace_back(key, member);
      Skip_Space();
      if (Peek() == ',') {
        ++at_;
        continue;
      }
      if (Peek() == '}') {
        ++at_;
        return true;
      }
      return Fail("',' or '}' expected");
    }
  }

  bool Array(Json_Value* value, int depth) {
    value->kind = Json_Value::Array;
    ++at_;
    Skip_Space();
    if (Peek() == ']') {
      ++at_;
      return true;
    }
    for (;;) {
      Skip_Space();
      Json_Value item;
      if (!Value(&item, depth + 1)) return false;
      value->items.push_back(item);
      Skip_Space();
      if (Peek() == ',') {
        ++at_;
        continue;
      }
      if (Peek() == ']') {
        ++at_;
        return true;
      }
      return Fail("',' or ']' expected");
    }
  }

  bool Number(double* number) {
    const size_t start = at_;
    if (Peek() == '-') ++at_;
    if (Peek() == '0') {
      ++at_;
    } else if (Peek() >= '1' && Peek() <= '9') {
      while (Peek() >= '0' && Peek() <= '9') ++at_;
    } else {
      return Fail("value expected");
    }
    if (Peek() == '.') {
      ++at_;
      if (!(Peek() >= '0' && Peek() <= '9')) return Fail("digit expected after '.'");
      while (Peek() >= '0' && Peek() <= '9') ++at_;
    }
    if (Peek() == 'e' || Peek() == 'E') {
      ++at_;
      if (Peek() == '+' || Peek() == '-') ++at_;
      if (!(Peek() >= '0' && Peek() <= '9')) return Fail("digit expected in exponent");
      while (Peek() >= '0' && Peek() <= '9') ++at_;
    }
    *number = strtod(text_.substr(start, at_ - start).c_str(), nullptr);
    return true;
  }

  bool Hex4(uint32_t* unit) {
    if (text_.size() - at_ < 4) return Fail("short \\u escape");
    *unit = 0;
    for (int i = 0; i < 4; ++i) {
      char c = text_[at_++];
      uint32_t digit = 0;
      if (c >= '0' && c <= '9') {
        digit = c - '0';
      } else if (c >= 'a' && c <= 'f') {
        digit = c - 'a' + 10;
      } else if (c >= 'A' && c <= 'F') {
        digit = c - 'A' + 10;
      } else {
        return Fail("bad \\u escape");
      }
      *unit = (*unit << 4) | digit;
    }
    return true;
  }

  static void Append_Utf8(uint32_t code, std::string* out) {
    if (code < 0x80) {
      out->push_back(static_cast<char>(code));
    } else if (code < 0x800) {
      out->push_back(static_cast<char>(0xC0 | (code >> 6)));
      out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
      out->push_back(static_cast<char>(0xE0 | (code >> 12)));
      out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
      out->push_back(static_cast<char>(0xF0 | (code >> 18)));
      out->push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
      out->push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
  }

  // One UTF-8 sequence copied through; false if it is not valid UTF-8.
  bool Utf8(std::string* out) {
    const unsigned char lead = static_cast<unsigned char>(text_[at_]);
    size_t length = 0;
    uint32_t code = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
      code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      code = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      code = lead & 0x07;
    } else {
      return Fail("not UTF-8");
    }
    if (text_.size() - at_ < length) return Fail("cut UTF-8 sequence");
    for (size_t i = 1; i < length; ++i) {
      const unsigned char next = static_cast<unsigned char>(text_[at_ + i]);
      if ((next & 0xC0) != 0x80) return Fail("not UTF-8");
      code = (code << 6) | (next & 0x3F);
    }
    const uint32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < smallest[length] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return Fail("not UTF-8");
    out->append(text_, at_, length);
    at_ += length;
    return true;
  }

  bool String(std::string* out) {
    ++at_;
    out->clear();
    for (;;) {
      if (At_End()) return Fail("unterminated string");
      const unsigned char c = static_cast<unsigned char>(text_[at_]);
      if (c == '"') {
        ++at_;
        return true;
      }
      if (c < 0x20) return Fail("control character in string");
      if (c >= 0x80) {
        if (!Utf8(out)) return false;
        continue;
      }
      ++at_;
      if (c != '\\') {
        out->push_back(static_cast<char>(c));
        continue;
      }
      if (At_End()) return Fail("unterminated escape");
      const char escape = text_[at_++];
      switch (escape) {
        case '"':
          out->push_back('"');
          break;
        case '\\':
          out->push_back('\\');
          break;
        case '/':
          out->push_back('/');
          break;
        case 'b':
          out->push_back('\b');
          break;
        case 'f':
          out->push_back('\f');
          break;
        case 'n':
          out->push_back('\n');
          break;
        case 'r':
          out->push_back('\r');
          break;
        case 't':
          out->push_back('\t');
          break;
        case 'u': {
          uint32_t unit = 0;
          if (!Hex4(&unit)) return false;
          if (unit >= 0xDC00 && unit <= 0xDFFF) return Fail("lone low surrogate");
          if (unit >= 0xD800 && unit <= 0xDBFF) {
            uint32_t low = 0;
            if (text_.compare(at_, 2, "\\u") != 0) return Fail("lone high surrogate");
            at_ += 2;
            if (!Hex4(&low)) return false;
            if (low < 0xDC00 || low > 0xDFFF) return Fail("high surrogate without a low one");
            unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
          }
          Append_Utf8(unit, out);
          break;
        }
        default:
          return Fail("unknown escape");
      }
    }
  }

  const std::string& text_;
  size_t at_ = 0;
  std::string error_;
};

}  // namespace

const Json_Value* Json_Value::Find(const std::string& key) const {
  if (kind != Object) return nullptr;
  for (const auto& member : members) {
    if (member.first == key) return &member.second;
  }
  return nullptr;
}

bool Json_Parse(const std::string& text, Json_Value* value, std::string* error) {
  Json_Reader reader(text);
  if (reader.Document(value)) return true;
  if (error != nullptr) *error = reader.Error();
  return false;
}
