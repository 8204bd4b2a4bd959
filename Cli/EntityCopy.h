#pragma once
// Cli::Session::EntityCopy: makes one entity equal to another, attribute by attribute.

#include "Cli/AttributeFilter.h"
#include "Cli/EntityCompare.h"
#include "Cli/HandlerRegistry.h"

#include "Vok/Errors.h"

namespace Cli::Session {

/// A copy that cannot be made: "cannot copy input/cli.route: ..." names the path, the attribute, and what to
/// do about it.
class CopyError : public Vok::Error {
  public:
   using Error::Error;
};

/// The copier of one configuration session. Works over reflection, so that it knows no type in particular;
/// what a registered handler takes over it leaves to the handler. Changes go through the ordinary mutators:
/// what is equal already is not written and nobody is told of it.
///
/// The registry must outlive it. Belongs to the activity thread.
class EntityCopy : public Vok::Entity {
  public:
   explicit EntityCopy(const HandlerRegistry& handlers) : handlers_(handlers) {}

   /// Makes `dst` equal to `src`: by the handler of their type, else attribute by attribute. `path` names
   /// them in messages. Raises CopyError, with nothing of these two changed, when they are of different
   /// types, or when an attribute holds entities and no handler takes it over.
   void copyEntity(const Vok::Ptr<Vok::Entity>& dst, const Vok::Ptr<const Vok::Entity>& src,
                   const Vok::String& path);

   /// The generic part alone: copies the attributes that hold values, and makes those that point to entities
   /// owned elsewhere point to the same ones. `filter`, which may be null, names attributes to leave alone.
   /// Raises CopyError as copyEntity() does.
   void copyAttributes(const Vok::Ptr<Vok::Entity>& dst, const Vok::Ptr<const Vok::Entity>& src,
                       const Vok::Ptr<const AttributeFilter>& filter, const Vok::String& path);

   /// One entry alone, of two entities of one type: it becomes as it is in `src`, and goes where `src` has
   /// none. A member is made when it is missing, and copied as copyEntity() does. Raises CopyError for an
   /// entry of a shared table, and for a member that is not made from values alone.
   void copyEntry(const Vok::Ptr<Vok::Entity>& dst, const Vok::Ptr<const Vok::Entity>& src,
                  const Entry& entry, const Vok::String& path);

   const Vok::EntityType& vokEntityType() const override { return vokType(); }
   static const Vok::EntityType& vokType();

  private:
   void copyMember(const Vok::Ptr<Vok::Entity>& dst, const Vok::Entity& src, const Entry& entry,
                   const Vok::String& path);

   const HandlerRegistry& handlers_;
};

} // namespace Cli::Session
