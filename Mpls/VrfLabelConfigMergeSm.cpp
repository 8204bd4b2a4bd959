#include "Mpls/VrfLabelConfigMergeSm.h"

#include "Mpls/ConfigSources.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

namespace Mpls {

namespace {

constinit Vok::TraceFacility trace("VrfLabelConfigMergeSm");

Vok::String mountPath(const Vok::Name& source) {
   return "routing/mpls/vrfLabel/input/dynamic/" + source.text();
}

} // namespace

void VrfLabelConfigMergeSm::handleInitialized() {
   trace.entry(8);
   vokAssertMessage(!mergedConfig()->vrfLabels(), "merged config should not have any routes on startup");
   vokAssertMessage(!mergedConfig()->ready(), "merged config should not be ready on startup");
   startMerging(*this);
}

void VrfLabelConfigMergeSm::handleConfigDirEntry(const Vok::Name& name) {
   vokAssert(initialized());
   if (auto line = trace.entry(8))
      line << " name " << name;
   if (!configDir()->entityPtrHas(name))
      stopOnRemoval(name, trace);
   pendingMountIs(name);
   startMount(vrfLabelConfigMounterFactory(name, this), mountPath(name), "Mpls::VrfLabelConfigInput");
}

void VrfLabelConfigMergeSm::handleConfigSource(const Vok::Name& source) {
   vokAssert(initialized());
   if (auto line = trace.entry(8))
      line << " source " << source;
   const Vok::Ptr<VrfLabelConfigInput> input = expectedConfig(*this, source, trace);
   for (const auto& entry : input->vrfLabelEach())
      handleConfigEntry(source, entry.key);
}

void VrfLabelConfigMergeSm::handleConfigEntry(const Vok::Name& source, Kinet::MplsLabel label) {
   vokAssert(initialized());
   if (auto line = trace.at(8))
      line << "handleConfigEntry"
           << " for " << source << ", label " << label;
   const Vok::Ptr<VrfLabelConfigInput> input = config(source);
   if (!input) {
      if (auto line = trace.at(0))
         line << "missing expected config from " << source;
   }
   if (input && !!input->vrfLabel(label)) {
      sourceSetIs(label)->sourceIs(source, true);
   } else if (const Vok::Ptr<SourceSet> sources = sourceSet(label)) {
      sources->sourceDel(source);
      if (!sources->sources())
         sourceSetDel(label);
   }
   setOutputForEntry(label);
}

void VrfLabelConfigMergeSm::setOutputForEntry(Kinet::MplsLabel label) {
   vokAssert(initialized());
   if (auto line = trace.at(8))
      line << "setOutputForEntry"
           << " for label " << label;
   VrfLabel priorityEntry;
   Vok::Name activeSource;
   bool priorityDynamic = false;
   bool conflict = false;
   if (const Vok::Ptr<SourceSet> sources = sourceSet(label)) {
      for (const Vok::Name& source : sources->sourceEach()) {
         const Vok::Ptr<VrfLabelConfigInput> input = config(source);
         const VrfLabel activeEntry = input ? input->vrfLabel(label) : VrfLabel();
         if (auto line = trace.at(8))
            line << " priorityEntry " << priorityEntry << " activeSource " << source << " activeEntry "
                 << activeEntry;
         if (auto line = trace.at(8))
            line << " !priorityEntry " << !priorityEntry << " !dynamic " << !activeEntry.dynamic();
         if (!priorityEntry || !activeEntry.dynamic()) {
            priorityEntry = activeEntry;
            activeSource = source;
            priorityDynamic = activeEntry.dynamic();
            if (!activeEntry.dynamic()) {
               conflict = false;
               break;
            }
         } else if (priorityDynamic) {
            conflict = true;
         }
      }
   }
   if (!conflict && !!priorityEntry) {
      if (auto line = trace.at(1))
         line << "setOutputForEntry"
              << " add merged config entry for " << label << " from source " << activeSource;
      mergedConfig()->vrfLabelIs(priorityEntry);
   } else {
      if (auto line = trace.at(1))
         line << "setOutputForEntry"
              << " removed entry for " << label;
      mergedConfig()->vrfLabelDel(label);
   }
}

void VrfLabelConfigMergeSm::handlePendingMount() {
   vokAssert(initialized());
   if (auto line = trace.entry(8))
      line << " pendingMounts " << pendingMounts();
   if (!pendingMounts())
      mergedConfig()->readyIs(true);
}

void VrfLabelConfigMounter::doMountsComplete(const Hubdb::MountStatus& mountStatus,
                                             const Vok::Ptr<Hubdb::EntityManager>& entityManager) {
   takeMounted<VrfLabelConfigInput>(*this, mountPath(name()), mountStatus, *entityManager, trace);
}

} // namespace Mpls
