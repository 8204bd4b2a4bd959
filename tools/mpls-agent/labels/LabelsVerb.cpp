#include "tools/mpls-agent/Agent.h"
#include "tools/mpls-agent/labels/ReturningClients.h"

namespace agent {

namespace {

namespace paths = tools::paths;
using Hubdb::MountFilter;

void serveLabels(const Options& options, double graceSeconds) {
   const std::string config(paths::config), status(paths::apiStatus), requests(paths::labelRequests);
   Process process(options, "mpls-agent labels");
   process.makeExist({{config, Mpls::Config::vokType().name()}});
   process.mount({{config, Mpls::Config::vokType().name()}});
   process.mount({{status, Mpls::Api::Status::vokType().name(), MountFilter::own()}});
   // Last and whole: a client that is absent when the manager starts loses its blocks.
   process.mount({{requests, Mpls::ClientLabelRequest::vokType().name(), MountFilter::entries()}});

   const auto manager = process.manager();
   const auto machine = Mpls::LabelManagerSmIs(
       Vok::make<Bolk::TimerWheel>(process.activity()), manager, manager->get<Vok::Dir>(requests),
       manager->get<Mpls::Config>(config), manager->get<Mpls::Api::Status>(status));
   ReturningClients returning(machine, graceSeconds);
   const auto turnEnd =
       process.activity().atTurnEnd([&] { returning.connectedIs(process.database().isConnected()); });
   process.sayReady();
   process.serve();
}

} // namespace

void labelsVerb(tools::Command program, const Options& options) {
   auto graceSeconds = std::make_shared<double>(30);
   program.verb("labels", "Give blocks of dynamic labels to the clients that ask for them in the database")
       .seconds("--grace", *graceSeconds,
                "Seconds that clients have to bring their requests to a server that lost them, before "
                "their blocks are taken back")
       .does([&options, graceSeconds] { serveLabels(options, *graceSeconds); });
}

} // namespace agent
