#pragma once

#include "Mpls/LdpLibSm.h"

#include <string>
#include <string_view>

/// The words for LDP's labels and peers that its files and `mplsctl show ldp` share.

namespace mplsctl {

/// "imp-null", "exp-null", "-" for none, or the number. What "exp-null" means depends on the family. Raises
/// BadWord.
Kinet::MplsLabel ldpLabelWord(std::string_view word, Kinet::AddressFamily family);
std::string ldpLabelText(Kinet::MplsLabel label, Kinet::AddressFamily family);

/// "10.0.0.1", or "10.0.0.1:7" with a label space other than 0. Raises BadWord.
Ldp::LdpIdentifier ldpPeerWord(std::string_view word);
std::string ldpPeerText(const Ldp::LdpIdentifier& peer);

/// "ipv4" or "ipv6".
std::string_view familyText(Kinet::AddressFamily family);

/// What a FEC stands for: a prefix, or the FEC's own text.
std::string fecText(const Mpls::FwdEqvClass& fec);

} // namespace mplsctl
