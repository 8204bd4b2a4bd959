#include "Vok/Type.h"

#include "Vok/Assert.h"
#include "Vok/Hash.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Vok {

std::string_view stringValue(Kind kind) {
   constexpr std::string_view words[] = {"scalar", "enum",       "bounded", "flags",  "value",  "row",
                                         "array",  "collection", "pointer", "entity", "machine"};
   return words[static_cast<U8>(kind)];
}

U64 Type::fingerprint() const {
   if (fingerprint_ == 0) {
      String text;
      describe(text);
      Hash low;
      low.mix(text.data(), text.size());
      Hash high = low;
      high.mix(U8(1));
      fingerprint_ = U64(high.result()) << 32 | low.result();
   }
   return fingerprint_;
}

void Type::describe(String& out) const {
   out.append(stringValue(kind_)).append(" ").append(name_);
}

AnyValue::AnyValue(const Type& type) : type_(&type) {
   const Storage& storage = type.storage();
   const bool fits = storage.size <= inlineSize && storage.alignment <= alignof(std::max_align_t);
   data_ = fits ? inline_ : ::operator new(storage.size, std::align_val_t(storage.alignment));
   storage.construct(data_);
}

AnyValue::AnyValue(const AnyValue& other) : AnyValue(*other.type_) {
   type_->storage().assign(data_, other.data_);
}

AnyValue& AnyValue::operator=(const AnyValue& other) {
   vokAssert(type_ == other.type_);
   type_->storage().assign(data_, other.data_);
   return *this;
}

AnyValue::~AnyValue() {
   type_->storage().destroy(data_);
   if (data_ != inline_)
      ::operator delete(data_, std::align_val_t(type_->storage().alignment));
}

bool AnyValue::operator==(const AnyValue& other) const {
   return type_ == other.type_ && type_->storage().equal(data_, other.data_);
}

String AnyValue::text() const {
   String out;
   type_->print(data_, out);
   return out;
}

EnumType::EnumType(std::string_view name, std::string_view doc, const Storage& storage,
                   std::span<const Enumerator> enumerators)
    : Type(name, Kind::enumeration, doc, storage), enumerators_(enumerators) {}

const Enumerator* EnumType::byNumber(U32 number) const {
   const auto found = std::ranges::find(enumerators_, number, &Enumerator::number);
   return found == enumerators_.end() ? nullptr : &*found;
}

const Enumerator* EnumType::byName(std::string_view name) const {
   const auto found = std::ranges::find(enumerators_, name, &Enumerator::name);
   return found == enumerators_.end() ? nullptr : &*found;
}

U32 EnumType::number(const void* value) const {
   U32 number = 0;
   std::memcpy(&number, value, storage().size);
   return number;
}

void EnumType::store(void* value, U32 number) const {
   std::memcpy(value, &number, storage().size);
}

void EnumType::print(const void* value, String& out) const {
   const U32 held = number(value);
   if (const Enumerator* enumerator = byNumber(held))
      out += enumerator->name;
   else
      out += std::to_string(held);
}

void EnumType::parse(TextParser& parser, void* value) const {
   TextParser here = parser;
   const Enumerator* enumerator = byName(here.word());
   if (!enumerator)
      parser.fail("an enumerator of " + String(name()));
   parser = here;
   store(value, enumerator->number);
}

void EnumType::writeLog(const void* value, NboAttrLog::Writer& log) const {
   log.u32(number(value));
}

void EnumType::readLog(NboAttrLog::Reader& log, void* value) const {
   const U32 number = log.u32();
   const U64 largest = (U64(1) << (8 * storage().size)) - 1;
   if (number > largest)
      throw RangeError(String(name()) + "::value > " + std::to_string(largest) + " not allowed");
   store(value, number);
}

void EnumType::describe(String& out) const {
   Type::describe(out);
   for (const Enumerator& enumerator : enumerators_)
      out.append(" ").append(enumerator.name).append("=").append(std::to_string(enumerator.number));
}

