#pragma once

#include "tools/config/Inputs.h"

#include <string>
#include <vector>

/// Why something that a source configures does not hold. One place says so for whoever asks: `show
/// conflicts`, the preview of a session, the explanation of a label.

namespace tools::config {

struct Withheld {
   enum class Reason {
      severalSources, ///< a route that several sources configure: none of them holds
      severalDynamic, ///< a label that several sources bind, all dynamically: none of them holds
      givesWay,       ///< a binding of a label, to one that is not dynamic, of several to the first by source
      vrfLabelWins,   ///< a merged route, to the merged binding of its label
      unwritten       ///< a merged route, or next hops of it, that the tables cannot hold
   };
   /// What to type to have it otherwise.
   struct Remedy {
      std::string effect;
      std::vector<std::string> commands;
   };

   Reason reason;
   Mpls::RouteKey key;
   Mpls::RouteMetric metric;         ///< of a route; null for a binding
   std::vector<std::string> sources; ///< whose configuration is withheld, in order
   std::string winner;               ///< the source whose configuration holds instead; may be empty
   std::string why;                  ///< in a sentence, without the label
   std::vector<Remedy> remedies;
};

std::string_view stringValue(Withheld::Reason reason);

/// "VRF red (dynamic)".
std::string vrfText(const Mpls::VrfLabel& label);

/// "300 metric 100 from bgp, cli: 2 sources configure this route, so that it is withheld".
std::string sentence(const Withheld& withheld);

/// Everything withheld, by label stack and metric; of one label stack alone when `only` is given. One pass
/// over the inputs.
std::vector<Withheld> withheld(const Inputs& inputs, const Mpls::RouteKey* only = nullptr);

/// "300", "300/400" with the top first: a label stack as the commands take it.
std::string labelWords(const Mpls::RouteKey& key);

} // namespace tools::config
