#include "tools/mplsctl/formats/Words.h"

#include "Vok/Enum.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace mplsctl {

namespace {

using Mpls::LFib::Source;

struct ReservedLabel {
   Vok::U32 label;
   std::string_view name;
};

constexpr ReservedLabel reservedLabels[] = {
    {0, "explicit-null"},           {1, "router-alert"}, {2, "ipv6-explicit-null"}, {3, "implicit-null"},
    {7, "entropy-label-indicator"}, {13, "gal"},         {14, "oam-alert"},         {15, "extension"},
};

struct SourceType {
   Source source;
   std::string_view type;
};

constexpr SourceType sourceTypes[] = {
    {Source::lfibSourceStaticMpls, "Static"},
    {Source::lfibSourceStaticL3Vpn, "Static L3VPN"},
    {Source::lfibSourceBgpLu, "BGP"},
    {Source::lfibSourceBgpL2Evpn, "BGP EVPN"},
    {Source::lfibSourceBgpL3Vpn, "BGP L3VPN"},
    {Source::lfibSourceRsvp, "RSVP-TE"},
    {Source::lfibSourcePseudowire, "Pseudowire"},
    {Source::lfibSourceLdp, "LDP"},
    {Source::lfibSourceMldp, "mLDP"},
    {Source::lfibSourceIsisSrV4Prefix, "SR (IS-IS)"},
    {Source::lfibSourceIsisSrV4Adj, "SR (IS-IS)"},
    {Source::lfibSourceIsisSrV6Prefix, "SR (IS-IS)"},
    {Source::lfibSourceIsisSrV6Adj, "SR (IS-IS)"},
    {Source::lfibSourceIsisSrToLdp, "SR to LDP"},
    {Source::lfibSourceLdpToIsisSr, "LDP to SR"},
    {Source::lfibSourceSrTePolicy, "SR-TE"},
    {Source::lfibSourceDebug, "Debug"},
};

bool sameText(std::string_view a, std::string_view b) {
   const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
   return std::ranges::equal(a, b, [&](char x, char y) { return lower(x) == lower(y); });
}

} // namespace

std::string_view labelName(Vok::U32 label) {
   if (label < 16)
      for (const ReservedLabel& reserved : reservedLabels)
         if (reserved.label == label)
            return reserved.name;
   return {};
}

std::optional<Vok::U32> labelFromText(std::string_view text) {
   for (const ReservedLabel& reserved : reservedLabels)
      if (sameText(text, reserved.name))
         return reserved.label;
   Vok::U32 label = 0;
   const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), label);
   if (error != std::errc() || end != text.data() + text.size() || label > Kinet::MplsLabel::max)
      return std::nullopt;
   return label;
}

std::string_view routeType(Source source) {
   for (const SourceType& known : sourceTypes)
      if (known.source == source)
         return known.type;
   return "Unknown";
}

std::optional<Source> sourceFromText(std::string_view text) {
   for (const SourceType& known : sourceTypes)
      if (sameText(text, known.type))
         return known.source;
   constexpr std::string_view prefix = "lfibSource";
   for (const Vok::Enumerator& enumerator : vokEnum(Source()).enumerators())
      if (enumerator.number < static_cast<Vok::U32>(Source::lfibSourceMax) &&
          (sameText(text, enumerator.name) || sameText(text, enumerator.name.substr(prefix.size()))))
         return static_cast<Source>(enumerator.number);
   return std::nullopt;
}

} // namespace mplsctl
