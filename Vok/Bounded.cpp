#include "Vok/Bounded.h"

namespace Vok {

BoundedType::BoundedType(std::string_view name, std::string_view doc, const Storage& storage,
                         const Type& held, std::string_view rangeText, std::vector<Constant> constants,
                         void (*make)(void*, const void*), const void* (*look)(const void*))
    : Type(name, Kind::bounded, doc, storage), held_(held), rangeText_(rangeText),
      constants_(std::move(constants)), make_(make), look_(look) {}

void BoundedType::parse(TextParser& parser, void* value) const {
   AnyValue parsed(held_);
   held_.parse(parser, parsed.data());
   make_(value, parsed.data());
}

void BoundedType::readLog(NboAttrLog::Reader& log, void* value) const {
   AnyValue read(held_);
   held_.readLog(log, read.data());
   make_(value, read.data());
}

void BoundedType::describe(String& out) const {
   Type::describe(out);
   out.append(" of ").append(held_.name()).append(" ").append(rangeText_);
}

} // namespace Vok
