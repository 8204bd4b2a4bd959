#pragma once

#include "Mpls/LdpLibSm.h"

namespace Ldp {

/// The identifier as the key under which binding tables know its router; the protocol is `ldp`.
Mpls::RouterId toRouterId(const LdpIdentifier& ldpIdentifier);

} // namespace Ldp
