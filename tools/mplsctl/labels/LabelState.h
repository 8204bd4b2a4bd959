#pragma once

#include "tools/common/Json.h"

#include "Mpls/Mpls.h"

#include <optional>
#include <string>
#include <vector>

/// What the database says of labels: what is configured, what clients ask for, and what they have.

namespace mplsctl {

/// "100000-116383"; "-" for a range that holds no label.
std::string rangeText(const Mpls::LabelRange& range);
bool isIn(const Mpls::LabelRange& range, Kinet::MplsLabel label);
/// Its `base` and its `size`, in the JSON object under way.
void writeRange(tools::Json& json, const Mpls::LabelRange& range);

struct LabelState {
   struct Range {
      std::string name;
      Mpls::LabelRange labels;
      bool configured = false; ///< otherwise its default holds
   };
   /// A request of a client for a block.
   struct Request {
      std::string client;
      std::string name;
      std::optional<Mpls::LabelRange> block; ///< nothing while it waits
      bool withdrawn = false;                ///< there is a block, and nobody asks for it any more
   };
   /// Why a request has no block, and what to do about it.
   struct Reason {
      std::string why;
      std::string next;
   };

   Vok::Ptr<const Mpls::Config> config; ///< with its defaults when nobody has configured anything
   std::vector<Vok::Ptr<const Mpls::ClientLabelRequest>> clients;
   Vok::Ptr<const Mpls::Api::Status> status; ///< null when no label manager has run yet

   /// All ranges that hold, by their first labels.
   std::vector<Range> ranges() const;
   /// Where blocks come from.
   Mpls::LabelRange dynamicRange() const;
   /// All requests and all blocks, by client and name.
   std::vector<Request> requests() const;
   std::optional<Mpls::LabelRange> block(const std::string& client, const std::string& name) const;
   /// Those that have been granted a block with the label in it: one, or none.
   std::vector<Request> owners(Kinet::MplsLabel label) const;
   Vok::U32 blocks() const;     ///< that the dynamic range holds
   Vok::U32 freeBlocks() const; ///< of these
   /// Of requests that wait at this moment. To be asked when the label manager has had the time to answer.
   Reason whyWaiting() const;
};

/// "block 100000-116383 of client ldp, request main"; as fields of the JSON object under way. Of a request
/// that has its block.
std::string blockText(const LabelState::Request& request);
void writeBlock(tools::Json& json, const LabelState::Request& request);

} // namespace mplsctl
