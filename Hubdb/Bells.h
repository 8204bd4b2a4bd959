#pragma once
// Hubdb::Bells: what the server does so that readers wake up early.

#include "Hubdb/Connection.h"

#include <map>
#include <set>

namespace Hubdb {

/// A change passes two processes that sleep: the server and its reader. So that they wake up at the same
/// time, an owner whose changes somebody reads has a bell, a pipe: it rings it just before it sends changes
/// after a pause, and the readers listen. Nobody relies on it: what rings says nothing, and who hears nothing
/// is woken by what the server sends.
///
/// Each client gets an opening of its own, so that none can make another one's writes or reads wait. An owner
/// takes one descriptor of the server, and of each of its readers. With none to be had there is no bell.
class Bells {
  public:
   explicit Bells(bool wanted) : wanted_(wanted) {}

   /// From now on, or already, `reader` reads what `owner` owns.
   void connect(Connection& owner, Connection& reader);
   /// The owner has sent so much that its bell may be full of what was rung. To be called for at least every
   /// 65,536th time that it sends.
   void drain(const Connection& owner);
   void clientDel(const Connection& client);

  private:
   struct Bell {
      Vok::Descriptor pipe; ///< its reading end
      std::set<const Connection*> readers;
   };

   const bool wanted_;
   std::map<const Connection*, Bell> bells_; ///< by owner
};

} // namespace Hubdb
