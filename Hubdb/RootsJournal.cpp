// How the server's journal is written, and read when it starts.

#include "Hubdb/Path.h"
#include "Hubdb/Roots.h"

#include "Vok/Errors.h"
#include "Vok/Trace.h"

namespace Hubdb {

using Vok::U32;

static constinit Vok::TraceFacility trace("HubdbRoots");

void Roots::journalIs(const Vok::String& path, bool sync) {
   journal_ = std::make_unique<StateFile>(
       path, sync, [this](JournalKind kind, U32 root, Bytes body) { replay(kind, root, body); });
   if (!journal_->cut().empty())
      if (auto line = trace.at(0))
         line << journal_->cut();
   for (const auto& [number, root] : numbers_)
      replacingDrop(*root);
   journal_->commit();
}

void Roots::journal(JournalKind kind, const Root& root, Bytes body) {
   if (journal_)
      journal_->append(kind, root.number, body);
}

void Roots::journalCreate(const Root& root) {
   if (!journal_)
      return;
   Vok::NboAttrLog::Writer body;
   body.u64(fingerprint(*root.type));
   body.string(root.path);
   body.string(root.type->name());
   journal(JournalKind::create, root, body.buffer());
}

/// Entries of a root that could not be made again are passed over.
void Roots::replay(JournalKind kind, U32 number, Bytes body) {
   lastNumber_ = std::max(lastNumber_, number);
   if (kind == JournalKind::create)
      return replayCreate(number, body);
   const auto found = numbers_.find(number);
   if (found == numbers_.end())
      return;
   Root& root = *found->second;
   switch (kind) {
   case JournalKind::del:
      return remove(root);
   case JournalKind::records: {
      std::size_t applied = 0;
      return (root.replacing ? root.replacing : root.state)->apply(body, applied);
   }
   case JournalKind::snapshotBegin:
      root.replacing = std::make_unique<RecordStore>(check_, *root.type);
      return;
   case JournalKind::snapshotEnd:
      if (root.replacing)
         replace(root);
      return;
   case JournalKind::snapshotDropped:
      root.replacing = nullptr;
      return;
   default:
      throw Vok::LogError("no entry is of kind " + std::to_string(static_cast<unsigned>(kind)));
   }
}

void Roots::replayCreate(U32 number, Bytes body) {
   Wire::FrameReader reader(body);
   const Vok::U64 wanted = reader.u64();
   const Vok::String path = checkedPath(reader.text());
   const Vok::String typeName = reader.text();
   reader.expectEnd();
   const Vok::EntityType* type = catalogue_.find(typeName);
   if (!type || fingerprint(*type) != wanted || roots_.contains(path)) {
      if (auto line = trace.at(0))
         line << "'" << path << "' is left out: its type '" << typeName << "' had another declaration ("
              << Vok::TraceHex{wanted} << ", now " << Vok::TraceHex{type ? fingerprint(*type) : 0} << ")";
      return;
   }
   lastNumber_ = number - 1;
   create(path, *type);
}

/// Everything anew, without what has been overwritten since.
void Roots::journalRewrite() {
   journal_->rewrite([this] {
      const auto writeAll = [this](const Root& root, RecordStore& store) {
         RecordStore::Cursor cursor(store);
         for (bool more = true; more;) {
            piece_.clear();
            more = cursor.read(piece_, Wire::portion);
            if (!piece_.empty())
               journal(JournalKind::records, root, piece_);
         }
      };
      for (const auto& [number, root] : numbers_) {
         journalCreate(*root);
         writeAll(*root, *root->state);
         if (root->replacing) {
            journal(JournalKind::snapshotBegin, *root);
            writeAll(*root, *root->replacing);
         }
      }
   });
}

} // namespace Hubdb
