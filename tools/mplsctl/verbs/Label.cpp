#include "tools/mplsctl/labels/LabelView.h"

/// `mplsctl label request|release`.

namespace mplsctl {

namespace {

namespace paths = tools::paths;
using Mpls::ClientLabelRequest;

struct LabelOptions {
   std::string client;
   std::string name;
   double timeout = 5;
   bool dryRun = false;
   bool json = false;

   std::string path() const;
};

std::string LabelOptions::path() const {
   if (client.empty() || client.find('/') != std::string::npos)
      throw Failure(Outcome::usage, "'" + client + "' cannot be the name of a client",
                    "give a word without '/', such as ldp");
   return paths::entry(paths::labelRequests, client);
}

void report(const LabelOptions& options, std::string_view done,
            const std::optional<Mpls::LabelRange>& block) {
   tools::Output out;
   if (options.json) {
      tools::Json json(out, 0);
      json.object().field("client", options.client).field("request", options.name).field("done", done);
      json.field("dryRun", options.dryRun);
      if (block) {
         writeRange(json.key("block").object(), *block);
         json.end();
      }
      json.end();
   } else {
      out.print("{}{} {} {}{}\n", options.dryRun ? "dry run: would be " : "", done, options.client,
                options.name, block ? " " + rangeText(*block) : "");
   }
   out.flush();
}

/// Leaves the request in the database, where it belongs to nobody. Returns whether it is new.
bool ask(const LabelOptions& options, const Session& session) {
   const std::string path = options.path();
   Connection connection(session);
   const auto requests = connection.input<ClientLabelRequest>(path, options.dryRun);
   const bool isNew = !requests->labelRequestHas(options.name);
   requests->labelRequestIs(Mpls::LabelRequest(options.name));
   if (!options.dryRun)
      connection.database.settle();
   return isNew;
}

void request(const LabelOptions& options, const Session& session) {
   const bool isNew = ask(options, session);
   LabelView view(session);
   const auto block = [&] { return view.state().block(options.client, options.name); };
   if (options.dryRun)
      return report(options, isNew ? "requested" : "unchanged", block());
   // While routing is off there is nothing to wait for.
   if (view.state().config->mplsRouting())
      view.waitFor([&] { return block().has_value(); }, options.timeout);
   if (!block()) {
      const LabelState::Reason reason = view.state().whyWaiting();
      throw Failure(Outcome::failed,
                    fmt::format("{} {} waits for a block: {}", options.client, options.name, reason.why),
                    reason.next + fmt::format("; or give up: 'mplsctl label release {} {}'", options.client,
                                              options.name));
   }
   report(options, isNew ? "granted" : "unchanged", block());
}

/// A client that wants nothing any more leaves the database.
void withdraw(const LabelOptions& options, const std::string& path, const Session& session) {
   Connection connection(session);
   const auto present =
       Vok::ptrCast<ClientLabelRequest>(connection.present(path, ClientLabelRequest::vokType()));
   if (!present || !present->labelRequestHas(options.name))
      throw Failure(Outcome::failed, fmt::format("{} has no request {}", options.client, options.name),
                    "'mplsctl show labels' lists those that there are");
   if (options.dryRun)
      return;
   const auto requests = connection.input<ClientLabelRequest>(path, false);
   requests->labelRequestDel(options.name);
   connection.database.settle();
   if (requests->labelRequests() > 0)
      return;
   connection.manager()->del(path);
   // Nobody acknowledges a deletion; but who answers this has seen it.
   connection.database.mount(
       {{std::string(paths::labelRequests), Vok::Dir::vokType().name(), Hubdb::MountFilter::names()}});
}

void release(const LabelOptions& options, const Session& session) {
   const std::string path = options.path();
   LabelView view(session);
   const auto block = [&] { return view.state().block(options.client, options.name); };
   const auto released = block();
   withdraw(options, path, session);
   if (!options.dryRun && !view.waitFor([&] { return !block(); }, options.timeout))
      throw Failure(Outcome::failed,
                    fmt::format("{} {} is withdrawn, and its block {} is not taken back: no label manager "
                                "answers",
                                options.client, options.name, rangeText(*block())),
                    "start 'mpls-agent labels', which takes it back");
   report(options, "released", released);
}

} // namespace

void labelVerb(Command program, Session& session) {
   const Command label =
       program.verb("label", "Ask for blocks of dynamic labels, and give them back").needsVerb();
   auto options = std::make_shared<LabelOptions>();
   using Work = void (*)(const LabelOptions&, const Session&);
   const auto declare = [&](const char* name, const char* help, const char* timeout, Work work) {
      label.verb(name, help)
          .argument("CLIENT", options->client, "Who wants the block: a protocol, or any other word")
          .argument("NAME", options->name, "What the client calls the request")
          .seconds("--timeout", options->timeout, timeout)
          .flag("--dry-run", options->dryRun, "Say what would be done, and do nothing")
          .flag("--json", options->json, "Print one JSON object")
          .does([options, &session, work] { work(*options, session); });
   };
   declare("request", "Ask for a block, and wait until it is granted", "Seconds to wait for the block",
           request);
   declare("release", "Withdraw a request, and wait until its block is taken back",
           "Seconds to wait until the block is taken back", release);
}

} // namespace mplsctl
