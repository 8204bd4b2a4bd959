#include "Hubdb/Path.h"

#include "Vok/Errors.h"

namespace Hubdb {

Vok::String checkedPath(std::string_view path) {
   const auto refuse = [&](std::string_view why) {
      throw Vok::RangeError("path '" + Vok::String(path.substr(0, maxPathSize)) + "' " + Vok::String(why));
   };
   std::string_view bare = path;
   if (bare.ends_with('/'))
      bare.remove_suffix(1);
   if (bare.empty())
      refuse("is empty; write segments separated by '/'");
   if (bare.size() > maxPathSize)
      refuse("... has more than " + std::to_string(maxPathSize) + " bytes");
   if (bare.starts_with('/') || bare.ends_with('/') || bare.find("//") != std::string_view::npos)
      refuse("has an empty segment; write segments separated by single '/'");
   return Vok::String(bare);
}

std::string_view pathName(std::string_view path) {
   const std::size_t slash = path.rfind('/');
   return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string_view pathFolder(std::string_view path) {
   const std::size_t slash = path.rfind('/');
   return slash == std::string_view::npos ? std::string_view() : path.substr(0, slash);
}

} // namespace Hubdb
