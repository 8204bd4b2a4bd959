#pragma once

#include "Pooltab/TableStore.h"
#include "Vok/RowCodec.h"

#include <array>
#include <cstring>

/// From typed rows and keys to packed ones. Row is a type with Key, rowKey() and vokType(), packed by
/// Vok/RowCodec.h; its packed key stands first in the packed row.

namespace Pooltab {

template <class Row>
RowShape shapeOf() {
   using Key = typename Row::Key;
   static_assert(Vok::rowBytesMax<Row> <= payloadBytesMax,
                 "a row of a shared table packs into 2032 bytes at most");
   static_assert(!Vok::rowIsVariable<Key>, "a key is fixed in size");
   return {Row::vokType().fingerprint(), static_cast<U32>(Vok::rowBytesMax<Key>),
           static_cast<U32>(Vok::rowBytesMax<Row>), Vok::rowIsVariable<Row>};
}

template <class Key>
[[gnu::always_inline]] inline U32 tagOf(const Word* packedKey, U64 seed) {
   return Vok::packedTag<Key>(packedKey, seed);
}

/// The `near` number of a key that has one.
template <class Key>
U32 nearNumberOf(const Word* packedKey) {
   U32 number;
   std::memcpy(&number, reinterpret_cast<const U8*>(packedKey) + Vok::nearOffset<Key>(), sizeof number);
   return number;
}

/// A key or a row in packed form, zero behind its last byte.
template <class T>
class Packed {
  public:
   explicit Packed(const T& value) : bytes_(static_cast<U32>(Vok::rowStore(value, words_.data()))) {}
   const Word* words() const { return words_.data(); }
   PackedRow row() const { return {bytes_, words_.data()}; }

  private:
   std::array<Word, wordsFor(Vok::rowBytesMax<T>) + Vok::rowIsVariable<T>> words_;
   U32 bytes_; ///< behind the words, which are filled first
};

} // namespace Pooltab
