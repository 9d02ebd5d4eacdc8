// The parser of type descriptions, and the printers built from what it accepts: any text may come from anyone. A value
// made of the description's own bytes is printed in both styles, from memory of exactly the type's size: as one printable line, and
// as one JSON value.

#include "Norvu/DescribedTypes.h"
#include "Norvu/Types/Layout.h"
#include "Norvu/Types/Parser.h"
#include "fuzz/Targets.h"
#include "fuzz/room/Json.h"
#include "fuzz/room/Watch.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace Fuzz {

void runTypes(Bytes input) {
    using namespace Norvu;
    const std::string text(input.begin(), input.end());
    for (const auto abi : {Types::Abi::X86_64, Types::Abi::I386}) {
        try {
            const Types::Declarations declarations = Types::parse(text, "T");
            const std::uint64_t bytes = Types::Layout(declarations, abi).sizeOf(declarations.value);
            constexpr std::uint64_t most = 1U << 16;
            if (bytes > most) {
                continue;
            }
            const auto printer = Platform::compilePrinter(text, "T", static_cast<unsigned>(bytes));
            // Of exactly the type's size, so that a read past it is seen.
            auto* const value = static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(bytes)));
            for (std::uint64_t i = 0; i < bytes; ++i) {
                value[i] = input.empty() ? 0 : input[static_cast<std::size_t>(i % input.size())];
            }
            for (const auto style : {Platform::ValueStyle::Pretty, Platform::ValueStyle::Json}) {
                std::string out;
                printer->toString(value, style, out);
                if (style == Platform::ValueStyle::Json && !isJson(out)) {
                    fail("a value in JSON", "is none:", out);
                }
                expectPrintable("a value", out + "\n");
            }
            std::free(value);
        } catch (const Types::DescriptionError&) {
            // Said, with its line: that is all that a wrong description may do.
        }
    }
}

} // namespace Fuzz
