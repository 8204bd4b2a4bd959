#pragma once
// The Type objects of numbers, booleans, strings and names, and of hand-written value types.

#include "Vok/Storage.h"

namespace Vok {

/// What all scalar types share: one C++ type, a text form and a log form.
template <class T>
class ScalarType final : public Type {
  public:
   explicit ScalarType(std::string_view name) : Type(name, Kind::scalar, {}, storageOf<T>()) {}
   void print(const void* value, String& out) const override;
   void parse(TextParser& parser, void* value) const override;
   void writeLog(const void* value, NboAttrLog::Writer& log) const override;
   void readLog(NboAttrLog::Reader& log, void* value) const override;
};

const Type& scalarType(const bool*);
const Type& scalarType(const U8*);
const Type& scalarType(const U16*);
const Type& scalarType(const U32*);
const Type& scalarType(const U64*);
const Type& scalarType(const S32*);
const Type& scalarType(const S64*);
const Type& scalarType(const F64*);
const Type& scalarType(const String*);
const Type& scalarType(const Name*);

/// A value type written by hand. T supplies: void print( String& ) const; static void parseText(
/// TextParser&, T& ); void writeLog( NboAttrLog::Writer& ) const; static void readLog(
/// NboAttrLog::Reader&, T& ); operator==; hash(). The last four raise as Type's functions do.
template <class T>
class HandWrittenType final : public Type {
  public:
   HandWrittenType(std::string_view name, std::string_view doc)
       : Type(name, Kind::value, doc, storageOf<T>()) {}
   void print(const void* value, String& out) const override { static_cast<const T*>(value)->print(out); }
   void parse(TextParser& parser, void* value) const override {
      T parsed{};
      T::parseText(parser, parsed);
      *static_cast<T*>(value) = parsed;
   }
   void writeLog(const void* value, NboAttrLog::Writer& log) const override {
      static_cast<const T*>(value)->writeLog(log);
   }
   void readLog(NboAttrLog::Reader& log, void* value) const override {
      T::readLog(log, *static_cast<T*>(value));
   }
};

} // namespace Vok
