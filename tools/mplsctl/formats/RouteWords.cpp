#include "tools/mplsctl/formats/RouteWords.h"

#include "tools/mplsctl/Command.h"
#include "tools/mplsctl/formats/Words.h"

#include "Vok/Errors.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace mplsctl {

namespace {

using Mpls::LFib::Source;

/// The address that a dotted quad without leading zeros means, in host order.
std::optional<Vok::U32> parseInet(std::string_view word) {
   const char* at = word.data();
   const char* const end = at + word.size();
   Vok::U32 host = 0;
   for (int i = 0; i < 4; ++i) {
      if (i > 0 && (at == end || *at++ != '.'))
         return std::nullopt;
      const char* const start = at;
      Vok::U32 byte = 0;
      while (at != end && *at >= '0' && *at <= '9' && at - start < 3)
         byte = byte * 10 + static_cast<Vok::U32>(*at++ - '0');
      if (at == start || byte > 255 || (*start == '0' && at - start > 1))
         return std::nullopt;
      host = host << 8 | byte;
   }
   return at == end ? std::optional(host) : std::nullopt;
}

constexpr std::string_view ospfNote = "the tables have no source for segment routing by OSPF: held as IS-IS";
constexpr SourceName unknownSource = {Source::lfibSourceStaticMpls, "unknown type of route: held as static"};

struct Protocol {
   std::string_view name;
   std::string_view number; ///< as `ip` prints it when it has no name for it
   SourceName means;
};

constexpr Protocol protocols[] = {
    {"static", "4", {Source::lfibSourceStaticMpls, {}}},
    {"boot", "3", {Source::lfibSourceStaticMpls, {}}},
    {"kernel", "2", {Source::lfibSourceStaticMpls, {}}},
    {"unspec", "0", {Source::lfibSourceStaticMpls, {}}},
    {"zstatic", "196", {Source::lfibSourceStaticMpls, {}}},
    {"ldp", "193", {Source::lfibSourceLdp, {}}},
    {"bgp", "186", {Source::lfibSourceBgpLu, {}}},
    {"isis", "187", {Source::lfibSourceIsisSrV4Prefix, {}}},
    {"ospf", "188", {Source::lfibSourceIsisSrV4Prefix, ospfNote}},
    {"srte", "198", {Source::lfibSourceSrTePolicy, {}}},
    {"rsvp", "rsvp", {Source::lfibSourceRsvp, {}}},
};

constexpr std::pair<Source, Source> inet6Forms[] = {
    {Source::lfibSourceIsisSrV4Prefix, Source::lfibSourceIsisSrV6Prefix},
    {Source::lfibSourceIsisSrV4Adj, Source::lfibSourceIsisSrV6Adj},
};

std::optional<SourceName> findProtocol(std::string_view word) {
   for (const Protocol& protocol : protocols)
      if (protocol.name == word || protocol.number == word)
         return protocol.means;
   return std::nullopt;
}

} // namespace

Vok::U32 numberWord(std::string_view what, std::string_view word, Vok::U32 least, Vok::U32 most) {
   Vok::U32 value = 0;
   const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
   if (error != std::errc() || end != word.data() + word.size() || value < least || value > most)
      throw BadWord(fmt::format("{} '{}' is not a number from {} to {}", what, word, least, most));
   return value;
}

Vok::U32 labelWord(std::string_view word) {
   const bool named = !word.empty() && (word[0] < '0' || word[0] > '9');
   if (const auto label = named ? labelFromText(word) : std::nullopt)
      return *label;
   return numberWord("label", word, 0, Kinet::MplsLabel::max);
}

Vok::U32 incomingLabelWord(std::string_view word) {
   const Vok::U32 label = labelWord(word);
   if (label == implicitNull)
      throw BadWord("label 3 (implicit null) stands in no packet: no route can match it");
   return label;
}

