#pragma once

#include "tools/mplsctl/formats/RouteFile.h"

#include <stdexcept>
#include <string>
#include <string_view>

/// The words that all formats of label routes share: labels, stacks, addresses, interface names, and the
/// names of sources.

namespace mplsctl {

/// What is wrong with one route; the reader of the format adds where.
class BadWord : public std::runtime_error {
  public:
   using std::runtime_error::runtime_error;
};

/// Decimal digits only. Raises BadWord "WHAT 'WORD' is not a number from LEAST to MOST".
Vok::U32 numberWord(std::string_view what, std::string_view word, Vok::U32 least, Vok::U32 most);

constexpr Vok::U32 implicitNull = 3;

/// A label in decimal, or the name of one below 16 (explicit-null, router-alert, ...).
Vok::U32 labelWord(std::string_view word);
/// The label of an incoming packet: as labelWord, but not implicit null, which no packet carries.
Vok::U32 incomingLabelWord(std::string_view word);

/// The labels that a next hop imposes, as they come in: bottom first.
class OutStack {
  public:
   /// Puts a label on top. Implicit null imposes nothing. Raises BadWord when the tables hold no more.
   void push(Vok::U32 label);
   /// Pushes all of a text with slashes, top first.
   void pushWord(std::string_view word);
   /// Makes the next hop impose the labels; without any it pops.
   void applyTo(Mpls::LfibMplsVia& hop) const;
   static constexpr std::string_view lostNullNote = "implicit null in a stack of labels imposes nothing";
   /// True when implicit nulls stood beside other labels.
   bool lostNull() const { return nulls_ > 0 && nulls_ + labels_.count() > 1; }

  private:
   Kinet::BoundedMplsLabelStack labels_;
   unsigned nulls_ = 0;
};

/// An address of the family `inet` or `inet6`.
Kinet::IpGenAddr addressWord(std::string_view family, std::string_view word);
/// An address of the family that its text has.
Kinet::IpGenAddr addressWord(std::string_view word);

Kinet::IntfId interfaceWord(std::string_view word);

/// `ttl-propagate`: "enabled" carries the TTL over, "disabled" does not.
Mpls::TtlMode ttlPropagateWord(std::string_view word);

/// What the name of a source means here. A note says that the tables know the source under another name only.
struct SourceName {
   Mpls::LFib::Source source;
   std::string_view note;
};
/// `proto` of a route: a name or a number.
SourceName protocolWord(std::string_view word);
/// `type` of a next hop of `show mpls table`.
SourceName typeWord(std::string_view word);
/// A source that the user names, by any of these names or its enumerator. Raises Failure( usage ).
Mpls::LFib::Source sourceOption(const std::string& word);

/// The source that stands for the same protocol with IPv6 next hops; the source itself when there is none.
Mpls::LFib::Source sourceForInet6(Mpls::LFib::Source source);
/// The source and its form for IPv6, or the one that it is the form of: a table that names one tells both.
SourceSet withInet6(Mpls::LFib::Source source);

} // namespace mplsctl
