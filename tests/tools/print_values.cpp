// usage: print_values TYPE_FILE TYPE_NAME SIZE pretty|json
//
// Reads values of SIZE bytes from standard input until it ends, and prints each in a line of its own, with the printer
// that the tool makes from the description in TYPE_FILE or, with "-" there, for the type's name. For tests in other
// languages.

#include "Norvu/DescribedTypes.h"
#include "Norvu/Types/Model.h"

#include <charconv>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace {

using Norvu::Platform::ValuePrinter;
using Norvu::Platform::ValueStyle;

constexpr std::size_t kBlock = 1U << 16;
constexpr std::size_t kMostText = 1U << 20;

std::shared_ptr<ValuePrinter> printerOf(const std::string& file, const std::string& name, unsigned size) {
    if (file == "-") {
        return Norvu::Platform::getValuePrinter(name, size);
    }
    std::FILE* const stream = std::fopen(file.c_str(), "rb");
    if (stream == nullptr) {
        std::fprintf(stderr, "%s: cannot be opened\n", file.c_str());
        return nullptr;
    }
    std::string text(kMostText, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), stream));
    std::fclose(stream);
    try {
        return Norvu::Platform::compilePrinter(text, name, size);
    } catch (const Norvu::Types::DescriptionError& error) {
        std::fprintf(stderr, "%s:%u: %s\n", file.c_str(), error.line(), error.msg().c_str());
        return nullptr;
    }
}

bool write(std::string& out) {
    const bool whole = std::fwrite(out.data(), 1, out.size(), stdout) == out.size();
    out.clear();
    return whole;
}

int printValues(const ValuePrinter& printer, ValueStyle style) {
    // Of exactly the type's size, so that a sanitizer sees a read past it.
    const std::size_t size = printer.size();
    const auto value = std::make_unique<unsigned char[]>(size);
    std::string out;
    for (;;) {
        const std::size_t got = std::fread(value.get(), 1, size, stdin);
        if (got == 0 && std::feof(stdin) != 0) {
            return write(out) && std::fflush(stdout) == 0 ? 0 : 1;
        }
        if (got != size) {
            std::fprintf(stderr, "the input ends inside of a value\n");
            return 1;
        }
        printer.toString(value.get(), style, out);
        out += '\n';
        if (out.size() >= kBlock && !write(out)) {
            return 1;
        }
    }
}

} // namespace

int main(int count, char** arguments) {
    const std::string_view digits = count == 5 ? arguments[3] : "";
    const std::string_view style = count == 5 ? arguments[4] : "";
    unsigned size = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), size);
    if (error != std::errc{} || end != digits.data() + digits.size() || size == 0 ||
        (style != "pretty" && style != "json")) {
        std::fprintf(stderr, "usage: print_values TYPE_FILE TYPE_NAME SIZE pretty|json\n");
        return 2;
    }
    const std::shared_ptr<ValuePrinter> printer = printerOf(arguments[1], arguments[2], size);
    return printer == nullptr ? 1 : printValues(*printer, style == "json" ? ValueStyle::Json : ValueStyle::Pretty);
}
