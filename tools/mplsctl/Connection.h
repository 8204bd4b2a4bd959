#pragma once

#include "tools/common/Database.h"
#include "tools/mplsctl/Command.h"

#include "Vok/Activity.h"

namespace mplsctl {

/// The database for the time of one verb. Raises Failure( unreachable ) when no server answers.
struct Connection {
   explicit Connection(const Session& session) : database(activity, session.socket, "mplsctl") {
      database.requireServer();
   }
   const Vok::Ptr<Hubdb::EntityManager>& manager() const { return database.manager(); }

   /// An entity to change: ours in the database, or for a dry run a copy of what stands there that nobody
   /// sees, empty when nothing does.
   template <class E>
   Vok::Ptr<E> input(const std::string& path, bool dryRun) {
      return Vok::ptrCast<E>(input(path, E::vokType(), dryRun));
   }
   Vok::Ptr<Vok::Entity> input(const std::string& path, const Vok::EntityType& type, bool dryRun);
   /// What stands at the path; null when nothing does.
   Vok::Ptr<Vok::Entity> present(const std::string& path, const Vok::EntityType& type);

   Vok::Activity activity;
   tools::Database database;
};

} // namespace mplsctl
