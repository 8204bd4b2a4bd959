#include "tools/common/Lfib.h"

#include "tools/common/Failure.h"

#include "Mpls/MplsLfib.h"
#include "Pooltab/VokPooltab.h"

namespace tools {

namespace {

template <class Mount>
class MountedLfib final : public Lfib {
  public:
   explicit MountedLfib(const VokPooltab::MountInfo& info)
       : status_(Mpls::lfibStatusFactory(Vok::Name(info.pool))), mount_(status_, info) {}

   const Vok::Ptr<Mpls::LfibStatus>& status() const override { return status_; }
   void publish() override {
      if constexpr (requires { mount_.flush(); })
         mount_.flush();
   }

  private:
   Vok::Ptr<Mpls::LfibStatus> status_;
   Mount mount_;
};

VokPooltab::MountInfo mountInfo(const std::string& pool) {
   VokPooltab::MountInfo info{.pool = pool};
   folderOf(pool); // raises for a name that cannot be one
   return info;
}

/// Raises Failure unless the routes and the via sets are mounted.
void requireTables(const Lfib& lfib, const std::string& pool) {
   const auto folder = folderOf(pool);
   for (const Pooltab::CollectionControl* table :
        {&lfib.status()->lfibRouteControl(), &lfib.status()->viaSetControl()})
      requireMounted(*folder, table->mountStatus(), table->mountText());
}

} // namespace

std::shared_ptr<Pooltab::Folder> folderOf(const std::string& pool) {
   try {
      return Pooltab::sharedFolder(pool);
   } catch (const Vok::Error& error) {
      throw Failure(Outcome::usage, error.what());
   }
}

void requireMounted(const Pooltab::Folder& folder, Pooltab::MountStatus status, const std::string& why) {
   const std::string where = folder.where();
   switch (status) {
   case Pooltab::MountStatus::mounted:
      return;
   case Pooltab::MountStatus::versionMismatch:
   case Pooltab::MountStatus::fingerprintMismatch:
      throw Failure(Outcome::versionMismatch, why,
                    "use the programs of the build that writes these tables, or load them anew");
   case Pooltab::MountStatus::permissionDenied:
      throw Failure(Outcome::unreachable, why, "read as the tables' owner or as one of its group");
   case Pooltab::MountStatus::corrupted:
      throw Failure(Outcome::corrupt, why, "stop the writer, remove " + where + " and load again");
   case Pooltab::MountStatus::unmounted:
      break;
   }
   throw Failure(Outcome::unreachable, "there is no LFIB in " + where,
                 "load one with 'mplsctl load FILE', or name another place with --pool or POOLTAB_DIR");
}

std::unique_ptr<Lfib> openReader(const std::string& pool) {
   auto lfib = std::make_unique<MountedLfib<VokPooltab::ReaderMount>>(mountInfo(pool));
   requireTables(*lfib, pool);
   return lfib;
}

std::unique_ptr<Lfib> openForDryRun(const std::string& pool) {
   auto lfib = std::make_unique<MountedLfib<VokPooltab::ReaderMount>>(mountInfo(pool));
   if (lfib->status()->lfibRouteControl().mountStatus() != Pooltab::MountStatus::unmounted)
      requireTables(*lfib, pool);
   return lfib;
}

std::unique_ptr<Lfib> openWriter(const std::string& pool) {
   const auto folder = folderOf(pool);
   try {
      return std::make_unique<MountedLfib<VokPooltab::WriterMount>>(mountInfo(pool));
   } catch (const Vok::CorruptionDetectedError& error) {
      throw Failure(Outcome::corrupt, error.what(), "remove " + folder->where() + " and load again");
   } catch (const Vok::Error& error) {
      throw Failure(Outcome::unreachable, error.what(),
                    folder->isLocked() ? "stop that process, or let it write the change"
                                       : "make the directory writable, or set POOLTAB_DIR to another");
   }
}

} // namespace tools
