#pragma once
// Hubdb::Roots: every entity that the server holds, who owns it and who reads it.

#include "Hubdb/Access.h"
#include "Hubdb/Catalogue.h"
#include "Hubdb/Connection.h"
#include "Hubdb/Link.h"
#include "Hubdb/RecordStore.h"
#include "Hubdb/StateFile.h"

#include <map>
#include <optional>

namespace Hubdb {

struct Root;

/// One mount of one client, as the server keeps it.
struct ServerMount {
   enum class Phase : Vok::U8 {
      waiting,  ///< for somebody to create what is mounted
      snapshot, ///< is being told the whole state
      live,     ///< is told what changes; an owner: does the telling
      behind    ///< did not keep up, and is told the whole state again once its queue is empty
   };

   ServerMount(Connection& connection, const MountRequest& request)
       : connection(connection), id(request.mount), filter(request.filter), path(request.path) {}

   /// A frame that says no more than this.
   void say(Wire::Kind kind);
   /// Whether another piece of its state may be queued.
   bool hasRoom() const;

   Connection& connection;
   MountId id;
   MountFilter filter;
   Vok::String path;
   const Vok::EntityType* type = nullptr; ///< none for a directory
   Root* root = nullptr;
   Phase phase = Phase::waiting;
   std::optional<RecordStore::Cursor> cursor; ///< in phase snapshot
   std::vector<Vok::U8> forward;              ///< in phase snapshot: records of the batch at hand
   Vok::U64 accepted = 0;                     ///< an owner's frames
   Vok::U64 acknowledged = 0;
};

/// One entity of the database with all below it.
struct Root {
   Vok::U32 number;
   Vok::String path;
   const Vok::EntityType* type;
   std::unique_ptr<RecordStore> state;
   std::unique_ptr<RecordStore> replacing; ///< while its owner says what the whole state is
   ServerMount* owner = nullptr;
   std::vector<ServerMount*> readers; ///< its owner too while that is told the state
   bool awaited = false;              ///< made for an owner that has the state and has not said it yet
};

/// Does what clients ask, with the journal kept if there is one. A client's errors are raised as Vok::Error,
/// and leave everything whole. What has to be said is queued, and may go out once it is safe.
class Roots {
  public:
   Roots(const Catalogue& catalogue, std::size_t queueLimit)
       : catalogue_(catalogue), queueLimit_(queueLimit) {}
   ~Roots();

   /// Reads the journal and goes on with it. Raises Vok::Error.
   void journalIs(const Vok::String& path, bool sync);

   /// Success also for what waits. Otherwise `text` says why not, and the mount does not stay.
   MountStatus mount(ServerMount& mount, const MountRequest& request, Vok::String& text);
   /// A mount goes, and with it its ownership; the state stays.
   void unmount(ServerMount& mount);
   /// The owner removes the entity; its mount goes too.
   void del(ServerMount& owner);
   void records(ServerMount& owner, Bytes records);
   void snapshotBegin(ServerMount& owner);
   void snapshotEnd(ServerMount& owner);

   /// Makes safe what was accepted. Raises Vok::Error when the journal cannot be written.
   void commit();
   /// Tells owners so, and goes on with whole states.
   void tellMore();
   /// Whether tellMore() could go on at once: asked when all queues have been flushed.
   bool hasMore() const;

   std::size_t size() const { return roots_.size(); }
   std::size_t memory() const;
   const std::map<Vok::String, std::unique_ptr<Root>, std::less<>>& all() const { return roots_; }

  private:
   Root& ownedBy(ServerMount& mount) const;
   MountStatus mountOwner(ServerMount& mount, const MountRequest& request, Vok::String& text);
   MountStatus mountReader(ServerMount& mount, Vok::String& text);
   Root& create(Vok::String path, const Vok::EntityType& type);
   void remove(Root& root);
   void replay(JournalKind kind, Vok::U32 number, Bytes body);
   void replayCreate(Vok::U32 number, Bytes body);
   void accepted(ServerMount& owner);
   void replacingDrop(Root& root);
   void replace(Root& root);
   void tellAll(Root& root);
   void journal(JournalKind kind, const Root& root, Bytes body = {});
   void journalCreate(const Root& root);
   void journalRewrite();

   void attach(ServerMount& mount, Root& root);
   void tellWhole(ServerMount& mount);
   void forward(Root& root, Bytes applied);
   void pump(ServerMount& mount);
   void listing(ServerMount& mount);
   void entryChanged(const Vok::String& path, bool present, std::string_view typeName);
   bool holds(std::string_view folder) const;

   const Catalogue& catalogue_;
   const std::size_t queueLimit_;
   RecordCheck check_;
   std::unique_ptr<StateFile> journal_;
   std::map<Vok::String, std::unique_ptr<Root>, std::less<>> roots_;
   std::map<Vok::U32, Root*> numbers_;
   Vok::U32 lastNumber_ = 0;
   std::multimap<Vok::String, ServerMount*, std::less<>> waiting_; ///< by path: readers of what is not there
   std::multimap<Vok::String, ServerMount*, std::less<>> directories_;
   std::vector<ServerMount*> busy_;   ///< being told a whole state, or behind
   std::vector<ServerMount*> unsure_; ///< owners with frames that are accepted and not acknowledged
   std::vector<Vok::U8> piece_;       ///< scratch
};

/// The frame that says how a mount goes.
void sendStatus(Connection& connection, MountId mount, MountStatus status, std::string_view text);

} // namespace Hubdb
