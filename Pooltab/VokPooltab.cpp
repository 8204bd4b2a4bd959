#include "Pooltab/VokPooltab.h"

namespace VokPooltab {

namespace {

template <class Visit>
void forEachTable(Vok::Entity& entity, Visit&& visit) {
   for (const Vok::Attribute& attribute : entity.vokEntityType().attributes())
      if (attribute.kind == Vok::AttributeKind::table)
         visit(Pooltab::controlOf(entity, attribute), std::string(attribute.name));
}

void unmountAll(Vok::Entity& entity) {
   forEachTable(entity, [](Pooltab::CollectionControl& control, const std::string&) { control.unmount(); });
}

/// With room in the change log for the keys of all tables.
Pooltab::PoolOptions withRoom(Vok::Entity& entity, Pooltab::PoolOptions options) {
   forEachTable(entity, [&](const Pooltab::CollectionControl& control, const std::string&) {
      options.keyBytesMax = std::max(options.keyBytesMax, control.keyBytes());
   });
   return options;
}

template <class Pool>
void mountAll(Vok::Entity& entity, Pool& pool) {
   try {
      forEachTable(entity, [&](Pooltab::CollectionControl& control, const std::string& table) {
         control.mount(pool, table);
      });
   } catch (...) {
      unmountAll(entity); // all or none
      throw;
   }
}

} // namespace

WriterMount::WriterMount(Vok::Ptr<Vok::Entity> entity, const MountInfo& info)
    : WriterMount(std::move(entity), info.folder(), info.options) {}

WriterMount::WriterMount(Vok::Ptr<Vok::Entity> entity, std::shared_ptr<Pooltab::Folder> folder,
                         const Pooltab::PoolOptions& options)
    : entity_(std::move(entity)), pool_(std::move(folder), withRoom(*entity_, options)) {
   mountAll(*entity_, pool_);
}

WriterMount::~WriterMount() {
   unmountAll(*entity_);
}

ReaderMount::ReaderMount(Vok::Ptr<Vok::Entity> entity, const MountInfo& info)
    : ReaderMount(std::move(entity), info.folder()) {}

ReaderMount::ReaderMount(Vok::Ptr<Vok::Entity> entity, std::shared_ptr<Pooltab::Folder> folder)
    : entity_(std::move(entity)), pool_(std::make_shared<Pooltab::PoolReader>(std::move(folder))) {
   mountAll(*entity_, *pool_);
}

ReaderMount::~ReaderMount() {
   unmountAll(*entity_);
}

bool ReaderMount::isMounted() const {
   bool all = true;
   forEachTable(*entity_, [&](const Pooltab::CollectionControl& control, const std::string&) {
      all = all && control.mountStatus() == Pooltab::MountStatus::mounted;
   });
   return all;
}

} // namespace VokPooltab
