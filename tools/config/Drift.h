#pragma once

#include "tools/config/Candidate.h"

/// What became of the configuration since a session began.

namespace tools::config {

/// The entries (a route, a binding, a setting) that were changed outside of a session, and that its commit
/// would put back. What was changed outside to just what the session has is none of them.
class Drift {
  public:
   enum class Which {
      outside,  ///< that the session has left alone
      conflict, ///< that the session has changed too, and to something else
      all
   };

   /// Of the configuration that the session began from, of what it has made of it, and of what holds now.
   Drift(const Side& base, const Side& copy, const Side& running);

   bool empty() const { return size(Which::all) == 0; }
   std::size_t size(Which which) const;
   /// Makes these entries equal to those of the other side, and no others.
   void take(Which which, const Side& to, const Side& from) const;
   /// A side that has nothing but these entries of another one.
   Side only(Which which, const Side& from) const;

  private:
   template <class Visit>
   void each(Which which, const Visit& visit) const;

   std::vector<Cli::Session::Divergence> parts_; ///< in the order of sessionParts()
};

} // namespace tools::config
