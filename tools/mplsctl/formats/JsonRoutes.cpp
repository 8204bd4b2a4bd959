#include "tools/mplsctl/formats/JsonRoutes.h"

#include <fmt/core.h>

#include <algorithm>

namespace mplsctl {

RouteFile readJsonRoutes(std::string name, std::string_view text, Format format,
                         void (*read)(RouteBuilder& routes, const JsonNode& entry)) {
   RouteBuilder routes(std::move(name));
   const JsonError error = eachJsonEntry(
       text, [&](const JsonNode& entry) { readField(routes, entry, [&] { read(routes, entry); }); });
   if (!error.what.empty()) {
      routes.bad(error.line, error.what);
      routes.broken();
   }
   return routes.take(format);
}

std::string_view wordOf(const JsonNode& field) {
   if (!field.isWord())
      throw BadWord(fmt::format("'{}' is neither a text nor a number", field.key));
   return field.text;
}

const std::vector<JsonNode>& membersOf(const JsonNode& field) {
   if (field.kind != JsonNode::Kind::object)
      throw BadWord(field.key.empty() ? "an object is expected here"
                                      : fmt::format("'{}' is not an object", field.key));
   return field.children;
}

const std::vector<JsonNode>& elementsOf(const JsonNode& field) {
   if (field.kind != JsonNode::Kind::array)
      throw BadWord(fmt::format("'{}' is not an array", field.key));
   return field.children;
}

const JsonNode* findMember(const JsonNode& object, std::string_view key) {
   const auto at = std::ranges::find(object.children, key, &JsonNode::key);
   return at == object.children.end() ? nullptr : &*at;
}

void readSource(RouteBuilder& routes, const JsonNode& field, SourceName name) {
   routes.sourceIs(field.line, name.source);
   if (!name.note.empty())
      routes.note(field.line, name.note);
}

void readOut(RouteBuilder& routes, const JsonNode& field, const OutStack& out, Mpls::LfibMplsVia& hop) {
   out.applyTo(hop);
   if (out.lostNull())
      routes.note(field.line, OutStack::lostNullNote);
}

} // namespace mplsctl
