#include "tools/common/Lfib.h"

#include "tools/common/Failure.h"
#include "tools/common/Tables.h"

#include "Mpls/MplsLfib.h"

namespace tools {

namespace {

template <class Mount>
class MountedLfib final : public Lfib {
  public:
   MountedLfib(Vok::Ptr<Mpls::LfibStatus> status, std::unique_ptr<Mount> mount)
       : status_(std::move(status)), mount_(std::move(mount)) {}

   const Vok::Ptr<Mpls::LfibStatus>& status() const override { return status_; }
   void publish() override {
      if constexpr (requires { mount_->flush(); })
         mount_->flush();
   }

  private:
   const Vok::Ptr<Mpls::LfibStatus> status_;
   const std::unique_ptr<Mount> mount_;
};

constexpr auto absentNext =
    "load one with 'mplsctl load FILE', or name another place with --pool or POOLTAB_DIR";

std::unique_ptr<Lfib> openForReading(const std::string& pool, const std::string& absent) {
   const auto status = Mpls::lfibStatusFactory(Vok::Name(pool));
   return std::make_unique<MountedLfib<VokPooltab::ReaderMount>>(status,
                                                                 mountForReading(status, pool, absent));
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
   throw Failure(Outcome::unreachable, "there is no LFIB in " + where, absentNext);
}

std::unique_ptr<Lfib> openReader(const std::string& pool) {
   return openForReading(pool, absentNext);
}

std::unique_ptr<Lfib> openForDryRun(const std::string& pool) {
   return openForReading(pool, {});
}

std::unique_ptr<Lfib> openWriter(const std::string& pool) {
   const auto status = Mpls::lfibStatusFactory(Vok::Name(pool));
   return std::make_unique<MountedLfib<VokPooltab::WriterMount>>(status, mountForWriting(status, pool));
}

} // namespace tools
