#pragma once
// How the machines that merge configuration mount their sources.

#include "Hubdb/EntityManager.h"
#include "Hubdb/MountGroup.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

namespace Mpls {

/// Mounts the input of the mounter's source, read-only; the mounter is told when it is there.
template <class Mounter>
void startMount(const Vok::Ptr<Mounter>& mounter, const Vok::String& path, std::string_view typeName) {
   const Vok::Ptr<Hubdb::MountGroup> group = mounter->sm()->entityManager()->mountGroup();
   group->doMount(path, typeName, Hubdb::MountFilter::read());
   group->close([mounter](Hubdb::MountStatus mountStatus, Hubdb::EntityManager& entityManager) {
      mounter->doMountsComplete(mountStatus, &entityManager);
   });
}

/// Stops the process unless the mount succeeded.
inline void checkMounted(Vok::TraceFacility& trace, Hubdb::MountStatus mountStatus) {
   if (mountStatus == Hubdb::mountSuccess())
      return;
   if (auto line = trace.at(0))
      line << "invalid mountStatus " << mountStatus;
   vokAssert(mountStatus == Hubdb::mountSuccess());
}

/// Stops the process: sources come, and never go while the machine lives.
inline void stopOnRemoval(Vok::TraceFacility& trace, const Vok::Name& name) {
   const Vok::String text = "unhandled config-input removal of entry " + name.text();
   if (auto line = trace.at(0))
      line << text;
   const bool removalHandled = false;
   vokAssertMessage(removalHandled, text);
}

} // namespace Mpls
