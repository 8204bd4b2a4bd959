#pragma once

#include "tools/mplsctl/formats/JsonEntries.h"
#include "tools/mplsctl/formats/RouteBuilder.h"
#include "tools/mplsctl/formats/RouteWords.h"

/// What the two JSON forms of label routes share.

namespace mplsctl {

/// Reads a text whose outermost entries are routes: `read` begins and finishes one. A text that is not JSON
/// makes the file broken.
RouteFile readJsonRoutes(std::string name, std::string_view text, Format format,
                         void (*read)(RouteBuilder& routes, const JsonNode& entry));

/// Does the work on a field; a BadWord makes its line bad.
template <class Work>
void readField(RouteBuilder& routes, const JsonNode& field, Work work) {
   try {
      work();
   } catch (const BadWord& error) {
      routes.bad(field.line, error.what());
   }
}

/// The text of a string or number. Raises BadWord.
std::string_view wordOf(const JsonNode& field);

/// The members of an object, or the elements of an array. Each raises BadWord.
const std::vector<JsonNode>& membersOf(const JsonNode& field);
const std::vector<JsonNode>& elementsOf(const JsonNode& field);

/// The member with that key, or null.
const JsonNode* findMember(const JsonNode& object, std::string_view key);

/// Takes the name of a source for the open route.
void readSource(RouteBuilder& routes, const JsonNode& field, SourceName name);

/// Gives the hop what it imposes.
void readOut(RouteBuilder& routes, const JsonNode& field, const OutStack& out, Mpls::LfibMplsVia& hop);

} // namespace mplsctl
