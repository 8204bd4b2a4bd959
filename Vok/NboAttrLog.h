#pragma once
// The binary attribute log: what travels between processes. Fields stand in declared order, numbers
// in network byte order, without padding and without tags.

#include "Vok/Errors.h"
#include "Vok/Types.h"

#include <cstring>
#include <memory>
#include <span>

namespace Vok::NboAttrLog {

/// Appends values to a buffer that it owns, and that keeps its memory when it is cleared.
class Writer {
  public:
   void u8(U8 value) { *extend(1) = value; }
   void u16(U16 value) { number(value); }
   void u32(U32 value) { number(value); }
   void u64(U64 value) { number(value); }
   /// The IEEE 754 bits of the number, in network byte order.
   void f64(F64 value);
   /// `size` bytes as they stand, without a count.
   void bytes(const void* data, std::size_t size) {
      if (size > 0)
         std::memcpy(extend(size), data, size);
   }
   /// A counted string: its length as a 32-bit number, then its bytes.
   void string(std::string_view text);
   /// Writes a number over bytes that stand `at` there: a length, once it is known.
   void u16At(std::size_t at, U16 value) { store(&bytes_[at], value); }
   void u32At(std::size_t at, U32 value) { store(&bytes_[at], value); }

   /// Valid until something is appended.
   std::span<const U8> buffer() const { return {bytes_.get(), size_}; }
   std::size_t size() const { return size_; }
   void clear() { size_ = 0; }

  private:
   template <class T>
   static void store(U8* to, T value) {
      for (std::size_t i = 0; i < sizeof(T); ++i)
         to[i] = static_cast<U8>(value >> 8 * (sizeof(T) - 1 - i));
   }
   template <class T>
   void number(T value) {
      store(extend(sizeof(T)), value);
   }
   /// Where `size` more bytes belong.
   U8* extend(std::size_t size) {
      if (capacity_ - size_ < size)
         grow(size);
      U8* const at = bytes_.get() + size_;
      size_ += size;
      return at;
   }
   void grow(std::size_t size);

   std::unique_ptr<U8[]> bytes_;
   std::size_t size_ = 0;
   std::size_t capacity_ = 0;
};

/// Reads values back from bytes that may be hostile. Every read checks what is left first and raises
/// LogError, with nothing consumed, when the log ends inside the value. Does not own the bytes.
class Reader {
  public:
   Reader(const void* data, std::size_t size) : at_(static_cast<const U8*>(data)), end_(at_ + size) {}
   explicit Reader(std::span<const U8> buffer) : Reader(buffer.data(), buffer.size()) {}

   U8 u8() { return *take(1); }
   U16 u16() { return number<U16>(); }
   U32 u32() { return number<U32>(); }
   U64 u64() { return number<U64>(); }
   F64 f64();
   void bytes(void* data, std::size_t size);
   String string();
   void skip(std::size_t size) { take(size); }

   std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

  private:
   const U8* take(std::size_t size) {
      if (left() < size)
         raiseTruncated(size);
      const U8* taken = at_;
      at_ += size;
      return taken;
   }
   template <class T>
   T number() {
      const U8* from = take(sizeof(T));
      T value = 0;
      for (std::size_t i = 0; i < sizeof(T); ++i)
         value = static_cast<T>(value << 8 | from[i]);
      return value;
   }
   [[noreturn]] void raiseTruncated(std::size_t wanted) const;

   const U8* at_;
   const U8* end_;
};

} // namespace Vok::NboAttrLog
