#include "Vok/Assert.h"

#include "Vok/Errors.h"
#include "Vok/Trace.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace Vok {

static constinit TraceFacility trace("Assert");

void assertionFailed(std::string_view condition, std::string_view message,
                     std::source_location where) noexcept {
   auto text = std::string(where.function_name()).append(": assertion failed: ").append(condition);
   if (!message.empty())
      text.append(": ").append(message);

   // Standard error comes first: whatever the trace does afterwards, the reason has been told.
   const auto place = std::string(sourceUnit(where)).append(":").append(std::to_string(where.line()));
   std::fflush(stdout);
   std::fprintf(stderr, "%s: %s\n", place.c_str(), text.c_str());
   if (const auto destination = traceDestination()) {
      if (auto line = trace.at(0, where))
         line << text;
      destination->aboutToAbort();
   }
   std::abort();
}

void requirementFailed(std::string_view condition, std::string_view message, std::source_location where) {
   throw InternalError(sourceUnit(where), where.line(), where.function_name(), condition, message);
}

} // namespace Vok
