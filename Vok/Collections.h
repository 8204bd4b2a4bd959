#pragma once
// Reflection of the collections that values hold: ordered maps and sets, and indexed arrays.

#include "Vok/IndexedArray.h"
#include "Vok/OrderedMap.h"

namespace Vok {

template <class T>
inline constexpr bool isOrderedMap = false;
template <class K, class V>
inline constexpr bool isOrderedMap<OrderedMap<K, V>> = true;
template <class T>
inline constexpr bool isOrderedSet = false;
template <class K>
inline constexpr bool isOrderedSet<OrderedSet<K>> = true;
template <class T>
inline constexpr bool isIndexedArray = false;
template <class T, class Index>
inline constexpr bool isIndexedArray<IndexedArray<T, Index>> = true;

/// "map<Mpls::Via, S32>", "set<Mpls::Via>", "Mpls::LfibViaKey[Mpls::LfibViaIndexRange]".
template <class T>
String collectionName() {
   if constexpr (isOrderedMap<T>)
      return "ordered map<" + String(typeOf<typename T::Key>().name()) + ", " +
             String(typeOf<typename T::Mapped>().name()) + ">";
   else if constexpr (isOrderedSet<T>)
      return "ordered set<" + String(typeOf<typename T::Key>().name()) + ">";
   else
      return String(typeOf<typename T::Element>().name()) + "[" +
             String(typeOf<typename T::IndexType>().name()) + "]";
}

/// The log form of every collection is its count as a 32-bit number, then its elements; of an array,
/// the slots up to the last set one. Texts are "[a, b]" and "{key: value, ...}"; they are not read back.
template <class T>
class CollectionTypeOf final : public Type {
  public:
   CollectionTypeOf()
       : Type(collectionName<T>(), isIndexedArray<T> ? Kind::array : Kind::collection, {}, storageOf<T>()) {}

   bool parsable() const override { return false; }
   void parse(TextParser& parser, void*) const override { parser.fail("a type with a text constructor"); }

   void print(const void* value, String& out) const override {
      const T& collection = *static_cast<const T*>(value);
      out += isOrderedMap<T> ? '{' : '[';
      std::string_view separator;
      forEach(collection, [&](const auto& element) {
         out += separator;
         printElement(element, out);
         separator = ", ";
      });
      out += isOrderedMap<T> ? '}' : ']';
   }

   void writeLog(const void* value, NboAttrLog::Writer& log) const override {
      const T& collection = *static_cast<const T*>(value);
      log.u32(static_cast<U32>(count(collection)));
      forEach(collection, [&](const auto& element) {
         if constexpr (isOrderedMap<T>) {
            typeOf<typename T::Key>().writeLog(&element.key, log);
            typeOf<typename T::Mapped>().writeLog(&element.value, log);
         } else {
            typeOf<std::remove_cvref_t<decltype(element)>>().writeLog(&element, log);
         }
      });
   }

   void readLog(NboAttrLog::Reader& log, void* value) const override {
      T& collection = *static_cast<T*>(value);
      collection.delAll();
      const U32 count = log.u32();
      for (U32 i = 0; i < count; ++i)
         readElement(log, collection, i);
   }

  private:
   static std::size_t count(const T& collection) {
      if constexpr (isIndexedArray<T>)
         return collection.limit();
      else
         return collection.size();
   }

   template <class Visit>
   static void forEach(const T& collection, Visit visit) {
      if constexpr (isIndexedArray<T>) {
         for (std::size_t i = 0; i < collection.limit(); ++i)
            visit(collection.at(i));
      } else {
         for (const auto& element : collection)
            visit(element);
      }
   }

   template <class Element>
   static void printElement(const Element& element, String& out) {
      if constexpr (isOrderedMap<T>) {
         typeOf<typename T::Key>().print(&element.key, out);
         out += ": ";
         typeOf<typename T::Mapped>().print(&element.value, out);
      } else {
         typeOf<Element>().print(&element, out);
      }
   }

   static void readElement(NboAttrLog::Reader& log, T& collection, U32 number) {
      if constexpr (isOrderedMap<T>) {
         typename T::Key key{};
         typename T::Mapped mapped{};
         typeOf<typename T::Key>().readLog(log, &key);
         typeOf<typename T::Mapped>().readLog(log, &mapped);
         collection.is(key, std::move(mapped));
      } else if constexpr (isOrderedSet<T>) {
         typename T::Key key{};
         typeOf<typename T::Key>().readLog(log, &key);
         collection.is(key);
      } else {
         typename T::Element element{};
         typeOf<typename T::Element>().readLog(log, &element);
         collection.is(typename T::IndexType(U64(number) + T::IndexType::lowest), element);
      }
   }
};

} // namespace Vok
