#include "Hubdb/MountStatus.h"

namespace Hubdb {

std::string_view stringValue(MountStatus status) {
   switch (status) {
   case MountStatus::success:
      return "success";
   case MountStatus::unreachable:
      return "unreachable";
   case MountStatus::notFound:
      return "notFound";
   case MountStatus::wrongType:
      return "wrongType";
   case MountStatus::wrongDeclaration:
      return "wrongDeclaration";
   case MountStatus::owned:
      return "owned";
   case MountStatus::forbidden:
      return "forbidden";
   }
   return "unknown";
}

} // namespace Hubdb
