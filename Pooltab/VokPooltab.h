#pragma once

#include "Pooltab/Collection.h"
#include "Pooltab/TableAttribute.h"

/// Mounts the tables of an entity on a pool: every attribute `x : table<Row>` on the pool's table "x".
///
///    VokPooltab::WriterMount mount(status, {.pool = "mpls-lfib"});
///    status->lfibRouteIs(route);
///    mount.flush(); // at the end of the activity turn
///
///    VokPooltab::ReaderMount mount(status, {.pool = "mpls-lfib"});
///    activity.watch(mount.descriptor(), ...); // then drain() and deliver()

namespace VokPooltab {

/// Where tables are mounted, and how.
struct MountInfo {
   std::string pool;                       ///< its directory's name under the root
   std::string root = Pooltab::poolRoot(); ///< the directory of all pools
   Pooltab::PoolOptions options = {};      ///< for writers

   std::shared_ptr<Pooltab::Folder> folder() const { return Pooltab::sharedFolder(pool, root); }
};

/// The entity's tables, mounted for writing until this object ends.
class WriterMount {
  public:
   /// Raises Vok::Error naming the process that writes the pool already, or saying why a table cannot be
   /// made.
   WriterMount(Vok::Ptr<Vok::Entity> entity, const MountInfo& info);
   /// In any folder; private ones serve tests and hosts of one process.
   WriterMount(Vok::Ptr<Vok::Entity> entity, std::shared_ptr<Pooltab::Folder> folder,
               const Pooltab::PoolOptions& options = {});
   ~WriterMount();

   Pooltab::PoolWriter& pool() { return pool_; }
   /// Wakes the readers if something changed.
   void flush() { pool_.flush(); }

  private:
   Vok::Ptr<Vok::Entity> entity_;
   Pooltab::PoolWriter pool_;
};

/// The entity's tables, mounted for reading until this object ends.
class ReaderMount {
  public:
   /// Never raises for a pool that is not there or not readable: each table's control tells its mount status,
   /// and deliver() mounts what comes.
   ReaderMount(Vok::Ptr<Vok::Entity> entity, const MountInfo& info);
   ReaderMount(Vok::Ptr<Vok::Entity> entity, std::shared_ptr<Pooltab::Folder> folder);
   ~ReaderMount();
   ReaderMount(const ReaderMount&) = delete;

   Pooltab::PoolReader& pool() { return *pool_; }
   /// Readable when there may be something to deliver.
   int descriptor() { return pool_->descriptor(); }
   /// To be followed by deliver(), which makes the descriptor unreadable.
   void drain() { pool_->drain(); }
   /// Notifies the entity's observers of up to `max` changes; less means that it has caught up. Observers may
   /// end this mount.
   std::size_t deliver(std::size_t max) {
      const auto keepAlive = pool_;
      return keepAlive->deliver(max);
   }
   /// True when every table is mounted.
   bool isMounted() const;

  private:
   Vok::Ptr<Vok::Entity> entity_;
   const std::shared_ptr<Pooltab::PoolReader> pool_;
};

} // namespace VokPooltab
