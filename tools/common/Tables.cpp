#include "tools/common/Tables.h"

#include "tools/common/Failure.h"

#include "Pooltab/TableAttribute.h"

namespace tools {

namespace {

VokPooltab::MountInfo mountInfo(const std::string& pool) {
   VokPooltab::MountInfo info{.pool = pool};
   try {
      info.folder();
   } catch (const Vok::Error& error) {
      throw Failure(Outcome::usage, error.what()); // a name that cannot be one
   }
   return info;
}

Outcome outcomeOf(Pooltab::MountStatus status) {
   switch (status) {
   case Pooltab::MountStatus::versionMismatch:
   case Pooltab::MountStatus::fingerprintMismatch:
      return Outcome::versionMismatch;
   case Pooltab::MountStatus::corrupted:
      return Outcome::corrupt;
   default:
      return Outcome::unreachable;
   }
}

std::string nextStepOf(Pooltab::MountStatus status, const std::string& where) {
   switch (outcomeOf(status)) {
   case Outcome::versionMismatch:
      return "use the programs of the build that writes these tables, or remove " + where +
             " and load them anew";
   case Outcome::corrupt:
      return "stop the writer, remove " + where + " and load again";
   default:
      return "read as the tables' owner or as one of its group";
   }
}

} // namespace

std::unique_ptr<VokPooltab::WriterMount> mountForWriting(Vok::Ptr<Vok::Entity> entity,
                                                         const std::string& pool) {
   const VokPooltab::MountInfo info = mountInfo(pool);
   const auto folder = info.folder();
   try {
      return std::make_unique<VokPooltab::WriterMount>(std::move(entity), info);
   } catch (const Vok::CorruptionDetectedError& error) {
      throw Failure(Outcome::corrupt, error.what(),
                    nextStepOf(Pooltab::MountStatus::corrupted, folder->where()));
   } catch (const Pooltab::MountError& error) {
      throw Failure(outcomeOf(error.status()), error.what(), nextStepOf(error.status(), folder->where()));
   } catch (const Vok::Error& error) {
      throw Failure(Outcome::unreachable, error.what(),
                    folder->isLocked() ? "stop that process, or let it write the change"
                                       : "make the directory writable, or set POOLTAB_DIR to another");
   }
}

std::unique_ptr<VokPooltab::ReaderMount> mountForReading(Vok::Ptr<Vok::Entity> entity,
                                                         const std::string& pool, const std::string& absent) {
   auto mount = std::make_unique<VokPooltab::ReaderMount>(entity, mountInfo(pool));
   const std::string where = mount->pool().folder()->where();
   for (const Vok::Attribute& attribute : entity->vokEntityType().attributes()) {
      if (attribute.kind != Vok::AttributeKind::table)
         continue;
      const Pooltab::CollectionControl& table = Pooltab::controlOf(*entity, attribute);
      const Pooltab::MountStatus status = table.mountStatus();
      if (status == Pooltab::MountStatus::mounted)
         continue;
      if (status != Pooltab::MountStatus::unmounted)
         throw Failure(outcomeOf(status), table.mountText(), nextStepOf(status, where));
      if (!absent.empty() && !mount->pool().hasLog())
         throw Failure(Outcome::unreachable, "there are no such tables in " + where, absent);
   }
   return mount;
}

} // namespace tools
