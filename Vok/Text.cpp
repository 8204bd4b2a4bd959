#include "Vok/Text.h"

#include <charconv>
#include <cstdlib>

namespace Vok {

namespace {

constexpr char hexDigits[] = "0123456789abcdef";

int hexValue(char c) {
   if (c >= '0' && c <= '9')
      return c - '0';
   if (c >= 'a' && c <= 'f')
      return c - 'a' + 10;
   return -1;
}

bool isWordCharacter(char c) {
   return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

} // namespace

void printQuoted(std::string_view text, String& out) {
   out += '\'';
   for (const char c : text) {
      const auto byte = static_cast<U8>(c);
      if (c == '\'' || c == '\\') {
         out += '\\';
         out += c;
      } else if (c == '\n') {
         out += "\\n";
      } else if (byte < 0x20 || byte > 0x7e) {
         out += "\\x";
         out += hexDigits[byte >> 4];
         out += hexDigits[byte & 15];
      } else {
         out += c;
      }
   }
   out += '\'';
}

void TextParser::expect(std::string_view literal) {
   if (!accept(literal))
      fail(literal);
}

bool TextParser::accept(std::string_view literal) {
   if (!rest().starts_with(literal))
      return false;
   at_ += literal.size();
   return true;
}

U64 TextParser::unsignedNumber(U64 max) {
   const std::string_view here = rest();
   U64 value = 0;
   const auto [end, error] = std::from_chars(here.data(), here.data() + here.size(), value);
   const auto size = static_cast<std::size_t>(end - here.data());
   if (error == std::errc::result_out_of_range || (error == std::errc() && value > max))
      fail("a number not above " + std::to_string(max));
   if (error != std::errc() || (size > 1 && here[0] == '0'))
      fail("a decimal number");
   at_ += size;
   return value;
}

S64 TextParser::signedNumber(S64 min, S64 max) {
   const std::string_view here = rest();
   S64 value = 0;
   const auto [end, error] = std::from_chars(here.data(), here.data() + here.size(), value);
   if (error != std::errc())
      fail("a decimal number");
   if (value < min || value > max)
      fail("a number from " + std::to_string(min) + " to " + std::to_string(max));
   at_ += static_cast<std::size_t>(end - here.data());
   return value;
}

F64 TextParser::floatingNumber() {
   const std::string_view here = rest();
   F64 value = 0;
   const auto [end, error] = std::from_chars(here.data(), here.data() + here.size(), value);
   if (error != std::errc())
      fail("a floating-point number");
   at_ += static_cast<std::size_t>(end - here.data());
   return value;
}

bool TextParser::boolean() {
   if (accept("True"))
      return true;
   if (accept("False"))
      return false;
   fail("True or False");
}

std::string_view TextParser::word() {
   const std::string_view found = take(isWordCharacter);
   if (found.empty())
      fail("a name");
   return found;
}

String TextParser::quoted() {
   expect("'");
   String value;
   while (!accept("'")) {
      if (atEnd())
         fail("a closing quote");
      const char c = advance(1)[0];
      if (c != '\\') {
         value += c;
      } else if (accept("n")) {
         value += '\n';
      } else if (accept("x")) {
         const std::string_view here = rest();
         const int high = here.size() >= 2 ? hexValue(here[0]) : -1;
         const int low = here.size() >= 2 ? hexValue(here[1]) : -1;
         if (high < 0 || low < 0)
            fail("two hexadecimal digits");
         value += static_cast<char>(high << 4 | low);
         advance(2);
      } else if (accept("'")) {
         value += '\'';
      } else if (accept("\\")) {
         value += '\\';
      } else {
         fail("an escape");
      }
   }
   return value;
}

void TextParser::expectEnd() {
   if (!atEnd())
      fail("the end of the text");
}

void TextParser::fail(std::string_view wanted) const {
   String text = "parse error at character " + std::to_string(at_ + 1) + ": wanted ";
   text.append(wanted).append(", found ");
   if (atEnd()) {
      text += "the end of the text";
   } else {
      constexpr std::size_t shown = 24;
      printQuoted(rest().substr(0, shown), text);
   }
   throw ParseError(text);
}

} // namespace Vok
