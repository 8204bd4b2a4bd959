#include "bench/Measure.h"
#include "bench/SharedPage.h"
#include "bench/Works.h"

#include "Mpls/LdpRouterId.h"
#include "Pooltab/VokPooltab.h"

/// Bindings of a hundred peers, a label and a time each, from the tables of one process into the label
/// binding tables of another: taken over at the start, then deleted and bound again one by one.

namespace Bench {

namespace {

using namespace Ldp::LdpPooltab;
using Vok::U32;
using Vok::U64;

constexpr U32 peers = 100;
constexpr U64 burst = 16384; ///< changes told of in one go: well within the log

Ldp::LdpIdentifier peerOf(U64 number) {
   return Ldp::LdpIdentifier(0x01010100 + static_cast<U32>(number % peers), 0);
}
Mpls::FwdEqvClass fecOf(U64 number) {
   const auto network = static_cast<U32>(number / peers) << 8;
   return Mpls::FwdEqvClass(Kinet::IpGenPrefix(Kinet::IpGenAddr::fromIpv4(0x0a000000 + network), 24));
}
LdpPeerLbtLabelKey labelKeyOf(U64 number) {
   return {peerOf(number), fecOf(number), Kinet::MplsLabel(16 + static_cast<U32>(number / peers))};
}

struct Progress {
   std::atomic<U64> written = 0; ///< bursts that the writer has announced
   std::atomic<U64> read = 0;    ///< of them, those that the reader has handled
};

/// Takes everything over, then follows; nanoseconds a row of each.
std::vector<double> consume(const VokPooltab::MountInfo& where, U64 size, U64 bursts, Progress& progress) {
   const auto rows = ldpLabelBindingTableFactory("ldp");
   VokPooltab::ReaderMount mount(rows, where);
   const auto local = Mpls::labelBindingTableFactory(Mpls::RouterId());
   const auto tables = Mpls::labelBindingTableCollFactory("peers");
   Vok::Ptr<LdpLibConsumerSm> consumer;
   const double start =
       timed([&] { consumer = LdpLibConsumerSmIs(rows, local, tables); }, CLOCK_PROCESS_CPUTIME_ID);
   mount.deliver(~std::size_t{0});
   double follow = 0;
   U64 followed = 0;
   for (progress.read = 1; progress.read <= bursts; ++progress.read) {
      await([&] { return progress.written >= progress.read; });
      follow += timed([&] { followed += mount.deliver(~std::size_t{0}); }, CLOCK_PROCESS_CPUTIME_ID);
   }
   U64 bindings = 0;
   for (const auto& [routerId, table] : tables->bindingTableEach())
      for (const auto& [fec, labelSet] : table->bindingEach())
         bindings += labelSet->mplsLabels() == 1 && labelSet->lastUpdate() == 1.5;
   if (bindings != size || followed != 2 * size)
      throw std::runtime_error("the label binding tables are not what the rows say");
   return {start / static_cast<double>(2 * size), follow / static_cast<double>(followed)};
}

} // namespace

void runLdp(const Options&, U64 size, Report& report) {
   const ScratchDirectory scratch;
   const VokPooltab::MountInfo where{.pool = "ldp", .root = scratch.path()};
   const auto rows = ldpLabelBindingTableFactory("ldp");
   VokPooltab::WriterMount mount(rows, where);
   for (U64 number = 0; number < size; ++number) {
      rows->peerLbtLabelIs(LdpPeerLbtLabelEntry(labelKeyOf(number)));
      rows->peerLbtLastUpdateIs(LdpPeerLbtLastUpdateEntry({peerOf(number), fecOf(number)}, 1.5));
   }
   mount.flush();
   report.add("ldp-bytes", size, ours,
              static_cast<double>(rows->peerLbtLabelControl().statistics().bytes) /
                  static_cast<double>(size));

   const U64 bursts = 2 * ((size + burst - 1) / burst);
   SharedPage<Progress> progress;
   Child reader([&] { return consume(where, size, bursts, *progress.get()); });
   for (U64 number = 0; progress->written < bursts;) {
      await([&] { return progress->read > progress->written; });
      const U64 end = std::min(number + burst, size);
      const bool isBinding = progress->written >= bursts / 2;
      for (; number < end; ++number)
         isBinding ? rows->peerLbtLabelIs(LdpPeerLbtLabelEntry(labelKeyOf(number)))
                   : rows->peerLbtLabelDel(labelKeyOf(number));
      mount.flush();
      ++progress->written;
      if (number == size)
         number = 0;
   }
   const std::vector<double> costs = reader.result();
   report.add("ldp-start", size, ours, costs.at(0));
   report.add("ldp-follow", size, ours, costs.at(1));
}

} // namespace Bench
