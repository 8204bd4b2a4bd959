#include "tools/common/Lfib.h"
#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/formats/Words.h"
#include "tools/mplsctl/lfib/Watcher.h"
#include "tools/mplsctl/verbs/RouteText.h"
#include "tools/mplsctl/verbs/Show.h"

#include <memory>
#include <poll.h>

/// `mplsctl watch`: the state, then every change as it comes.

namespace mplsctl {

namespace {

constexpr std::string_view eventWords[] = {"added", "changed", "removed"};

std::string_view word(WatchObserver::Event event) {
   return eventWords[static_cast<std::size_t>(event)];
}

/// Ends watching after so many changes, or when caught up.
struct Limits {
   std::optional<Vok::U64> changes;
   bool untilCaughtUp = false;
};

class Printer : public WatchObserver {
  public:
   Printer(tools::Output& out, std::optional<Vok::U64> limit) : out_(out), limit_(limit) {}

   bool isFull() const { return limit_ && changes_ >= *limit_; }
   void onChange(Vok::U64 number, Event event, const Mpls::RouteKey& key, const Chain* chain) final {
      if (isFull())
         return;
      ++changes_;
      tellChange(number, event, key, chain);
   }

  protected:
   virtual void tellChange(Vok::U64 number, Event event, const Mpls::RouteKey& key, const Chain* chain) = 0;
   tools::Output& out_;

  private:
   std::optional<Vok::U64> limit_;
   Vok::U64 changes_ = 0;
};

/// Lines for people: "1240  changed  16040  SR (IS-IS)  10.0.2.4 16040, 10.0.3.4 16040".
class TextPrinter : public Printer {
  public:
   using Printer::Printer;

   void onState(Vok::U64 version, Vok::U64 routes) override {
      out_.print("# state at change {}: {} routes\n", version, routes);
   }
   void onStateRoute(const Chain& chain) override { route(chain.route.key(), &chain); }
   void onCaughtUp(Vok::U64 version) override { out_.print("# caught up at change {}\n", version); }
   void onGap(Vok::U64 first, Vok::U64 last) override {
      if (last < first)
         out_ << "# gap: another log stands here now; the state follows\n";
      else
         out_.print("# gap: changes {} to {} are lost; the state follows\n", first, last);
   }

  protected:
   void tellChange(Vok::U64 number, Event event, const Mpls::RouteKey& key, const Chain* chain) override {
      out_.print("{:<9} {:<8} ", number, word(event));
      route(key, chain);
   }

  private:
   void route(const Mpls::RouteKey& key, const Chain* chain) {
      out_ << labelText(key);
      if (chain) {
         out_ << "  " << routeType(chain->route.source()) << "  ";
         bool first = true;
         for (const Chain::Link& link : chain->vias) {
            if (!link.row)
               continue;
            describe(*link.row, hop_);
            out_ << (std::exchange(first, false) ? "" : ", ") << hop_.towards() << ' ' << hop_.outbound;
         }
         if (!chain->isWhole())
            out_ << (first ? "(broken)" : " (broken)");
      }
      out_ << '\n';
   }

   Hop hop_;
};

/// A JSON object a line.
class JsonPrinter : public Printer {
  public:
   using Printer::Printer;

   void onState(Vok::U64 version, Vok::U64 routes) override {
      tools::Json json(out_, 0);
      json.object().field("event", "state").field("version", version).field("routes", routes).end();
   }
   void onStateRoute(const Chain& chain) override {
      tools::Json json(out_, 0);
      json.object().field("event", "route");
      route(json, chain.route.key(), &chain);
   }
   void onCaughtUp(Vok::U64 version) override {
      tools::Json json(out_, 0);
      json.object().field("event", "caughtUp").field("version", version).end();
   }
   void onGap(Vok::U64 first, Vok::U64 last) override {
      tools::Json json(out_, 0);
      json.object().field("event", "gap").field("first", first).field("last", last).end();
   }

  protected:
   void tellChange(Vok::U64 number, Event event, const Mpls::RouteKey& key, const Chain* chain) override {
      tools::Json json(out_, 0);
      json.object().field("event", word(event)).field("number", number);
      route(json, key, chain);
   }

  private:
   static void route(tools::Json& json, const Mpls::RouteKey& key, const Chain* chain) {
      json.field("label", key.labelStack().stringValue());
      if (chain)
         writeRoute(json.key("route"), *chain);
      json.end();
   }
};

/// Sleeps until there is something to deliver. Returns false when nobody reads the output any more.
bool sleep(const Watcher& watcher) {
   pollfd waited[] = {{watcher.descriptor(), POLLIN, 0}, {1, 0, 0}};
   while (poll(waited, 2, -1) < 0)
      if (errno != EINTR)
         throw Failure(Outcome::failed, "cannot wait for changes");
   return (waited[1].revents & (POLLERR | POLLNVAL)) == 0;
}

void follow(Watcher& watcher, const LfibTables& tables, const Limits& limits, Printer& printer,
            tools::Output& out) {
   bool announced = false;
   for (;;) {
      watcher.drain();
      while (!printer.isFull() && !watcher.deliver())
         ;
      if (printer.isFull())
         return;
      if (!std::exchange(announced, true))
         printer.onCaughtUp(tables.pool.position());
      out.flush();
      if (limits.untilCaughtUp || out.isGone() || !sleep(watcher))
         return;
   }
}

} // namespace

void watchVerb(Command program, Session& session) {
   struct Options {
      std::optional<Vok::U64> since;
      Limits limits;
      std::string labels;
      bool json = false;
   };
   auto options = std::make_shared<Options>();
   program.verb("watch", "Print the state of all routes, then every change")
       .option("--since", options->since, "No state: go on behind this change")
       .option("--count", options->limits.changes, "End after so many changes")
       .flag("--until-caught-up", options->limits.untilCaughtUp, "End when there is nothing new")
       .option("--label", options->labels, "Only routes with this top label, or in LOW-HIGH")
       .flag("--jsonl,--json", options->json, "Print a JSON object a line")
       .does([options, &session] {
          RouteFilter filter;
          if (!options->labels.empty())
             labelRangeFromText(options->labels, filter);
          const auto tables = openTables(tools::folderOf(session.pool));
          if (!tables->pool.hasLog())
             throw Failure(Outcome::corrupt,
                           tables->pool.folder()->where() + ": the change log cannot be read",
                           "stop the writer and load again: it makes the log anew");
          tools::Output out;
          std::unique_ptr<Printer> printer;
          if (options->json)
             printer = std::make_unique<JsonPrinter>(out, options->limits.changes);
          else
             printer = std::make_unique<TextPrinter>(out, options->limits.changes);
          Watcher watcher(*tables, filter, *printer);
          watcher.start(options->since);
          follow(watcher, *tables, options->limits, *printer, out);
          out.flush();
          session.outcome = Outcome::done;
       });
}

} // namespace mplsctl
