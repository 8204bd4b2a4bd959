#pragma once
// Hubdb::StateFile: a journal of everything that the server has accepted. Layout: docs/hubdb-wire.md.

#include "Hubdb/Record.h"

#include "Vok/Descriptor.h"

#include <functional>

namespace Hubdb {

enum class JournalKind : Vok::U8 {
   create = 1,         ///< a root comes to be: u64 fingerprint, path, type
   del = 2,            ///< a root is deleted
   records = 3,        ///< records, applied
   snapshotBegin = 4,  ///< an owner begins to say what the whole state is ...
   snapshotEnd = 5,    ///< ... and has said it: what stood before goes
   snapshotDropped = 6 ///< ... or has gone before: what stood before stays
};

/// Appends entries to memory and writes them with commit(). A file that ends inside an entry, or in bytes
/// that are none, is what a crash leaves behind: it is cut there when it is opened, and goes on.
class StateFile {
  public:
   using Visit = std::function<void(JournalKind kind, Vok::U32 root, Bytes body)>;

   /// Opens or creates the file and visits its entries in order. With `sync` a commit waits until the disk
   /// has it. Raises Vok::Error, naming the file, when it cannot be opened, belongs to another process, or is
   /// none of ours; what `visit` raises cuts the file before that entry.
   StateFile(const Vok::String& path, bool sync, const Visit& visit);

   void append(JournalKind kind, Vok::U32 root, Bytes body);
   /// Writes what was appended. Raises Vok::Error when it cannot: nothing appended since the last commit is
   /// safe then.
   void commit();

   /// Whether the file has become much longer than what it says.
   bool isLong() const;
   /// Replaces the contents by what `write` appends, in a new file that takes the old one's place whole.
   void rewrite(const std::function<void()>& write);

   /// What was cut off when the file was opened, and why; empty when nothing was.
   const Vok::String& cut() const { return cut_; }

  private:
   Vok::String what(const Vok::String& failed) const;
   Vok::U64 load(const Visit& visit);
   Vok::Descriptor openLocked(const Vok::String& path, int flags) const;
   void writeAll(Bytes bytes);
   void start();

   Vok::String path_;
   bool sync_;
   Vok::Descriptor file_;
   Vok::NboAttrLog::Writer pending_;
   Vok::U64 size_ = 0;
   Vok::U64 sizeWhenShort_ = 0; ///< after it was opened or rewritten
   bool rewriting_ = false;
   Vok::String cut_;
};

} // namespace Hubdb
