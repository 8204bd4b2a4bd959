#include "tools/common/Tables.h"
#include "tools/mpls-agent/Agent.h"
#include "tools/mpls-agent/forward/HardwareReport.h"
#include "tools/mpls-agent/forward/Programmer.h"

#include "Mpls/LfibIpLookupSm.h"
#include "Mpls/LfibStatusSm.h"

namespace agent {

namespace {

namespace paths = tools::paths;

struct ForwardOptions {
   std::string pool = std::string(tools::pools::lfib);
   std::string hardwarePool = std::string(tools::pools::hardware);
   Vok::U64 capacity = Kinet::MplsLabel::max + 1;
};

/// What this agent owns.
std::vector<tools::Database::Mount> outputs() {
   using Hubdb::MountFilter;
   return {
       {std::string(paths::hardwareStatus), Mpls::Hardware::Status::vokType().name(), MountFilter::own()},
       {std::string(paths::hardwareCapability), Mpls::Hardware::Capability::vokType().name(),
        MountFilter::own()},
       {std::string(paths::ipLookupStatus), Mpls::LfibIpLookupStatus::vokType().name(), MountFilter::own()}};
}

/// Turns what comes from the tables into notifications, a portion a turn, so that a burst does not keep the
/// database waiting.
class Follower {
  public:
   Follower(Vok::Activity& activity, VokPooltab::ReaderMount& tables)
       : activity_(activity), tables_(tables),
         watch_(activity.watch(tables.descriptor(), Vok::Activity::readable, [this](Vok::U32) {
            tables_.drain();
            deliver();
         })) {
      deliver();
   }
   bool hasCaughtUp() const { return caughtUp_; }

  private:
   static constexpr std::size_t portion = 4096;

   void deliver() {
      caughtUp_ = tables_.deliver(portion) < portion;
      if (!caughtUp_)
         activity_.post([this] { deliver(); });
   }

   Vok::Activity& activity_;
   VokPooltab::ReaderMount& tables_;
   bool caughtUp_ = false;
   Vok::Activity::Watch watch_;
};

void serveForward(const Options& options, const ForwardOptions& wishes) {
   Process process(options, "mpls-agent forward");
   process.mount(outputs());
   const auto manager = process.manager();
   capabilityIs(*manager->get<Mpls::Hardware::Capability>(paths::hardwareCapability));

   // After the database, for an agent that stands by must not hold the tables.
   const auto unprogrammed = Mpls::lfibHwStatusFactory(Vok::Name(wishes.hardwarePool));
   const auto unprogrammedMount = tools::mountForWriting(unprogrammed, wishes.hardwarePool);
   const auto lfib = Mpls::lfibStatusFactory(Vok::Name(wishes.pool));
   const auto lfibMount = tools::mountForReading(lfib, wishes.pool, {});
   Follower follower(process.activity(), *lfibMount);
   process.waitUntil([&] { return follower.hasCaughtUp(); });

   HardwareReport report(manager->get<Mpls::Hardware::Status>(paths::hardwareStatus), unprogrammed);
   ForwardingTable table(wishes.capacity, report);
   const auto vlanMaps = Mpls::lfibStatusConsumerSmFactory(lfib);
   Programmer programmer(lfib, table);
   // Last, for it takes the routes off the backlog that the programmer has to see.
   const auto ipLookup = Mpls::lfibIpLookupSmFactory(
       lfib, programmer.trackingStatus(), manager->get<Mpls::LfibIpLookupStatus>(paths::ipLookupStatus));
   programmer.settle();
   report.forgetAllBut(table);
   unprogrammedMount->flush();
   const auto turnEnd = process.activity().atTurnEnd([&] {
      programmer.settle();
      unprogrammedMount->flush();
   });
   process.sayReady();
   process.serve();
}

} // namespace

void forwardVerb(tools::Command program, const Options& options) {
   auto wishes = std::make_shared<ForwardOptions>();
   program
       .verb("forward", "Program a forwarding table from the LFIB, and report what is in it as hardware does")
       .option("--capacity", wishes->capacity, "Routes that the table has room for")
       .option("--pool", wishes->pool, "Pool of the LFIB's tables")
       .option("--hardware-pool", wishes->hardwarePool, "Pool for the routes that are not programmed")
       .does([&options, wishes] { serveForward(options, *wishes); });
}

} // namespace agent
