#pragma once
// Reflection: what the library says of its own types at run time. Every type of the model has one
// Type object; it prints, parses, logs, compares and builds values through plain pointers, so that
// tools and the central database handle types they have never heard of.

#include "Vok/NboAttrLog.h"
#include "Vok/Text.h"
#include "Vok/Types.h"

#include <cstddef>
#include <span>
#include <vector>

namespace Vok {

enum class Kind : U8 {
   scalar,
   enumeration,
   bounded,
   flags,
   value,
   row,
   array,
   collection,
   pointer,
   entity,
   machine
};

/// "value", "row", "enum", ...: the word that `mplsctl schema` prints.
std::string_view stringValue(Kind kind);

/// How values of one C++ type are built, copied, compared and hashed.
struct Storage {
   std::size_t size = 0;
   std::size_t alignment = 1;
   void (*construct)(void* at) = nullptr;
   void (*destroy)(void* at) = nullptr;
   void (*assign)(void* to, const void* from) = nullptr;
   bool (*equal)(const void*, const void*) = nullptr;
   U32 (*hash)(const void*) = nullptr; ///< raises UnhashableError where there is none
};

/// A named constant of a type, in text form.
struct Constant {
   std::string_view name;
   std::string_view typeName;
   String value;
};

/// A type of the model. Objects live for the whole run; pointers to them may be kept and compared.
class Type {
  public:
   Type(const Type&) = delete;
   Type& operator=(const Type&) = delete;
   virtual ~Type() = default;

   /// The full name, "Mpls::LabelRange".
   std::string_view name() const { return name_; }
   Kind kind() const { return kind_; }
   /// One line of meaning, from the declaration; may be empty.
   std::string_view doc() const { return doc_; }
   const Storage& storage() const { return storage_; }

   /// Appends the generated text form.
   virtual void print(const void* value, String& out) const = 0;
   /// Reads the text form into a constructed value. Raises ParseError or RangeError and leaves the
   /// value as it was.
   virtual void parse(TextParser& parser, void* value) const = 0;
   /// False for types with a collection, which have no text constructor.
   virtual bool parsable() const { return true; }
   virtual void writeLog(const void* value, NboAttrLog::Writer& log) const = 0;
   /// Reads the log form. Raises LogError or RangeError; the value is then unspecified but valid.
   virtual void readLog(NboAttrLog::Reader& log, void* value) const = 0;
   /// Raises RangeError when the value is outside the type's bounds, which only a log read without a
   /// check can bring about.
   virtual void checkRange(const void* value) const { (void)value; }
   /// The text form with %s in place of every field.
   virtual String textForm() const { return "%s"; }
   virtual std::span<const Constant> constants() const { return {}; }
   /// A number that changes with the declaration: names, kinds, order and bounds of everything in it.
   U64 fingerprint() const;
   /// Appends what the declaration says, on one line; the fingerprint is taken over it.
   virtual void describe(String& out) const;

  protected:
   Type(std::string_view name, Kind kind, std::string_view doc, const Storage& storage)
       : name_(name), kind_(kind), doc_(doc), storage_(storage) {}

  private:
   String name_;
   Kind kind_;
   String doc_;
   Storage storage_;
   mutable U64 fingerprint_ = 0;
};

/// A value of a type known only at run time.
class AnyValue {
  public:
   explicit AnyValue(const Type& type);
   AnyValue(const AnyValue& other);
   AnyValue& operator=(const AnyValue& other);
   ~AnyValue();

   const Type& type() const { return *type_; }
   void* data() { return data_; }
   const void* data() const { return data_; }
   /// True when both are of one type and equal.
   bool operator==(const AnyValue& other) const;
   String text() const;

  private:
   static constexpr std::size_t inlineSize = 64;

   const Type* type_;
   void* data_;
   alignas(std::max_align_t) U8 inline_[inlineSize]; ///< small values stand here, without allocation
};

struct Enumerator {
   std::string_view name;
   U32 number;
   std::string_view doc;
};

/// An enumeration: a table of names and numbers. Numbers outside the table can be held; they print as
/// the number and do not parse.
class EnumType final : public Type {
  public:
   EnumType(std::string_view name, std::string_view doc, const Storage& storage,
            std::span<const Enumerator> enumerators);

   std::span<const Enumerator> enumerators() const { return enumerators_; }
   /// Null when there is none.
   const Enumerator* byNumber(U32 number) const;
   const Enumerator* byName(std::string_view name) const;
   U32 number(const void* value) const;

   void print(const void* value, String& out) const override;
   void parse(TextParser& parser, void* value) const override;
   void writeLog(const void* value, NboAttrLog::Writer& log) const override;
   void readLog(NboAttrLog::Reader& log, void* value) const override;
   void describe(String& out) const override;

  private:
   void store(void* value, U32 number) const;

   std::span<const Enumerator> enumerators_;
};

/// A field of a value, or a constructor parameter or attribute of an entity that is held by value.
struct FieldDescription {
   std::string_view name;
   std::string_view doc;
   const Type* type;
   std::size_t offset; ///< within the value
   bool logChecked;    ///< range-checked when read from the log though its type is not
   String defaultText; ///< text form of the default
};

/// A value, row or flag set described field by field.
class ValueType final : public Type {
  public:
   struct Hooks {
      void (*check)(const void* value) = nullptr; ///< invariants, in declared order; raises RangeError
      void (*print)(const void* value, String& out) = nullptr; ///< text form by hand
      void (*parse)(TextParser& parser, void* value) = nullptr;
      void (*writeLog)(const void* value, NboAttrLog::Writer& log) = nullptr; ///< log form by hand
      void (*readLog)(NboAttrLog::Reader& log, void* value) = nullptr;
      bool emptyText = false; ///< a holder of constants: no text at all
   };

   ValueType(std::string_view name, Kind kind, std::string_view doc, const Storage& storage,
             std::vector<FieldDescription> fields, std::vector<Constant> constants, const Hooks& hooks);

   std::span<const FieldDescription> fields() const { return fields_; }
   /// Null when there is none.
   const FieldDescription* field(std::string_view name) const;

   void print(const void* value, String& out) const override;
   void parse(TextParser& parser, void* value) const override;
   bool parsable() const override { return parsable_; }
   void writeLog(const void* value, NboAttrLog::Writer& log) const override;
   void readLog(NboAttrLog::Reader& log, void* value) const override;
   /// Also checks the invariants, its own and those of the values in it.
   void checkRange(const void* value) const override;
   String textForm() const override;
   std::span<const Constant> constants() const override { return constants_; }
   void describe(String& out) const override;

  private:
   std::vector<FieldDescription> fields_;
   std::vector<Constant> constants_;
   Hooks hooks_;
   bool parsable_;
};

/// typeOf<T>(): the Type of a C++ type of the model.
template <class T>
const Type& typeOf();

/// The generated text form of any value of the model.
template <class T>
String valueToStrep(const T& value) {
   String text;
   typeOf<T>().print(&value, text);
   return text;
}

/// Reads a whole text form. Raises ParseError, also for anything left over, or RangeError.
template <class T>
T strepToValue(std::string_view text) {
   TextParser parser(text);
   T value{};
   typeOf<T>().parse(parser, &value);
   parser.expectEnd();
   return value;
}

} // namespace Vok
