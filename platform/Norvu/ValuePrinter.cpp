#include "Norvu/ValuePrinter.h"

#include "Norvu/BuiltinTypes.h"
#include "Norvu/DescribedTypes.h"
#include "Norvu/Text.h"

namespace Norvu::Platform {

void ValuePrinter::toString(const void* value, ValueStyle, std::string& out) const {
    appendHexDump(out, value, size_);
}

std::shared_ptr<ValuePrinter> getValuePrinter(const std::string& typeName, unsigned size) {
    if (std::shared_ptr<ValuePrinter> builtin = makeBuiltinPrinter(typeName, size)) {
        return builtin;
    }
    if (std::shared_ptr<ValuePrinter> described = makeDescribedPrinter(typeName, size)) {
        return described;
    }
    return std::make_shared<ValuePrinter>(size);
}

} // namespace Norvu::Platform
