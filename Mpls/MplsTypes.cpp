#include "Mpls/MplsTypes.h"

#include "Vok/Assert.h"

namespace Mpls {

Vok::U32 LabelRange::baseValue() const {
   return base_.value();
}

Via::Via(const Kinet::IpGenAddr& nextHop, Kinet::MplsLabelAction labelAction, Kinet::MplsLabel outLabel,
         bool skipEgressAcl)
    : nextHop_(nextHop), labelAction_(labelAction), outLabel_(outLabel), skipEgressAcl_(skipEgressAcl) {}

// Forwarding-equivalence classes.

FwdEqvClass::FwdEqvClass(const Kinet::IpGenPrefix& prefix) : prefix_(prefix) {}

FwdEqvClass FwdEqvClass::rsvpFec(Rsvp::RsvpCliId session, Rsvp::RsvpCliId subPath) {
   FwdEqvClass fec;
   fec.fecType_ = FecType::rsvpFec;
   fec.rsvpSessionCliId_ = session;
   fec.rsvpSpCliId_ = subPath;
   return fec;
}

FwdEqvClass FwdEqvClass::mldpFec(const Kinet::IpGenAddr& root, Vok::U32 opaqueId) {
   FwdEqvClass fec;
   fec.fecType_ = FecType::mldpFec;
   fec.mldpRootIp_ = root;
   fec.mldpOpaqueId_ = opaqueId;
   return fec;
}

Vok::String FwdEqvClass::stringValue() const {
   switch (fecType_) {
   case FecType::prefixFec:
      return prefix_.stringValue();
   case FecType::rsvpFec:
      return "RSVP[Session=" + std::to_string(rsvpSessionCliId_.value()) +
             ", SP=" + std::to_string(rsvpSpCliId_.value()) + "]";
   case FecType::mldpFec:
      return "MLDP[Root=" + mldpRootIp_.stringValue() + ", ID=" + std::to_string(mldpOpaqueId_) + "]";
   }
   return {};
}

void FwdEqvClass::parseText(Vok::TextParser& parser, FwdEqvClass& value) {
   if (parser.accept("RSVP")) {
      parser.expect("[Session=");
      const Rsvp::RsvpCliId session(parser.unsignedNumber(~Vok::U64(0)));
      parser.expect(", SP=");
      const Rsvp::RsvpCliId subPath(parser.unsignedNumber(~Vok::U64(0)));
      parser.expect("]");
      value = rsvpFec(session, subPath);
   } else if (parser.accept("MLDP")) {
      parser.expect("[Root=");
      Kinet::IpGenAddr root;
      Kinet::IpGenAddr::parseText(parser, root);
      parser.expect(", ID=");
      const auto opaqueId = static_cast<Vok::U32>(parser.unsignedNumber(0xffffffff));
      parser.expect("]");
      value = mldpFec(root, opaqueId);
   } else {
      Kinet::IpGenPrefix prefix;
      Kinet::IpGenPrefix::parseText(parser, prefix);
      value = FwdEqvClass(prefix);
   }
}

void FwdEqvClass::stringValueIs(const Vok::String& text) {
   Vok::TextParser parser(text);
   FwdEqvClass parsed;
   parseText(parser, parsed);
   if (!parser.atEnd())
      throw Vok::RangeError("Invalid FwdEqvClass");
   *this = parsed;
}

// Router identifiers.

namespace {

constexpr Protocol isis() {
   return Protocol::isis;
}

/// The six bytes of an identifier in order, as they stand.
struct SixBytes {
   Vok::U8 byte[6];
};

SixBytes bytesOf(Kinet::NetU32 rtrIdNbo, Kinet::NetU16 lblSpaceNbo) {
   const Vok::U32 high = rtrIdNbo.hostValue();
   const Vok::U16 low = lblSpaceNbo.hostValue();
   return {{static_cast<Vok::U8>(high >> 24), static_cast<Vok::U8>(high >> 16),
            static_cast<Vok::U8>(high >> 8), static_cast<Vok::U8>(high), static_cast<Vok::U8>(low >> 8),
            static_cast<Vok::U8>(low)}};
}

/// How many dots stand before the first colon or the end of an identifier, and what ended it.
struct Shape {
   unsigned dots = 0;
   bool colon = false;
};

Shape shapeOf(std::string_view text) {
   Shape shape;
   for (const char c : text) {
      const bool belongs =
          c == '.' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
      shape.colon = c == ':';
      if (!belongs)
         break;
      shape.dots += c == '.';
   }
   return shape;
}

/// a.b.c.d, as a number in host order.
Vok::U32 dottedQuad(Vok::TextParser& parser) {
   Vok::U32 address = 0;
   for (int i = 0; i < 4; ++i) {
      if (i > 0)
         parser.expect(".");
      address = address << 8 | static_cast<Vok::U32>(parser.unsignedNumber(255));
   }
   return address;
}

} // namespace

RouterId::RouterId(Vok::U32 rtrIdCtor, Vok::U16 lblSpaceCtor)
    : rtrIdNbo_(rtrIdCtor), lblSpaceNbo_(lblSpaceCtor) {}

RouterId::RouterId(Protocol protocol, const Vok::U8* systemId) : protocol_(protocol) {
   const Protocol proto = protocol;
   vokAssert(proto == isis() && "Only ISIS system IDs are handled by this constructor");
   const auto byte = [&](int i) { return static_cast<Vok::U32>(systemId[i]); };
   rtrIdNbo_ = Kinet::NetU32(byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3));
   lblSpaceNbo_ = Kinet::NetU16(static_cast<Vok::U16>(byte(4) << 8 | byte(5)));
}

