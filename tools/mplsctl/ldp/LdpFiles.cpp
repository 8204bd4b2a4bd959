#include "tools/mplsctl/ldp/LdpFiles.h"

#include "tools/mplsctl/formats/FileText.h"
#include "tools/mplsctl/formats/JsonRoutes.h"
#include "tools/mplsctl/ldp/LdpWords.h"

#include <fmt/core.h>

namespace mplsctl {

namespace {

using Ldp::LdpIdentifier;

const JsonNode& memberOf(const JsonNode& object, std::string_view key) {
   if (const JsonNode* member = findMember(object, key))
      return *member;
   throw BadWord(fmt::format("'{}' is missing", key));
}

std::string_view wordIn(const JsonNode& object, std::string_view key) {
   return wordOf(memberOf(object, key));
}

Kinet::IpGenPrefix prefixWord(std::string_view word) {
   try {
      return Kinet::IpGenPrefix(word);
   } catch (const Vok::Error&) {
      throw BadWord(fmt::format("'{}' is no prefix", word));
   }
}

/// A number from 0, or nothing when the object does not have it.
std::optional<Vok::U32> numberIn(const JsonNode& object, std::string_view key, Vok::U32 most) {
   const JsonNode* const member = findMember(object, key);
   return member ? std::optional(numberWord(key, wordOf(*member), 0, most)) : std::nullopt;
}

/// Enters what one router bound. A row for each neighbour repeats the local label, which must be the same.
void bind(LdpFiles& files, const LdpPlace& place, const LdpBinding& binding) {
   const auto [at, isNew] = files.bindings.try_emplace(place, binding);
   if (isNew)
      return;
   const std::string fec = fecText(place.fwdEqvClass());
   if (!isLocal(place))
      throw BadWord(
          fmt::format("neighbor {} has a second row for {}", ldpPeerText(place.ldpIdentifier()), fec));
   const auto family = place.fwdEqvClass().prefix().family();
   if (at->second.label != binding.label)
      throw BadWord(fmt::format("local label {} of {} was {} before", ldpLabelText(binding.label, family),
                                fec, ldpLabelText(at->second.label, family)));
}

void readBindingRow(LdpFiles& files, const JsonNode& entry) {
   membersOf(entry);
   const Mpls::FwdEqvClass fec(prefixWord(wordIn(entry, "prefix")));
   const Kinet::AddressFamily family = fec.prefix().family();
   try {
      if (const JsonNode* given = findMember(entry, "addressFamily");
          given && wordOf(*given) != familyText(family))
         throw BadWord(fmt::format("{} is no prefix of the family '{}'", fecText(fec), wordOf(*given)));
      const LdpIdentifier peer = ldpPeerWord(wordIn(entry, "neighborId"));
      const Kinet::MplsLabel local = ldpLabelWord(wordIn(entry, "localLabel"), family);
      const Kinet::MplsLabel remote = ldpLabelWord(wordIn(entry, "remoteLabel"), family);
      std::optional<bool> inUse;
      if (const auto number = numberIn(entry, "inUse", 1))
         inUse = *number == 1;
      if (remote == Kinet::MplsLabel() && inUse.value_or(false))
         throw BadWord("in use without a remote label");
      const bool noPeer = peer == LdpIdentifier();
      if (noPeer && remote != Kinet::MplsLabel())
         throw BadWord("a remote label without the neighbor that bound it");
      // A row without a neighbour stands for a FEC that no neighbour has bound, whether this router has or
      // not.
      if (noPeer || local != Kinet::MplsLabel())
         bind(files, LdpPlace(LdpIdentifier(), fec), {local, false});
      if (!noPeer)
         bind(files, LdpPlace(peer, fec), {remote, inUse});
   } catch (const BadWord&) {
      files.badFecs.insert(fec);
      throw;
   }
}

void readLinks(LdpFiles& files, const JsonNode& sources, LdpNeighbor& row) {
   constexpr std::string_view kind = "interface: ";
   Vok::U32 next = 0;
   for (const JsonNode& family : membersOf(sources))
      for (const JsonNode& source : elementsOf(family)) {
         const std::string_view word = wordOf(source);
         if (!word.starts_with(kind) || next > LdpLinkIndex::max)
            addRemark(files.remarks, Remark::Kind::skipped, source.line,
                      "source of discovery that is no link");
         else
            row.linkIs(LdpLinkIndex(next++), interfaceWord(word.substr(kind.size())));
      }
}

/// How many messages of a kind were sent. They stand in an array of objects of one member each.
std::int64_t messagesIn(const JsonNode& sent, std::string_view kind) {
   for (const JsonNode& message : elementsOf(sent))
      if (const auto count = numberIn(message, kind, 0xffffffff))
         return *count;
   return 0;
}

void readNeighborField(LdpFiles& files, const JsonNode& field, LdpSession& session) {
   LdpNeighbor& row = session.row;
   const auto number = [&](Vok::U32 most) { return numberWord(field.key, wordOf(field), 0, most); };
   if (field.key == "peerId") {
      if (ldpPeerWord(wordOf(field)) != row.key())
         throw BadWord(fmt::format("'peerId' {} is not the neighbor's key", wordOf(field)));
   } else if (field.key == "state") {
      row.stateIs(LdpSessionState(Vok::String(wordOf(field))));
   } else if (field.key == "tcpLocalAddress") {
      row.localAddressIs(addressWord(wordOf(field)));
   } else if (field.key == "tcpRemoteAddress") {
      row.remoteAddressIs(addressWord(wordOf(field)));
   } else if (field.key == "tcpLocalPort") {
      row.localPortIs(static_cast<Vok::U16>(number(0xffff)));
   } else if (field.key == "tcpRemotePort") {
      row.remotePortIs(static_cast<Vok::U16>(number(0xffff)));
   } else if (field.key == "sessionHoldtime") {
      row.holdTimeIs(number(0xffff));
   } else if (field.key == "keepAliveInterval") {
      row.keepAliveIs(number(0xffff));
   } else if (field.key == "discoverySources") {
      readLinks(files, field, row);
   } else if (field.key == "sentMessages") {
      session.mappings = messagesIn(field, "labelMapping") - messagesIn(field, "labelWithdraw");
   } else if (field.key != "counts") { // `show ldp neighbors` counts, and nobody needs to be told
      addRemark(files.remarks, Remark::Kind::skipped, field.line,
                fmt::format("'{}' of a neighbor, which the tables have no place for", field.key));
   }
}

void readNeighbor(LdpFiles& files, const JsonNode& entry) {
   LdpSession session;
   session.row.keyIs(ldpPeerWord(entry.key));
   const LdpIdentifier peer = session.row.key();
   try {
      if (peer == LdpIdentifier())
         throw BadWord("0.0.0.0 is no neighbor");
      for (const JsonNode& field : membersOf(entry))
         readNeighborField(files, field, session);
      if (!files.neighbors.try_emplace(peer, session).second)
         throw BadWord(fmt::format("neighbor {} comes a second time", ldpPeerText(peer)));
   } catch (const Vok::Error& error) {
      files.badNeighbors.insert(peer);
      throw BadWord(error.what());
   } catch (const BadWord&) {
      files.badNeighbors.insert(peer);
      throw;
   }
}

bool isSet(const JsonNode& object, std::string_view key) {
   const JsonNode* const member = findMember(object, key);
   return member && member->isTrue();
}

/// The routes to one prefix: next hops count when they have an address and their route is the one in force.
void readRoutesOfPrefix(LdpFiles& files, const JsonNode& entry) {
   const Kinet::IpGenPrefix prefix = prefixWord(entry.key);
   for (const JsonNode& route : elementsOf(entry)) {
      if (!isSet(route, "selected"))
         continue;
      for (const JsonNode& hop : elementsOf(memberOf(route, "nexthops")))
         if (const JsonNode* address = findMember(hop, "ip"); address && isSet(hop, "active"))
            files.hops[prefix].push_back(
                {addressWord(wordOf(*address)), findMember(hop, "interfaceName")
                                                    ? interfaceWord(wordIn(hop, "interfaceName"))
                                                    : Kinet::IntfId()});
   }
}

/// Reads a text entry by entry; a BadWord makes its line bad.
void readEntries(LdpFiles& files, const std::string& name, std::string_view text, std::string_view opened,
                 void (*read)(LdpFiles&, const JsonNode&)) {
   const auto bad = [&](std::uint32_t line, std::string what) {
      files.badLines.push_back({name, {line, std::move(what)}});
   };
   const JsonError error = eachJsonEntry(
       text,
       [&](const JsonNode& entry) {
          try {
             read(files, entry);
          } catch (const BadWord& word) {
             bad(entry.line, word.what());
          }
       },
       opened);
   if (!error.what.empty()) {
      bad(error.line, error.what);
      files.broken = true;
   }
}

/// What stands behind the first key of an object: "bindings", or the bracket of its first value.
std::pair<std::string_view, char> firstKeyOf(std::string_view text) {
   constexpr std::string_view blanks = " \t\r\n";
   const auto next = [&](std::size_t from) {
      return std::min(text.find_first_not_of(blanks, from), text.size());
   };
   const std::size_t open = next(0), quote = next(open + 1);
   if (open == text.size() || text[open] != '{' || quote == text.size() || text[quote] != '"')
      return {};
   const std::size_t end = std::min(text.find('"', quote + 1), text.size());
   const std::size_t colon = next(end + 1), value = next(colon + 1);
   return {text.substr(quote + 1, end - quote - 1), value < text.size() ? text[value] : '\0'};
}

/// The neighbour to which a next hop leads: the one heard on its link, or of several there the one that has
/// the address. Null when the files do not tell.
const LdpIdentifier* neighborAt(const LdpFiles& files, const LdpRouteHop& hop) {
   const LdpIdentifier* found = nullptr;
   bool several = false;
   for (const auto& [peer, session] : files.neighbors) {
      if (session.row.remoteAddress() == hop.address)
         return &peer;
      for (const auto [index, link] : session.row.linkEach())
         if (link == hop.intf && !hop.intf.empty()) {
            several = found != nullptr;
            found = &peer;
            break;
         }
   }
   return several ? nullptr : found;
}

bool isRoutedBy(const LdpFiles& files, const LdpPlace& place) {
   const auto hops = files.hops.find(place.fwdEqvClass().prefix());
   return hops != files.hops.end() && std::ranges::any_of(hops->second, [&](const LdpRouteHop& hop) {
             const LdpIdentifier* const peer = neighborAt(files, hop);
             return peer && *peer == place.ldpIdentifier();
          });
}

} // namespace

void readLdpText(LdpFiles& files, const std::string& name, std::string_view text) {
   files.names.push_back(name);
   const auto [key, bracket] = firstKeyOf(text);
   if (key == "bindings" && bracket == '[') {
      files.hasBindings = true;
      readEntries(files, name, text, "bindings", readBindingRow);
   } else if (bracket == '[') {
      files.hasRoutes = true;
      readEntries(files, name, text, {}, readRoutesOfPrefix);
   } else if (bracket == '{') {
      files.hasNeighbors = true;
      readEntries(files, name, text, {}, readNeighbor);
   } else {
      files.badLines.push_back({name, {1, "neither LDP bindings, nor LDP neighbors, nor IP routes in JSON"}});
      files.broken = true;
   }
}

void settleUse(LdpFiles& files) {
   const bool isTold = files.hasNeighbors && files.hasRoutes;
   for (auto& [place, binding] : files.bindings) {
      if (isLocal(place))
         continue;
      const bool routed = isTold && binding.label != Kinet::MplsLabel() && isRoutedBy(files, place);
      if (!binding.inUse && !isTold)
         addRemark(files.remarks, Remark::Kind::note, 0,
                   "binding held as not in use: neither its row nor neighbors and routes tell");
      else if (binding.inUse && isTold && *binding.inUse != routed)
         addRemark(files.remarks, Remark::Kind::note, 0,
                   "binding whose 'inUse' is not what neighbors and routes tell: held as its row has it");
      binding.inUse = binding.inUse.value_or(routed);
   }
}

LdpFiles readLdpFiles(const std::vector<std::string>& paths) {
   LdpFiles files;
   for (const std::string& path : paths)
      withFileText(path,
                   [&](const std::string& name, std::string_view text) { readLdpText(files, name, text); });
   settleUse(files);
   return files;
}

} // namespace mplsctl
