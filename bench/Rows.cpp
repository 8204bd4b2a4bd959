#include "bench/Rows.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace Bench {

namespace {

constexpr auto source = Mpls::LFib::Source::lfibSourceStaticMpls;

Mpls::FwdEqvClass fecOf(U64 number) {
   const auto address = Kinet::IpGenAddr::fromIpv4(0x0a000000 + static_cast<U32>(number));
   return Mpls::FwdEqvClass(Kinet::IpGenPrefix::around(address, 32));
}

Mpls::LfibMplsVia viaOf(U64 number, U64 generation, const Mpls::LfibViaKey& key) {
   static const Kinet::IntfId intf("Ethernet1");
   const U32 host = 0xc0a80000 + static_cast<U32>(generation << 24 | number);
   const Kinet::MplsLabel outLabel(static_cast<U32>(16 + (number + generation) % 1000000));
   return Mpls::LfibMplsVia(key, Kinet::IpGenAddr::fromIpv4(host), Kinet::MplsLabelAction::swap,
                            Kinet::MplsLabelOperation(outLabel), intf, Mpls::PayloadType::autoDecide, false,
                            Mpls::TtlMode::uniform, 1);
}

} // namespace

Mpls::RouteKey routeKeyOf(U64 number) {
   return Mpls::RouteKey::fromLabel(Kinet::MplsLabel(static_cast<U32>(number)));
}

Mpls::ConsolidatedLfibRoute routeOf(U64 number, U64 generation) {
   Mpls::ConsolidatedLfibRoute route(routeKeyOf(number), source, fecOf(number), Mpls::RouteMetric(100),
                                     Mpls::viaTypeMplsIp_, Mpls::LfibViaSetType::unicast);
   route.mplsViaIs(viaOf(number, generation, {}));
   return route;
}

RouteKeyBlob packedKeyOf(const Mpls::RouteKey& key) {
   RouteKeyBlob packed{};
   Vok::rowStore(key, packed.data());
   return packed;
}

PackedRoute RowMaker::operator()(U64 number, U64 place, U64 generation) const {
   const auto index = static_cast<U32>(1 + place + generation * total_);
   const Mpls::LfibViaKey viaKey(source, Mpls::viaTypeMplsIp_, index);
   const Mpls::LfibViaSetKey viaSetKey(source, index, Mpls::viaTypeMplsIp_, Mpls::LfibViaSetType::unicast);
   Mpls::LfibViaSet viaSet;
   viaSet.keyIs(viaSetKey);
   viaSet.viaKeyIs(Mpls::LfibViaIndexRange(0), viaKey);
   const Mpls::LfibRoute route(routeKeyOf(number), viaSetKey, source, fecOf(number), Mpls::RouteMetric(100));

   PackedRoute packed{};
   Vok::rowStore(viaOf(number, generation, viaKey), packed.via.data());
   Vok::rowStore(viaSet, packed.viaSet.data());
   Vok::rowStore(route, packed.route.data());
   return packed;
}

std::vector<U32> shuffled(U64 total) {
   std::vector<U32> numbers(total);
   std::iota(numbers.begin(), numbers.end(), 0);
   std::shuffle(numbers.begin(), numbers.end(), std::mt19937(20240229));
   return numbers;
}

} // namespace Bench
