#include "tools/mplsctl/ldp/LdpPlan.h"

namespace mplsctl {

namespace {

using namespace Ldp::LdpPooltab;

bool isPrefix(const Mpls::FwdEqvClass& fec) {
   return fec.fecType() == Mpls::FecType::prefixFec;
}

LdpPlace here(const Mpls::FwdEqvClass& fec) {
   return LdpPlace(Ldp::LdpIdentifier(), fec);
}

void labelIs(LdpPublication& tables, const LdpPlace& place, Kinet::MplsLabel label) {
   const Mpls::FwdEqvClass fec = place.fwdEqvClass();
   if (isLocal(place))
      tables.localLbtLabelIs(LdpLocalLbtLabelEntry({fec, label}));
   else
      tables.peerLbtLabelIs(LdpPeerLbtLabelEntry({place.ldpIdentifier(), fec, label}));
}

void labelDel(LdpPublication& tables, const LdpPlace& place, Kinet::MplsLabel label) {
   const Mpls::FwdEqvClass fec = place.fwdEqvClass();
   if (isLocal(place))
      tables.localLbtLabelDel({fec, label});
   else
      tables.peerLbtLabelDel({place.ldpIdentifier(), fec, label});
}

void stampIs(LdpPublication& tables, const LdpPlace& place, double now) {
   if (isLocal(place))
      tables.localLbtLastUpdateIs(LdpLocalLbtLastUpdateEntry(place.fwdEqvClass(), now));
   else
      tables.peerLbtLastUpdateIs(LdpPeerLbtLastUpdateEntry(place, now));
}

void stampDel(LdpPublication& tables, const LdpPlace& place) {
   if (isLocal(place))
      tables.localLbtLastUpdateDel(place.fwdEqvClass());
   else
      tables.peerLbtLastUpdateDel(place);
}

} // namespace

LdpPlan::LdpPlan(const LdpFiles& files, const LdpPublication& tables) : remarks_(files.remarks) {
   planBindings(files, heldIn(tables));
   planNeighbors(files, tables);
   planAdvertisements(files, tables);
}

std::map<LdpPlace, LdpPlan::Held> LdpPlan::heldIn(const LdpPublication& tables) {
   std::map<LdpPlace, Held> held;
   const auto at = [&](const LdpPlace& place) -> Held& { return held[place]; };
   for (const auto& row : tables.localLbtLabelEach())
      at(here(row.key().fwdEqvClass())).labels.insert(row.key().label());
   for (const auto& row : tables.localLbtLastUpdateEach())
      at(here(row.key())).isStamped = true;
   for (const auto& row : tables.peerLbtLabelEach())
      at(LdpPlace(row.key().ldpIdentifier(), row.key().fwdEqvClass())).labels.insert(row.key().label());
   for (const auto& row : tables.peerLbtLastUpdateEach())
      at(row.key()).isStamped = true;
   for (const auto& row : tables.usedBindingEach())
      at(row.key()).isUsed = true;
   std::erase_if(held, [](const auto& entry) { return !isPrefix(entry.first.fwdEqvClass()); });
   return held;
}

void LdpPlan::planBindings(const LdpFiles& files, const std::map<LdpPlace, Held>& held) {
   for (const auto& [place, has] : held) {
      const Mpls::FwdEqvClass fec = place.fwdEqvClass();
      const bool isKept = !files.hasBindings || files.badFecs.contains(fec);
      if (isKept && isLocal(place) && !has.labels.empty())
         labelled_.insert(fec);
      if (isKept || files.bindings.contains(place))
         continue;
      steps_.push_back({place, has, nullptr});
      ++bindings_.removed;
   }
   for (const auto& [place, wished] : files.bindings) {
      if (files.badFecs.contains(place.fwdEqvClass()))
         continue;
      const bool isLabelled = wished.label != Kinet::MplsLabel();
      if (isLabelled && isLocal(place))
         labelled_.insert(place.fwdEqvClass());
      const auto has = held.find(place);
      if (has == held.end()) {
         ++bindings_.added;
         steps_.push_back({place, {}, &wished});
         continue;
      }
      std::set<Kinet::MplsLabel> labels;
      if (isLabelled)
         labels.insert(wished.label);
      if (has->second.labels == labels && has->second.isUsed == wished.inUse.value_or(false) &&
          (isLabelled || has->second.isStamped)) {
         ++bindings_.unchanged;
         continue;
      }
      ++bindings_.changed;
      steps_.push_back({place, has->second, &wished});
   }
}

void LdpPlan::planNeighbors(const LdpFiles& files, const LdpPublication& tables) {
   if (!files.hasNeighbors)
      return;
   for (const LdpNeighbor& row : tables.neighborEach())
      if (!files.neighbors.contains(row.key()) && !files.badNeighbors.contains(row.key())) {
         goneNeighbors_.push_back(row.key());
         ++neighbors_.removed;
      }
   for (const auto& [peer, session] : files.neighbors) {
      if (files.badNeighbors.contains(peer))
         continue;
      LdpNeighbor row;
      const bool isThere = tables.neighborTable().find(peer, row);
      if (isThere && row == session.row) {
         ++neighbors_.unchanged;
         continue;
      }
      ++(isThere ? neighbors_.changed : neighbors_.added);
      neighborRows_.push_back(session.row);
   }
}

std::set<LdpPlace> LdpPlan::wishedAdvertisements(const LdpFiles& files, const std::set<LdpPlace>& held) {
   std::set<LdpPlace> wished;
   const auto goesOn = [&](const Ldp::LdpIdentifier& peer) {
      return !files.hasNeighbors || files.badNeighbors.contains(peer) ||
             (files.neighbors.contains(peer) && !files.neighbors.at(peer).mappings);
   };
   for (const LdpPlace& place : held)
      if (goesOn(place.ldpIdentifier()) && labelled_.contains(place.fwdEqvClass()))
         wished.insert(place);
   for (const auto& [peer, session] : files.neighbors) {
      if (files.badNeighbors.contains(peer) || !session.mappings)
         continue;
      // Who was sent a mapping for every label was told of every label; of fewer nobody knows which.
      if (session.row.state().text() != "OPERATIONAL" || *session.mappings == 0)
         continue;
      if (*session.mappings < static_cast<std::int64_t>(labelled_.size())) {
         addRemark(remarks_, Remark::Kind::skipped, 0,
                   "advertisements to a neighbor that was sent fewer mappings than there are labels");
         continue;
      }
      for (const Mpls::FwdEqvClass& fec : labelled_)
         wished.insert(LdpPlace(peer, fec));
   }
   return wished;
}

void LdpPlan::planAdvertisements(const LdpFiles& files, const LdpPublication& tables) {
   std::set<LdpPlace> held;
   for (const auto& row : tables.localLbtAdvertisedToEach())
      if (isPrefix(row.key().fwdEqvClass()))
         held.insert(row.key());
   const std::set<LdpPlace> wished = wishedAdvertisements(files, held);
   std::ranges::set_difference(wished, held, std::back_inserter(newAdvertisements_));
   std::ranges::set_difference(held, wished, std::back_inserter(goneAdvertisements_));
   advertisements_.added = static_cast<Vok::U32>(newAdvertisements_.size());
   advertisements_.removed = static_cast<Vok::U32>(goneAdvertisements_.size());
   advertisements_.unchanged = static_cast<Vok::U32>(held.size()) - advertisements_.removed;
}

void LdpPlan::apply(LdpPublication& tables, const Step& step, double now) {
   const bool isUsed = step.wished && step.wished->inUse.value_or(false);
   if (step.held.isUsed && !isUsed)
      tables.usedBindingDel(step.place);
   std::set<Kinet::MplsLabel> wished;
   if (step.wished && step.wished->label != Kinet::MplsLabel())
      wished.insert(step.wished->label);
   for (const Kinet::MplsLabel label : wished)
      if (!step.held.labels.contains(label))
         labelIs(tables, step.place, label);
   for (const Kinet::MplsLabel label : step.held.labels)
      if (!wished.contains(label))
         labelDel(tables, step.place, label);
   if (!step.wished)
      stampDel(tables, step.place);
   else if (!step.held.isStamped || wished != step.held.labels)
      stampIs(tables, step.place, now);
   if (isUsed && !step.held.isUsed)
      tables.usedBindingIs(LdpIdentifierFecEntry(step.place));
}

void LdpPlan::apply(LdpPublication& tables, double now) const {
   for (const LdpPlace& place : goneAdvertisements_)
      tables.localLbtAdvertisedToDel(place);
   for (const Step& step : steps_)
      apply(tables, step, now);
   for (const LdpPlace& place : newAdvertisements_)
      tables.localLbtAdvertisedToIs(LdpIdentifierFecEntry(place));
   for (const LdpNeighbor& row : neighborRows_)
      tables.neighborIs(row);
   for (const Ldp::LdpIdentifier& peer : goneNeighbors_)
      tables.neighborDel(peer);
}

} // namespace mplsctl
