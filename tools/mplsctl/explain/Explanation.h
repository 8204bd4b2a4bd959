#pragma once

#include "tools/config/Withheld.h"
#include "tools/mplsctl/explain/Evidence.h"

#include <string>
#include <string_view>
#include <vector>

/// Why a label is forwarded as it is, or is not: the way from the sources of configuration to the hardware,
/// stage by stage.

namespace mplsctl {

struct Stage {
   enum class State {
      stands,  ///< the label passes here as it should
      fails,   ///< something is missing, or is other than the stage before has it
      none,    ///< the label does not come by here
      unknown, ///< nobody could look
   };
   struct Finding {
      std::string code; ///< one word, for programs
      std::string what; ///< in a sentence
      std::string next; ///< what to do about it; may be empty
      std::vector<tools::config::Withheld::Remedy> remedies;
      bool inTheWay = true; ///< false for what is worth knowing and keeps nothing from the hardware
   };

   std::string_view name;
   State state = State::none;
   std::vector<std::string> facts = {}; ///< what stands here, a line each
   std::vector<Finding> findings = {};

   /// Something that keeps the label from the hardware.
   void gap(std::string code, std::string what, std::string next);
   /// Something worth knowing.
   void remark(std::string code, std::string what, std::string next);
};

std::string_view stringValue(Stage::State state);

struct Explanation {
   /// A label of the stack, and who has been granted the block that it stands in.
   struct Owned {
      Kinet::MplsLabel label;
      LabelState::Request owner;
   };

   Mpls::RouteKey key;
   std::vector<Stage> stages;               ///< sources, merge, lfib, tracking, hardware
   std::optional<std::vector<Owned>> owned; ///< from the top; nothing when no label manager has run

   /// The label is in the LFIB and in hardware, and nothing is missing, different or unknown on the way. A
   /// label that a protocol writes into the LFIB by itself has no sources, and needs none.
   bool stands() const;
   /// Where to look first; null when the whole way stands.
   const Stage* firstGap() const;
};

/// Looks at nothing but the evidence.
Explanation explain(const Evidence& evidence);

} // namespace mplsctl