void OutStack::push(Vok::U32 label) {
   if (label == implicitNull) {
      ++nulls_;
      return;
   }
   if (labels_.count() == Kinet::BoundedMplsLabelStack::maxLabels)
      throw BadWord(fmt::format("more outgoing labels than the {} that the tables hold",
                                Kinet::BoundedMplsLabelStack::maxLabels));
   labels_.push(Kinet::MplsLabel(label));
}

void OutStack::pushWord(std::string_view word) {
   for (;;) {
      const std::size_t slash = word.rfind('/');
      if (slash == std::string_view::npos)
         break;
      push(labelWord(word.substr(slash + 1)));
      word = word.substr(0, slash);
   }
   push(labelWord(word));
}

void OutStack::applyTo(Mpls::LfibMplsVia& hop) const {
   const Kinet::MplsLabelOperation operation(labels_);
   hop.labelStackIs(operation);
   hop.labelActionIs(operation.labelAction());
}

Kinet::IpGenAddr addressWord(std::string_view family, std::string_view word) {
   if (family == "inet") {
      if (const auto host = parseInet(word))
         return Kinet::IpGenAddr::fromIpv4(*host);
      throw BadWord(fmt::format("'{}' is not an IPv4 address", word));
   }
   if (family != "inet6")
      throw BadWord(fmt::format("address family '{}' is neither inet nor inet6", family));
   try {
      if (word.find(':') != std::string_view::npos)
         return Kinet::IpGenAddr(word);
   } catch (const Vok::Error&) {
   }
   throw BadWord(fmt::format("'{}' is not an IPv6 address", word));
}

Kinet::IpGenAddr addressWord(std::string_view word) {
   return addressWord(word.find(':') == std::string_view::npos ? "inet" : "inet6", word);
}

Kinet::IntfId interfaceWord(std::string_view word) {
   try {
      if (!word.empty())
         return Kinet::IntfId(word);
   } catch (const Vok::Error&) {
   }
   throw BadWord(fmt::format("'{}' is not an interface name: 1 to {} bytes, no blank, '/' or ':'", word,
                             Kinet::IntfId::maxLength));
}

Mpls::TtlMode ttlPropagateWord(std::string_view word) {
   if (word == "enabled")
      return Mpls::TtlMode::uniform;
   if (word == "disabled")
      return Mpls::TtlMode::pipe;
   throw BadWord(fmt::format("ttl-propagate '{}' is neither enabled nor disabled", word));
}

SourceName protocolWord(std::string_view word) {
   return findProtocol(word).value_or(unknownSource);
}

SourceName typeWord(std::string_view word) {
   if (word == "SR (OSPF)")
      return {Source::lfibSourceIsisSrV4Prefix, ospfNote};
   if (word == "SR")
      return {Source::lfibSourceIsisSrV4Prefix, {}};
   const auto source = sourceFromText(word);
   return source ? SourceName{*source, {}} : unknownSource;
}

Source sourceOption(const std::string& word) {
   if (const auto source = sourceFromText(word))
      return *source;
   if (const auto protocol = findProtocol(word))
      return protocol->source;
   throw Failure(
       Outcome::usage, fmt::format("no source is called '{}'", word),
       "name one as `ip` or `show mpls table` do (static, ldp, \"SR (IS-IS)\"), or by its enumerator "
       "(isisSrV4Prefix)");
}

Source sourceForInet6(Source source) {
   for (const auto& [inet, inet6] : inet6Forms)
      if (source == inet)
         return inet6;
   return source;
}

SourceSet withInet6(Source source) {
   SourceSet sources;
   sources.set(static_cast<std::size_t>(source));
   for (const auto& [inet, inet6] : inet6Forms) {
      if (source == inet || source == inet6) {
         sources.set(static_cast<std::size_t>(inet));
         sources.set(static_cast<std::size_t>(inet6));
      }
   }
   return sources;
}

} // namespace mplsctl
