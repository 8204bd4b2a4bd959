#pragma once
// Hubdb::EntityManager: one process's view of the central database.

#include "Hubdb/Catalogue.h"
#include "Hubdb/MountFilter.h"
#include "Hubdb/MountStatus.h"

#include "Vok/Activity.h"
#include "Vok/Dir.h"

#include <memory>

namespace Hubdb {

class Link;
class LinkClient;
class MountGroup;

/// A tree of directories (`Vok::Dir`) with the entities that are mounted, by path. Embedded, as constructed,
/// it is the whole database and nothing else runs: what one machine owns another one reads, and both have
/// the same entity. With a link it is one of the clients of a server: what is owned is sent at the end of
/// each turn of the activity, what is read arrives as changes of its entities, and after a lost connection
/// all of that resumes with the entities that are there.
///
/// Belongs to the activity thread. The activity must outlive it.
class EntityManager : public Vok::Entity {
  public:
   EntityManager(Vok::Activity& activity, Catalogue catalogue);
   ~EntityManager() override;

   /// A new group of mounts.
   Vok::Ptr<MountGroup> mountGroup();

   /// What is mounted at the path, whole; a directory above it otherwise; null when there is neither. Raises
   /// Vok::RangeError for a path that is none.
   Vok::Ptr<Vok::Entity> getEntity(std::string_view path) const;
   /// The same as an E, or null.
   template <class E>
   Vok::Ptr<E> get(std::string_view path) const {
      return Vok::ptrCast<E>(getEntity(path));
   }

   /// Creates or returns an entity of this process at once, without a mount group. Embedded only: raises
   /// Vok::Error when there is a link, or when something else stands at the path.
   template <class E>
   Vok::Ptr<E> own(std::string_view path) {
      return Vok::ptrCast<E>(ownNow(path, E::vokType()));
   }

   /// Removes an entity that this process owns: it leaves the directories of every reader. Raises Vok::Error
   /// when it is not ours.
   void del(std::string_view path);

   /// Sends all changes now, as far as the link takes them, instead of at the end of the turn.
   void flush();

   /// Whether something that this process owns differs from what the link was told: there are changes to
   /// send, or, after a lost connection, the server has not yet let us go on.
   bool hasUnsent() const;

   /// Lets go of the callbacks of all mounts that wait, without calling them. A host does so before it drops
   /// its last pointer: a machine that waits is kept alive by its callback, and may keep this manager alive.
   void waitingDelAll();

   /// Makes this manager a client, before anything is mounted. The link is told nothing until it tells
   /// linkClient() that it is connected.
   void linkIs(std::unique_ptr<Link> link);
   /// Who the link talks to. Lives as long as the manager.
   LinkClient& linkClient();

   Vok::Activity& activity() const { return activity_; }
   const Catalogue& catalogue() const { return catalogue_; }

   const Vok::EntityType& vokEntityType() const override { return vokType(); }
   static const Vok::EntityType& vokType();

  private:
   friend class MountGroup;
   class Mounts;

   Vok::Ptr<Vok::Entity> ownNow(std::string_view path, const Vok::EntityType& type);

   Vok::Activity& activity_;
   const Catalogue catalogue_;
   std::unique_ptr<Mounts> mounts_; ///< last: its callbacks come from the activity
};

} // namespace Hubdb
