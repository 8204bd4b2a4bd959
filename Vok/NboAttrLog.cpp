#include "Vok/NboAttrLog.h"

#include <algorithm>
#include <bit>

namespace Vok::NboAttrLog {

void Writer::f64(F64 value) {
   u64(std::bit_cast<U64>(value));
}

void Writer::grow(std::size_t size) {
   constexpr std::size_t smallest = 64;
   capacity_ = std::max({smallest, 2 * capacity_, size_ + size});
   auto larger = std::make_unique_for_overwrite<U8[]>(capacity_);
   if (size_ > 0)
      std::memcpy(larger.get(), bytes_.get(), size_);
   bytes_ = std::move(larger);
}

void Writer::string(std::string_view text) {
   u32(static_cast<U32>(text.size()));
   bytes(text.data(), text.size());
}

F64 Reader::f64() {
   return std::bit_cast<F64>(u64());
}

void Reader::bytes(void* data, std::size_t size) {
   const U8* from = take(size);
   if (size > 0)
      std::memcpy(data, from, size);
}

String Reader::string() {
   const U8* before = at_;
   const U32 size = u32();
   if (left() < size) {
      at_ = before;
      raiseTruncated(size + sizeof(U32));
   }
   const U8* from = take(size);
   return String(reinterpret_cast<const char*>(from), size);
}

void Reader::raiseTruncated(std::size_t wanted) const {
   throw LogError("attribute log ends inside a value: " + std::to_string(wanted) + " bytes wanted, " +
                  std::to_string(left()) + " left");
}

} // namespace Vok::NboAttrLog
