#include "vokc/Source/Parser.h"

#include "vokc/Source/DeclarationParser.h"
#include "vokc/Source/TokenStream.h"

#include <algorithm>

namespace vokc {
namespace {

using Syntax::Declaration;

/// The file level: namespaces, units, imports and the heads of declarations.
class FileParser {
  public:
   FileParser(const SourceFile& source, Diagnostics& diagnostics)
       : tokens_(source, diagnostics), declarations_(tokens_), diagnostics_(diagnostics) {
      file_.source = &source;
   }

   Syntax::File run() {
      while (!tokens_.atEnd()) {
         items();
         if (tokens_.peek().is("}")) {
            diagnostics_.error(tokens_.take().span, "'}' closes nothing");
         }
      }
      return std::move(file_);
   }

  private:
   void items() {
      while (!tokens_.atEnd() && !tokens_.peek().is("}")) {
         try {
            item();
         } catch (const ParseStop&) {
            tokens_.skipConstruct();
         }
      }
   }

   void item() {
      const Token& word = tokens_.peek();
      if (word.is("namespace")) {
         namespaceItem();
      } else if (word.is("import")) {
         importItem();
      } else if (word.is("unit")) {
         unitItem();
      } else {
         file_.declarations.push_back(declarations_.declaration());
         Declaration& declaration = file_.declarations.back();
         declaration.scope = scope_;
         declaration.unit = unit_;
         if (!unit_ && declaration.kind != Declaration::Kind::external) {
            diagnostics_.error(declaration.span, "'" + declaration.name.text + "' belongs to no unit",
                               "write 'unit <Name>;' above it");
         }
      }
   }

   void namespaceItem() {
      tokens_.take();
      std::vector<std::string> inner;
      do {
         inner.push_back(tokens_.expectName("the name of a namespace").text);
      } while (tokens_.accept("::"));
      const std::size_t depth = scope_.size();
      if (tokens_.peek().is(";") && depth != 0) {
         tokens_.stop(tokens_.peek().span, "a second namespace for the file",
                      "open a nested one with '{' instead of ';'");
      }
      if (tokens_.accept(";")) {
         scope_ = std::move(inner); // for the rest of the file
         return;
      }
      const Span open = tokens_.expect("{", "or ';' after the namespace").span;
      scope_.insert(scope_.end(), inner.begin(), inner.end());
      items();
      if (!tokens_.accept("}")) {
         diagnostics_.error(open, "namespace '" + scope_.back() + "' is not closed", "close it with '}'");
      }
      scope_.resize(depth);
   }

   void importItem() {
      tokens_.take();
      const Span span = tokens_.peek().span;
      file_.imports.push_back({tokens_.expectString("the path of a .vok file"), span});
      tokens_.expectSemicolon("the import");
   }

   void unitItem() {
      tokens_.take();
      Syntax::Word unit = tokens_.expectName("the name of a unit");
      const auto known = std::find_if(file_.units.begin(), file_.units.end(), [&](const Syntax::Unit& other) {
         return other.name.text == unit.text;
      });
      if (known != file_.units.end()) {
         diagnostics_.error(unit.span, "unit '" + unit.text + "' was ended by another unit",
                            "keep the declarations of a unit together");
         diagnostics_.note(known->name.span, "it starts here");
      } else {
         file_.units.push_back({unit, scope_});
      }
      unit_ = unit;
      tokens_.expectSemicolon("the unit");
   }

   TokenStream tokens_;
   DeclarationParser declarations_;
   Diagnostics& diagnostics_;
   Syntax::File file_;
   std::vector<std::string> scope_;
   Syntax::Word unit_;
};

} // namespace

Syntax::File parse(const SourceFile& file, Diagnostics& diagnostics) {
   return FileParser(file, diagnostics).run();
}

} // namespace vokc
