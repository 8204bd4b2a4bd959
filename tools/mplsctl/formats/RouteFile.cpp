#include "tools/mplsctl/formats/RouteFile.h"

#include "tools/mplsctl/formats/FileText.h"
#include "tools/mplsctl/formats/IpRouteJson.h"
#include "tools/mplsctl/formats/IpRouteText.h"
#include "tools/mplsctl/formats/MplsTableJson.h"

namespace mplsctl {

std::string_view formatName(Format format) {
   switch (format) {
   case Format::ipRouteText:
      return "ip route text";
   case Format::ipBatch:
      return "ip batch";
   case Format::ipRouteJson:
      return "ip route JSON";
   case Format::mplsTableJson:
      return "mpls table JSON";
   default:
      return "empty";
   }
}

void addRemark(std::vector<Remark>& remarks, Remark::Kind kind, std::uint32_t line, std::string_view what) {
   for (Remark& known : remarks) {
      if (known.kind == kind && known.what == what) {
         ++known.count;
         return;
      }
   }
   remarks.push_back({kind, std::string(what), line, 1});
}

RouteFile readRoutes(std::string name, std::string_view text) {
   const std::size_t start = text.find_first_not_of(" \t\r\n");
   if (start == std::string_view::npos) {
      RouteFile file;
      file.name = std::move(name);
      return file;
   }
   switch (text[start]) {
   case '[':
      return readIpRouteJson(std::move(name), text);
   case '{':
      return readMplsTableJson(std::move(name), text);
   default:
      return readIpRouteText(std::move(name), text);
   }
}

RouteFile readRouteFile(const std::string& path) {
   RouteFile file;
   withFileText(path, [&](const std::string& name, std::string_view text) { file = readRoutes(name, text); });
   return file;
}

} // namespace mplsctl
