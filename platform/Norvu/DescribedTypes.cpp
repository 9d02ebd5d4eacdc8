#include "Norvu/DescribedTypes.h"

#include "Norvu/Text.h"
#include "Norvu/Types/Description.h"
#include "Norvu/Types/Program.h"

#include <iostream>
#include <optional>

namespace Norvu::Platform {

namespace {

/// Prints by the operations that a description was compiled to.
class DescribedPrinter final : public ValuePrinter {
public:
    explicit DescribedPrinter(const Types::Description& type)
        : ValuePrinter(type.size()), pretty_(type.declarations(), type.layout(), ValueStyle::Pretty),
          json_(type.declarations(), type.layout(), ValueStyle::Json) {}

    void toString(const void* value, ValueStyle style, std::string& out) const override {
        (style == ValueStyle::Json ? json_ : pretty_).run(static_cast<const unsigned char*>(value), out);
    }

private:
    Types::Program pretty_;
    Types::Program json_;
};

} // namespace

std::shared_ptr<ValuePrinter> compilePrinter(std::string_view text, std::string_view typeName, unsigned size) {
    return std::make_shared<DescribedPrinter>(Types::Description(text, typeName, size));
}

std::shared_ptr<ValuePrinter> makeDescribedPrinter(const std::string& typeName, unsigned size) {
    const std::optional<std::string> path = Types::findDescription(typeName);
    if (!path) {
        return nullptr;
    }
    try {
        return compilePrinter(Types::readDescription(*path), typeName, size);
    } catch (const Types::DescriptionError& error) {
        std::cerr << "halyx: " << safeText(*path) << ":" << error.line() << ": " << safeText(error.msg()) << std::endl;
        return nullptr;
    }
}

} // namespace Norvu::Platform
