#pragma once

#include "tools/mplsctl/ldp/LdpFiles.h"

/// What `mplsctl ldp load` does to the tables. The files are the complete wish for what they tell of:
/// bindings with their use, and neighbours. Advertisements follow from both.

namespace mplsctl {

class LdpPlan {
  public:
   struct Counts {
      Vok::U32 added = 0, changed = 0, removed = 0, unchanged = 0;
   };

   /// Compares the files with the tables. Both must outlive the plan, and the tables stay as they are until
   /// apply(). FECs that are no prefixes are never touched; those of bad lines keep what they have. Raises
   /// Vok::CorruptionDetectedError.
   LdpPlan(const LdpFiles& files, const LdpPublication& tables);

   const Counts& bindings() const { return bindings_; }
   const Counts& neighbors() const { return neighbors_; }
   const Counts& advertisements() const { return advertisements_; }
   const std::vector<Remark>& remarks() const { return remarks_; }

   /// Writes what differs. What is written of bindings is stamped with `now`, in seconds.
   void apply(LdpPublication& tables, double now) const;

  private:
   /// What the tables have at a place.
   struct Held {
      std::set<Kinet::MplsLabel> labels;
      bool isStamped = false;
      bool isUsed = false;
   };
   struct Step {
      LdpPlace place;
      Held held;
      const LdpBinding* wished; ///< null to remove
   };

   static std::map<LdpPlace, Held> heldIn(const LdpPublication& tables);
   static void apply(LdpPublication& tables, const Step& step, double now);
   void planBindings(const LdpFiles& files, const std::map<LdpPlace, Held>& held);
   void planNeighbors(const LdpFiles& files, const LdpPublication& tables);
   void planAdvertisements(const LdpFiles& files, const LdpPublication& tables);
   std::set<LdpPlace> wishedAdvertisements(const LdpFiles& files, const std::set<LdpPlace>& held);

   std::vector<Step> steps_;
   std::set<Mpls::FwdEqvClass> labelled_; ///< FECs with a local label once the plan is done
   std::vector<LdpNeighbor> neighborRows_;
   std::vector<Ldp::LdpIdentifier> goneNeighbors_;
   std::vector<LdpPlace> newAdvertisements_, goneAdvertisements_;
   Counts bindings_, neighbors_, advertisements_;
   std::vector<Remark> remarks_;
};

} // namespace mplsctl
