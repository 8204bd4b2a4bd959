#pragma once
// The inside of Hubdb::EntityManager: what is mounted, and the talk with the link.

#include "Hubdb/EntityManager.h"
#include "Hubdb/Incoming.h"
#include "Hubdb/Link.h"
#include "Hubdb/MountGroup.h"
#include "Hubdb/Outgoing.h"
#include "Hubdb/Tree.h"

#include <map>
#include <set>

namespace Hubdb {

class EntityManager::Mounts final : public LinkClient, public References {
  public:
   explicit Mounts(EntityManager& manager);
   ~Mounts() override;

   /// Null once the manager is gone.
   std::weak_ptr<EntityManager*> self() const { return self_; }
   const Tree& tree() const { return tree_; }
   bool isEmbedded() const { return link_ == nullptr; }
   void linkIs(std::unique_ptr<Link> link);

   /// Mounts for a group, which is told when it is done; possibly at once.
   void open(const Vok::String& path, const Vok::EntityType& type, MountFilter filter,
             const Vok::Ptr<MountGroup>& group);
   Vok::Ptr<Vok::Entity> ownNow(const Vok::String& path, const Vok::EntityType& type);
   void del(const Vok::String& path);
   void flush();
   bool hasUnsent() const;
   void waitingDelAll();

   void onConnected() override;
   void onDisconnected() override;
   void onWritable() override;
   void onMountStatus(MountId mount, MountStatus status, const Vok::String& text) override;
   void onSnapshotBegin(MountId mount) override;
   void onSnapshotEnd(MountId mount) override;
   void onRecords(MountId mount, const Vok::U8* bytes, std::size_t size) override;
   void onEntry(MountId mount, const Vok::String& name, bool present, const Vok::String& typeName) override;
   void onGone(MountId mount) override;

  private:
   struct Mount {
      Mount(MountId id, Vok::String path, const Vok::EntityType& type, MountFilter filter)
          : id(id), path(std::move(path)), type(&type), filter(filter) {}

      MountId id;
      Vok::String path;
      const Vok::EntityType* type; ///< of a directory: of the entries that were wanted first
      MountFilter filter;
      bool complete = false;
      bool accepted = false; ///< by the server that is connected
      bool reading = false;  ///< an owner that was a reader until now, and is one again if it may not own
      bool refused = false;  ///< by the server, which knows the mount no longer
      Vok::Ptr<Vok::Entity> entity;
      std::vector<Vok::Ptr<MountGroup>> groups; ///< to be told when it is complete or has failed
      std::unique_ptr<Incoming> incoming;
      std::unique_ptr<Outgoing> outgoing; ///< an owner's, once it has the state

      std::set<const Vok::EntityType*> otherTypes; ///< entries(): those that were wanted later

      bool listing = false;                                 ///< a directory: its entries are being told
      std::map<std::string, const Vok::EntityType*> listed; ///< those told so far; null of an unknown type
      std::set<std::string> unlisted;                       ///< those known before and not told yet
      std::set<std::string> unwhole; ///< entries(): those whose entities are not whole yet
      MountId entriesOf = 0;         ///< one of these entities: the mount of its directory

      bool wants(const Vok::EntityType* entry) const {
         return entry && entry->isMadeFromName() && entry != &Vok::Dir::vokType() &&
                filter == MountFilter::entries() &&
                (type == entry || type == &Vok::Dir::vokType() || otherTypes.contains(entry));
      }
   };
   /// While notifications go out: whoever is told may drop the manager.
   Vok::Ptr<EntityManager> keepAlive() const { return Vok::Ptr<EntityManager>(&manager_); }

   using Key = std::pair<std::string, MountFilter::Kind>; ///< readers and owners of a path are one mount

   static Key keyOf(std::string_view path, MountFilter filter);
   Mount* find(MountId id);
   Mount* find(std::string_view path, MountFilter filter);
   Mount& add(const Vok::String& path, const Vok::EntityType& type, MountFilter filter);
   void remove(MountId id);
   void ask(Mount& mount);
   void become(Mount& mount, MountFilter filter);

   void openHere(Mount& mount);
   void complete(Mount& mount);
   void fail(Mount& mount, MountStatus status, const Vok::String& text);
   void tell(Mount& mount, MountStatus status);

   Mount* mountOf(MountId id, bool ofDirectory);
   void becomesWhole(MountId id);
   void listingBegins(Mount& mount);
   void listingEnds(Mount& mount);
   void entryComes(Mount& mount, const std::string& name, const Vok::String& typeName);
   void readEntry(Mount& directory, const std::string& name);
   void alsoWants(Mount& directory, const Vok::EntityType& type);
   void entryGoes(Mount& mount, const std::string& name);
   void entryIsWhole(const Mount& entry);
   void completeIfWhole(Mount& directory);

   void sendLater(MountId id);
   void send(Mount& mount);
   void handOver(Mount& mount);
   void handOverAll();
   void turnEnds();
   void resolveReferences();

   void goes(const Vok::Entity& entity) override;
   std::string_view pathOf(const Vok::Entity& root) const override { return tree_.pathOf(root); }
   Vok::Ptr<Vok::Entity> rootAt(std::string_view path) const override { return tree_.root(path); }

   EntityManager& manager_;
   const std::shared_ptr<EntityManager*> self_;
   std::unique_ptr<Link> link_;
   bool connected_ = false;
   Tree tree_;
   Plans incomingPlans_;
   Plans outgoingPlans_;
   MountId lastId_ = 0;
   std::map<MountId, std::unique_ptr<Mount>> mounts_;
   std::map<Key, MountId> ids_;
   std::set<MountId> changed_;   ///< owned, with something to send
   std::set<MountId> referring_; ///< read, with references
   bool arrived_ = false;        ///< something did to which a reference may point
   RecordWriter writer_;         ///< scratch
   Vok::Activity::Handle turnEnd_;
};

} // namespace Hubdb