namespace {

bool fieldsParsable(const std::vector<FieldDescription>& fields) {
   return std::ranges::all_of(fields, [](const FieldDescription& field) {
      return field.type->kind() != Kind::array && field.type->kind() != Kind::collection;
   });
}

const void* fieldOf(const void* value, const FieldDescription& field) {
   return static_cast<const U8*>(value) + field.offset;
}

void* fieldOf(void* value, const FieldDescription& field) {
   return static_cast<U8*>(value) + field.offset;
}

std::string_view lastWord(std::string_view name) {
   const std::size_t at = name.rfind(':');
   return at == std::string_view::npos ? name : name.substr(at + 1);
}

} // namespace

ValueType::ValueType(std::string_view name, Kind kind, std::string_view doc, const Storage& storage,
                     std::vector<FieldDescription> fields, std::vector<Constant> constants,
                     const Hooks& hooks)
    : Type(name, kind, doc, storage), fields_(std::move(fields)), constants_(std::move(constants)),
      hooks_(hooks), parsable_(hooks.parse || fieldsParsable(fields_)) {
   AnyValue fresh(*this);
   for (FieldDescription& field : fields_)
      field.type->print(fieldOf(fresh.data(), field), field.defaultText);
}

const FieldDescription* ValueType::field(std::string_view name) const {
   const auto found = std::ranges::find(fields_, name, &FieldDescription::name);
   return found == fields_.end() ? nullptr : &*found;
}

void ValueType::print(const void* value, String& out) const {
   if (hooks_.print)
      return hooks_.print(value, out);
   if (hooks_.emptyText)
      return;
   out.append("Value('").append(name()).append("', ** {");
   std::string_view separator = "'";
   for (const FieldDescription& field : fields_) {
      out.append(separator).append(field.name).append("': ");
      field.type->print(fieldOf(value, field), out);
      separator = ", '";
   }
   out += "})";
}

String ValueType::textForm() const {
   if (hooks_.print)
      return "%s";
   if (hooks_.emptyText)
      return "";
   String form = "Value('" + String(name()) + "', ** {";
   std::string_view separator = "'";
   for (const FieldDescription& field : fields_) {
      form.append(separator).append(field.name).append("': %s");
      separator = ", '";
   }
   return form + "})";
}

void ValueType::parse(TextParser& parser, void* value) const {
   if (!parsable_) {
      const String condition =
          "!\"No String constructor for " + String(lastWord(name())) + " - has collection\"";
      assertionFailed(condition, {});
   }
   if (hooks_.emptyText)
      return;
   AnyValue parsed(*this);
   if (hooks_.parse) {
      hooks_.parse(parser, parsed.data());
   } else {
      parser.expect("Value('" + String(name()) + "', ** {");
      std::string_view separator = "'";
      for (const FieldDescription& field : fields_) {
         parser.expect(String(separator).append(field.name).append("': "));
         field.type->parse(parser, fieldOf(parsed.data(), field));
         separator = ", '";
      }
      parser.expect("})");
   }
   if (hooks_.check)
      hooks_.check(parsed.data());
   storage().assign(value, parsed.data());
}

void ValueType::writeLog(const void* value, NboAttrLog::Writer& log) const {
   if (hooks_.writeLog)
      return hooks_.writeLog(value, log);
   for (const FieldDescription& field : fields_)
      field.type->writeLog(fieldOf(value, field), log);
}

void ValueType::readLog(NboAttrLog::Reader& log, void* value) const {
   if (hooks_.readLog)
      return hooks_.readLog(log, value);
   for (const FieldDescription& field : fields_) {
      void* at = fieldOf(value, field);
      field.type->readLog(log, at);
      if (field.logChecked)
         field.type->checkRange(at);
   }
}

void ValueType::checkRange(const void* value) const {
   for (const FieldDescription& field : fields_)
      if (field.type->kind() == Kind::value)
         field.type->checkRange(fieldOf(value, field));
   if (hooks_.check)
      hooks_.check(value);
}

void ValueType::describe(String& out) const {
   Type::describe(out);
   for (const FieldDescription& field : fields_) {
      out.append(" ").append(field.name).append(":(");
      field.type->describe(out);
      out += ")";
   }
}

} // namespace Vok
