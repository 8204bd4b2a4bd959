#pragma once
// Frames between a client and the server: layout, numbers and limits. Worked bytes: docs/hubdb-wire.md.

#include "Hubdb/Record.h"

#include "Vok/NboAttrLog.h"

namespace Hubdb::Wire {

inline constexpr Vok::U16 version = 2;

/// A frame is the length of what follows (32 bits), the kind (8 bits) and the body.
inline constexpr std::size_t lengthSize = 4;
inline constexpr std::size_t headSize = lengthSize + 1;
/// Largest length of a frame. A record is never cut, and so has its limit from here.
inline constexpr std::size_t maxLength = (1 << 20) - 64;
inline constexpr std::size_t maxRecordSize = maxLength - sizeof(Vok::U8) - sizeof(Vok::U32);
/// What is read and written at a time.
inline constexpr std::size_t portion = 256 * 1024;
/// Batches of records are cut into frames of about this many bytes.
inline constexpr std::size_t batchSize = 128 * 1024;
inline constexpr std::size_t maxTextSize = 4096;
/// Most mounts that one connection may have.
inline constexpr std::size_t maxMounts = 65536;

enum class Kind : Vok::U8 {
   hello = 1,         ///< u16 version, program, u8 whether pipes are welcome
   mount = 2,         ///< u32 mount, u8 filter, u8 resume, u64 fingerprint, path, type
   unmount = 3,       ///< u32 mount
   del = 4,           ///< u32 mount
   records = 5,       ///< u32 mount, records
   snapshotBegin = 6, ///< u32 mount
   snapshotEnd = 7,   ///< u32 mount
   welcome = 16,      ///< u16 version, u32 process of the server; pipes may come with it
   status = 17,       ///< u32 mount, u8 status, text
   entry = 18,        ///< u32 mount, u8 present, name, type
   gone = 19,         ///< u32 mount
   acknowledged = 20, ///< u32 mount, u64 frames of kinds 5 to 7 accepted so far
   refused = 21       ///< text; the server closes the connection after it
};

/// The fields of a frame's body are checked one by one; `expectEnd` says that nothing may follow.
class FrameReader : public Vok::NboAttrLog::Reader {
  public:
   explicit FrameReader(Bytes body) : Reader(body.data(), body.size()), body_(body) {}

   /// A counted text. Raises Vok::RangeError when it is longer than `limit`.
   Vok::String text(std::size_t limit = maxTextSize) {
      Vok::String text = string();
      if (text.size() > limit)
         throw Vok::RangeError("a text of " + std::to_string(text.size()) + " bytes; at most " +
                               std::to_string(limit) + " are allowed");
      return text;
   }
   /// A flag. Raises Vok::RangeError for anything but 0 and 1.
   bool flag() {
      const Vok::U8 byte = u8();
      if (byte > 1)
         throw Vok::RangeError("a flag of " + std::to_string(byte) + "; 0 or 1 is allowed");
      return byte == 1;
   }
   /// Everything that is left.
   Bytes rest() const { return body_.last(left()); }
   /// Raises Vok::LogError when something is left.
   void expectEnd() const {
      if (left() > 0)
         throw Vok::LogError(std::to_string(left()) + " bytes too many in a frame");
   }

  private:
   Bytes body_;
};

} // namespace Hubdb::Wire
