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
U32 tagOf(const Word* packedKey, U64 seed) {
   return Vok::packedTag<Key>(reinterpret_cast<const U8*>(packedKey), seed);
}

/// The tag of the keys that stand eight further on in the `near` number: where a caller that goes through
/// keys in order will be soon. The tag of the key itself when keys have no such number.
template <class Key>
U32 nextTagOf(const Word* packedKey, U64 seed) {
   std::array<Word, wordsFor(Vok::rowBytesMax<Key>)> next;
   std::memcpy(next.data(), packedKey, Vok::rowBytesMax<Key>);
   if constexpr (constexpr std::size_t at = Vok::nearOffset<Key>(); at != Vok::noNear) {
      U32 number;
      auto* bytes = reinterpret_cast<U8*>(next.data()) + at;
      std::memcpy(&number, bytes, sizeof number);
      number += 8;
      std::memcpy(bytes, &number, sizeof number);
   }
   return tagOf<Key>(next.data(), seed);
}

/// A key or a row in packed form, zero behind its last byte.
template <class T>
class Packed {
  public:
   explicit Packed(const T& value) {
      if constexpr (Vok::packsIntoWord<T>()) {
         // Made in a register: bytes stored one by one would stall whoever loads them as a word.
         bytes_ = static_cast<U32>(Vok::packedSizeOf<T>());
         words_[0] = Vok::packedWord(value);
         return;
      }
      bytes_ = static_cast<U32>(Vok::rowStore(value, reinterpret_cast<U8*>(words_.data())));
      std::memset(reinterpret_cast<U8*>(words_.data()) + bytes_, 0, sizeof(Word));
   }
   const Word* words() const { return words_.data(); }
   PackedRow row() const { return {bytes_, words_.data()}; }

  private:
   U32 bytes_;
   std::array<Word, wordsFor(Vok::rowBytesMax<T>) + 1> words_; ///< one more, so that zeroing is one store
};

} // namespace Pooltab
