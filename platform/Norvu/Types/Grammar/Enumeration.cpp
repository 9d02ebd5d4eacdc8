#include "Norvu/Types/Grammar/Enumeration.h"

#include "Norvu/Types/Grammar/Expression.h"
#include "Norvu/Types/Scalars.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace Norvu::Types::Grammar {

namespace {

/// The values of an enumeration that nothing else says how to store.
struct Range {
    std::int64_t least = 0;
    std::int64_t most = 0;
    bool aboveSigned = false; ///< one has bit 63 and no sign: it counts as negative here only in its bits

    void add(std::int64_t value, bool isUnsigned) {
        least = std::min(least, isUnsigned ? 0 : value);
        most = isUnsigned ? std::numeric_limits<std::int64_t>::max() : std::max(most, value);
        aboveSigned = aboveSigned || isUnsigned;
    }
};

void complete(Scope& scope, TypeId id, TypeId stored, std::vector<Enumerator> enumerators, const Range& range,
              const Attributes& attributes) {
    const Type basis = stored != kNoType ? scope.at(stored) : enumStorage(range.least, range.most, attributes.packed);
    Type& type = scope.at(id);
    type.kind = Kind::Enum;
    type.complete = true;
    type.isSigned = basis.isSigned;
    for (unsigned abi = 0; abi < kAbis; ++abi) {
        type.size[abi] = basis.size[abi];
        type.align[abi] = std::max(basis.align[abi], attributes.align);
    }
    type.enumerators = std::move(enumerators);
}

} // namespace

void enumeration(Cursor& cursor, Scope& scope, TypeId id, TypeId stored, const Attributes& before) {
    if (stored != kNoType && !cursor.at("{")) {
        complete(scope, id, stored, {}, {}, before);
        return;
    }
    cursor.expect("{");
    std::vector<Enumerator> enumerators;
    std::int64_t value = 0;
    Range range;
    while (!cursor.at("}")) {
        if (!cursor.atName()) {
            cursor.failBefore("a name");
        }
        const std::string name(cursor.next().text);
        Attributes ignored;
        attributeList(cursor, scope, ignored);
        bool isUnsigned = false;
        if (cursor.accept("=")) {
            isUnsigned = isUnsignedLiteral(cursor);
            value = expression(cursor, scope);
        }
        if (enumerators.size() == kMostMembers) {
            cursor.fail("too many enumerators");
        }
        enumerators.push_back({name, value});
        range.add(value, isUnsigned);
        if (range.aboveSigned && range.least < 0 && stored == kNoType) {
            cursor.fail("no integer holds all enumerators");
        }
        scope.defineConstant(name, value);
        if (value != std::numeric_limits<std::int64_t>::max()) {
            ++value;
        }
        if (!cursor.accept(",")) {
            break;
        }
    }
    cursor.expect("}");
    Attributes attributes = before;
    attributeList(cursor, scope, attributes);
    complete(scope, id, stored, std::move(enumerators), range, attributes);
}

} // namespace Norvu::Types::Grammar
