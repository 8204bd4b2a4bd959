#pragma once

#include "tools/common/Output.h"
#include "tools/mplsctl/ldp/LdpPublication.h"

/// LDP as its consumers see it: entities that they keep in step with the tables.

namespace mplsctl {

class LdpView {
  public:
   /// Follows mounted tables, for as long as it lives.
   explicit LdpView(Vok::Ptr<const LdpPublication> tables);

   const Mpls::LabelBindingTable& local() const { return *local_; }
   const Mpls::LabelBindingTableColl& peers() const { return *peers_; }
   const Ldp::LabelAdvertisementColl& advertised() const { return *advertised_; }
   const LdpPublication& tables() const { return *tables_; }

   /// Raises Vok::CorruptionDetectedError when a row could not be read and is missing here.
   void requireWhole() const;

  private:
   Vok::Ptr<const LdpPublication> tables_;
   Vok::Ptr<Mpls::LabelBindingTable> local_;
   Vok::Ptr<Mpls::LabelBindingTableColl> peers_;
   Vok::Ptr<Ldp::LabelAdvertisementColl> advertised_;
   Vok::Ptr<Ldp::LdpPooltab::LdpLibConsumerSm> bindings_;
   Vok::Ptr<Ldp::LdpPooltab::LdpLibAdvertisementConsumerSm> advertisements_;
};

/// A line a FEC and neighbour; JSON in the form of `show mpls ldp binding json`.
void showLdpBindings(const LdpView& view, bool asJson, tools::Output& out);

/// A line a neighbour; JSON keyed by it, with the fields of `show mpls ldp neighbor detail json` that are
/// held.
void showLdpNeighbors(const LdpView& view, bool asJson, tools::Output& out);

} // namespace mplsctl
