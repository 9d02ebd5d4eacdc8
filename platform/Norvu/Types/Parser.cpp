#include "Norvu/Types/Parser.h"

#include "Norvu/Types/Grammar/Cursor.h"
#include "Norvu/Types/Grammar/Declarator.h"
#include "Norvu/Types/Grammar/Names.h"
#include "Norvu/Types/Grammar/Scope.h"
#include "Norvu/Types/Grammar/Specifiers.h"

#include <algorithm>
#include <utility>

namespace Norvu::Types {

namespace {

using namespace Grammar;

/// The outermost declarations of a text, which it borrows.
class Parser {
public:
    explicit Parser(std::string_view text) : cursor_(text), scope_(cursor_), specifiers_(cursor_, scope_) {}

    Declarations run(std::string_view wanted) {
        while (!cursor_.atEnd()) {
            topLevel();
        }
        return scope_.take(wanted);
    }

private:
    void topLevel() {
        if (cursor_.accept(";")) {
            return;
        }
        if (cursor_.at("type") && cursor_.lookAhead(1).text == "=") { // gdb: "type = struct ..."
            cursor_.next();
            cursor_.next();
        }
        if (cursor_.at("template")) {
            cursor_.next();
            skipAngles(cursor_);
        }
        cursor_.accept("__extension__");
        const bool isTypedef = cursor_.accept("typedef");
        const unsigned line = cursor_.peek().line;
        if (!isTypedef && !cursor_.at("struct") && !cursor_.at("class") && !cursor_.at("union") &&
            !cursor_.at("enum")) {
            if (cursor_.at("using") || cursor_.at("static_assert") || cursor_.at("_Static_assert") ||
                cursor_.at("extern")) {
                cursor_.skipItem();
                return;
            }
            cursor_.failBefore("a struct, union, enum or typedef");
        }
        Attributes attributes;
        const TypeId type = specifiers_.read(attributes);
        if (!isTypedef && (scope_.isStructure(type) || scope_.at(type).kind == Kind::Enum)) {
            scope_.setLast(type);
        }
        while (!cursor_.at(";") && !cursor_.atEnd()) {
            Declarator declarator = declare(cursor_, scope_, type);
            if (isTypedef) {
                nameType(declarator, line);
            }
            if (!cursor_.accept(",")) {
                break;
            }
        }
        if (!cursor_.atEnd()) {
            cursor_.expect(";");
        }
    }

    void nameType(const Declarator& declarator, unsigned line) {
        if (declarator.name.empty()) {
            throw DescriptionError(line, "typedef without a name");
        }
        TypeId type = declarator.type;
        if (scope_.at(type).name.empty() && scope_.at(type).kind != Kind::Array &&
            scope_.at(type).kind != Kind::Pointer) {
            scope_.at(type).name = declarator.name;
        }
        if (declarator.attributes.align != 0) {
            Type aligned = scope_.at(type);
            aligned.askedAlign = std::max(aligned.askedAlign, declarator.attributes.align);
            for (std::uint32_t& align : aligned.align) {
                align = std::max(align, declarator.attributes.align);
            }
            type = scope_.add(std::move(aligned));
        }
        scope_.name(declarator.name, type);
        scope_.setLast(type);
    }

    Cursor cursor_;
    Scope scope_;
    Specifiers specifiers_;
};

} // namespace

Declarations parse(std::string_view text, std::string_view wanted) {
    return Parser(text).run(wanted);
}

} // namespace Norvu::Types
