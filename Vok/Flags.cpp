#include "Vok/Flags.h"

#include <cstring>

namespace Vok {

namespace {

U32 load(const void* value) {
   U32 number;
   std::memcpy(&number, value, sizeof number);
   return number;
}

void store(void* value, U32 number) {
   std::memcpy(value, &number, sizeof number);
}

} // namespace

FlagsType::FlagsType(std::string_view name, std::string_view doc, const Storage& storage,
                     std::span<const Flag> flags, std::string_view rangeText, FlagsText text, FlagsLog log)
    : Type(name, Kind::flags, doc, storage), flags_(flags), rangeText_(rangeText), text_(text), log_(log) {}

U32 FlagsType::universal() const {
   U32 all = 0;
   for (const Flag& flag : flags_)
      all |= U32(1) << flag.bit;
   return all;
}

void FlagsType::print(const void* value, String& out) const {
   const U32 held = load(value);
   const auto print = [&](const Flag& flag) { out += (held >> flag.bit & 1) != 0 ? "True" : "False"; };
   if (text_ == FlagsText::bare)
      return print(flags_.front());
   out.append("Value('").append(name()).append("', ** {");
   std::string_view separator = "'";
   for (const Flag& flag : flags_) {
      out.append(separator).append(flag.name).append("': ");
      print(flag);
      separator = ", '";
   }
   out += "})";
}

void FlagsType::parse(TextParser& parser, void* value) const {
   U32 parsed = text_ == FlagsText::bare ? load(value) : 0;
   const auto parse = [&](const Flag& flag) {
      const U32 mask = U32(1) << flag.bit;
      parsed = parser.boolean() ? parsed | mask : parsed & ~mask;
   };
   if (text_ == FlagsText::bare) {
      parse(flags_.front());
   } else {
      parser.expect("Value('" + String(name()) + "', ** {");
      std::string_view separator = "'";
      for (const Flag& flag : flags_) {
         parser.expect(String(separator).append(flag.name).append("': "));
         parse(flag);
         separator = ", '";
      }
      parser.expect("})");
   }
   checkRange(&parsed);
   store(value, parsed);
}

void FlagsType::writeLog(const void* value, NboAttrLog::Writer& log) const {
   log.u32(load(value));
}

void FlagsType::readLog(NboAttrLog::Reader& log, void* value) const {
   const U32 read = log.u32();
   if (log_ == FlagsLog::checked)
      checkRange(&read);
   store(value, read);
}

void FlagsType::checkRange(const void* value) const {
   if (load(value) > universal())
      throw RangeError(rangeText_);
}

String FlagsType::textForm() const {
   if (text_ == FlagsText::bare)
      return "%s";
   String form = "Value('" + String(name()) + "', ** {";
   std::string_view separator = "'";
   for (const Flag& flag : flags_) {
      form.append(separator).append(flag.name).append("': %s");
      separator = ", '";
   }
   return form + "})";
}

void FlagsType::describe(String& out) const {
   Type::describe(out);
   for (const Flag& flag : flags_)
      out.append(" ").append(flag.name).append("=").append(std::to_string(flag.bit));
}

} // namespace Vok
