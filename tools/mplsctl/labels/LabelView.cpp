#include "tools/mplsctl/labels/LabelView.h"

namespace mplsctl {

namespace paths = tools::paths;

LabelView::LabelView(const Session& session) : connection_(session) {
   const auto entries = Hubdb::MountFilter::entries();
   connection_.database.mount(
       {{paths::directoryOf(paths::config), Mpls::Config::vokType().name(), entries},
        {std::string(paths::labelRequests), Mpls::ClientLabelRequest::vokType().name(), entries},
        {paths::directoryOf(paths::apiStatus), Mpls::Api::Status::vokType().name(), entries}});
}

LabelState LabelView::state() const {
   const auto& manager = connection_.manager();
   LabelState state;
   state.config = manager->get<Mpls::Config>(paths::config);
   if (!state.config)
      state.config = Mpls::configFactory("global");
   state.status = manager->get<Mpls::Api::Status>(paths::apiStatus);
   for (const auto& entry : manager->get<Vok::Dir>(paths::labelRequests)->entityPtrEach())
      if (const auto client =
              Vok::ptrCast<const Mpls::ClientLabelRequest>(Vok::Ptr<const Vok::Entity>(entry.value)))
         state.clients.push_back(client);
   return state;
}

} // namespace mplsctl
