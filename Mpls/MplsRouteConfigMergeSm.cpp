#include "Mpls/MplsRouteConfigMergeSm.h"

#include "Mpls/ConfigSources.h"
#include "Vok/Assert.h"
#include "Vok/Trace.h"

namespace Mpls {

namespace {

constinit Vok::TraceFacility trace("MplsRouteConfigMergeSm");

Vok::String mountPath(const Vok::Name& source) {
   return "routing/mpls/route/input/dynamic/" + source.text();
}

} // namespace

void RouteConfigMergeSm::handleInitialized() {
   trace.entry(8);
   vokAssertMessage(!mergedConfig()->routes(), "merged config should not have any routes on startup");
   vokAssertMessage(!mergedConfig()->ready(), "merged config should not be ready on startup");
   startMerging(*this);
}

void RouteConfigMergeSm::handleConfigDirEntry(const Vok::Name& name) {
   vokAssert(initialized());
   if (auto line = trace.entry(8))
      line << " name " << name;
   if (!configDir()->entityPtrHas(name))
      stopOnRemoval(name, trace);
   pendingMountIs(name);
   startMount(routeConfigMounterFactory(name, this), mountPath(name), "Mpls::RouteConfigInput");
}

void RouteConfigMergeSm::handleConfigSource(const Vok::Name& source) {
   vokAssert(initialized());
   if (auto line = trace.entry(8))
      line << " source " << source;
   const Vok::Ptr<RouteConfigInput> input = expectedConfig(*this, source, trace);
   for (const auto& entry : input->routeEach())
      handleConfigEntry(source, entry.key);
}

void RouteConfigMergeSm::handleConfigEntry(const Vok::Name& source, const RouteKeyAndMetric& key) {
   vokAssert(initialized());
   if (auto line = trace.entry(8))
      line << " source " << source << " key " << key;
   const Vok::Ptr<RouteConfigInput> input = config(source);
   if (input && input->routeHas(key)) {
      sourceSetIs(key)->sourceIs(source, true);
   } else if (const Vok::Ptr<SourceSet> sources = sourceSet(key)) {
      sources->sourceDel(source);
      if (!sources->sources())
         sourceSetDel(key);
   }
   setOutputForEntry(key);
}

void RouteConfigMergeSm::setOutputForEntry(const RouteKeyAndMetric& key) {
   vokAssert(initialized());
   if (auto line = trace.entry(8))
      line << " key " << key;
   const Vok::Ptr<SourceSet> sources = sourceSet(key);
   const Vok::U32 count = sources ? sources->sources() : 0;
   if (count != 1) {
      mergedConfig()->routeDel(key);
      if (auto line = trace.at(1))
         line << "setOutputForEntry"
              << " removed merge confict entry for " << key << " with source count " << count;
      return;
   }
   const Vok::Name source = *sources->sourceEach().begin();
   const Vok::Ptr<RouteConfigInput> input = config(source);
   const Vok::Ptr<Route> activeEntry = input ? input->route(key) : nullptr;
   if (!activeEntry) {
      if (auto line = trace.at(0))
         line << "missing expected key " << key.topLabel() << " " << source;
      vokAssert(activeEntry);
   }
   mergedConfig()->routeIs(activeEntry);
   if (auto line = trace.at(1))
      line << "setOutputForEntry"
           << " add merged config entry for " << key << " from source " << source;
}

void RouteConfigMergeSm::handlePendingMount() {
   vokAssert(initialized());
   if (auto line = trace.entry(8))
      line << " pendingMounts " << pendingMounts();
   if (!pendingMounts())
      mergedConfig()->readyIs(true);
}

void RouteConfigMounter::doMountsComplete(const Hubdb::MountStatus& mountStatus,
                                          const Vok::Ptr<Hubdb::EntityManager>& entityManager) {
   takeMounted<RouteConfigInput>(*this, mountPath(name()), mountStatus, *entityManager, trace);
}

} // namespace Mpls
