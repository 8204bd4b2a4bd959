#pragma once

#include "tools/mplsctl/Connection.h"
#include "tools/mplsctl/labels/LabelState.h"

namespace mplsctl {

/// The labels' part of the database, which it follows.
class LabelView {
  public:
   explicit LabelView(const Session& session);

   LabelState state() const;
   /// Follows until `done` or until patience ends; says which.
   bool waitFor(const std::function<bool()>& done, double seconds) {
      return connection_.database.turnUntil(done, seconds);
   }

  private:
   Connection connection_;
};

} // namespace mplsctl
