#include "Norvu/Types/Grammar/Specifiers.h"

#include "Norvu/Types/Grammar/Enumeration.h"
#include "Norvu/Types/Grammar/Names.h"
#include "Norvu/Types/Scalars.h"

#include <optional>
#include <string>
#include <utility>

namespace Norvu::Types::Grammar {

TypeId Specifiers::read(Attributes& attributes) {
    BasicWords words;
    TypeId named = kNoType;
    unsigned line = cursor_.peek().line;
    for (;;) {
        attributeList(cursor_, scope_, attributes);
        if (!cursor_.atName()) {
            break;
        }
        const std::string_view word = cursor_.peek().text;
        if (isQualifier(word)) {
            cursor_.next();
        } else if (named == kNoType && words.empty() &&
                   (word == "struct" || word == "class" || word == "union" || word == "enum")) {
            named = tagged();
        } else if (named == kNoType && words.add(word)) {
            cursor_.next();
        } else if (named == kNoType && words.empty()) {
            named = byName();
        } else {
            break;
        }
    }
    if (named != kNoType) {
        return named;
    }
    if (words.empty()) {
        throw DescriptionError(line, "expected a type before " + describe(cursor_.peek()));
    }
    const std::optional<Type> type = words.type();
    if (!type) {
        throw DescriptionError(line, "no such combination of type names");
    }
    return scope_.add(*type);
}

TypeId Specifiers::byName() {
    const unsigned line = cursor_.peek().line;
    return scope_.named(typeName(cursor_), line);
}

TypeId Specifiers::tagged() {
    const Token& keyword = cursor_.next();
    const std::string_view word = keyword.text;
    const bool isEnum = word == "enum";
    if (isEnum && !cursor_.accept("class")) {
        cursor_.accept("struct");
    }
    Attributes attributes;
    attributeList(cursor_, scope_, attributes);
    std::string name;
    if (cursor_.atName() && !cursor_.at("final")) {
        name = typeName(cursor_);
    }
    cursor_.accept("final");
    attributeList(cursor_, scope_, attributes);
    const TypeId known = scope_.tagged(name);
    // Tools that show structures inside of others show a structure again wherever it is used.
    const bool again = known != kNoType && scope_.at(known).complete && cursor_.depth() > 0 &&
                       (cursor_.at("{") || (cursor_.at(":") && cursor_.lookAhead(1).kind == Token::Kind::Name &&
                                            cursor_.lookAhead(2).text == "{"));
    TypeId id = known;
    if (name.empty() || known == kNoType || again) {
        Type type = isEnum ? enumStorage(0, 0, false) : Type();
        type.kind = isEnum ? Kind::Enum : Kind::Opaque;
        type.name = name;
        type.line = keyword.line;
        id = scope_.add(std::move(type));
        if (!name.empty()) {
            scope_.tag(name, id);
        }
    }
    if (isEnum) {
        // A ":" behind the name of an enumeration that is known begins a bit-field.
        if (cursor_.at("{") || (cursor_.at(":") && !scope_.at(id).complete)) {
            enumerationOf(id, attributes);
        }
        return id;
    }
    if (cursor_.at("{") || (cursor_.at(":") && cursor_.lookAhead(1).kind == Token::Kind::Name)) {
        scope_.at(id).line = keyword.line; // an earlier one may only have been mentioned
        structures_.read(id, word == "union" ? Kind::Union : Kind::Struct, attributes);
    } else if (name.empty()) {
        cursor_.failBefore("'{'");
    }
    return id;
}

void Specifiers::enumerationOf(TypeId id, const Attributes& attributes) {
    if (scope_.at(id).complete) {
        cursor_.fail("'" + scope_.at(id).name + "' is defined twice");
    }
    TypeId stored = kNoType;
    if (cursor_.accept(":")) {
        const Cursor::Deeper deeper(cursor_); // what it is stored as may be written as another one
        Attributes ignored;
        stored = read(ignored);
        if (scope_.at(stored).kind != Kind::Integer && scope_.at(stored).kind != Kind::Character &&
            scope_.at(stored).kind != Kind::Bool) {
            cursor_.fail("an enumeration is stored as an integer");
        }
    }
    enumeration(cursor_, scope_, id, stored, attributes);
}

} // namespace Norvu::Types::Grammar
