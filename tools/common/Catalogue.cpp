#include "tools/common/Catalogue.h"

#include "Bolk/NumAllocatorTypes.h"
#include "Cli/AttributeFilter.h"
#include "Cli/ConfigSession.h"
#include "Interface/Interface.h"
#include "Kinet/Labels.h"
#include "Mpls/LabelManagerSm.h"
#include "Mpls/LdpLibSm.h"
#include "Mpls/LfibIndexAllocator.h"
#include "Mpls/LfibIpLookupSm.h"
#include "Mpls/LfibStatusSm.h"
#include "Mpls/LfibTrackingSm.h"
#include "Mpls/Mpls.h"
#include "Mpls/MplsCopy.h"
#include "Mpls/MplsHardware.h"
#include "Mpls/MplsLabelBinding.h"
#include "Mpls/MplsLabelBlock.h"
#include "Mpls/MplsLfib.h"
#include "Mpls/MplsLfibStatic.h"
#include "Mpls/MplsLfibWriter.h"
#include "Mpls/MplsRouteConfigMergeSm.h"
#include "Mpls/MplsTypes.h"
#include "Mpls/MtiStatus.h"
#include "Mpls/SegmentRouting.h"
#include "Mpls/VrfLabelConfigMergeSm.h"

#include <algorithm>
#include <span>

namespace tools {

namespace {

template <class T>
void append(std::vector<const T*>& list, std::span<const T* const> unit) {
   list.insert(list.end(), unit.begin(), unit.end());
}

/// Enters a type that a field or attribute names, if it is worth a description and not there yet.
void enterReferenced(std::vector<const Vok::Type*>& types, const Vok::Type* type) {
   if (!type || type->kind() == Vok::Kind::scalar || type->kind() == Vok::Kind::array ||
       type->kind() == Vok::Kind::collection || std::ranges::find(types, type) != types.end())
      return;
   types.push_back(type);
}

} // namespace

Catalogue catalogue() {
   Catalogue all;
   append(all.types, Kinet::labelsTypes());
   append(all.types, Bolk::numAllocatorTypesTypes());
   append(all.types, Interface::interfaceTypes());
   append(all.types, Mpls::mplsTypesTypes());
   append(all.types, Mpls::mplsLabelBindingTypes());
   append(all.types, Mpls::mplsLabelBlockTypes());
   append(all.types, Mpls::mplsTypes());
   append(all.types, Mpls::mplsLfibTypes());
   append(all.types, Mpls::mplsLfibWriterTypes());
   append(all.types, Mpls::mplsLfibStaticTypes());
   append(all.types, Mpls::lfibStatusSmTypes());
   append(all.types, Mpls::lfibTrackingSmTypes());
   append(all.types, Mpls::lfibIpLookupSmTypes());
   append(all.types, Mpls::mplsRouteConfigMergeSmTypes());
   append(all.types, Mpls::vrfLabelConfigMergeSmTypes());
   append(all.types, Mpls::mplsCopyTypes());
   append(all.types, Mpls::labelManagerSmTypes());
   append(all.types, Mpls::Hardware::mplsHardwareTypes());
   append(all.types, segmentRoutingTypes());
   append(all.types, Ldp::ldpLibSmTypes());
   append(all.types, Mpls::mtiStatusTypes());
   append(all.entities, Bolk::numAllocatorTypesEntityTypes());
   append(all.entities, Interface::interfaceEntityTypes());
   append(all.entities, Cli::attributeFilterEntityTypes());
   append(all.entities, Cli::configSessionEntityTypes());
   append(all.entities, Mpls::mplsLabelBindingEntityTypes());
   append(all.entities, Mpls::mplsLabelBlockEntityTypes());
   append(all.entities, Mpls::mplsEntityTypes());
   append(all.entities, Mpls::mplsLfibEntityTypes());
   append(all.entities, MplsHelper::lfibIndexAllocatorEntityTypes());
   append(all.entities, Mpls::mplsLfibWriterEntityTypes());
   append(all.entities, Mpls::mplsLfibStaticEntityTypes());
   append(all.entities, Mpls::lfibStatusSmEntityTypes());
   append(all.entities, Mpls::lfibTrackingSmEntityTypes());
   append(all.entities, Mpls::lfibIpLookupSmEntityTypes());
   append(all.entities, Mpls::mplsRouteConfigMergeSmEntityTypes());
   append(all.entities, Mpls::vrfLabelConfigMergeSmEntityTypes());
   append(all.entities, Mpls::mplsCopyEntityTypes());
   append(all.entities, Mpls::labelManagerSmEntityTypes());
   append(all.entities, Mpls::Hardware::mplsHardwareEntityTypes());
   append(all.entities, segmentRoutingEntityTypes());
   append(all.entities, Ldp::ldpLibSmEntityTypes());
   append(all.entities, Mpls::mtiStatusEntityTypes());

   for (std::size_t i = 0; i < all.types.size(); ++i)
      if (const auto* value = dynamic_cast<const Vok::ValueType*>(all.types[i]))
         for (const Vok::FieldDescription& field : value->fields())
            enterReferenced(all.types, field.type);
   for (const Vok::EntityType* entity : all.entities)
      for (const Vok::Attribute& attribute : entity->attributes()) {
         enterReferenced(all.types, attribute.keyType);
         enterReferenced(all.types, attribute.valueType);
      }
   return all;
}

} // namespace tools
