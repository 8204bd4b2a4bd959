#include "tools/mplsctl/verbs/RouteReport.h"

#include <cstdio>

namespace mplsctl {

namespace {
std::string_view kindName(Remark::Kind kind) {
   return kind == Remark::Kind::skipped ? "skipped" : "note";
}
} // namespace

void printBadLines(const RouteFile& file) {
   std::string text;
   for (const BadLine& bad : file.badLines)
      fmt::format_to(std::back_inserter(text), "{}:{}: {}\n", file.name, bad.line, bad.what);
   std::fwrite(text.data(), 1, text.size(), stderr);
}

void printRemarks(tools::Output& out, const std::vector<Remark>& remarks) {
   for (const Remark& remark : remarks) {
      out.print("{}: {}: {}", kindName(remark.kind), remark.what, remark.count);
      if (remark.line > 0)
         out.print(" ({} {})", remark.count > 1 ? "first at line" : "line", remark.line);
      out << '\n';
   }
}

Vok::U32 skippedIn(const std::vector<Remark>& remarks) {
   Vok::U32 skipped = 0;
   for (const Remark& remark : remarks)
      if (remark.kind == Remark::Kind::skipped)
         skipped += remark.count;
   return skipped;
}

void writeRemarks(tools::Json& json, const std::vector<Remark>& remarks) {
   json.key("remarks").array();
   for (const Remark& remark : remarks) {
      json.object().field("kind", kindName(remark.kind)).field("what", remark.what);
      json.field("count", remark.count).field("line", remark.line).end();
   }
   json.end();
}

void writeBadLines(tools::Json& json, const std::vector<BadLine>& badLines) {
   json.key("errors").array();
   for (const BadLine& bad : badLines)
      json.object().field("line", bad.line).field("what", bad.what).end();
   json.end();
}

} // namespace mplsctl
