#pragma once

#include "Mpls/LabelManagerSm.h"

#include "Bolk/TimerWheel.h"

namespace agent {

/// Lets clients keep their blocks while they come back to a server that has lost its state. Such a server
/// knows the clients one by one, as they bring their requests again, and the label manager would take back
/// the blocks of all that come late. While the connection is lost, and for some time once it is back, the
/// requests of all known clients therefore count as being mounted. Who is not there by then has gone.
class ReturningClients {
  public:
   ReturningClients(Vok::Ptr<Mpls::LabelManagerSm> machine, double graceSeconds);

   /// To be told in each turn whether there is a connection; of a lost one before anything of the next
   /// arrives.
   void connectedIs(bool connected);

  private:
   void handleGraceOver();

   const Vok::Ptr<Mpls::LabelManagerSm> machine_;
   const double graceSeconds_;
   bool connected_ = true;
   Bolk::TimerWheel::Timer graceOver_;
};

} // namespace agent
