#include "tools/mpls-agent/labels/ReturningClients.h"

namespace agent {

ReturningClients::ReturningClients(Vok::Ptr<Mpls::LabelManagerSm> machine, double graceSeconds)
    : machine_(std::move(machine)), graceSeconds_(graceSeconds),
      graceOver_(machine_->timerWheel(), [this] { handleGraceOver(); }) {}

void ReturningClients::connectedIs(bool connected) {
   if (connected_ == connected)
      return;
   connected_ = connected;
   if (connected)
      return graceOver_.start(graceSeconds_);
   graceOver_.cancel();
   for (const auto& entry : machine_->client()->requestEach())
      machine_->pendingClientMountIs(entry.key, true);
}

void ReturningClients::handleGraceOver() {
   std::vector<Vok::Name> names;
   for (const auto& entry : machine_->pendingClientMountEach())
      names.push_back(entry.key);
   machine_->pendingClientMountDelAll();
   for (const Vok::Name& name : names)
      if (machine_->clientInfoHas(name) && !machine_->client()->requestHas(name))
         machine_->handleLabelManagerClient(name);
}

} // namespace agent
