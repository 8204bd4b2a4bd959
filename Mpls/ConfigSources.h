#pragma once
// How the sources of the machines that merge configuration come: what is the same whatever they merge. Lines
// go to the trace of the machine that asks.

#include "Hubdb/EntityManager.h"
#include "Hubdb/MountGroup.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

namespace Mpls {

/// Merges the command line's input and starts the mounts of all others, none before all of them are pending.
template <class Sm>
void startMerging(Sm& sm) {
   sm.initializedIs(true);
   sm.configIs(sm.cliConfig());
   for (const auto& entry : sm.configDir()->entityPtrEach())
      sm.pendingMountIs(entry.key);
   sm.handlePendingMount();
   for (const auto& entry : sm.configDir()->entityPtrEach())
      sm.handleConfigDirEntry(entry.key);
}

/// Stops the process: sources come, and never go while the machine lives.
inline void stopOnRemoval(const Vok::Name& source, Vok::TraceFacility& trace) {
   const Vok::String text = "unhandled config-input removal of entry " + source.text();
   if (auto line = trace.at(0))
      line << text;
   const bool removalHandled = false;
   vokAssertMessage(removalHandled, text);
}

/// Mounts the input of the mounter's source, read-only; the mounter is told when it is there.
template <class Mounter>
void startMount(const Vok::Ptr<Mounter>& mounter, const Vok::String& path, std::string_view typeName) {
   const Vok::Ptr<Hubdb::MountGroup> group = mounter->sm()->entityManager()->mountGroup();
   group->doMount(path, typeName, Hubdb::MountFilter::read());
   group->close([mounter](Hubdb::MountStatus mountStatus, Hubdb::EntityManager& entityManager) {
      mounter->doMountsComplete(mountStatus, &entityManager);
   });
}

/// Hands what was mounted to the mounter's machine: an `Input`. Stops the process unless the mount succeeded.
template <class Input, class Mounter>
void takeMounted(Mounter& mounter, const Vok::String& path, Hubdb::MountStatus mountStatus,
                 const Hubdb::EntityManager& entityManager, Vok::TraceFacility& trace) {
   if (auto line = trace.at(8))
      line << "doMountsComplete"
           << " mountStatus " << mountStatus << " for " << mounter.name();
   if (mountStatus != Hubdb::mountSuccess()) {
      if (auto line = trace.at(0))
         line << "invalid mountStatus " << mountStatus;
      vokAssert(mountStatus == Hubdb::mountSuccess());
   }
   const Vok::Ptr<Input> input = entityManager.get<Input>(path);
   if (!input) {
      if (auto line = trace.at(0))
         line << "internal error for " << mounter.name();
      return;
   }
   mounter.sm()->configIs(input);
   mounter.sm()->pendingMountDel(mounter.name());
}

/// The input of a source. Stops the process when the machine has none of that name.
template <class Sm>
auto expectedConfig(const Sm& sm, const Vok::Name& source, Vok::TraceFacility& trace) {
   const auto config = [&sm](const Vok::Name& name) { return sm.config(name); };
   if (!config(source)) {
      if (auto line = trace.at(0))
         line << "missing expected config from " << source;
      // The message is the condition as it stands.
      // clang-format off
      vokAssert(config( source ));
      // clang-format on
   }
   return config(source);
}

} // namespace Mpls
