#include "tools/mplsctl/ldp/LdpWords.h"

#include "tools/mplsctl/formats/RouteWords.h"

namespace mplsctl {

namespace {

constexpr Vok::U32 explicitNullOf(Kinet::AddressFamily family) {
   return family == Kinet::AddressFamily::ipv6 ? 2 : 0;
}

} // namespace

Kinet::MplsLabel ldpLabelWord(std::string_view word, Kinet::AddressFamily family) {
   if (word == "-")
      return Kinet::MplsLabel();
   if (word == "imp-null")
      return Kinet::MplsLabel(implicitNull);
   if (word == "exp-null")
      return Kinet::MplsLabel(explicitNullOf(family));
   return Kinet::MplsLabel(numberWord("label", word, 0, Kinet::MplsLabel::max));
}

std::string ldpLabelText(Kinet::MplsLabel label, Kinet::AddressFamily family) {
   if (label == Kinet::MplsLabel())
      return "-";
   if (label.value() == implicitNull)
      return "imp-null";
   if (label.value() == explicitNullOf(family))
      return "exp-null";
   return std::to_string(label.value());
}

Ldp::LdpIdentifier ldpPeerWord(std::string_view word) {
   std::string text(word);
   if (text.find(':') == text.npos)
      text += ":0";
   Ldp::LdpIdentifier peer;
   try {
      peer.stringValueIs(text);
   } catch (const Vok::Error&) {
      throw BadWord("'" + std::string(word) + "' is no router id, which looks like 10.0.0.1");
   }
   return peer;
}

std::string ldpPeerText(const Ldp::LdpIdentifier& peer) {
   const std::string text = peer.stringValue();
   return peer.lblSpace().hostValue() == 0 ? text.substr(0, text.find(':')) : text;
}

std::string_view familyText(Kinet::AddressFamily family) {
   return family == Kinet::AddressFamily::ipv6 ? "ipv6" : "ipv4";
}

std::string fecText(const Mpls::FwdEqvClass& fec) {
   return fec.fecType() == Mpls::FecType::prefixFec ? fec.prefix().stringValue() : fec.stringValue();
}

} // namespace mplsctl