Vok::U32 RouterId::rtrIdValue() const {
   return rtrIdNbo_.hostValue();
}
Vok::U32 RouterId::rtrId() const {
   return rtrIdValue();
}
Vok::U16 RouterId::lblSpaceValue() const {
   return lblSpaceNbo_.hostValue();
}
Vok::U16 RouterId::lblSpace() const {
   return lblSpaceValue();
}

RouterId RouterId::rtrIdZero() {
   return RouterId();
}
RouterId RouterId::ldpIdZero() {
   return RouterId();
}

Routing::Isis::SystemId RouterId::isisSystemId() const {
   return Routing::Isis::SystemId(bytesOf(rtrIdNbo_, lblSpaceNbo_).byte);
}

Vok::String RouterId::stringValue() const {
   if (protocol_ == Protocol::isis)
      return isisSystemId().stringValue();
   const SixBytes id = bytesOf(rtrIdNbo_, lblSpaceNbo_);
   Vok::String text = std::to_string(id.byte[0]);
   for (int i = 1; i < 4; ++i)
      text.append(".").append(std::to_string(id.byte[i]));
   if (protocol_ == Protocol::ldp)
      text.append(":").append(std::to_string(lblSpaceValue()));
   return text;
}

void RouterId::parseText(Vok::TextParser& parser, RouterId& value) {
   const Shape shape = shapeOf(parser.rest());
   if (shape.dots == 3) {
      RouterId parsed(dottedQuad(parser), 0);
      parsed.protocol_ = shape.colon ? Protocol::ldp : Protocol::mplste;
      if (shape.colon) {
         parser.expect(":");
         parsed.lblSpaceNbo_ = Kinet::NetU16(static_cast<Vok::U16>(parser.unsignedNumber(0xffff)));
      }
      value = parsed;
   } else if (!shape.colon && shape.dots == 2) {
      Routing::Isis::SystemId systemId;
      Routing::Isis::SystemId::parseText(parser, systemId);
      value = RouterId(isis(), systemId.bytes());
   } else {
      throw Vok::RangeError("Invalid Mpls::RouterId");
   }
}

void RouterId::stringValueIs(const Vok::String& text) {
   try {
      Vok::TextParser parser(text);
      RouterId parsed;
      parseText(parser, parsed);
      parser.expectEnd();
      *this = parsed;
   } catch (const Vok::Error&) {
      protocol_ = Protocol::unknown;
      throw Vok::RangeError("Invalid Mpls::RouterId");
   }
}

} // namespace Mpls
